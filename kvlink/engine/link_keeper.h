// SPDX-License-Identifier: MIT
// Keeps a link up: the transport, the state and how long it may last, and what is told of it.
//
// look() finds what has happened to the transport, on() goes where the table of link_life leads.
// What a new state means for values, writes and requests is not decided here: on() says what to do.
#pragma once

#include "engine/exchange.h"
#include "engine/link_life.h"
#include "model/clock.h"

#include <optional>
#include <vector>

namespace kvlink
{

class LinkKeeper
{
public:
    /// \param seed for the jitter of reconnecting
    LinkKeeper(const Clock &clock, Transport &transport, Exchange &exchange, const LinkSettings &settings,
               quint64 seed);

    const LinkStatus &status() const { return m_status; }
    LinkState state() const { return m_life.state(); }
    bool isReady() const { return m_life.isReady(); }
    /// The last attempt failed as well, not only the link.
    bool staysLost() const { return m_staysLost; }

    /// Moves the transport on; never blocks. Before look().
    void work() { m_transport.work(); }
    /// What has happened that the state does not outlast. To be asked again after on(). While an
    /// exchange is open its end tells.
    std::optional<LinkNews> look(SteadyTime now);
    /// Goes to the next state. \return what the engine does on entering it
    LinkAction on(const LinkNews &news, SteadyTime now);

    /// The link is given up for now. A serial line stays open; sockets are closed, and with them
    /// goes every late answer.
    void closeForNow();
    /// The link is stopped.
    void close();

    /// When look() has something to find at the latest. The end of time where the
    /// state may last.
    SteadyTime deadline() const;
    void fill(LinkStatistics &statistics) const;
    /// What it became that nobody has taken yet.
    std::vector<LinkStatus> &changes() { return m_changes; }

private:
    std::optional<LinkNews> lookAtOpening(SteadyTime now);
    std::optional<LinkNews> lookAtReady();
    std::optional<LinkNews> lookAtWaiting(SteadyTime now);
    void tell(const QString &problem, SteadyTime now);
    void open(SteadyTime now);
    bool isSilent(SteadyTime now);

    const Clock &m_clock;
    Transport &m_transport;
    Exchange &m_exchange;
    const LinkSettings &m_settings;

    LinkLife m_life;
    LinkStatus m_status;
    std::vector<LinkStatus> m_changes;
    SteadyTime m_stateUntil{}; ///< of Resolving, Connecting and Waiting
    SteadyTime m_latestTry{};  ///< a noisy serial line is not waited for longer
    bool m_listens = false;    ///< while opening: to what may still come on a serial line
    bool m_staysLost = false;
    quint64 m_connects = 0;
    quint64 m_losses = 0;
};

} // namespace kvlink
