#pragma once

#include <QList>
#include <QString>
#include <QStringList>

struct AdapterInfo;

/// Lists the real-time kernel's network devices in one session of its own. Appends to `available`
/// one record per device and to `connections` the ports of each saved connection, whose identifiers
/// are in `configured`, all completed with their PCI location. These identifiers are converted to
/// the local code page, on purpose. Sets `errorText` to "[ERROR]: " and the reason when the session
/// or the listing fails. `context` is not used. Throws what resolving saved connections throws.
void listKernelAdapters(const void *context, QList<AdapterInfo> &available,
                        const QList<QStringList> &configured,
                        QList<QList<AdapterInfo>> &connections, QString &errorText);
