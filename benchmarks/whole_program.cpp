// The program on a simulated PC, taken through its pages.
//     whole_program SECONDS
// SECONDS is the time to stay on each page.

#include "app/OrvantaConfigurator.h"
#include "app/ScreenFit.h"
#include "benchmarks/WizardWalk.h"
#include "platform/KernelApi.h"
#include "platform/Platform.h"
#include "platform/WindowsApi.h"

#include <QScopeGuard>

#include <functional>

namespace
{

/// Leaves out of the count what the simulated PC does to answer a call.
template <typename Result, typename... Arguments>
void leaveOut(std::function<Result(Arguments...)> &function)
{
    function = [answer = function](Arguments... arguments) {
        CALLGRIND_TOGGLE_COLLECT;
        const auto goOn = qScopeGuard([] { CALLGRIND_TOGGLE_COLLECT; });
        return answer(arguments...);
    };
}

} // namespace

int main(int argc, char *argv[])
{
    endPhase("load");
    if (argc < 2 || !platform::start())
        return 2;
    const auto leaveOutEntry = [](auto &entry) { leaveOut(entry.function); };
    platform::windowsApi().forEach(leaveOutEntry);
    platform::kernelApi().forEach(leaveOutEntry);
    endPhase("simulated PC");

    QApplication application(argc, argv);
    OrvantaConfigurator wizard;
    const ScreenFit screenFit(wizard);
    WizardWalk(wizard, QByteArray(argv[1]).toInt()).run();
}
