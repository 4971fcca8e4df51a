#pragma once

#include <QString>
#include <QStringList>

#include <cstdint>
#include <optional>
#include <string>

/// Returns the adapter entry text: the name, followed by PCI slot and port when both are known.
QString adapterEntryText(const QString &adapterName, std::uint32_t pciSlot, std::uint32_t pciPort);

/// Returns the adapter name of an entry text: the part before the PCI slot, or the whole text.
QString adapterNameOf(const QString &entryText);

/// Returns the PCI slot's part of an entry text, nothing if slot or port is missing.
std::optional<QString> pciSlotText(const QString &entryText);

/// Returns the text of a Dual Link: the entry texts joined by " + ", in order.
QString dualLinkText(const QStringList &entryTexts);

/// Returns the UTF-8 text of a Dual Link, joined byte by byte.
std::string dualLinkText(const std::string &firstEntryText, const std::string &secondEntryText);

/// Returns the entry texts of a Dual Link's text.
QStringList dualLinkParts(const QString &dualLinkText);
