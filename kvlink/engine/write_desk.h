// SPDX-License-Identifier: MIT
// Where writes, pulses and push buttons are handed in, and where their outcomes come out: what is
// checked before a write waits, and what is told of its end.
#pragma once

#include "engine/events.h"
#include "engine/push_buttons.h"
#include "engine/value_book.h"
#include "engine/write_queue.h"
#include "model/clock.h"

#include <optional>

namespace kvlink
{

class WriteDesk
{
public:
    static constexpr int mostWaiting = 10000;

    WriteDesk(const Clock &clock, ValueBook &book, const LinkSettings &settings);

    // --- coming in; see Engine -------------------------------------------------------------------

    /// \param online the link is ready
    void write(const EngineWrite &write, bool online);
    void pulse(WriteId id, Tag relay, Duration length, bool online);
    void press(WriteId id, Tag relay, bool online);
    void renew(WriteId press) { m_buttons.renew(press, m_clock.now()); }
    void release(WriteId press) { m_buttons.release(press, m_clock.now()); }

    // --- while they wait -------------------------------------------------------------------------

    /// Those whose requests are sent.
    WriteQueue &queue() { return m_queue; }
    /// Ends what has expired, and lets buttons go that are due.
    void tick(SteadyTime now, bool online);
    /// When tick() has something to do at the latest.
    SteadyTime nextDeadline() const { return std::min(m_queue.nextExpiry(), m_buttons.nextDue()); }

    // --- the link is to be stopped ---------------------------------------------------------------

    /// No button is pressed and no pulse runs.
    bool isReleased() const { return m_buttons.isEmpty(); }
    /// From now on all writes but releases end.
    void beginStop(SteadyTime now);
    bool isStopping() const { return m_isStopping; }
    /// Lets all buttons go.
    void releaseAll(SteadyTime now) { m_buttons.releaseAll(now); }
    /// Ends everything.
    void stop(SteadyTime now);

    // --- going out -------------------------------------------------------------------------------

    /// Makes results of the writes that have ended.
    void tellEnds(SteadyTime now);
    /// Those that nobody has taken yet.
    std::vector<WriteResult> &results() { return m_results; }
    void fill(LinkStatistics &statistics) const;

private:
    std::optional<QueuedWrite> prepared(const EngineWrite &write);
    void beginStroke(WriteId id, Tag relay, std::optional<Duration> length, bool online);
    void tell(const WriteEnd &end, SteadyTime now);
    quint64 &counterOf(Outcome outcome);

    const Clock &m_clock;
    ValueBook &m_book;
    const LinkSettings &m_settings;
    WriteQueue m_queue;
    PushButtons m_buttons;
    bool m_isStopping = false;
    std::vector<WriteResult> m_results;
    LinkStatistics m_counters; ///< those of writes; the others are 0
};

} // namespace kvlink
