// SPDX-License-Identifier: MIT
#include "engine/requests.h"

#include "model/duration_text.h"

namespace kvlink
{

namespace
{

constexpr int mostBeforeReads = 2; // writes and queries in a row while reads are due
constexpr quint8 notKnown = 1;     // "E1": the PLC does not know the command, or the link is not open there
const QByteArray greeting("CR\r\n");
constexpr int greetingReply = 4; // "CC\r\n"

bool isReadFrame(const QByteArray &frame)
{
    return frame.startsWith("RDS ");
}

QString greetingProblem(const Exchange::Ended &ended, const LinkSettings &settings)
{
    switch (ended.end) {
    case Exchange::End::PlcError:
        return QStringLiteral(
                   "the PLC answered E%1 to CR; if its port does not know CR, open the link without it")
            .arg(ended.plcError);
    case Exchange::End::Corrupted:
        return QStringLiteral("something else than CC was answered to CR; is it a PLC of the KV series?");
    case Exchange::End::LinkLost:
        return ended.problem;
    case Exchange::End::NoAnswer:
    case Exchange::End::Answered:
        break;
    }
    return QStringLiteral("connected, but no answer to CR in %1").arg(durationText(settings.timeout));
}

QString problemOf(const Exchange::Ended &ended, const LinkSettings &settings)
{
    if (ended.end == Exchange::End::LinkLost)
        return ended.problem;
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

Requests::Requests(const Clock &clock, Exchange &exchange, Driver &driver, const LinkSettings &settings,
                   const Sources &sources)
    : m_clock(clock), m_exchange(exchange), m_driver(driver), m_settings(settings), m_reader(sources.reader),
      m_writes(sources.writes), m_queries(sources.queries)
{
}

// --- out -----------------------------------------------------------------------------------------

void Requests::greet(SteadyTime now)
{
    send(Errand::Greeting, greeting, greetingReply, now);
}

void Requests::begin(SteadyTime now)
{
    m_hasGreetedAgain = false;
    const bool readsTurn = m_readsHeldUp >= mostBeforeReads && m_reader.isDue();
    if (!readsTurn && (beginWrite(now) || beginQuery(now)))
        return;
    if (!beginRead(now) && readsTurn && !beginWrite(now))
        beginQuery(now);
}

void Requests::beginWriteOnly(SteadyTime now)
{
    m_hasGreetedAgain = false;
    beginWrite(now);
}

bool Requests::beginWrite(SteadyTime now)
{
    if (m_writes.isEmpty())
        return false;
    ++m_readsHeldUp;
    m_driver.beginWrite(m_writes.begin());
    m_errand = Errand::Write;
    sendDriverFrame(now);
    return true;
}

bool Requests::beginQuery(SteadyTime now)
{
    if (m_queries.isEmpty())
        return false;
    ++m_readsHeldUp;
    askQuery(now);
    return true;
}

bool Requests::beginRead(SteadyTime now)
{
    m_readsHeldUp = 0;
    if (!m_reader.next(m_read, now))
        return false;
    askRead(now);
    return true;
}

void Requests::askRead(SteadyTime now)
{
    m_driver.beginRead(m_read.device->readArea, m_read.block.first, m_read.block.count);
    m_errand = Errand::Read;
    sendDriverFrame(now);
}

void Requests::askQuery(SteadyTime now)
{
    send(Errand::Query, m_queries.first() + '\r', 0, now);
}

// Sends the next frame of the request in the driver's hands.
void Requests::sendDriverFrame(SteadyTime now)
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
    } else {
        send(m_errand, frame, m_driver.replyLength(), now);
    }
}

void Requests::send(Errand errand, const QByteArray &frame, int replyLength, SteadyTime now)
{
    m_errand = errand;
    if (errand != Errand::Greeting)
        m_counts.sent();
    m_exchange.begin(frame, replyLength, now);
}

// --- in ------------------------------------------------------------------------------------------

std::optional<LinkNews> Requests::takeAnswer(SteadyTime now)
{
    if (m_errand == Errand::None)
        return std::nullopt;
    const std::optional<Ended> ended = m_exchange.advance(now);
    if (!ended)
        return std::nullopt;
    m_nextSend = now + m_settings.gap;
    if (m_errand == Errand::Greeting)
        return takeGreeting(*ended, now);
    m_counts.ended(*ended);
    if (!greetsAgain(*ended, now))
        end(*ended, now);
    if (ended->isAnswer())
        return LinkNews{LinkEvent::Answered, {}};
    // Without an answer the link starts afresh: the true one may still come, and be taken for that
    // of the next request.
    return LinkNews{LinkEvent::Failed, problemOf(*ended, m_settings)};
}

std::optional<LinkNews> Requests::takeGreeting(const Ended &ended, SteadyTime now)
{
    m_errand = Errand::None;
    if (ended.end != Exchange::End::Answered)
        return LinkNews{LinkEvent::Failed, greetingProblem(ended, m_settings)};
    if (m_askedAgain == Errand::None)
        return LinkNews{LinkEvent::Answered, {}};
    askAgain(now);
    return std::nullopt;
}

// A PLC that was restarted answers E1 until it is greeted again: the request is then asked once
// more. A second E1 is meant.
bool Requests::greetsAgain(const Ended &ended, SteadyTime now)
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
    greet(now);
    return true;
}

void Requests::askAgain(SteadyTime now)
{
    m_errand = m_askedAgain;
    m_askedAgain = Errand::None;
    m_counts.sentAgain();
    if (m_errand == Errand::Read) {
        askRead(now);
    } else if (m_errand == Errand::Query) {
        askQuery(now);
    } else {
        m_driver.beginWrite(m_writes.inHand());
        sendDriverFrame(now);
    }
}

void Requests::end(const Ended &ended, SteadyTime now)
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

void Requests::endRead(const Ended &ended, SteadyTime now)
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

void Requests::endWrite(const Ended &ended, SteadyTime now)
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

void Requests::endQuery(const Ended &ended)
{
    if (ended.isAnswer())
        m_queries.firstAnswered(ended.answer);
    else
        m_queries.firstFailed(reasonText(reasonOf(ended.end)));
}

void Requests::drop()
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

void Requests::fill(LinkStatistics &statistics) const
{
    m_counts.fill(statistics);
    statistics.bytesSent = m_exchange.bytesSent();
    statistics.bytesReceived = m_exchange.bytesReceived();
    statistics.strayBytes = m_exchange.strayBytes();
}

} // namespace kvlink
