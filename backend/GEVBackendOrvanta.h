#pragma once

#include "backend/GEVBackendBase.h"
#include "platform/KernelRecords.h"

namespace DPL
{

/// One session with the real-time kernel. Installs a process-wide terminate handler that releases
/// the most recent session's kernel resources. Used on one thread.
class GEVBackendOrvanta final : public GEVBackendBase
{
public:
    /// `kernelLibraryDir` is the folder of the kernel-side library; empty to have it searched.
    GEVBackendOrvanta(bool optionA, bool optionB, const std::string &kernelLibraryDir);
    GEVBackendOrvanta(const GEVBackendOrvanta &) = delete;
    GEVBackendOrvanta &operator=(const GEVBackendOrvanta &) = delete;
    ~GEVBackendOrvanta();

    /// Opens the driver, creates the shared memory and loads the kernel-side library. On a session
    /// that is open already, reads the system information and loads the library again. Throws
    /// std::runtime_error, or the DPL exception of the code when the shared memory is refused: then
    /// the driver stays open, on purpose.
    void open() override;
    void updateDevices() override { enumerateDevices(); }
    std::vector<AdapterInfo> devices() const override { return m_devices; }
    void emptyHook1() override {}
    void emptyHook2() override {}
    std::string backendName() const override { return "Dummy"; }
    std::uint32_t kernelHandle() const override { return 0; }
    /// Lists the kernel's PCI network devices. Reports failures on standard output.
    void enumerateDevices() override;

    /// Frees what open() took, in the reverse order. Does nothing on a closed session.
    void close();

    /// Returns the path under which the kernel loads the kernel-side library.
    std::string getKernelLibraryPath() const;

    /// Returns the kernel's handle of the shared memory, 0 when there is none.
    std::uint32_t getSharedDataHandle() const { return m_sharedMemHandle; }

    /// Returns the friendly name that the kernel knows for a device, or its description, or the
    /// identifier itself.
    std::string queryDeviceName(const std::string &deviceId) const;

    /// Returns the description that the kernel knows for a device, or the identifier itself.
    std::string queryDeviceDescription(const std::string &deviceId) const;

    /// Releases the objects that the kernel-side library left in the shared memory.
    void releaseKernelObjects();

    /// The process's terminate handler: releases the most recent session and ends the process with
    /// exit status -1.
    [[noreturn]] static void onTerminate();

private:
    enum class State : std::int32_t { Closed = 0, DriverOpen = 1, KernelLoaded = 2 };

    void openDriver();
    void createSharedMemory();
    void readSystemInformation();
    void loadKernelLibrary();

    State m_state = State::Closed;
    platform::SystemInformation m_systemInfo{};
    std::uint32_t m_sharedMemHandle = 0;
    /// Belongs to the handle; never used.
    std::uint32_t m_reservedWord = 0;
    std::string m_kernelLibraryDir;
    bool m_optionA;
    /// Kept with the session; nothing reads it.
    bool m_optionB;
    const char *m_kernelLibraryName = "gevOrvanta_kernel.dll";
    /// Kept with the session; nothing reads it.
    bool m_reserved = false;

    static GEVBackendOrvanta *s_currentBackend;
};

} // namespace DPL
