#include "tests/fault_matrix/FaultInjector.h"

#include "platform/KernelApi.h"
#include "simulator/SimulatedWindows.h"

#include <QCoreApplication>
#include <QThread>

#include <atomic>

namespace
{

std::atomic<int> callCount;
int failingCall = 0;
Fault injected;

bool isOnFaultsThread()
{
    const bool isGuiThread = QThread::currentThread() == QCoreApplication::instance()->thread();
    return isGuiThread == (injected.thread == CallingThread::Gui);
}

/// Counts the call; returns whether it is the one that fails.
bool fails()
{
    return isOnFaultsThread() && ++callCount == failingCall;
}

int positionOf(FailingCall call, int count)
{
    switch (call) {
    case FailingCall::First:
        return 1;
    case FailingCall::Second:
        return 2;
    case FailingCall::Middle:
        return (count + 1) / 2;
    case FailingCall::Last:
        return count;
    }
    return 0;
}

template <typename Function, typename Result>
void inject(Function &entry, Result failure)
{
    if (injected.function != entry.name)
        return;
    entry.function = [original = entry.function, failure](auto... arguments) {
        return fails() ? failure : original(arguments...);
    };
}

} // namespace

void injectFault(const Fault &fault, int callsWithoutFault)
{
    injected = fault;
    callCount = 0;
    failingCall = callsWithoutFault == 0 ? 0 : positionOf(fault.call, callsWithoutFault);
    platform::windowsApi().forEach([](auto &entry) {
        inject(entry, failureResult<std::remove_reference_t<decltype(entry)>>(injected.code));
    });
    platform::kernelApi().forEach([](auto &entry) { inject(entry, injected.code); });
}

int callsOfFaultyFunction()
{
    return callCount;
}
