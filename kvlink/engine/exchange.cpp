// SPDX-License-Identifier: MIT
#include "engine/exchange.h"

namespace kvlink
{

QByteArray Exchange::received()
{
    QByteArray bytes = m_transport.takeReceived();
    m_bytesReceived += quint64(bytes.size());
    return bytes;
}

Duration Exchange::timeOnLine(qint64 bytes) const
{
    return Duration(qint64(m_transport.secondsPerByte() * 1e6 * double(bytes)));
}

bool Exchange::drain()
{
    const QByteArray bytes = received();
    if (bytes.isEmpty())
        return true;
    m_strayBytes += quint64(bytes.size());
    m_stray += bytes;
    return isCopies(m_stray, m_last);
}

void Exchange::begin(const QByteArray &frame, int replyLength, SteadyTime now)
{
    m_open = true;
    m_shape = shapeFor(frame);
    m_replyLength = replyLength;
    m_splitter = AnswerSplitter(replyLength);
    m_last.clear();
    m_stray.clear();
    m_sentAt = now;
    m_deadline = now + m_timeout + timeOnLine(frame.size() + qMax(replyLength, 0));
    m_bytesSent += quint64(frame.size());
    m_transport.send(frame);
}

std::optional<Exchange::Ended> Exchange::advance(SteadyTime now)
{
    m_splitter.feed(received());
    if (m_splitter.complete())
        return judged(now);
    Ended ended;
    // Bytes first, state second: an answer that came before the connection was closed counts.
    if (m_transport.state() != Transport::State::Open) {
        ended.end = End::LinkLost;
        ended.problem = m_transport.problem();
    } else if (now < m_deadline) {
        return std::nullopt;
    }
    m_open = false;
    return ended;
}

Exchange::Ended Exchange::judged(SteadyTime now)
{
    m_open = false;
    m_last = m_splitter.answer();
    m_stray = m_splitter.surplus();
    m_strayBytes += quint64(m_stray.size());
    Ended ended;
    ended.shape = m_shape;
    ended.answer = m_last;
    ended.took = now - m_sentAt;
    const AnswerVerdict verdict = checkAnswer(m_shape, m_replyLength, m_last);
    ended.plcError = verdict.plcError;
    if (!isCopies(m_stray, m_last) || verdict.kind == AnswerKind::Malformed)
        ended.end = End::Corrupted;
    else
        ended.end = verdict.kind == AnswerKind::Error ? End::PlcError : End::Answered;
    if (ended.isAnswer())
        m_deadline = {};
    return ended;
}

void Exchange::reset()
{
    m_open = false;
    m_last.clear();
    m_stray.clear();
    received();
}

} // namespace kvlink
