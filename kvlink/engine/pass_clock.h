// SPDX-License-Identifier: MIT
// When the tags of one period are due: in a fixed rhythm from the first pass on. A pass that could
// not be made is counted as missed, and never made up for.
#pragma once

#include <kvlink/times.h>

#include <array>

#include <QtGlobal>

namespace kvlink
{

class PassClock
{
public:
    explicit PassClock(Duration period) : m_period(period) {}

    Duration period() const { return m_period; }

    /// A pass now, beside the rhythm: the link is ready, and all is to be read at once. The first
    /// one begins the rhythm.
    void passNow(SteadyTime now);
    /// Begins the pass that is due, if there is one and the last one has ended; otherwise
    /// it is missed.
    /// \param canRead the link is ready
    void tick(SteadyTime now, bool canRead);
    void ended(SteadyTime now);
    /// The pass under way is missed: the link was lost.
    void abandon();

    bool isRunning() const { return m_running; }
    /// Of the pass under way.
    quint64 number() const { return m_number; }
    /// When the pass under way was due, and when it should have ended.
    SteadyTime due() const { return m_due; }
    SteadyTime deadline() const { return m_due + m_period; }
    /// When the next pass can begin. The end of time before the first, and while a pass is under
    /// way: it is not worth waking up only to count a pass as missed.
    SteadyTime next() const { return m_running ? SteadyTime::max() : m_next; }

    quint64 passes() const { return m_passes; }
    quint64 missed() const { return m_missed; }
    /// Mean time from pass to pass of the last ten; 0 before the second.
    Duration reached() const;

private:
    static constexpr std::size_t remembered = 11; ///< ends of passes: ten times from one to the next

    void begin(SteadyTime due);

    Duration m_period;
    SteadyTime m_next = SteadyTime::max();
    SteadyTime m_due{};
    bool m_running = false;
    quint64 m_number = 0;
    quint64 m_passes = 0;
    quint64 m_missed = 0;
    std::array<SteadyTime, remembered> m_ends{};
};

} // namespace kvlink
