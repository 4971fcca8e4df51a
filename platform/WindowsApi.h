#pragma once

#include "platform/ApiFunction.h"
#include "platform/WindowsTypes.h"

namespace platform
{

// The one list of the Windows functions that the program calls: result, name, parameters. IP Helper
// comes first, then SetupAPI, process status and console.
#define PLATFORM_WINDOWS_FUNCTIONS(FUNCTION)                                                       \
    FUNCTION(ULONG, GetAdaptersAddresses,                                                          \
             (ULONG family, ULONG flags, void *reserved, IP_ADAPTER_ADDRESSES *addresses,          \
              ULONG *bufferSize))                                                                  \
    FUNCTION(HDEVINFO, SetupDiGetClassDevsW,                                                       \
             (const GUID *classGuid, const wchar_t *enumerator, HWND parent, DWORD flags))         \
    FUNCTION(BOOL, SetupDiEnumDeviceInfo, (HDEVINFO set, DWORD index, SP_DEVINFO_DATA * info))     \
    FUNCTION(BOOL, SetupDiGetDeviceRegistryPropertyA,                                              \
             (HDEVINFO set, SP_DEVINFO_DATA * info, DWORD property, DWORD * type, BYTE * buffer,   \
              DWORD bufferSize, DWORD * requiredSize))                                             \
    FUNCTION(BOOL, K32EnumDeviceDrivers, (LPVOID * addresses, DWORD size, DWORD * neededSize))     \
    FUNCTION(DWORD, K32GetDeviceDriverBaseNameA, (LPVOID address, char *name, DWORD size))         \
    FUNCTION(HANDLE, GetStdHandle, (DWORD standardHandle))                                         \
    FUNCTION(BOOL, GetConsoleScreenBufferInfo,                                                     \
             (HANDLE console, CONSOLE_SCREEN_BUFFER_INFO * info))                                  \
    FUNCTION(BOOL, SetConsoleTextAttribute, (HANDLE console, WORD attributes))

/// The table of the Windows functions, under their Windows names. Arguments, results and error
/// behaviour are those of the Windows documentation.
struct WindowsApi {
#define PLATFORM_DECLARE(Result, name, parameters) ApiFunction<Result parameters> name{#name, {}};
    PLATFORM_WINDOWS_FUNCTIONS(PLATFORM_DECLARE)
#undef PLATFORM_DECLARE

    /// Calls `visit` with each function.
    template <typename Visitor>
    void forEach(Visitor visit)
    {
#define PLATFORM_VISIT(Result, name, parameters) visit(name);
        PLATFORM_WINDOWS_FUNCTIONS(PLATFORM_VISIT)
#undef PLATFORM_VISIT
    }
};

/// Returns the one table that the program calls through, filled by start(): the SDK's functions on
/// Windows, the simulated PC elsewhere. Entries may be replaced while no search runs. Never
/// destroyed, like the API library's table.
inline WindowsApi &windowsApi()
{
    static WindowsApi &api = *new WindowsApi;
    return api;
}

} // namespace platform
