// SPDX-License-Identifier: MIT
// The life of the link: what the states wait for, and what is done on entering them.
#include "engine/engine.h"
#include "model/duration_text.h"

#include <algorithm>

namespace kvlink
{

namespace
{

const QByteArray greeting("CR\r\n");
constexpr int greetingReply = 4; // "CC\r\n"

// A serial line has to be silent for so long before it is used again, but it is not waited for
// longer than this.
constexpr Duration silence = 100ms;
constexpr Duration longestSilence = 10s;

QString greetingProblem(const Exchange::Ended &ended, const LinkSettings &settings,
                        const Transport &transport)
{
    switch (ended.end) {
    case Exchange::End::PlcError:
        return QStringLiteral(
                   "the PLC answered E%1 to CR; if its port does not know CR, open the link without it")
            .arg(ended.plcError);
    case Exchange::End::Corrupted:
        return QStringLiteral("something else than CC was answered to CR; is it a PLC of the KV series?");
    case Exchange::End::LinkLost:
        return transport.problem();
    case Exchange::End::NoAnswer:
    case Exchange::End::Answered:
        break;
    }
    return QStringLiteral("connected, but no answer to CR in %1").arg(durationText(settings.timeout));
}

} // namespace

void Engine::start()
{
    if (isStopping())
        finishStop(m_clock.now());
    if (m_life.state() == LinkState::Stopped)
        go(LinkEvent::Start, m_clock.now());
}

void Engine::stop()
{
    if (m_life.state() == LinkState::Stopped || isStopping())
        return;
    const SteadyTime now = m_clock.now();
    if (m_buttons.isEmpty()) {
        finishStop(now);
        return;
    }
    m_stopBy = now + longestRelease;
    m_writes.endButReleases();
    tellEnds(now); // a press that was not sent takes its release with it
    moveStop(now);
}

// A machine must not run on because a program ended.
void Engine::moveStop(SteadyTime now)
{
    m_buttons.releaseAll(now);
    if (m_buttons.isEmpty() || !m_life.isReady() || now >= m_stopBy)
        finishStop(now);
}

void Engine::finishStop(SteadyTime now)
{
    m_stopBy = SteadyTime::max();
    m_writes.stop();
    tellEnds(now);
    for (const WriteEnd &end : m_buttons.stop())
        tell(end, now);
    go(LinkEvent::Stop, now);
}

void Engine::moveLink(SteadyTime now)
{
    while (moveOnce(now)) {
    }
}

// True if the state has changed. Waiting takes time, so this comes to an end.
bool Engine::moveOnce(SteadyTime now)
{
    switch (m_life.state()) {
    case LinkState::Resolving:
    case LinkState::Connecting:
        return moveOpening(now);
    case LinkState::Ready:
        return moveReady(now);
    case LinkState::Waiting:
        return moveWaiting(now);
    case LinkState::Stopped:
    case LinkState::Greeting: // its exchange moves it
        break;
    }
    return false;
}

bool Engine::moveOpening(SteadyTime now)
{
    const bool isResolving = m_life.state() == LinkState::Resolving;
    const Transport::State state = m_transport.state();
    if (state == Transport::State::Open)
        go(LinkEvent::Connected, now);
    else if (state == Transport::State::Failed || state == Transport::State::Closed)
        go(LinkEvent::Failed, now, m_transport.problem());
    else if (isResolving && state == Transport::State::Connecting)
        go(LinkEvent::Resolved, now);
    else if (now >= m_stateUntil)
        go(LinkEvent::TimedOut, now,
           isResolving ? QStringLiteral("the name was not resolved in %1").arg(durationText(longestResolving))
                       : QStringLiteral("no connection in %1")
                             .arg(durationText(longestConnecting(m_settings.timeout))));
    else
        return false;
    return true;
}

// With an exchange open, that one finds out.
bool Engine::moveReady(SteadyTime now)
{
    if (m_errand != Errand::None)
        return false;
    if (!m_exchange.drain())
        go(LinkEvent::Failed, now, QStringLiteral("bytes came that nobody had asked for"));
    else if (m_transport.state() != Transport::State::Open)
        go(LinkEvent::Failed, now, m_transport.problem());
    else
        return false;
    return true;
}

bool Engine::moveWaiting(SteadyTime now)
{
    // A serial line stays open while it is waited until idle: what still comes belongs to a request
    // that was given up.
    if (m_transport.state() == Transport::State::Open && !m_exchange.drain())
        m_stateUntil = std::min(std::max(m_stateUntil, now + silence), m_latestTry);
    if (now < m_stateUntil)
        return false;
    go(LinkEvent::TimedOut, now);
    return true;
}

void Engine::go(LinkEvent event, SteadyTime now, const QString &problem)
{
    const LinkState before = m_life.state();
    const LinkAction action = m_life.on(event);
    m_status.state = m_life.state();
    m_status.nextTry = {};
    if (m_status.state == LinkState::Ready || m_status.state == LinkState::Stopped)
        m_status.problem.clear();
    if (m_status.state == LinkState::Waiting) {
        m_status.problem = problem.isEmpty() ? QStringLiteral("the connection was closed") : problem;
        wait(now);
    }
    if (m_status.state != before) {
        m_status.since = m_clock.wallNow();
        m_events.links.push_back(m_status);
    }
    act(action, now);
}

void Engine::act(LinkAction action, SteadyTime now)
{
    switch (action) {
    case LinkAction::None: // the name is known
        m_stateUntil = now + longestConnecting(m_settings.timeout);
        break;
    case LinkAction::Open:
        open(now);
        break;
    case LinkAction::Greet:
        greet(now);
        break;
    case LinkAction::EnterReady:
        enterReady(now);
        break;
    case LinkAction::GiveUp:
        giveUp();
        break;
    case LinkAction::LeaveReady:
        leaveReady();
        break;
    case LinkAction::Close:
        end();
        break;
    }
}

void Engine::wait(SteadyTime now)
{
    m_status.nextTry = m_life.backOff().next();
    m_stateUntil = now + m_status.nextTry;
    m_latestTry = m_stateUntil + longestSilence;
}

void Engine::open(SteadyTime now)
{
    m_stateUntil = now + longestResolving;
    if (m_transport.state() != Transport::State::Open)
        m_transport.open();
}

void Engine::greet(SteadyTime now)
{
    m_exchange.reset();
    if (m_settings.open == Open::None)
        go(LinkEvent::Answered, now);
    else
        send(Errand::Greeting, greeting, greetingReply, now);
}

void Engine::enterReady(SteadyTime now)
{
    ++m_counters.connects;
    m_staysLost = false;
    m_nextSend = now;
    m_reader.linkReady(now);
}

// A serial line stays open after a time-out; sockets are closed, and with them goes
// every late answer.
void Engine::close()
{
    dropRequest();
    m_exchange.reset();
    if (!m_transport.isSerial() || m_transport.state() != Transport::State::Open)
        m_transport.close();
}

void Engine::giveUp()
{
    close();
    m_staysLost = true;
    m_book.loseAll(false);
    m_reader.endReads();
    m_writes.linkStaysLost();
    failQueries(m_status.problem);
}

void Engine::leaveReady()
{
    close();
    ++m_counters.linkLosses;
    m_reader.linkLost();
    m_book.loseAll(true);
    m_writes.linkLost();
    failQueries(m_status.problem);
}

void Engine::end()
{
    dropRequest();
    m_exchange.reset();
    m_transport.close();
    m_staysLost = false;
    m_reader.linkLost();
    m_reader.endReads();
    m_book.loseAll(false);
    failQueries(QStringLiteral("the link was stopped"));
}

void Engine::takeGreeting(const Ended &ended, SteadyTime now)
{
    m_errand = Errand::None;
    if (ended.end == Exchange::End::Answered && m_askedAgain != Errand::None)
        askAgain(now);
    else if (ended.end == Exchange::End::Answered)
        go(LinkEvent::Answered, now);
    else
        go(LinkEvent::Failed, now, greetingProblem(ended, m_settings, m_transport));
}

} // namespace kvlink
