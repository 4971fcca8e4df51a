#include "platform/Platform.h"

#include "platform/FileLocations.h"
#include "platform/KernelApi.h"
#include "platform/WindowsApi.h"
#include "simulator/SimulatedMachine.h"
#include "simulator/SimulatedPc.h"

#include <cstdio>
#include <stdexcept>

namespace platform
{

namespace
{

constexpr auto folderVariable = "ORVANTA_SIMULATED_PC";
constexpr auto kernelLogVariable = "ORVANTA_KERNEL_LOG";

SimulatedPc chosenPc()
{
    const QString folder = qEnvironmentVariable(folderVariable);
    if (folder.isEmpty())
        throw std::runtime_error(std::string(folderVariable) +
                                 ": expected the folder of a simulated PC, found nothing");
    return SimulatedPc::load(folder);
}

} // namespace

WindowsApi &windowsApi()
{
    static WindowsApi api;
    return api;
}

KernelApi &kernelApi()
{
    static KernelApi api;
    return api;
}

FileLocations &fileLocations()
{
    static FileLocations locations;
    return locations;
}

bool start()
{
    try {
        static SimulatedMachine machine(chosenPc());
        machine.kernel().logTo(qEnvironmentVariable(kernelLogVariable));
        return true;
    } catch (const std::runtime_error &failure) {
        std::fprintf(stderr, "%s\n", failure.what());
        return false;
    }
}

} // namespace platform
