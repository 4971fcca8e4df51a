#pragma once

// The Windows types, constants and structures that the program uses. On Windows they come from the
// SDK; elsewhere they are declared here under the same names, laid out as on Windows x64.

#include <cstddef>

#ifdef _WIN32

// Each header needs the ones before it.
// clang-format off
#include <winsock2.h>
#include <windows.h>
#include <iphlpapi.h>
#include <psapi.h>
#include <setupapi.h>
// clang-format on

#else

#include <cstdint>

#define WINAPI

using BOOL = std::int32_t;
using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using ULONG = std::uint32_t;
using ULONG64 = std::uint64_t;
using ULONG_PTR = std::uint64_t;
using HANDLE = void *;
using HWND = void *;
using HDEVINFO = void *;
using LPVOID = void *;

inline constexpr BOOL TRUE = 1;
inline constexpr BOOL FALSE = 0;

// winerror.h
inline constexpr DWORD NO_ERROR = 0;
inline constexpr DWORD ERROR_INVALID_PARAMETER = 87;
inline constexpr DWORD ERROR_BUFFER_OVERFLOW = 111;
inline constexpr DWORD ERROR_NO_DATA = 232;

// winsock2.h, ipifcons.h, ifdef.h, iptypes.h
inline constexpr ULONG AF_INET = 2;
inline constexpr ULONG GAA_FLAG_INCLUDE_PREFIX = 0x10;
inline constexpr DWORD IF_TYPE_ETHERNET_CSMACD = 6;
enum IF_OPER_STATUS : int { IfOperStatusUp = 1, IfOperStatusDown = 2 };

struct IP_ADAPTER_ADDRESSES {
    BYTE BytesBeforeNext[8];
    IP_ADAPTER_ADDRESSES *Next;
    BYTE BytesBeforeDescription[48];
    wchar_t *Description;
    BYTE BytesBeforeIfType[28];
    DWORD IfType;
    IF_OPER_STATUS OperStatus;
    BYTE BytesBeforeTransmitLinkSpeed[76];
    ULONG64 TransmitLinkSpeed;
    BYTE BytesBehind[256];
};

// setupapi.h
struct GUID {
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    std::uint8_t Data4[8];
};

struct SP_DEVINFO_DATA {
    DWORD cbSize;
    GUID ClassGuid;
    DWORD DevInst;
    ULONG_PTR Reserved;
};

// NOLINTNEXTLINE(performance-no-int-to-ptr): Windows defines the value as an integer.
inline const HANDLE INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(~std::uintptr_t{0});
inline constexpr DWORD DIGCF_PRESENT = 0x2;
inline constexpr DWORD SPDRP_DEVICEDESC = 0x0;
inline constexpr DWORD SPDRP_HARDWAREID = 0x1;
inline constexpr DWORD SPDRP_FRIENDLYNAME = 0xC;
inline constexpr DWORD SPDRP_LOCATION_INFORMATION = 0xD;
inline constexpr DWORD REG_SZ = 1;
inline constexpr DWORD REG_MULTI_SZ = 7;

// wincon.h, processenv.h
inline constexpr DWORD STD_OUTPUT_HANDLE = static_cast<DWORD>(-11);

struct CONSOLE_SCREEN_BUFFER_INFO {
    WORD WordsBeforeAttributes[4];
    WORD wAttributes;
    WORD WordsBehind[6];
};

#endif

static_assert(offsetof(IP_ADAPTER_ADDRESSES, Next) == 8);
static_assert(offsetof(IP_ADAPTER_ADDRESSES, Description) == 64);
static_assert(offsetof(IP_ADAPTER_ADDRESSES, IfType) == 100);
static_assert(offsetof(IP_ADAPTER_ADDRESSES, OperStatus) == 104);
static_assert(offsetof(IP_ADAPTER_ADDRESSES, TransmitLinkSpeed) == 184);
static_assert(sizeof(IP_ADAPTER_ADDRESSES) == 448);
static_assert(sizeof(SP_DEVINFO_DATA) == 32);
static_assert(offsetof(CONSOLE_SCREEN_BUFFER_INFO, wAttributes) == 8);
static_assert(sizeof(CONSOLE_SCREEN_BUFFER_INFO) == 22);
