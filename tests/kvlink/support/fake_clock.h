// SPDX-License-Identifier: MIT
// A clock that moves only when the test says so.
#pragma once

#include "model/clock.h"

namespace kvlink
{

class FakeClock final : public Clock
{
public:
    SteadyTime now() const override { return m_now; }
    WallTime wallNow() const override { return WallTime(m_now.time_since_epoch() + m_wallAhead); }

    void advance(Duration by) { m_now += by; }
    void advanceTo(SteadyTime to) { m_now = to > m_now ? to : m_now; }
    /// The time of day jumps; the steady time does not.
    void jumpWall(Duration by) { m_wallAhead += by; }

private:
    SteadyTime m_now{1h};
    Duration m_wallAhead = 400000h;
};

} // namespace kvlink
