#pragma once

#include <QString>

/// Returns whether two entry texts name the same PCI slot. Entries that cannot be parsed count as
/// the same adapter.
bool isSameAdapter(const QString &firstEntryText, const QString &secondEntryText);

/// Returns the status of a Dual Link from those of its ports: 1 both up, 0 not both up, -1 at least
/// one unknown.
int dualLinkStatus(int firstStatus, int secondStatus);

/// Returns the image of a port's lamp: green for status 1, red for 0, white for any other.
QString lampImage(int status);

/// Returns in words what a port is and what its lamp shows, a line each. Plain text.
QString portDescription(const QString &identifier, const QString &description, int status);
