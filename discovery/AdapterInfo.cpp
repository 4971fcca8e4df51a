#include "discovery/AdapterInfo.h"

bool operator==(const AdapterInfo &first, const AdapterInfo &second)
{
    return first.deviceId == second.deviceId;
}

QString adapterEntryText(const QString &adapterName, std::uint32_t pciSlot, std::uint32_t pciPort)
{
    if (pciSlot == unknownPciNumber || pciPort == unknownPciNumber)
        return adapterName;

    const QString slot = QString::number(static_cast<int>(pciSlot));
    const QString port = QString::number(static_cast<int>(pciPort));
    return adapterName + pciSlotMarker + " " + slot + pciPortMarker + port;
}

QString adapterNameOf(const QString &entryText)
{
    return entryText.mid(0, entryText.indexOf(pciSlotMarker));
}
