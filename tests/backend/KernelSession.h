#pragma once

#include "platform/KernelApi.h"
#include "tests/support/Faults.h"

#include <QStringList>

// The kernel calls of a session, as the simulated kernel notes them. The first block of shared
// memory has the handle 1.

inline const QString getMemoryCall = "OV_getSharedMemEx(1, 0)";

/// What opens a session.
inline const QStringList openingCalls = {
    QString("OV_openDriver(\"%1\")").arg(ORVANTA_CUSTOMER_ID),
    QString("OV_createSharedMemEx(null, %1, 0)").arg(sizeof(platform::SharedData)),
    getMemoryCall,
    QString("OV_getSystemInformation(%1, 0)").arg(sizeof(platform::SystemInformation)),
    "OV_loadKernel(\"gevOrvanta_kernel.dll\", null, null, 4)",
    getMemoryCall,
};

/// What closes a session whose shared memory is refused.
inline const QStringList closingCallsWithoutMemory = {"closeDriver()"};

/// What closes a session.
inline const QStringList closingCalls =
    QStringList{getMemoryCall, "freeSharedMem(1, 0)"} + closingCallsWithoutMemory;

/// What closes a session whose shared memory names the kernel-side library 75.
inline const QStringList closingCallsWithLibrary =
    closingCalls.first(1) + QStringList("freeKernel(75)") + closingCalls.mid(1);

/// What releases the kernel-side objects 52 and 56 before a session is closed.
inline const QStringList releasingCalls = {getMemoryCall, "releaseSecondObject(56, 0)",
                                           "releaseFirstObject(52, 0)"};

/// Returns the calls by which a failure is reported.
inline QStringList reportCalls(const QString &command, const QString &code = "0x10160000")
{
    return {QString("errorName(%1, 0)").arg(code),
            QString("errorText(%1, \"%2\", 0)").arg(code, command)};
}

/// Returns what is printed about a command that failed.
inline QByteArray reportText(const QString &command, const QString &failure = "",
                             const QString &code = "10160000")
{
    return QString("ERROR (%1 = 'EXAMPLE_ERROR') -\n  %2: %3Error running command %2\n\n")
        .arg(code, command, failure)
        .toUtf8();
}

/// The command of every call for the shared memory's address but the first.
inline const QString getMemoryCommand =
    "OV_getSharedMemEx(m_sharedMemHandle, (void**)&sd, OVF_NO_FLAGS)";

/// Has one of the next calls for the shared memory's address, counted from 1, fail.
inline void refuseSharedMemory(int number)
{
    auto &function = platform::kernelApi().OV_getSharedMemEx.function;
    function = [answer = function, number](auto handle, void **address, auto flags) mutable {
        // Asked all the same, so that the simulated kernel notes the call.
        const std::uint32_t code = answer(handle, address, flags);
        if (--number != 0)
            return code;
        *address = nullptr;
        return noAccess;
    };
}

/// Returns the block of shared memory with that handle. Asks the kernel, which notes the call.
inline platform::SharedData *sharedMemory(std::uint32_t handle = 1)
{
    void *address = nullptr;
    platform::kernelApi().OV_getSharedMemEx(handle, &address, platform::OVF_NO_FLAGS);
    return static_cast<platform::SharedData *>(address);
}

/// Returns the call that asks for a device, and the two that ask for its texts.
inline QStringList deviceCalls(int index, const QString &deviceId)
{
    const QString query = QString("queryDeviceInformation(\"%1\", %2, 0)")
                              .arg(deviceId)
                              .arg(sizeof(platform::DeviceInfo));
    return {QString("OV_enumDevicesEx(\"NET\", \"PCI\", null, %1, 0)").arg(index), query, query};
}
