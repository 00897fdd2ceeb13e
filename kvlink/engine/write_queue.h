// SPDX-License-Identifier: MIT
// Writes on their way: in the order in which they were handed out, the first one in hand. Each ends
// in exactly one outcome.
//
// One queue for all tags keeps the order of each tag, and of tags that share a place. A write whose
// last request was not confirmed stays first until it is sent again or ends.
#pragma once

#include "model/units.h"

#include <kvlink/write.h>

#include <deque>
#include <utility>
#include <vector>

namespace kvlink
{

/// What a write is to the queue.
enum class WriteKind : quint8 {
    Plain,
    Press, ///< the 1 of a push button or pulse
    Release, ///< its 0: never replaced or cancelled, never expires, repeated until it is confirmed or the link stays lost
};

/// A write whose value has been checked.
struct QueuedWrite {
    WriteId id = 0;
    Tag tag;
    WriteKind kind = WriteKind::Plain;
    WriteOptions options;
    std::vector<WriteUnits> requests; ///< in order, at least one

    // Kept by the queue.
    SteadyTime expiresAt{};
    std::size_t part = 0;         ///< the request that is next or in hand
    int tries = 0;                ///< how often that request was begun
    int sent = 0;                 ///< write frames that left this host
    Reason doubt = Reason::None;  ///< why that request was not confirmed, once it was sent
    Reason unread = Reason::None; ///< of a bit of a word: why the word was not read
    int refusal = -1;             ///< error code of the PLC, if that is all that came of it so far
};

/// How a write ended.
struct WriteEnd {
    WriteId id = 0;
    Tag tag;
    WriteKind kind = WriteKind::Plain;
    Outcome outcome = Outcome::NotSent;
    Reason reason = Reason::None;
    quint8 plcError = 0;
    int sent = 0;
    QString text;
};

class WriteQueue
{
public:
    /// \param mostWaiting a further plain write ends as QueueFull
    WriteQueue(Duration timeout, int mostWaiting) : m_timeout(timeout), m_mostWaiting(mostWaiting) {}

    /// \param online the link is ready
    void add(QueuedWrite write, bool online, SteadyTime now);
    /// Ends a write that never gets here.
    void refuse(const QueuedWrite &write, Reason reason, const QString &what);

    // --- the first write -------------------------------------------------------------------------

    bool isEmpty() const { return m_waiting.empty(); }
    /// True if it may be sent once only: then not even an answer E1 is reason to send it again.
    bool isSentOnce() const;
    /// Begins its next request.
    const WriteUnits &begin();
    bool isInHand() const { return m_inHand; }
    /// The PLC has refused the request in hand because the link was not open there: it is
    /// asked once more.
    void refusedForNow(quint8 plcError);
    const WriteUnits &inHand() const { return m_waiting.front().requests[m_waiting.front().part]; }
    /// The driver has no frame for it.
    void impossible();
    /// A frame that changes the PLC is about to leave. False: the write has expired meanwhile;
    /// letGo() must follow.
    bool sending(SteadyTime now);
    /// The request in hand is dropped before its frame left.
    void letGo();
    void confirmed();
    void refusedByPlc(quint8 plcError);
    /// \param reason NoAnswer, Corrupted or LinkLost
    void unanswered(Reason reason);

    // --- all -------------------------------------------------------------------------------------

    /// Ends what does not wait for a link. After unanswered() for the one in hand.
    void linkLost();
    /// A further attempt to get a link has failed: releases end.
    void linkStaysLost();
    void expire(SteadyTime now);
    bool cancel(WriteId id);
    int cancelAll();
    void cancelTag(Tag tag);
    /// The link is to be stopped: ends what is neither a release nor in hand.
    void endButReleases();
    void stop();
    /// When expire() has something to do at the latest.
    SteadyTime nextExpiry() const { return m_nextExpiry; }

    /// What has ended since the last call.
    std::vector<WriteEnd> takeEnded() { return std::exchange(m_ended, {}); }

private:
    bool isHeld(const QueuedWrite &write) const { return m_inHand && &write == &m_waiting.front(); }
    bool isUntouched(const QueuedWrite &write) const;
    bool takesPlaceOfOlder(QueuedWrite &write);
    void insertRelease(QueuedWrite write);
    void watchExpiry(const QueuedWrite &write);
    void end(const QueuedWrite &write, Outcome outcome, Reason reason, const QString &what = {});
    void endAsFarAsSent(const QueuedWrite &write, Reason ifUnsent);
    void endFirst(Outcome outcome, Reason reason);
    template <typename Which>
    int endAll(Reason ifUnsent, Which which);
    QString detail(const QueuedWrite &write, Reason reason) const;

    const Duration m_timeout;
    const int m_mostWaiting;
    std::deque<QueuedWrite> m_waiting;
    bool m_inHand = false;    ///< a request of the first write is being exchanged
    bool m_frameLeft = false; ///< its write frame has left
    SteadyTime m_nextExpiry = SteadyTime::max();
    std::vector<WriteEnd> m_ended;
};

} // namespace kvlink
