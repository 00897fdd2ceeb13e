// SPDX-License-Identifier: MIT
#include "clock_watch.h"

namespace kvgateway
{

std::optional<kvlink::Duration> ClockWatch::look(const Clock &clock)
{
    const kvlink::WallTime wall = clock.wall();
    const kvlink::SteadyTime steady = clock.steady();
    const kvlink::Duration jump = (wall - m_wall) - (steady - m_steady);
    m_wall = wall;
    m_steady = steady;
    const bool isJump = jump <= -least || jump >= least;
    return isJump ? std::optional(jump) : std::nullopt;
}

} // namespace kvgateway
