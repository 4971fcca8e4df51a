// The kernel library of a simulated PC: it exports the simulated kernel's operations by ordinal, as
// the definition file beside it says. A test tool; no package holds it.

#include "simulator/SimulatedKernel.h"

#include <exception>

namespace
{

constexpr auto folderVariable = "ORVANTA_SIMULATED_PC";
constexpr auto logVariable = "ORVANTA_KERNEL_LOG";

SimulatedKernelSettings loadSettings()
{
    try {
        return SimulatedPc::load(qEnvironmentVariable(folderVariable)).kernel;
    } catch (const std::exception &failure) {
        qFatal("%s", failure.what());
    }
}

const platform::KernelApi &kernel()
{
    static SimulatedKernel kernel(loadSettings());
    static const platform::KernelApi operations = [] {
        if (qEnvironmentVariableIsSet(logVariable))
            kernel.logTo(qEnvironmentVariable(logVariable));
        return kernel.operations();
    }();
    return operations;
}

} // namespace

extern "C" {

std::uint32_t openDriver(const char *customerNr)
{
    return kernel().OV_openDriver(customerNr);
}

std::uint32_t closeDriver()
{
    return kernel().closeDriver();
}

std::uint32_t errorName(std::uint32_t code, const char **name, std::uint32_t flags)
{
    return kernel().errorName(code, name, flags);
}

std::uint32_t errorText(std::uint32_t code, const char *command, const char **text,
                        std::uint32_t flags)
{
    return kernel().errorText(code, command, text, flags);
}

std::uint32_t getSharedMem(std::uint32_t handle, void **address, std::uint32_t flags)
{
    return kernel().OV_getSharedMemEx(handle, address, flags);
}

std::uint32_t createSharedMem(std::uint32_t *handle, const char *name, std::uint32_t size,
                              std::uint32_t flags)
{
    return kernel().OV_createSharedMemEx(handle, name, size, flags);
}

std::uint32_t freeSharedMem(std::uint32_t handle, std::uint32_t flags)
{
    return kernel().freeSharedMem(handle, flags);
}

std::uint32_t loadKernel(std::uint32_t *handle, const char *path, void *first, void *second,
                         std::uint32_t flags)
{
    return kernel().OV_loadKernel(handle, path, first, second, flags);
}

std::uint32_t freeKernel(std::uint32_t handle)
{
    return kernel().freeKernel(handle);
}

std::uint32_t enumDevices(const char *deviceClass, const char *bus, void *reserved,
                          std::uint32_t index, char *identifier, std::uint32_t flags)
{
    return kernel().OV_enumDevicesEx(deviceClass, bus, reserved, index, identifier, flags);
}

std::uint32_t getSystemInformation(void *systemInformation, std::uint32_t flags)
{
    return kernel().OV_getSystemInformation(systemInformation, flags);
}

std::uint32_t queryDeviceInformation(const char *identifier, void *deviceInfo, std::uint32_t flags)
{
    return kernel().queryDeviceInformation(identifier, deviceInfo, flags);
}

std::uint32_t releaseFirstObject(std::uint32_t handle, std::uint32_t flags)
{
    return kernel().releaseFirstObject(handle, flags);
}

std::uint32_t releaseSecondObject(std::uint32_t handle, std::uint32_t flags)
{
    return kernel().releaseSecondObject(handle, flags);
}

} // extern "C"
