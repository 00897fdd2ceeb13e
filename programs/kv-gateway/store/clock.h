// SPDX-License-Identifier: MIT
// The two clocks of the machine, handed in: tests turn them by hand.
#pragma once

#include <kvlink/times.h>

namespace kvgateway
{

/// Any thread. Times are those of kvlink: microseconds.
class Clock
{
public:
    virtual ~Clock() = default;

    /// Time of day, UTC. It may jump.
    virtual kvlink::WallTime wall() const = 0;
    /// Only goes forward; for ages and time-outs.
    virtual kvlink::SteadyTime steady() const = 0;
};

/// The clocks of the machine.
class MachineClock : public Clock
{
public:
    kvlink::WallTime wall() const override
    {
        return std::chrono::time_point_cast<kvlink::Duration>(std::chrono::system_clock::now());
    }
    kvlink::SteadyTime steady() const override
    {
        return std::chrono::time_point_cast<kvlink::Duration>(std::chrono::steady_clock::now());
    }
};

} // namespace kvgateway
