#pragma once

#include "platform/KernelApi.h"
#include "simulator/SimulatedPc.h"

#include <QByteArray>
#include <QFile>
#include <QStringList>

#include <map>
#include <mutex>
#include <vector>

/// A real-time kernel that answers the API library's operations from a simulated PC's settings
/// and notes every call. May be called from any thread.
class SimulatedKernel
{
public:
    explicit SimulatedKernel(const SimulatedKernelSettings &settings) : m_settings(settings) {}

    /// Returns the operations; they must not be called after the kernel's end. Throws
    /// std::runtime_error when one of them has no answer.
    platform::KernelApi operations();

    /// Returns one line per call so far, in order: the operation's name and the arguments that it
    /// reads, in their order. Texts stand in double quotes, null pointers as `null`, error codes as
    /// `0x101F0000`, records as their size field, other numbers in decimal. The first handle that
    /// the kernel gives out is 1, the next one 2. One search of one device:
    ///
    ///     OV_openDriver("EXAMPLE-CUSTOMER")
    ///     OV_createSharedMemEx(null, 287, 0)
    ///     OV_getSharedMemEx(1, 0)
    ///     OV_getSystemInformation(680, 0)
    ///     OV_loadKernel("gevOrvanta_kernel.dll", null, null, 4)
    ///     OV_getSharedMemEx(1, 0)
    ///     OV_enumDevicesEx("NET", "PCI", null, 0, 0)
    ///     queryDeviceInformation("DEVICE-A", 1204, 0)
    ///     queryDeviceInformation("DEVICE-A", 1204, 0)
    ///     OV_enumDevicesEx("NET", "PCI", null, 1, 0)
    ///     OV_getSharedMemEx(1, 0)
    ///     freeSharedMem(1, 0)
    ///     closeDriver()
    ///
    /// The other lines are `errorName(0x10160000, 0)`, `errorText(0x10160000, "command", 0)`,
    /// `freeKernel(2)`, `releaseFirstObject(3, 0)` and `releaseSecondObject(4, 0)`.
    QStringList calls() const;

    /// Has every further call appended to a file as well, a line each, unless the path is empty.
    void logTo(const QString &path);

    /// Returns how often shared memory has been created and the driver been opened without being
    /// freed and closed: 0 when everything has been closed.
    int openResources() const;

private:
    void addDriver(platform::KernelApi &api);
    void addSharedMemory(platform::KernelApi &api);
    void addKernelSideLibrary(platform::KernelApi &api);
    void addDevices(platform::KernelApi &api);
    /// Returns an operation that answers only while the driver is open.
    template <typename Answer>
    auto whenOpen(Answer answer);
    const SimulatedKernelDevice *findDevice(const char *deviceId) const;
    void note(const QString &call);

    const SimulatedKernelSettings m_settings;
    const QByteArray m_errorName = m_settings.errorName.toUtf8();
    const QByteArray m_errorText = m_settings.errorText.toUtf8();

    mutable std::mutex m_mutex;
    QStringList m_calls;
    QFile m_log;
    /// How often the driver is open: nothing keeps a program from opening it once more.
    int m_openDrivers = 0;
    std::uint32_t m_lastHandle = 0;
    std::map<std::uint32_t, std::vector<unsigned char>> m_sharedMemory;
};
