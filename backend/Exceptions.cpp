#include "backend/Exceptions.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>

namespace DPL
{

namespace
{

constexpr std::int32_t unknownKernelError = -200;

struct Translation {
    std::uint32_t kernelCode;
    std::int32_t programCode;
};

constexpr Translation translations[] = {
    {0x00000000, 0},    {0x10040000, -104}, {0x10050000, -104}, {0x10100000, -104},
    {0x101E0000, -104}, {0x101F0000, -104}, {0x104C0000, -104}, {0x10060000, -105},
    {0x10110000, -105}, {0x10280000, -105}, {0x10460000, -105}, {0x10480000, -105},
    {0x104B0000, -105}, {0x100A0000, -106}, {0x100B0000, -100}, {0x100C0000, -122},
    {0x101A0000, -122}, {0x100D0000, -102}, {0x10170000, -102}, {0x10120000, -118},
    {0x102A0000, -118}, {0x10430000, -118}, {0x104A0000, -118}, {0x10160000, -112},
    {0x10180000, -112}, {0x10190000, -115}, {0x101B0000, -115}, {0x10490000, -115},
    {0x10220000, -109}, {0x10230000, -108}, {0x10370000, -123}, {0x10390000, -123},
    {0x103A0000, -123}, {0x3F040000, -121}};

struct CodeRange {
    std::uint32_t first;
    std::uint32_t last;
};

/// Kernel codes without a program code of their own, in steps of 0x10000.
constexpr CodeRange computedCodes[] = {
    {0x10070000, 0x10080000}, {0x100E0000, 0x100F0000}, {0x10130000, 0x10150000},
    {0x101C0000, 0x101D0000}, {0x10200000, 0x10210000}, {0x10240000, 0x10270000},
    {0x10290000, 0x10290000}, {0x10380000, 0x10380000}, {0x103C0000, 0x10420000},
    {0x10440000, 0x10450000}, {0x10470000, 0x10470000}, {0x104D0000, 0x10550000},
    {0x3F000000, 0x3F030000}, {0x3F050000, 0x3F0E0000}, {0x3F100000, 0x3F130000},
};

bool isComputed(std::uint32_t kernelCode)
{
    return (kernelCode & 0xFFFF) == 0 &&
           std::ranges::any_of(computedCodes, [&](const CodeRange &range) {
               return range.first <= kernelCode && kernelCode <= range.last;
           });
}

} // namespace

GenericException::GenericException(std::int32_t errorCode, const std::string &message)
    : m_message(message), m_errorCode(errorCode)
{
}

const char *GenericException::what() const noexcept
{
    return m_message.c_str();
}

std::string formatErrorMessage(std::int32_t code)
{
    std::array<char, 512> description{};
    std::snprintf(description.data(), description.size(), "ErrCode: %d", code);
    return "Code: [" + std::to_string(code) + "] - Error description: " + description.data();
}

void throwOnError(std::int32_t code)
{
#define DPL_THROW_EXCEPTION(exceptionCode, Name)                                                   \
    case exceptionCode:                                                                            \
        throw Name(formatErrorMessage(code));

    switch (code) {
    case 0:
        return;
        DPL_EXCEPTIONS(DPL_THROW_EXCEPTION)
    default:
        throw GenericException(code, formatErrorMessage(code));
    }
#undef DPL_THROW_EXCEPTION
}

std::int32_t translateKernelError(std::uint32_t kernelCode)
{
    const auto *translation = std::ranges::find(translations, kernelCode, &Translation::kernelCode);
    if (translation != std::end(translations))
        return translation->programCode;
    if (!isComputed(kernelCode))
        return unknownKernelError;
    // Kept although it lies outside the codes that have an exception of their own.
    return static_cast<std::int32_t>((0U - (kernelCode & 0x00FF0000U)) | 0xF1000000U);
}

} // namespace DPL
