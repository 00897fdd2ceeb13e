// SPDX-License-Identifier: MIT
// The clock, handed in: tests move time by hand.
#pragma once

#include <kvlink/times.h>

namespace kvlink
{

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
