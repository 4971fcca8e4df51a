#include "platform/WindowsApi.h"

namespace platform
{

WindowsApi &windowsApi()
{
    static WindowsApi api{
        ::GetAdaptersAddresses,
        ::SetupDiGetClassDevsW,
        ::SetupDiEnumDeviceInfo,
        ::SetupDiGetDeviceRegistryPropertyA,
        ::K32EnumDeviceDrivers,
        ::K32GetDeviceDriverBaseNameA,
        ::GetStdHandle,
        ::GetConsoleScreenBufferInfo,
        ::SetConsoleTextAttribute,
    };
    return api;
}

} // namespace platform
