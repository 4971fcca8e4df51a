#pragma once

#include <QString>

#include <cstdint>

struct AdapterInfo;

/// Finds the network device node whose friendly name is `adapterDescription` and writes its first
/// hardware identifier, its description and its PCI slot and port. On no match the outputs keep
/// what the caller put in them. With `tagTwinPorts`, the identifier of a port that has a twin on
/// the same adapter gets the suffix "\#01" or "\#02".
void resolvePciLocation(QString &hardwareId, QString &deviceDescription, std::uint32_t &slot,
                        std::uint32_t &port, const QString &adapterDescription,
                        const bool &tagTwinPorts);

/// Reads the PCI bus from a location text. Writes `value` only when it returns true.
bool parsePciBus(std::uint32_t &value, const QString &location);

/// Reads the PCI function from a location text. Writes `value` only when it returns true.
bool parsePciFunction(std::uint32_t &value, const QString &location);

/// Completes a record with PCI slot, port and entry text; leaves it unchanged when no device node
/// has its name.
void appendPciLocation(AdapterInfo &adapter);
