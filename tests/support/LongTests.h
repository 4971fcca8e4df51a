#pragma once

#include <QString>

/// Returns how many of a long test's rounds are to run: the percentage in the environment variable
/// ORVANTA_LONG_TESTS, or ten percent.
inline int roundsOfLongTest(int all)
{
    const double percent = qEnvironmentVariable("ORVANTA_LONG_TESTS", "10").toDouble();
    return static_cast<int>(all * percent / 100);
}
