#pragma once

#include <valgrind/callgrind.h>

/// Ends a phase of a benchmark: callgrind writes the instructions counted since the phase before
/// into a profile of its own, under this name.
inline void endPhase(const char *name)
{
    CALLGRIND_DUMP_STATS_AT(name);
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
