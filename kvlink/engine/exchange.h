// SPDX-License-Identifier: MIT
// One exchange: a frame out, its answer in, or the time-out.
//
// Only one is open at a time. What comes when nothing was asked, and what comes beside an answer,
// is never an answer: whole copies of the last answer are skipped, anything else puts the link
// in doubt, since an answer may by then have been taken for that of another request.
#pragma once

#include "engine/answer_check.h"
#include "engine/answer_splitter.h"
#include "transport/transport.h"

#include <optional>

namespace kvlink
{

class Exchange
{
public:
    enum class End : quint8 {
        Answered,
        PlcError, ///< "E0", "E1", ...
        Corrupted, ///< complete, but of the wrong shape or with other bytes behind it: it may be another request's
        NoAnswer, ///< not complete within the time-out
        LinkLost, ///< the transport failed
    };
    /// An end without an answer puts the link in doubt: the true answer may still come.
    struct Ended {
        End end = End::NoAnswer;
        quint8 plcError = 0;
        AnswerShape shape{}; ///< with an answer, as are the next two
        QByteArray answer;
        Duration took{}; ///< from sending to the last byte
        QString problem; ///< with LinkLost: what happened to the transport

        bool isAnswer() const { return end == End::Answered || end == End::PlcError; }
    };

    /// \param timeout on serial lines beside the time of the characters of both directions
    Exchange(Transport &transport, Duration timeout) : m_transport(transport), m_timeout(timeout) {}

    /// Takes what has come while nothing was asked. False: it puts the link in doubt.
    bool drain();

    /// Sends. Right after a drain() that found nothing. \param replyLength below 1: the
    /// line end decides
    void begin(const QByteArray &frame, int replyLength, SteadyTime now);
    bool isOpen() const { return m_open; }
    /// When the answer is given up. With an open exchange only.
    SteadyTime deadline() const { return m_deadline; }
    /// Until when an answer to the last frame may still come; long ago if it has come.
    SteadyTime owedUntil() const { return m_deadline; }

    /// Takes what has come. \return how the exchange has ended, once it has
    std::optional<Ended> advance(SteadyTime now);

    /// Forgets the open exchange and all that has come: another connection follows.
    void reset();

    quint64 bytesSent() const { return m_bytesSent; }
    quint64 bytesReceived() const { return m_bytesReceived; }
    quint64 strayBytes() const { return m_strayBytes; }

private:
    QByteArray received();
    Ended judged(SteadyTime now);
    Duration timeOnLine(qint64 bytes) const;

    Transport &m_transport;
    const Duration m_timeout;
    bool m_open = false;
    AnswerShape m_shape{};
    int m_replyLength = 0;
    AnswerSplitter m_splitter{0};
    SteadyTime m_sentAt{};
    SteadyTime m_deadline{};
    QByteArray m_last;  ///< the last answer: copies of it may follow
    QByteArray m_stray; ///< what has followed it so far
    quint64 m_bytesSent = 0;
    quint64 m_bytesReceived = 0;
    quint64 m_strayBytes = 0;
};

} // namespace kvlink
