// SPDX-License-Identifier: MIT
#include "engine/model_wire.h"

#include <algorithm>

namespace kvlink
{

void ModelWire::cut(const QString &problem)
{
    if (m_state == State::Closed || m_state == State::Failed)
        return;
    m_state = State::Failed;
    m_problem = problem;
    ++m_connection;
}

void ModelWire::comes(const QByteArray &bytes)
{
    if (m_state != State::Open)
        return;
    m_received += bytes;
    m_owes = m_owes && !bytes.endsWith('\n');
    if (trace)
        trace("comes", bytes);
}

SteadyTime ModelWire::nextEvent() const
{
    SteadyTime next = m_events.empty() ? SteadyTime::max() : m_events.front().at;
    if (m_state == State::Resolving || m_state == State::Connecting)
        next = std::min(next, m_opensAt);
    return next;
}

void ModelWire::open()
{
    close();
    ++m_opens;
    m_owes = false;
    m_opensAt = m_clock.now() + resolving;
    m_state = State::Resolving;
    work();
}

void ModelWire::close()
{
    m_state = State::Closed;
    m_problem.clear();
    m_received.clear();
    // Of a serial line nothing is lost by closing it: late answers come to whoever opens it next.
    if (isSerial())
        return;
    ++m_connection;
    m_lineBusyUntil = {};
}

void ModelWire::work()
{
    if (m_state == State::Resolving && m_clock.now() >= m_opensAt) {
        m_state = State::Connecting;
        m_opensAt = door == Door::Swallows ? SteadyTime::max() : m_clock.now() + there;
    }
    if (m_state == State::Connecting && m_clock.now() >= m_opensAt) {
        m_state = door == Door::Open ? State::Open : State::Failed;
        m_problem = door == Door::Open ? QString() : QStringLiteral("connection refused");
    }
    while (!m_events.empty() && m_events.front().at <= m_clock.now()) {
        const Event event = m_events.front();
        m_events.erase(m_events.begin());
        happen(event);
    }
}

void ModelWire::at(SteadyTime when, Event event)
{
    event.at = when;
    const auto later = std::upper_bound(m_events.begin(), m_events.end(), when,
                                        [](SteadyTime time, const Event &other) { return time < other.at; });
    m_events.insert(later, std::move(event));
}

void ModelWire::send(const QByteArray &bytes)
{
    if (m_state != State::Open)
        return;
    m_frames.push_back(bytes);
    m_lastSent = m_clock.now();
    m_owes = true;
    if (trace)
        trace("sent", bytes);
    Event event{{}, true, bytes, m_connection, {}};
    if (!faults.empty()) {
        event.fault = faults.front();
        faults.pop_front();
    } else if (faultOf) {
        event.fault = faultOf(bytes);
    }
    const auto onLine = Duration(qint64(perByte * 1e6 * double(bytes.size())));
    // No frame overtakes the one before it, not even when the port was opened again meanwhile.
    m_frameBusyUntil = std::max(m_clock.now(), m_frameBusyUntil) + onLine;
    at(m_frameBusyUntil + there, event);
}

void ModelWire::happen(const Event &event)
{
    if (event.isCommand)
        carryOut(event);
    else if (event.connection == m_connection && m_state == State::Open)
        comes(event.bytes);
}

void ModelWire::carryOut(const Event &event)
{
    const WireFault &fault = event.fault;
    if (isFrozen || fault.losesRequest)
        return;
    QByteArray answer = m_plc.execute(event.bytes.trimmed(), event.at);
    if (trace)
        trace("PLC answers", answer);
    if (fault.closes && event.connection == m_connection)
        cut();
    if (fault.losesAnswer)
        return;
    if (!fault.instead.isNull())
        answer = fault.instead;
    answer = fault.before + answer + answer.repeated(fault.copies) + fault.after;
    const auto onLine = Duration(qint64(perByte * 1e6 * double(answer.size())));
    // A PLC answers in order: what comes behind a late answer is late as well.
    const SteadyTime when = std::max(event.at + back + fault.late, m_lineBusyUntil) + onLine;
    const int step = std::max(int(answer.size()) / fault.pieces, 1);
    int piece = 0;
    for (int from = 0; from < int(answer.size()); from += step)
        at(when + piece++ * 1ms, {{}, false, answer.mid(from, step), event.connection, {}});
    m_lineBusyUntil = when + piece * 1ms - (piece > 1 ? 0ms : 1ms);
}

} // namespace kvlink
