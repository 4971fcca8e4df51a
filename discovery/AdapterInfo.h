#pragma once

#include <QString>

#include <cstdint>
#include <string>

/// Slot or port that is not known.
inline constexpr std::uint32_t unknownPciNumber = 0xFFFFFFFF;

/// One adapter port. Texts are UTF-8.
struct AdapterInfo {
    /// The identifier by which the port is keyed and that the configuration file stores.
    std::string deviceId;
    /// The adapter entry text.
    std::string name;
    std::string description;
    std::uint32_t pciSlot = unknownPciNumber;
    std::uint32_t pciPort = unknownPciNumber;
    std::uint8_t flagA = 0;
    std::uint8_t flagB = 0;
};

/// Returns whether both are the same port: only the identifiers are compared.
bool operator==(const AdapterInfo &first, const AdapterInfo &second);

/// The two literal pieces of an entry text, as its readers look for them.
inline const QString pciSlotMarker = ". PCI Slot:";
inline const QString pciPortMarker = ", Port: ";

/// What joins the two entry texts of a Dual Link.
inline const QString dualLinkSeparator = " + ";

/// Returns the adapter entry text: the name, followed by PCI slot and port when both are known.
QString adapterEntryText(const QString &adapterName, std::uint32_t pciSlot, std::uint32_t pciPort);

/// Returns the adapter name of an entry text: all before the PCI slot, or the whole text.
QString adapterNameOf(const QString &entryText);
