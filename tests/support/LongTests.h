#pragma once

#include <QString>

/// Returns how many of a long test's rounds are to run: so many in a hundred as the environment
/// variable ORVANTA_LONG_TESTS says, ten when it is not set.
inline int roundsOfLongTest(int all)
{
    const double percent = qEnvironmentVariable("ORVANTA_LONG_TESTS", "10").toDouble();
    return static_cast<int>(all * percent / 100);
}
