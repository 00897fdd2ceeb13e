// SPDX-License-Identifier: MIT
// Sees when the time of day jumps: it is compared with the clock that only goes forward. Summer
// time is not a jump, since times are UTC.
#pragma once

#include "clock.h"

#include <optional>

namespace kvgateway
{

class ClockWatch
{
public:
    /// Smaller corrections are not reported: time servers make them all the time.
    static constexpr kvlink::Duration least = std::chrono::seconds(2);

    explicit ClockWatch(const Clock &clock) : m_wall(clock.wall()), m_steady(clock.steady()) {}

    /// \return by how much the time of day jumped since the last call; none if it did not
    std::optional<kvlink::Duration> look(const Clock &clock);

private:
    kvlink::WallTime m_wall;
    kvlink::SteadyTime m_steady;
};

} // namespace kvgateway
