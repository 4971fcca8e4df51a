#pragma once

#include "platform/KernelRecords.h"

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

/// What closes a session.
inline const QStringList closingCalls = {getMemoryCall, "freeSharedMem(1, 0)", "closeDriver()"};

/// Returns the calls by which a failure is reported.
inline QStringList reportCalls(const QString &command, const QString &code = "0x10160000")
{
    return {QString("errorName(%1, 0)").arg(code),
            QString("errorText(%1, \"%2\", 0)").arg(code, command)};
}

/// Returns the call that asks for a device, and the two that ask for its texts.
inline QStringList deviceCalls(int index, const QString &identifier)
{
    const QString query = QString("queryDeviceInformation(\"%1\", %2, 0)")
                              .arg(identifier)
                              .arg(sizeof(platform::DeviceInfo));
    return {QString("OV_enumDevicesEx(\"NET\", \"PCI\", null, %1, 0)").arg(index), query, query};
}
