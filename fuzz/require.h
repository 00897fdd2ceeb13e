// SPDX-License-Identifier: MIT
// Ends the run with a message and a crash report if a promise does not hold.
#pragma once

#include <cstdio>
#include <cstdlib>

inline void require(bool holds, const char *promise)
{
    if (holds)
        return;
    std::fprintf(stderr, "broken: %s\n", promise);
    std::abort();
}
