// SPDX-License-Identifier: MIT
// The clock, handed in: tests move time by hand.
#pragma once

#include <kvlink/times.h>

#include <algorithm>

namespace kvlink
{

/// A wait without end, for clocks that count nanoseconds and for a time_t of 32 bits: longer than
/// any program runs, and no sum of it overflows.
constexpr Duration longestWait = std::chrono::hours(24 * 365 * 10);

/// Callers wait for Duration::max() when they do not want to give up.
constexpr Duration countable(Duration wait)
{
    return std::min(wait, longestWait);
}

class Clock
{
public:
    virtual ~Clock() = default;
    virtual SteadyTime now() const = 0;
    virtual WallTime wallNow() const = 0;
};

class SystemClock final : public Clock
{
public:
    SteadyTime now() const override
    {
        return std::chrono::time_point_cast<Duration>(std::chrono::steady_clock::now());
    }
    WallTime wallNow() const override
    {
        return std::chrono::time_point_cast<Duration>(std::chrono::system_clock::now());
    }
};

} // namespace kvlink
