#pragma once

#include <cstdio>
#include <cstdlib>

/// Ends the process, so that the fuzzer keeps the input, when a property does not hold. `expected`
/// continues "Expected ...".
inline void require(bool holds, const char *expected)
{
    if (holds)
        return;
    std::fprintf(stderr, "Expected %s\n", expected);
    std::abort();
}
