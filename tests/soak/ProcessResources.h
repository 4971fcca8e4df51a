#pragma once

#include <QtGlobal>

/// What a process holds of its system at one moment.
struct ProcessResources {
    /// In bytes: resident memory, on Windows memory that no other process shares.
    qint64 memory = 0;
    /// Open file descriptors, on Windows open handles.
    qint64 handles = 0;
    qint64 threads = 0;
    /// Objects of the Windows desktop: brushes, fonts, windows and the like. Elsewhere there are
    /// none.
    qint64 guiObjects = 0;

    /// Returns what the current process holds now.
    static ProcessResources now();
};
