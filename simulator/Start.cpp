#include "platform/Platform.h"

#include "simulator/SimulatedMachine.h"
#include "simulator/SimulatedPc.h"

#include <cstdio>
#include <stdexcept>

namespace platform
{

namespace
{

constexpr auto folderVariable = "ORVANTA_SIMULATED_PC";

SimulatedPc chosenPc()
{
    const QString folder = qEnvironmentVariable(folderVariable);
    if (folder.isEmpty())
        throw std::runtime_error(std::string(folderVariable) +
                                 ": expected the folder of a simulated PC, found nothing");
    return SimulatedPc::load(folder);
}

} // namespace

bool start()
{
    try {
        // Never destroyed: where the terminate handler ends the process, a search may still call.
        static SimulatedMachine &machine = *new SimulatedMachine(chosenPc());
        machine.kernel().logTo(qEnvironmentVariable("ORVANTA_KERNEL_LOG"));
        return true;
    } catch (const std::runtime_error &failure) {
        std::fprintf(stderr, "%s\n", failure.what());
        return false;
    }
}

} // namespace platform
