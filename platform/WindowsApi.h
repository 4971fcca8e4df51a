#pragma once

#include "platform/WindowsTypes.h"

#include <functional>

namespace platform
{

/// The Windows functions that the program calls, under their Windows names. Arguments, results and
/// error behaviour are those of the Windows documentation.
struct WindowsApi {
    // IP Helper
    std::function<ULONG(ULONG family, ULONG flags, void *reserved, IP_ADAPTER_ADDRESSES *addresses,
                        ULONG *bufferSize)>
        GetAdaptersAddresses;

    // SetupAPI
    std::function<HDEVINFO(const GUID *classGuid, const wchar_t *enumerator, HWND parent,
                           DWORD flags)>
        SetupDiGetClassDevsW;
    std::function<BOOL(HDEVINFO set, DWORD index, SP_DEVINFO_DATA *info)> SetupDiEnumDeviceInfo;
    std::function<BOOL(HDEVINFO set, SP_DEVINFO_DATA *info, DWORD property, DWORD *type,
                       BYTE *buffer, DWORD bufferSize, DWORD *requiredSize)>
        SetupDiGetDeviceRegistryPropertyA;

    // Process status
    std::function<BOOL(LPVOID *addresses, DWORD size, DWORD *neededSize)> K32EnumDeviceDrivers;
    std::function<DWORD(LPVOID address, char *name, DWORD size)> K32GetDeviceDriverBaseNameA;

    // Console
    std::function<HANDLE(DWORD standardHandle)> GetStdHandle;
    std::function<BOOL(HANDLE console, CONSOLE_SCREEN_BUFFER_INFO *info)>
        GetConsoleScreenBufferInfo;
    std::function<BOOL(HANDLE console, WORD attributes)> SetConsoleTextAttribute;
};

/// Returns the one table that the program calls through: the SDK's functions on Windows, the
/// simulated PC elsewhere. Entries may be replaced while no search runs.
WindowsApi &windowsApi();

} // namespace platform
