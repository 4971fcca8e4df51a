#include "adapter_page/LinkRules.h"

#include "discovery/EntryText.h"

namespace
{

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

QString portDescription(const QString &identifier, const QString &description, int status)
{
    return QString("Identifier: %1\nDescription: %2\n%3")
        .arg(identifier, description, lamp(status).description);
}
