// SPDX-License-Identifier: MIT
// The engine: one link to one PLC as a deterministic machine.
//
// Time, bytes and calls go in by small interfaces; bytes and events come out. Nothing here waits,
// starts a thread or asks the system for anything: with a fake clock and a fake transport a whole
// run follows from its seed.
//
// Threads: none. The link's thread makes all calls, one after the other.
//
// Where to read on: step() in engine.cpp, the table in link_life.cpp, and from there
//   link_keeper   what the link waits for        write_desk    writes, handed in and told
//   requests      which is next, and its answer  write_queue   those that wait, in order
//   exchange      one frame out, one answer in   write_ends    how each of them ends
//   answer_check  what an answer must look like  push_buttons  a 1 and the 0 that ends it
//   queries       questions to the PLC itself    reader        what is read when
//   planner       how a set of tags is read      asked_reads   what somebody asked for
//   plan_costs    what it reckons with           pass_clock    the rhythm of a period
//   read_group    the same as tags come and go   value_book    values, how far to trust them
//   read_groups   the same for several devices   statistics    answer times, request cost
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
