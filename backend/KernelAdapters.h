#pragma once

#include <QList>
#include <QString>
#include <QStringList>

struct AdapterInfo;

/// Lists the real-time kernel's network devices in one session of its own. Appends to
/// `kernelAdapters` one record per device and to `resolvedGroups` one list per list of
/// `savedGroups`, all completed with their PCI location. Sets `errorText` to "[ERROR]: " and the
/// reason when the session or the listing fails. `context` is not used. Throws what resolving the
/// saved groups throws.
void listKernelAdapters(const void *context, QList<AdapterInfo> &kernelAdapters,
                        const QList<QStringList> &savedGroups,
                        QList<QList<AdapterInfo>> &resolvedGroups, QString &errorText);
