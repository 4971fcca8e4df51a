#include "adapter_page/LinkRules.h"

#include "discovery/EntryText.h"

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

const Lamp &lampOf(int status)
{
    for (const Lamp &lamp : allLamps) {
        if (lamp.status == status)
            return lamp;
    }
    return allLamps.back();
}

QString portDescription(const QString &identifier, const QString &description, int status)
{
    return QString("Identifier: %1\nDescription: %2\n%3")
        .arg(identifier, description, lampOf(status).description);
}
