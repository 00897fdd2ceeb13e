#include "station_watch.h"

#include <algorithm>

namespace kvhost
{

StationWatch::Action StationWatch::step(Time now)
{
    if (m_closeDue) {
        m_closeDue = false;
        return Action::Close;
    }
    if (m_greetingDue) {
        m_greetingDue = false;
        return Action::SendGreeting;
    }
    if (m_state == State::Ready || now < m_deadline)
        return Action::Nothing;
    switch (m_state) {
    case State::Waiting:
        m_state = State::Connecting;
        m_deadline = now + m_limits.connect;
        return Action::Open;
    case State::Connecting:
        wait(now, Trouble::NoLink,
             QStringLiteral("the connection was not made within %1 ms").arg(m_limits.connect.count()));
        break;
    case State::Greeting:
        wait(now, Trouble::NoAnswer,
             QStringLiteral("connected, but CR was not answered within %1 ms").arg(m_limits.answer.count()));
        break;
    case State::Settling:
        greet(now);
        return Action::Discard;
    case State::Ready:
        break;
    }
    return step(now);
}

void StationWatch::linkOpened(Time now)
{
    if (m_state != State::Connecting)
        return;
    m_opened = true;
    greet(now);
}

void StationWatch::greet(Time now)
{
    m_state = State::Greeting;
    m_deadline = now + m_limits.answer;
    m_greetingDue = true;
}

void StationWatch::greetAgain(Time now)
{
    if (m_state == State::Ready)
        greet(now);
}

void StationWatch::linkFailed(Time now, const QString &reason)
{
    if (m_state != State::Waiting)
        wait(now, Trouble::NoLink, reason);
}

void StationWatch::greetingAnswered(Time now, const QByteArray &answer)
{
    if (m_state != State::Greeting)
        return;
    if (answer != "CC\r\n") {
        const QString shown = QString::fromLatin1(answer).trimmed();
        wait(now, Trouble::Refused, QStringLiteral("the PLC answered CR with '%1' instead of CC").arg(shown));
        return;
    }
    m_state = State::Ready;
    m_trouble = Trouble::None;
    m_reason.clear();
    m_deadline = Time::max();
    if (m_everReady && m_opened)
        ++m_reconnects;
    m_everReady = true;
    m_opened = false;
}

void StationWatch::bytesWhileSettling(Time now)
{
    if (m_state == State::Settling)
        m_deadline = std::min(now + m_limits.silence, m_settleEnd);
}

void StationWatch::answered()
{
    m_giveUps = 0;
    m_failures = 0;
    m_delay = Ms(0);
}

void StationWatch::noAnswer(Time now)
{
    leaveReady(now, Trouble::NoAnswer, QStringLiteral("no answer within %1 ms").arg(m_limits.answer.count()));
}

void StationWatch::outOfStep(Time now)
{
    leaveReady(now, Trouble::NoAnswer, QStringLiteral("bytes came that nobody had asked for"));
}

void StationWatch::gaveUp(Time now, Clock::duration cost)
{
    if (++m_giveUps < m_limits.giveUps)
        return;
    if (m_state != State::Waiting)
        wait(now, Trouble::NoAnswer, QStringLiteral("%1 requests in a row were given up").arg(m_giveUps));
    m_deadline = std::max(m_deadline, now + cost * m_limits.restFactor);
}

void StationWatch::leaveReady(Time now, Trouble trouble, const QString &reason)
{
    if (m_state != State::Ready)
        return;
    if (!m_limits.line) {
        wait(now, trouble, reason);
        return;
    }
    m_state = State::Settling;
    m_trouble = trouble;
    m_reason = reason;
    m_deadline = now + m_limits.silence;
    m_settleEnd = now + 4 * m_limits.silence;
}

// The delay doubles with each failure and starts anew after an exchange that went well: a PLC that accepts
// connections and drops them at once is not asked without a pause.
void StationWatch::wait(Time now, Trouble trouble, const QString &reason)
{
    ++m_failures;
    m_delay = m_delay.count() == 0 ? m_limits.firstDelay : std::min(m_delay * 2, m_limits.longestDelay);
    m_state = State::Waiting;
    m_trouble = trouble;
    m_reason = reason;
    m_deadline = now + m_delay;
    m_closeDue = true;
    m_greetingDue = false;
}

} // namespace kvhost
