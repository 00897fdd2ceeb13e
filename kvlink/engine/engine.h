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
//   exchange      one frame out, one answer in       write_queue   writes, in order
//   answer_check  what an answer must look like      write_ends    how each of them ends
//   planner       which requests read a set of tags  push_buttons  a 1 and the 0 that ends it
//   plan_costs    what it reckons with               reader        what is read when
//   read_group    the same while tags come and go    asked_reads   what somebody asked for
//   read_groups   the same for several devices       pass_clock    the rhythm of a period
//   value_book    values and how far to trust them   statistics    answer times, request cost
#pragma once

#include "driver/driver.h"
#include "engine/events.h"
#include "engine/exchange.h"
#include "engine/link_life.h"
#include "engine/push_buttons.h"
#include "engine/reader.h"
#include "engine/statistics.h"
#include "engine/value_book.h"
#include "engine/write_queue.h"
#include "model/clock.h"
#include "transport/transport.h"

#include <optional>

namespace kvlink
{

class Engine
{
public:
    static constexpr int mostWaitingWrites = 10000;
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

    void write(const EngineWrite &write);
    void pulse(WriteId id, Tag relay, Duration length);
    bool cancel(WriteId id);
    int cancelAll();
    /// A push button; see Momentary. Press and release together are one write with this id: it ends
    /// with the release.
    void press(WriteId id, Tag relay);
    void renew(WriteId press);
    void release(WriteId press);

    /// \param command "?K", "?M" or "?E"
    void query(QueryId id, const QByteArray &command);

    /// Does what is due now and what has come; never blocks. Appends what happened to \a out.
    /// \return when it must be called again at the latest; earlier when bytes come or a
    /// call was made
    SteadyTime step(Events &out);

    LinkStatus link() const { return m_status; }
    LinkStatistics statistics() const;
    ReadPlan plan() const { return m_reader.plan(); }
    /// Quality::Never for an unknown tag.
    Sample sample(Tag tag) const;
    /// As it was added, with the period that it has now. Nothing for an unknown tag.
    std::optional<EngineTag> tag(Tag tag) const;

private:
    /// What the exchange is for.
    enum class Errand : quint8 { None, Greeting, Read, Write, Query };
    struct Query {
        QueryId id = 0;
        QByteArray command;
    };
    using Ended = Exchange::Ended;

    // The link: engine_link.cpp
    void moveLink(SteadyTime now);
    bool moveOnce(SteadyTime now);
    bool moveOpening(SteadyTime now);
    bool moveReady(SteadyTime now);
    bool moveWaiting(SteadyTime now);
    void go(LinkEvent event, SteadyTime now, const QString &problem = {});
    void act(LinkAction action, SteadyTime now);
    void open(SteadyTime now);
    void greet(SteadyTime now);
    void enterReady(SteadyTime now);
    void giveUp();
    void leaveReady();
    bool isStopping() const { return m_stopBy != SteadyTime::max(); }
    void moveStop(SteadyTime now);
    void finishStop(SteadyTime now);
    void end();
    void close();
    void wait(SteadyTime now);
    void takeGreeting(const Ended &ended, SteadyTime now);

    // Requests: engine_requests.cpp
    void beginNext(SteadyTime now);
    bool beginWrite(SteadyTime now);
    bool beginQuery(SteadyTime now);
    bool beginRead(SteadyTime now);
    void askRead(SteadyTime now);
    void sendDriverFrame(SteadyTime now);
    void send(Errand errand, const QByteArray &frame, int replyLength, SteadyTime now);
    void takeAnswer(SteadyTime now);
    void count(const Ended &ended);
    bool greetsAgain(const Ended &ended, SteadyTime now);
    void askAgain(SteadyTime now);
    void endErrand(const Ended &ended, SteadyTime now);
    void endRead(const Ended &ended, SteadyTime now);
    void endWrite(const Ended &ended, SteadyTime now);
    void endQuery(const Ended &ended);
    void dropRequest();
    void failQueries(const QString &problem);

    // Writes and events: engine_writes.cpp
    std::optional<QueuedWrite> prepared(const EngineWrite &write);
    void beginStroke(WriteId id, Tag relay, std::optional<Duration> length);
    void moveWrites(SteadyTime now);
    void tellEnds(SteadyTime now);
    void tell(const WriteEnd &end, SteadyTime now);

    SteadyTime nextDeadline(SteadyTime now) const;

    const Clock &m_clock;
    Transport &m_transport;
    Driver &m_driver;
    const LinkSettings m_settings;

    LinkLife m_life;
    LinkStatus m_status;
    SteadyTime m_stateUntil{};               ///< of Resolving, Connecting and Waiting
    SteadyTime m_latestTry{};                ///< a noisy serial line is not waited for longer
    bool m_staysLost = false;                ///< the last attempt failed as well, not only the link
    SteadyTime m_stopBy = SteadyTime::max(); ///< stop() was called; buttons are being released

    Exchange m_exchange;
    Errand m_errand = Errand::None;     ///< None: no exchange is open
    Errand m_askedAgain = Errand::None; ///< with Greeting: what is asked again after it
    bool m_hasGreetedAgain = false;     ///< in this request
    SteadyTime m_nextSend{};            ///< the pause between two requests
    int m_readsHeldUp = 0;              ///< requests since the last read

    ValueBook m_book;
    Reader m_reader;
    ReadRequest m_read; ///< the read in hand
    WriteQueue m_writes;
    PushButtons m_buttons;
    std::deque<Query> m_queries;

    AnswerTimes m_times;
    LinkStatistics m_counters;
    Events m_events;
};

} // namespace kvlink
