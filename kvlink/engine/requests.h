// SPDX-License-Identifier: MIT
// Requests: which one is next, its way through the driver, and what becomes of its answer.
//
// Writes and queries go before reads, but leave every third request to reads that are due. One
// request is in hand at a time; when it has ended, nothing of it is left in the driver.
#pragma once

#include "driver/driver.h"
#include "engine/exchange.h"
#include "engine/link_life.h"
#include "engine/queries.h"
#include "engine/reader.h"
#include "engine/request_counts.h"
#include "engine/write_queue.h"
#include "model/clock.h"

#include <optional>

namespace kvlink
{

class Requests
{
public:
    /// Where requests come from, and where their answers go.
    struct Sources {
        Reader &reader;
        WriteQueue &writes;
        Queries &queries;
    };

    Requests(const Clock &clock, Exchange &exchange, Driver &driver, const LinkSettings &settings,
             const Sources &sources);

    /// Sends the greeting that opens the link, over a connection on which nothing was sent yet.
    void greet(SteadyTime now);
    /// The link is ready: a request may go out at once.
    void linkReady(SteadyTime now) { m_nextSend = now; }

    bool isInHand() const { return m_errand != Errand::None; }
    /// True if begin() would find something.
    bool isDue() const { return m_reader.isDue() || !m_writes.isEmpty() || !m_queries.isEmpty(); }
    /// The pause between two requests ends then.
    SteadyTime nextSend() const { return m_nextSend; }
    /// Sends what is next, if anything is due. With none in hand, not before nextSend().
    void begin(SteadyTime now);
    /// The same for writes alone: the link is to be stopped, and buttons are released.
    void beginWriteOnly(SteadyTime now);

    /// Takes what has come. \return what the link has to know of it
    std::optional<LinkNews> takeAnswer(SteadyTime now);
    /// The request in hand, if any, ends without an answer.
    void drop();

    void fill(LinkStatistics &statistics) const;

private:
    /// What the exchange is for.
    enum class Errand : quint8 { None, Greeting, Read, Write, Query };
    using Ended = Exchange::Ended;

    // Out
    bool beginWrite(SteadyTime now);
    bool beginQuery(SteadyTime now);
    bool beginRead(SteadyTime now);
    void askRead(SteadyTime now);
    void askQuery(SteadyTime now);
    void sendDriverFrame(SteadyTime now);
    void send(Errand errand, const QByteArray &frame, int replyLength, SteadyTime now);

    // In
    std::optional<LinkNews> takeGreeting(const Ended &ended, SteadyTime now);
    bool greetsAgain(const Ended &ended, SteadyTime now);
    void askAgain(SteadyTime now);
    void end(const Ended &ended, SteadyTime now);
    void endRead(const Ended &ended, SteadyTime now);
    void endWrite(const Ended &ended, SteadyTime now);
    void endQuery(const Ended &ended);

    const Clock &m_clock;
    Exchange &m_exchange;
    Driver &m_driver;
    const LinkSettings &m_settings;
    Reader &m_reader;
    WriteQueue &m_writes;
    Queries &m_queries;

    Errand m_errand = Errand::None;     ///< None: no exchange is open
    Errand m_askedAgain = Errand::None; ///< with Greeting: what is asked again after it
    bool m_hasGreetedAgain = false;     ///< in this request
    ReadRequest m_read;                 ///< the read in hand
    SteadyTime m_nextSend{};
    int m_readsHeldUp = 0; ///< requests since the last read
    RequestCounts m_counts;
};

} // namespace kvlink
