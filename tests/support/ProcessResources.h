#pragma once

#include <QtGlobal>

/// What a process holds of its system at one moment.
struct ProcessResources {
    /// Resident memory in bytes.
    qint64 memory = 0;
    /// Open file descriptors, on Windows open handles.
    qint64 handles = 0;
    qint64 threads = 0;
    /// Brushes, fonts, bitmaps and the like of Windows. Elsewhere there are none.
    qint64 gdiObjects = 0;
    /// Standard handles of Windows that lead nowhere any more.
    qint64 closedStandardHandles = 0;

    /// Returns what the current process holds now.
    static ProcessResources now();

    /// Both leave the threads that Qt keeps for its own work out, which on Windows have handles.
    bool hasNoMoreHandlesThan(const ProcessResources &before) const;
    /// Memory apart.
    bool isNoMoreThan(const ProcessResources &before) const;
};
