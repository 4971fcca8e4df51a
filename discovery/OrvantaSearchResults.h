#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <cstdint>

/// One row of a list of single ports.
struct AdapterEntry {
    /// The adapter entry text.
    QString name;
    QString deviceId;
    QString description;
    /// Always 0; no reader uses it.
    std::int32_t status = 0;
};

/// One Dual Link connection. Lists hold the first port's value first.
struct DualLinkEntry {
    /// The two adapter entry texts joined by " + ".
    QString name;
    QStringList deviceIds;
    QStringList descriptions;
};

/// What one adapter search found.
struct OrvantaSearchResults {
    /// The kernel's devices that no saved connection uses, in the kernel's order.
    QList<AdapterEntry> availableAdapters;
    /// The saved connections of one port, in file order.
    QList<AdapterEntry> singleLinks;
    /// The saved connections of two ports, in file order.
    QList<DualLinkEntry> dualLinks;
    /// The text to show to the user; empty when the search succeeded.
    QString errorMessage;
};
