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

    /// Returns what the current process holds now.
    static ProcessResources now();
};

/// Has every search run on one thread that stays, so that threads and their handles do not come and
/// go with the machine's load.
void keepOneSearchThread();
