#pragma once

#include <cstddef>
#include <cstdint>

namespace platform
{

// The records that cross the API library's border, as its interface lays them out. Bytes without
// a name belong to the library.

/// What OV_getSystemInformation fills.
struct SystemInformation {
    /// Size of the record in bytes.
    std::uint32_t size;
    std::uint8_t libraryBytes4[676];
};
static_assert(sizeof(SystemInformation) == 680);

/// What queryDeviceInformation fills. Texts may lack their NUL.
struct DeviceInfo {
    /// Size of the record in bytes.
    std::uint32_t size;
    char libraryBytes4[80];
    char description[160];
    /// The fields after the name are not known: the text ends with the record at the latest.
    char friendlyName[960];
};
static_assert(offsetof(DeviceInfo, description) == 84);
static_assert(offsetof(DeviceInfo, friendlyName) == 244);
static_assert(sizeof(DeviceInfo) == 1204);

/// Size in bytes of the buffer that OV_enumDevicesEx fills with a device's identifier.
inline constexpr std::size_t deviceIdSize = 256;

#pragma pack(push, 1)

/// The block of kernel shared memory that the program shares with the kernel-side library, which
/// defines its layout.
struct SharedData {
    std::uint32_t kernelHandle;
    std::uint8_t libraryBytes4[48];
    std::uint32_t firstObject;
    std::uint32_t secondObject;
    std::uint8_t libraryBytes60[170];
    std::uint8_t zeroFilled[40];
    std::uint8_t libraryBytes270[8];
    std::uint8_t optionA;
    std::uint8_t libraryBytes279[8];
};

#pragma pack(pop)

static_assert(offsetof(SharedData, firstObject) == 52);
static_assert(offsetof(SharedData, secondObject) == 56);
static_assert(offsetof(SharedData, zeroFilled) == 230);
static_assert(offsetof(SharedData, optionA) == 278);
static_assert(sizeof(SharedData) == 287);

} // namespace platform
