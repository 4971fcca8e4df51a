#pragma once

// A benchmark goes through phases. Callgrind writes the instructions of each into a profile of its
// own.

#include <QFile>

#include <cstdio>

#include <valgrind/callgrind.h>

/// Ends a phase of a benchmark.
inline void endPhase(const char *name)
{
    CALLGRIND_DUMP_STATS_AT(name);
}

/// Ends a phase and prints the largest amount of memory that the process has used so far.
inline void endPhaseWithMemory(const char *name)
{
    endPhase(name);
    QFile status("/proc/self/status");
    if (!status.open(QIODevice::ReadOnly))
        qFatal("Expected /proc/self/status to be readable");
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:"))
            std::printf("%s: %d KiB\n", name, line.mid(6).simplified().split(' ')[0].toInt());
    }
}

/// Starts and stops counting, where callgrind was told not to count from the start.
inline void startCounting()
{
    CALLGRIND_START_INSTRUMENTATION;
}

inline void stopCounting()
{
    CALLGRIND_STOP_INSTRUMENTATION;
}
