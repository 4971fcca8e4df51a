#pragma once

#include <cstdint>
#include <string>

/// Slot or port that is not known.
inline constexpr std::uint32_t unknownPciNumber = 0xFFFFFFFF;

/// One adapter port. Texts are UTF-8.
struct AdapterInfo {
    /// The identifier by which the port is keyed and that the configuration file stores.
    std::string deviceId;
    /// The adapter entry text; of a kernel's device the name alone until appendPciLocation().
    std::string name;
    std::string description;
    std::uint32_t pciSlot = unknownPciNumber;
    std::uint32_t pciPort = unknownPciNumber;
    std::uint8_t flagA = 0;
    std::uint8_t flagB = 0;

    /// Returns whether both are the same port: only the identifiers are compared.
    bool operator==(const AdapterInfo &other) const { return deviceId == other.deviceId; }
};
