// SPDX-License-Identifier: MIT
#include "engine/link_keeper.h"

#include "model/duration_text.h"

#include <algorithm>

namespace kvlink
{

namespace
{
// A serial line has to be silent for so long before it is used again, but it is not waited for
// longer than this.
constexpr Duration silence = 100ms;
constexpr Duration longestSilence = 10s;
} // namespace

LinkKeeper::LinkKeeper(const Clock &clock, Transport &transport, Exchange &exchange,
                       const LinkSettings &settings, quint64 seed)
    : m_clock(clock), m_transport(transport), m_exchange(exchange), m_settings(settings), m_life(seed)
{
    m_status.since = clock.wallNow();
}

// --- what has happened ---------------------------------------------------------------------------

std::optional<LinkNews> LinkKeeper::look(SteadyTime now)
{
    switch (m_life.state()) {
    case LinkState::Resolving:
    case LinkState::Connecting:
        return lookAtOpening(now);
    case LinkState::Ready:
        return lookAtReady();
    case LinkState::Waiting:
        return lookAtWaiting(now);
    case LinkState::Stopped:
    case LinkState::Greeting: // its exchange tells
        break;
    }
    return std::nullopt;
}

std::optional<LinkNews> LinkKeeper::lookAtOpening(SteadyTime now)
{
    const bool isResolving = m_life.state() == LinkState::Resolving;
    const Transport::State state = m_transport.state();
    if (state == Transport::State::Open && m_listens && !isSilent(now))
        return std::nullopt;
    if (state == Transport::State::Open)
        return LinkNews{LinkEvent::Connected, {}};
    if (state == Transport::State::Failed || state == Transport::State::Closed)
        return LinkNews{LinkEvent::Failed, m_transport.problem()};
    if (isResolving && state == Transport::State::Connecting)
        return LinkNews{LinkEvent::Resolved, {}};
    if (now < m_stateUntil)
        return std::nullopt;
    const QString problem =
        isResolving
            ? QStringLiteral("the name was not resolved in %1").arg(durationText(longestResolving))
            : QStringLiteral("no connection in %1").arg(durationText(longestConnecting(m_settings.timeout)));
    return LinkNews{LinkEvent::TimedOut, problem};
}

std::optional<LinkNews> LinkKeeper::lookAtReady()
{
    if (m_exchange.isOpen())
        return std::nullopt;
    if (!m_exchange.drain())
        return LinkNews{LinkEvent::Failed, QStringLiteral("bytes came that nobody had asked for")};
    if (m_transport.state() != Transport::State::Open)
        return LinkNews{LinkEvent::Failed, m_transport.problem()};
    return std::nullopt;
}

std::optional<LinkNews> LinkKeeper::lookAtWaiting(SteadyTime now)
{
    // A serial line stays open while it is waited until idle: what still comes belongs to a request
    // that was given up.
    return isSilent(now) ? std::optional(LinkNews{LinkEvent::TimedOut, {}}) : std::nullopt;
}

bool LinkKeeper::isSilent(SteadyTime now)
{
    if (m_transport.state() == Transport::State::Open && !m_exchange.drain())
        m_stateUntil = std::min(std::max(m_stateUntil, now + silence), m_latestTry);
    return now >= m_stateUntil;
}

// --- what becomes of it --------------------------------------------------------------------------

LinkAction LinkKeeper::on(const LinkNews &news, SteadyTime now)
{
    const LinkState before = m_life.state();
    const LinkAction action = m_life.on(news.event);
    if (m_life.state() != before)
        tell(news.problem, now);
    switch (action) {
    case LinkAction::None:
    case LinkAction::Greet:
        break;
    case LinkAction::Open:
        open(now);
        break;
    case LinkAction::Connect:
        if (!m_listens)
            m_stateUntil = now + longestConnecting(m_settings.timeout);
        break;
    case LinkAction::EnterReady:
        ++m_connects;
        m_staysLost = false;
        break;
    case LinkAction::Trust:
        m_life.backOff().reset();
        break;
    case LinkAction::GiveUp:
        m_staysLost = true;
        break;
    case LinkAction::LeaveReady:
        ++m_losses;
        break;
    case LinkAction::Close:
        m_staysLost = false;
        break;
    }
    return action;
}

void LinkKeeper::tell(const QString &problem, SteadyTime now)
{
    m_status.state = m_life.state();
    m_status.since = m_clock.wallNow();
    m_status.nextTry = {};
    if (m_status.state == LinkState::Ready || m_status.state == LinkState::Stopped)
        m_status.problem.clear();
    if (m_status.state == LinkState::Waiting) {
        m_status.problem = problem.isEmpty() ? QStringLiteral("the connection was closed") : problem;
        m_status.nextTry = m_life.backOff().next();
        m_stateUntil = now + m_status.nextTry;
        m_latestTry = m_stateUntil + longestSilence;
    }
    m_changes.push_back(m_status);
}

void LinkKeeper::open(SteadyTime now)
{
    m_stateUntil = now + longestResolving;
    m_listens = false;
    if (m_transport.state() == Transport::State::Open)
        return;
    m_transport.open();
    // An answer may be on its way to whoever used the line before, and no greeting tells it from
    // that to the first request.
    m_listens = m_transport.isSerial() && m_settings.open == Open::None;
    if (!m_listens)
        return;
    m_stateUntil = std::max(now + silence, m_exchange.owedUntil());
    m_latestTry = m_stateUntil + longestSilence;
}

void LinkKeeper::closeForNow()
{
    m_exchange.reset();
    if (!m_transport.isSerial() || m_transport.state() != Transport::State::Open)
        m_transport.close();
}

void LinkKeeper::close()
{
    m_exchange.reset();
    m_transport.close();
}

SteadyTime LinkKeeper::deadline() const
{
    switch (m_life.state()) {
    case LinkState::Resolving:
    case LinkState::Connecting:
    case LinkState::Waiting:
        return m_stateUntil;
    case LinkState::Stopped:
    case LinkState::Greeting:
    case LinkState::Ready:
        break;
    }
    return SteadyTime::max();
}

void LinkKeeper::fill(LinkStatistics &statistics) const
{
    statistics.connects = m_connects;
    statistics.linkLosses = m_losses;
}

} // namespace kvlink
