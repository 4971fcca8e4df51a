#include "tests/fault_matrix/FaultInjector.h"

#include "platform/KernelApi.h"
#include "platform/WindowsApi.h"

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

template <typename Result, typename... Arguments>
void inject(std::function<Result(Arguments...)> &function, Result failure)
{
    function = [original = function, failure](Arguments... arguments) {
        return fails() ? failure : original(arguments...);
    };
}

void injectWindows(platform::WindowsApi &api)
{
    const QString &name = injected.function;
    if (name == "GetAdaptersAddresses")
        inject(api.GetAdaptersAddresses, static_cast<ULONG>(injected.code));
    if (name == "SetupDiGetClassDevsW")
        inject(api.SetupDiGetClassDevsW, static_cast<HDEVINFO>(INVALID_HANDLE_VALUE));
    if (name == "SetupDiEnumDeviceInfo")
        inject(api.SetupDiEnumDeviceInfo, FALSE);
    if (name == "SetupDiGetDeviceRegistryPropertyA")
        inject(api.SetupDiGetDeviceRegistryPropertyA, FALSE);
    if (name == "K32EnumDeviceDrivers")
        inject(api.K32EnumDeviceDrivers, FALSE);
    if (name == "K32GetDeviceDriverBaseNameA")
        inject(api.K32GetDeviceDriverBaseNameA, DWORD{0});
    if (name == "GetStdHandle")
        inject(api.GetStdHandle, static_cast<HANDLE>(INVALID_HANDLE_VALUE));
    if (name == "GetConsoleScreenBufferInfo")
        inject(api.GetConsoleScreenBufferInfo, FALSE);
    if (name == "SetConsoleTextAttribute")
        inject(api.SetConsoleTextAttribute, FALSE);
}

void injectKernel(platform::KernelApi &api)
{
    const QString &name = injected.function;
    if (name == "OV_openDriver")
        inject(api.OV_openDriver.function, injected.code);
    if (name == "errorName")
        inject(api.errorName.function, injected.code);
    if (name == "errorText")
        inject(api.errorText.function, injected.code);
    if (name == "OV_getSharedMemEx")
        inject(api.OV_getSharedMemEx.function, injected.code);
    if (name == "OV_createSharedMemEx")
        inject(api.OV_createSharedMemEx.function, injected.code);
    if (name == "OV_loadKernel")
        inject(api.OV_loadKernel.function, injected.code);
    if (name == "OV_enumDevicesEx")
        inject(api.OV_enumDevicesEx.function, injected.code);
    if (name == "OV_getSystemInformation")
        inject(api.OV_getSystemInformation.function, injected.code);
    if (name == "queryDeviceInformation")
        inject(api.queryDeviceInformation.function, injected.code);
}

} // namespace

void injectFault(const Fault &fault, int callsWithoutFault)
{
    injected = fault;
    callCount = 0;
    failingCall = callsWithoutFault == 0 ? 0 : positionOf(fault.call, callsWithoutFault);
    injectWindows(platform::windowsApi());
    injectKernel(platform::kernelApi());
}

int callsOfFaultyFunction()
{
    return callCount;
}
