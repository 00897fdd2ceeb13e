// SPDX-License-Identifier: MIT
// Requests: which one is next, and what becomes of its answer.
#include "engine/engine.h"
#include "model/duration_text.h"

namespace kvlink
{

namespace
{

constexpr int mostBeforeReads = 2; // writes and queries in a row while reads are due
constexpr quint8 notKnown = 1;     // "E1": the PLC does not know the command, or the link is not open there
const QByteArray greeting("CR\r\n");
constexpr int greetingReply = 4;

bool isReadFrame(const QByteArray &frame)
{
    return frame.startsWith("RDS ");
}

QString problemOf(const Exchange::Ended &ended, const LinkSettings &settings, const Transport &transport)
{
    if (ended.end == Exchange::End::LinkLost)
        return transport.problem();
    if (ended.end == Exchange::End::NoAnswer)
        return QStringLiteral("no answer in %1").arg(durationText(settings.timeout));
    return QStringLiteral("an answer that does not belong to its request");
}

Reason reasonOf(Exchange::End end)
{
    if (end == Exchange::End::LinkLost)
        return Reason::LinkLost;
    return end == Exchange::End::NoAnswer ? Reason::NoAnswer : Reason::Corrupted;
}

} // namespace

// --- out -----------------------------------------------------------------------------------------

void Engine::beginNext(SteadyTime now)
{
    m_hasGreetedAgain = false;
    if (isStopping()) {
        beginWrite(now); // of a release
        return;
    }
    const bool readsTurn = m_readsHeldUp >= mostBeforeReads && m_reader.isDue();
    if (!readsTurn && (beginWrite(now) || beginQuery(now)))
        return;
    if (!beginRead(now) && readsTurn && !beginWrite(now))
        beginQuery(now);
}

bool Engine::beginWrite(SteadyTime now)
{
    if (m_writes.isEmpty())
        return false;
    ++m_readsHeldUp;
    const WriteUnits &units = m_writes.begin();
    m_driver.beginWrite(units);
    m_errand = Errand::Write;
    sendDriverFrame(now);
    return true;
}

bool Engine::beginQuery(SteadyTime now)
{
    if (m_queries.empty())
        return false;
    ++m_readsHeldUp;
    send(Errand::Query, m_queries.front().command + '\r', 0, now);
    return true;
}

bool Engine::beginRead(SteadyTime now)
{
    m_readsHeldUp = 0;
    if (!m_reader.next(m_read, now))
        return false;
    askRead(now);
    return true;
}

void Engine::askRead(SteadyTime now)
{
    m_driver.beginRead(m_read.device->readArea, m_read.block.first, m_read.block.count);
    m_errand = Errand::Read;
    sendDriverFrame(now);
}

// Sends the next frame of the request in the driver's hands.
void Engine::sendDriverFrame(SteadyTime now)
{
    const QByteArray frame = m_driver.frame();
    const bool isWrite = m_errand == Errand::Write;
    if (frame.isEmpty()) {
        m_errand = Errand::None;
        if (isWrite)
            m_writes.impossible();
        else
            m_reader.failed(m_read, Reason::OutOfRange);
    } else if (isWrite && !isReadFrame(frame) && !m_writes.sending(now)) {
        m_errand = Errand::None;
        m_driver.answer({});
        m_writes.letGo();
        m_writes.expire(now);
    } else {
        send(m_errand, frame, m_driver.replyLength(), now);
    }
}

void Engine::send(Errand errand, const QByteArray &frame, int replyLength, SteadyTime now)
{
    m_errand = errand;
    m_counters.requests += errand == Errand::Greeting ? 0 : 1;
    m_exchange.begin(frame, replyLength, now);
}

// --- in ------------------------------------------------------------------------------------------

void Engine::takeAnswer(SteadyTime now)
{
    if (m_errand == Errand::None)
        return;
    const std::optional<Ended> ended = m_exchange.advance(now);
    if (!ended)
        return;
    m_nextSend = now + m_settings.gap;
    if (m_errand == Errand::Greeting) {
        takeGreeting(*ended, now);
        return;
    }
    count(*ended);
    if (greetsAgain(*ended, now))
        return;
    endErrand(*ended, now);
    // Without an answer the link starts afresh: the true one may still come, and be taken for that
    // of the next request.
    if (!ended->isAnswer())
        go(LinkEvent::Failed, now, problemOf(*ended, m_settings, m_transport));
}

void Engine::count(const Ended &ended)
{
    switch (ended.end) {
    case Exchange::End::Answered:
        ++m_counters.answers;
        break;
    case Exchange::End::PlcError:
        ++m_counters.plcErrors;
        break;
    case Exchange::End::Corrupted:
        ++m_counters.corrupted;
        return;
    case Exchange::End::NoAnswer:
    case Exchange::End::LinkLost:
        ++m_counters.noAnswers;
        return;
    }
    m_times.add(ended.took);
    m_life.backOff().reset();
}

// A PLC that was restarted answers E1 until it is greeted again: the request is then asked once
// more. A second E1 is meant.
bool Engine::greetsAgain(const Ended &ended, SteadyTime now)
{
    const bool isNotKnown = ended.end == Exchange::End::PlcError && ended.plcError == notKnown;
    if (!isNotKnown || m_hasGreetedAgain || m_settings.open == Open::None)
        return false;
    if (m_errand == Errand::Write && m_writes.isSentOnce())
        return false;
    m_hasGreetedAgain = true;
    m_askedAgain = m_errand;
    m_driver.answer(ended.answer);
    if (m_errand == Errand::Write)
        m_writes.refusedForNow(ended.plcError);
    send(Errand::Greeting, greeting, greetingReply, now);
    return true;
}

void Engine::askAgain(SteadyTime now)
{
    m_errand = m_askedAgain;
    m_askedAgain = Errand::None;
    ++m_counters.repeats;
    if (m_errand == Errand::Read) {
        askRead(now);
    } else if (m_errand == Errand::Query) {
        beginQuery(now);
    } else {
        m_driver.beginWrite(m_writes.inHand());
        sendDriverFrame(now);
    }
}

void Engine::endErrand(const Ended &ended, SteadyTime now)
{
    const Errand errand = m_errand;
    m_errand = Errand::None;
    if (errand == Errand::Read)
        endRead(ended, now);
    else if (errand == Errand::Write)
        endWrite(ended, now);
    else
        endQuery(ended);
}

void Engine::endRead(const Ended &ended, SteadyTime now)
{
    const Driver::Result result = m_driver.answer(ended.isAnswer() ? ended.answer : QByteArray());
    if (ended.end == Exchange::End::Answered && result == Driver::Result::Done) {
        UnitBlock block = m_driver.block(m_read.device->readArea, m_read.block.first, m_read.block.count);
        takeLargeNumbers(block, ended.shape, ended.answer);
        m_reader.measured(ended.took, int(ended.answer.size()) + bytesOfFrame);
        m_reader.answered(m_read, block, {now, m_clock.wallNow()});
    } else if (ended.end == Exchange::End::PlcError) {
        m_reader.refused(m_read, ended.plcError, now);
    } else {
        m_reader.failed(m_read, ended.end == Exchange::End::LinkLost ? Reason::NoLink : reasonOf(ended.end));
    }
}

void Engine::endWrite(const Ended &ended, SteadyTime now)
{
    const Driver::Result result = m_driver.answer(ended.isAnswer() ? ended.answer : QByteArray());
    if (ended.end == Exchange::End::PlcError) {
        m_writes.refusedByPlc(ended.plcError);
    } else if (ended.end == Exchange::End::Answered && result == Driver::Result::Done) {
        m_writes.confirmed();
    } else if (ended.end == Exchange::End::Answered && result == Driver::Result::NextFrame) {
        // On purpose without the pause between requests: the PLC's program may change the word
        // until it is written.
        m_errand = Errand::Write;
        sendDriverFrame(now);
    } else {
        m_writes.unanswered(reasonOf(ended.end));
    }
}

void Engine::endQuery(const Ended &ended)
{
    QueryResult result{m_queries.front().id, true, QString::fromLatin1(ended.answer).trimmed(), {}};
    m_queries.pop_front();
    if (!ended.isAnswer()) {
        result.answered = false;
        result.answer.clear();
        result.problem = reasonText(reasonOf(ended.end));
    }
    m_events.queries.push_back(result);
}

// The request in hand, if any, ends without an answer; the driver's lists are empty afterwards.
void Engine::dropRequest()
{
    const Errand errand = m_askedAgain == Errand::None ? m_errand : m_askedAgain;
    m_errand = Errand::None;
    m_askedAgain = Errand::None;
    if (!m_driver.ended())
        m_driver.answer({});
    if (errand == Errand::Read)
        m_reader.failed(m_read, Reason::NoLink);
    if (errand == Errand::Write && m_writes.isInHand())
        m_writes.unanswered(Reason::LinkLost);
}

void Engine::failQueries(const QString &problem)
{
    for (const Query &query : m_queries)
        m_events.queries.push_back({query.id, false, {}, problem});
    m_queries.clear();
}

void Engine::query(QueryId id, const QByteArray &command)
{
    const bool isKnown = command == "?K" || command == "?M" || command == "?E";
    if (!isKnown)
        m_events.queries.push_back({id, false, {}, QStringLiteral("only ?K, ?M and ?E can be asked")});
    else if (m_staysLost)
        m_events.queries.push_back({id, false, {}, m_status.problem});
    else
        m_queries.push_back({id, command});
}

} // namespace kvlink
