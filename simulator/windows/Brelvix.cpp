// The API library of a simulated PC: it exports the simulated kernel's operations by ordinal. A
// test tool; no package holds it.

#include "simulator/SimulatedKernel.h"

#include <exception>

using platform::DeviceInfo;
using platform::KernelCode;
using platform::SystemInformation;

namespace
{

platform::KernelApi startKernel()
{
    try {
        // Never destroyed: the program may call until it ends.
        auto &kernel = *new SimulatedKernel(
            SimulatedPc::load(qEnvironmentVariable("ORVANTA_SIMULATED_PC")).kernel);
        kernel.logTo(qEnvironmentVariable("ORVANTA_KERNEL_LOG"));
        return kernel.operations();
    } catch (const std::exception &failure) {
        qFatal("%s", failure.what());
    }
}

const platform::KernelApi &operations()
{
    static const platform::KernelApi operations = startKernel();
    return operations;
}

} // namespace

extern "C" {

#define EXPORT(ordinal, name, parameters, arguments)                                               \
    std::uint32_t name parameters                                                                  \
    {                                                                                              \
        return operations().name arguments;                                                        \
    }
PLATFORM_KERNEL_OPERATIONS(EXPORT)
#undef EXPORT

} // extern "C"
