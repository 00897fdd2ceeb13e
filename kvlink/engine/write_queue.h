// SPDX-License-Identifier: MIT
// Writes on their way: in the order in which they were handed out, the first one in hand. Each ends
// in exactly one outcome.
//
// One queue for all tags keeps the order of each tag, and of tags that share a place. A write whose
// last request was not confirmed stays first until it is sent again or ends.
#pragma once

#include "engine/write_ends.h"

#include <deque>

namespace kvlink
{

class WriteQueue
{
public:
    /// \param mostWaiting a further plain write ends as QueueFull
    WriteQueue(Duration timeout, int mostWaiting) : m_mostWaiting(mostWaiting), m_ends(timeout) {}

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
    std::vector<WriteEnd> takeEnded() { return m_ends.take(); }

private:
    bool isHeld(const QueuedWrite &write) const { return m_inHand && &write == &m_waiting.front(); }
    bool takesPlaceOfOlder(QueuedWrite &write);
    void insertRelease(QueuedWrite write);
    void watchExpiry(const QueuedWrite &write);
    void endFirst(Outcome outcome, Reason reason);
    template <typename Which>
    int endAll(Reason ifUnsent, Which which);

    const int m_mostWaiting;
    std::deque<QueuedWrite> m_waiting;
    bool m_inHand = false;    ///< a request of the first write is being exchanged
    bool m_frameLeft = false; ///< its write frame has left
    SteadyTime m_nextExpiry = SteadyTime::max();
    WriteEnds m_ends;
};

} // namespace kvlink
