#include "adapter_page/LinkRules.h"

#include "discovery/adapter_port/EntryText.h"

#include <QSet>

bool isSameAdapter(const QString &firstEntryText, const QString &secondEntryText)
{
    const auto first = pciSlotText(firstEntryText);
    const auto second = pciSlotText(secondEntryText);
    if (!first || !second)
        return true;
    return first->toInt() == second->toInt();
}

QList<int> rowsLeft(const QStringList &available, const QStringList &singleLinks,
                    const QStringList &dualLinks, const QStringList &excluded)
{
    const QSet<QString> singleLinkTexts(singleLinks.begin(), singleLinks.end());
    const QSet<QString> excludedTexts(excluded.begin(), excluded.end());
    // Joined by NUL, which no text holds: nothing is found across two Dual Links. Whole ports are
    // found at once, since the search through all texts takes long on a large PC.
    const QString dualLinkTexts = dualLinks.join(QChar::Null).toCaseFolded();
    QSet<QString> dualLinkPorts;
    for (const QString &text : dualLinkTexts.split(QChar::Null)) {
        for (const QString &port : dualLinkParts(text))
            dualLinkPorts.insert(port);
    }

    QList<int> left;
    for (int row = 0; row < available.size(); ++row) {
        left.append(row);
        const QString &text = available[row];
        if (text.isEmpty())
            continue;
        const QString folded = text.toCaseFolded();
        const bool isInDualLink = dualLinkPorts.contains(folded) || dualLinkTexts.contains(folded);
        // On purpose, each test that matches removes the row that is the last by then.
        if (singleLinkTexts.contains(text))
            left.removeLast();
        if (isInDualLink && !left.isEmpty())
            left.removeLast();
        if (excludedTexts.contains(text) && !left.isEmpty())
            left.removeLast();
    }
    return left;
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

QString portDescription(const QString &deviceId, const QString &description, int status)
{
    return QString("Identifier: %1\nDescription: %2\n%3")
        .arg(deviceId, description, lampOf(status).description);
}
