#pragma once

#include "discovery/adapter_port/AdapterInfo.h"

#include <QStringList>

/// Returns "identifier|name|description|slot|port|flagA|flagB", -1 for an unknown number.
inline QString textOf(const AdapterInfo &adapter)
{
    return QString("%1|%2|%3|%4|%5|%6|%7")
        .arg(QString::fromStdString(adapter.deviceId), QString::fromStdString(adapter.name),
             QString::fromStdString(adapter.description))
        .arg(static_cast<int>(adapter.pciSlot))
        .arg(static_cast<int>(adapter.pciPort))
        .arg(adapter.flagA)
        .arg(adapter.flagB);
}

/// Returns the text of each adapter of a list or vector.
template <typename Adapters>
QStringList textsOf(const Adapters &adapters)
{
    QStringList texts;
    for (const AdapterInfo &adapter : adapters)
        texts.append(textOf(adapter));
    return texts;
}
