#include "adapter_page/LinkRules.h"

#include "discovery/AdapterInfo.h"

#include <optional>

namespace
{

std::optional<QString> pciSlotText(const QString &entryText)
{
    const qsizetype slot = entryText.indexOf(pciSlotMarker);
    const qsizetype port = entryText.indexOf(pciPortMarker);
    if (slot == -1 || port == -1)
        return std::nullopt;
    const qsizetype begin = slot + pciSlotMarker.size();
    return entryText.mid(begin, port - begin);
}

struct Lamp {
    const char *image;
    const char *description;
};

Lamp lamp(int status)
{
    switch (status) {
    case 1:
        return {":/green.xpm", "Link up"};
    case 0:
        return {":/red.xpm", "Link down"};
    default:
        return {":/white.xpm", "Link state unknown"};
    }
}

} // namespace

QString dualLinkText(const QStringList &entryTexts)
{
    return entryTexts.join(dualLinkSeparator);
}

QStringList dualLinkParts(const QString &dualLinkText)
{
    return dualLinkText.split(dualLinkSeparator, Qt::KeepEmptyParts, Qt::CaseSensitive);
}

bool isSameAdapter(const QString &firstEntryText, const QString &secondEntryText)
{
    const auto first = pciSlotText(firstEntryText);
    const auto second = pciSlotText(secondEntryText);
    if (!first || !second)
        return true;
    return first->toInt() == second->toInt();
}

int dualLinkStatus(int firstStatus, int secondStatus)
{
    if (firstStatus == 1 && secondStatus == 1)
        return 1;
    if (firstStatus == -1 || secondStatus == -1)
        return -1;
    return 0;
}

QString lampImage(int status)
{
    return lamp(status).image;
}

QString lampDescription(int status)
{
    return lamp(status).description;
}
