#pragma once

#include <cstddef>
#include <cstdint>

namespace DPL
{

#pragma pack(push, 1)

/// The block of kernel shared memory that the program shares with the kernel-side library, which
/// defines its layout. Bytes without a name belong to that library.
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

} // namespace DPL
