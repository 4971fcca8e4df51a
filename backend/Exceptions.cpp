#include "backend/Exceptions.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace DPL
{

namespace
{

constexpr std::int32_t unknownKernelError = -200;

struct CodeRange {
    std::uint32_t first;
    std::uint32_t last;
};

/// Kernel codes without a program code of their own, in steps of 0x10000.
constexpr std::array computedCodes = {
    CodeRange{0x10070000, 0x10080000}, CodeRange{0x100E0000, 0x100F0000},
    CodeRange{0x10130000, 0x10150000}, CodeRange{0x101C0000, 0x101D0000},
    CodeRange{0x10200000, 0x10210000}, CodeRange{0x10240000, 0x10270000},
    CodeRange{0x10290000, 0x10290000}, CodeRange{0x10380000, 0x10380000},
    CodeRange{0x103C0000, 0x10420000}, CodeRange{0x10440000, 0x10450000},
    CodeRange{0x10470000, 0x10470000}, CodeRange{0x104D0000, 0x10550000},
    CodeRange{0x3F000000, 0x3F030000}, CodeRange{0x3F050000, 0x3F0E0000},
    CodeRange{0x3F100000, 0x3F130000},
};

bool isComputed(std::uint32_t kernelCode)
{
    if ((kernelCode & 0xFFFF) != 0)
        return false;
    return std::any_of(computedCodes.begin(), computedCodes.end(), [&](const CodeRange &range) {
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
    switch (kernelCode) {
    case 0x00000000:
        return 0;
    case 0x10040000:
    case 0x10050000:
    case 0x10100000:
    case 0x101E0000:
    case 0x101F0000:
    case 0x104C0000:
        return -104;
    case 0x10060000:
    case 0x10110000:
    case 0x10280000:
    case 0x10460000:
    case 0x10480000:
    case 0x104B0000:
        return -105;
    case 0x100A0000:
        return -106;
    case 0x100B0000:
        return -100;
    case 0x100C0000:
    case 0x101A0000:
        return -122;
    case 0x100D0000:
    case 0x10170000:
        return -102;
    case 0x10120000:
    case 0x102A0000:
    case 0x10430000:
    case 0x104A0000:
        return -118;
    case 0x10160000:
    case 0x10180000:
        return -112;
    case 0x10190000:
    case 0x101B0000:
    case 0x10490000:
        return -115;
    case 0x10220000:
        return -109;
    case 0x10230000:
        return -108;
    case 0x10370000:
    case 0x10390000:
    case 0x103A0000:
        return -123;
    case 0x3F040000:
        return -121;
    default:
        break;
    }

    if (!isComputed(kernelCode))
        return unknownKernelError;
    // Kept although it lies outside the codes that have an exception of their own.
    return static_cast<std::int32_t>((0U - (kernelCode & 0x00FF0000U)) | 0xF1000000U);
}

} // namespace DPL
