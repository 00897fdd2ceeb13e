// SPDX-License-Identifier: MIT
// The engine: one link to one PLC as a deterministic machine.
//
// Time, bytes and calls go in by small interfaces; bytes and events come out. Nothing here waits,
// starts a thread or asks the system for anything: with a fake clock and a fake transport a whole
// run follows from its seed.
//
// Threads: none. The link's thread makes all calls, one after the other.
//
// Where to read on. First events.h, what goes in and comes out; step() in engine.cpp, one turn of
// the machine; and the table in link_life.cpp, how a link lives. Then, from the wire to the values:
//
//   the link      link_keeper      keeps it up, and tells of it
//   one exchange  exchange         a frame out, its answer in, or the time-out
//                 answer_splitter  where an answer ends
//                 answer_check     what it must look like
//                 statistics       how long answers take; request_counts: what became of them
//   who is next   requests         writes, questions and reads by turns, each through the driver
//                 queries          questions to the PLC itself
//   reading       reader           what is read when; read_report: what it says about that
//                 pass_clock       the rhythm of a period
//                 asked_reads      reads beside the rhythm
//                 read_groups      the tags read together: a read_group for each device
//                 planner          as few requests as pay; plan_costs: what it reckons with
//                 piece_gatherer   tags that are larger than a request
//                 value_book       values, and how far to trust them
//   writing       write_desk       where writes are handed in, and their ends told
//                 write_queue      those that wait, in order
//                 write_ends       how each one ends; write_outcomes: the rows of that
//                 push_buttons     a 1 and the 0 that ends it
#pragma once

#include "engine/events.h"
#include "engine/link_keeper.h"
#include "engine/requests.h"
#include "engine/write_desk.h"

#include <optional>

namespace kvlink
{

class Engine
{
public:
    static constexpr int mostWaitingWrites = WriteDesk::mostWaiting;
    /// So much of the half second that stopping may take is for releasing buttons.
    static constexpr Duration longestRelease = 400ms;

    /// \param settings checked already: kvlink's faces do that
    /// \param seed for the jitter of reconnecting
    Engine(const Clock &clock, Transport &transport, Driver &driver, const LinkSettings &settings,
           quint64 seed);
    Engine(const Engine &) = delete;
    Engine &operator=(const Engine &) = delete;

    /// Starting twice does nothing, nor does stopping twice.
    void start();
    /// Writes end: those that wait as NotSent, the one in flight as Unknown. The next step()
    /// brings the ends. While a button is pressed or a pulse runs, its 0 is sent first: the link
    /// is Stopped when the PLC has confirmed it, at the latest after longestRelease.
    void stop();

    void addTags(const std::vector<EngineTag> &tags);
    /// Its unsent writes end as NotSent, Cancelled.
    void removeTag(Tag tag);
    void setPeriod(Tag tag, Duration period);
    /// Reads tags whatever their period; each is told as a change, changed or not, and the id when
    /// all are done. While no link comes to be the id follows at once, since all tags are bad.
    void readNow(ReadId id, const std::vector<Tag> &tags);

    void write(const EngineWrite &write) { m_writes.write(write, m_link.isReady()); }
    void pulse(WriteId id, Tag relay, Duration length)
    {
        m_writes.pulse(id, relay, length, m_link.isReady());
    }
    bool cancel(WriteId id) { return m_writes.queue().cancel(id); }
    int cancelAll() { return m_writes.queue().cancelAll(); }
    /// A push button; see Momentary. Press and release together are one write with this id: it ends
    /// with the release.
    void press(WriteId id, Tag relay) { m_writes.press(id, relay, m_link.isReady()); }
    void renew(WriteId press) { m_writes.renew(press); }
    void release(WriteId press) { m_writes.release(press); }

    /// \param command "?K", "?M" or "?E"
    void query(QueryId id, const QByteArray &command);

    /// Does what is due now and what has come; never blocks. Appends what happened to \a out.
    /// \return when it must be called again at the latest; earlier when bytes come or a
    /// call was made
    SteadyTime step(Events &out);

    LinkStatus link() const { return m_link.status(); }
    LinkStatistics statistics() const;
    ReadPlan plan() const { return m_reader.plan(); }
    /// Quality::Never for an unknown tag.
    Sample sample(Tag tag) const;
    /// As it was added, with the period that it has now. Nothing for an unknown tag.
    std::optional<EngineTag> tag(Tag tag) const;

private:
    void moveLink(SteadyTime now);
    void go(const LinkNews &news, SteadyTime now);
    void greet(SteadyTime now);
    void giveUp();
    void leaveReady();
    void end();

    bool isStopping() const { return m_writes.isStopping(); }
    void moveStop(SteadyTime now);
    void finishStop(SteadyTime now);

    void beginNext(SteadyTime now);
    SteadyTime nextDeadline(SteadyTime now) const;

    const Clock &m_clock;
    const LinkSettings m_settings;
    Exchange m_exchange;
    LinkKeeper m_link;
    ValueBook m_book;
    Reader m_reader;
    WriteDesk m_writes;
    Queries m_queries;
    Requests m_requests;
    SteadyTime m_stopBy = SteadyTime::max(); ///< while stopping: buttons are waited for no longer
};

} // namespace kvlink
