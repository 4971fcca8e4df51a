#pragma once

#include <QStringList>

#include <array>

/// Returns whether two entry texts name the same PCI slot. Entries that cannot be parsed count as
/// the same adapter.
bool isSameAdapter(const QString &firstEntryText, const QString &secondEntryText);

/// Returns the rows of the available list that are left without those that are used or excluded.
QList<int> rowsLeft(const QStringList &available, const QStringList &singleLinks,
                    const QStringList &dualLinks, const QStringList &excluded);

/// Returns the status of a Dual Link from those of its ports: 1 both up, 0 not both up, -1 at least
/// one unknown.
int dualLinkStatus(int firstStatus, int secondStatus);

/// What shows the status of a port or of a Dual Link: an image, and words for it.
struct Lamp {
    int status;
    const char *image;
    const char *description;
};

/// All lamps. The last one also stands for every status that has none of its own.
inline constexpr std::array allLamps = {
    Lamp{1, ":/green.xpm", "Link up"},
    Lamp{0, ":/red.xpm", "Link down"},
    Lamp{-1, ":/white.xpm", "Link state unknown"},
};

/// Returns the lamp for a status.
const Lamp &lampOf(int status);

/// Returns in words what a port is and what its lamp shows, a line each. Plain text.
QString portDescription(const QString &deviceId, const QString &description, int status);
