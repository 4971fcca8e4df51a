#pragma once

#include <QList>
#include <QString>

struct AdapterInfo;

/// Result codes of enumerateWindowsAdapters().
namespace WindowsAdapterError
{
inline constexpr int none = 0;
inline constexpr int outOfMemory = 1;
inline constexpr int noAdapter = 2;
/// Known to the page; the enumeration itself never returns it.
inline constexpr int no10GAdapter = 3;
inline constexpr int unknown = 99;
} // namespace WindowsAdapterError

/// Appends the Ethernet adapters that are up and slower than 10 Gbit/s, in Windows' order, and
/// returns a WindowsAdapterError.
int enumerateWindowsAdapters(QList<AdapterInfo> &adapters);

/// Returns 1 when the Ethernet adapter with this description is up, 0 when it is not, -1 when there
/// is none or the list cannot be read.
int queryAdapterStatus(const QString &adapterName);
