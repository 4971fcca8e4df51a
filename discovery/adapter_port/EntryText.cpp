#include "discovery/adapter_port/EntryText.h"

#include "discovery/adapter_port/AdapterInfo.h"

namespace
{

// Readers look for these pieces without the blank that follows the first.
constexpr QLatin1String slotMarker(". PCI Slot:");
constexpr QLatin1String portMarker(", Port: ");
constexpr char separator[] = " + ";

} // namespace

QString adapterEntryText(const QString &adapterName, std::uint32_t pciSlot, std::uint32_t pciPort)
{
    if (pciSlot == unknownPciNumber || pciPort == unknownPciNumber)
        return adapterName;

    const QString slot = QString::number(static_cast<int>(pciSlot));
    const QString port = QString::number(static_cast<int>(pciPort));
    return adapterName + slotMarker + " " + slot + portMarker + port;
}

QString adapterNameOf(const QString &entryText)
{
    return entryText.mid(0, entryText.indexOf(slotMarker));
}

std::optional<QString> pciSlotText(const QString &entryText)
{
    const qsizetype slot = entryText.indexOf(slotMarker);
    const qsizetype port = entryText.indexOf(portMarker);
    if (slot == -1 || port == -1)
        return std::nullopt;
    const qsizetype begin = slot + slotMarker.size();
    return entryText.mid(begin, port - begin);
}

QString dualLinkText(const QStringList &entryTexts)
{
    return entryTexts.join(separator);
}

std::string dualLinkText(const std::string &firstEntryText, const std::string &secondEntryText)
{
    return firstEntryText + separator + secondEntryText;
}

QStringList dualLinkParts(const QString &dualLinkText)
{
    return dualLinkText.split(separator, Qt::KeepEmptyParts, Qt::CaseSensitive);
}
