// SPDX-License-Identifier: MIT
#include "engine/pass_clock.h"

#include <algorithm>

namespace kvlink
{

void PassClock::begin(SteadyTime due)
{
    m_running = true;
    m_due = due;
    ++m_number;
}

void PassClock::passNow(SteadyTime now)
{
    if (m_next == SteadyTime::max())
        m_next = now + m_period;
    else
        tick(now, false);
    begin(now);
}

void PassClock::tick(SteadyTime now, bool canRead)
{
    if (now < m_next)
        return;
    const auto due = quint64((now - m_next) / m_period) + 1;
    m_next += m_period * qint64(due);
    const bool begins = canRead && !m_running;
    m_missed += begins ? due - 1 : due;
    if (begins)
        begin(m_next - m_period);
}

void PassClock::ended(SteadyTime now)
{
    tick(now, false); // what came due meanwhile is missed
    m_running = false;
    m_ends[size_t(m_passes % remembered)] = now;
    ++m_passes;
}

void PassClock::abandon()
{
    m_missed += m_running ? 1 : 0;
    m_running = false;
}

Duration PassClock::reached() const
{
    if (m_passes < 2)
        return {};
    const quint64 spans = std::min<quint64>(m_passes - 1, remembered - 1);
    const SteadyTime newest = m_ends[size_t((m_passes - 1) % remembered)];
    const SteadyTime oldest = m_ends[size_t((m_passes - 1 - spans) % remembered)];
    return (newest - oldest) / qint64(spans);
}

} // namespace kvlink
