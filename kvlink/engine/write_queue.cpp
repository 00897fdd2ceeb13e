// SPDX-License-Identifier: MIT
#include "engine/write_queue.h"

#include <algorithm>

namespace kvlink
{

namespace
{
// A PLC that refuses a release again and again must not hold up all other writes.
constexpr int mostRefusedReleases = 3;

// Nothing of it has been begun.
bool isUntouched(const QueuedWrite &write)
{
    return write.tries == 0 && write.part == 0;
}
} // namespace

// --- coming in -----------------------------------------------------------------------------------

void WriteQueue::add(QueuedWrite write, bool online, SteadyTime now)
{
    write.expiresAt = now + write.options.expires;
    if (write.kind == WriteKind::Release) {
        insertRelease(std::move(write));
        return;
    }
    if (!online && write.options.whenOffline == WhenOffline::Fail) {
        m_ends.add(write, Outcome::NotSent, Reason::Offline);
        return;
    }
    watchExpiry(write);
    if (write.options.coalesce && takesPlaceOfOlder(write))
        return;
    if (int(m_waiting.size()) >= m_mostWaiting)
        m_ends.add(write, Outcome::NotSent, Reason::QueueFull, QString::number(m_waiting.size()));
    else
        m_waiting.push_back(std::move(write));
}

void WriteQueue::refuse(const QueuedWrite &write, Reason reason, const QString &what)
{
    m_ends.add(write, Outcome::NotSent, reason, what);
}

// In its place, not at the end: a slider that moves faster than writes go out would never get
// to the front.
bool WriteQueue::takesPlaceOfOlder(QueuedWrite &write)
{
    const auto newest = std::find_if(m_waiting.rbegin(), m_waiting.rend(),
                                     [&](const QueuedWrite &older) { return older.tag == write.tag; });
    if (newest == m_waiting.rend() || newest->kind != WriteKind::Plain || !isUntouched(*newest))
        return false;
    m_ends.add(*newest, Outcome::NotSent, Reason::Replaced);
    *newest = std::move(write);
    return true;
}

// A release waits for nothing but the writes of its own tag.
void WriteQueue::insertRelease(QueuedWrite write)
{
    const auto sameTag = [&](const QueuedWrite &older) { return older.tag == write.tag; };
    auto at = std::find_if(m_waiting.rbegin(), m_waiting.rend(), sameTag).base();
    // The first write stays first once it was begun: its next request may have to follow.
    if (at == m_waiting.begin() && at != m_waiting.end() && !isUntouched(*at))
        ++at;
    m_waiting.insert(at, std::move(write));
}

void WriteQueue::watchExpiry(const QueuedWrite &write)
{
    if (write.kind != WriteKind::Release)
        m_nextExpiry = std::min(m_nextExpiry, write.expiresAt);
}

// --- the first write -----------------------------------------------------------------------------

bool WriteQueue::isSentOnce() const
{
    const QueuedWrite &first = m_waiting.front();
    return first.options.attempts == 1 && first.kind != WriteKind::Release;
}

const WriteUnits &WriteQueue::begin()
{
    QueuedWrite &first = m_waiting.front();
    m_inHand = true;
    m_frameLeft = false;
    ++first.tries;
    return first.requests[first.part];
}

bool WriteQueue::sending(SteadyTime now)
{
    QueuedWrite &first = m_waiting.front();
    if (first.kind != WriteKind::Release && now >= first.expiresAt)
        return false;
    ++first.sent;
    m_frameLeft = true;
    return true;
}

void WriteQueue::impossible()
{
    letGo();
    m_ends.add(m_waiting.front(), Outcome::NotSent, Reason::InvalidValue,
               QStringLiteral("the driver does not take it"));
    m_waiting.pop_front();
}

void WriteQueue::letGo()
{
    m_inHand = false;
    watchExpiry(m_waiting.front());
}

void WriteQueue::confirmed()
{
    QueuedWrite &first = m_waiting.front();
    letGo();
    ++first.part;
    first.tries = 0;
    first.doubt = Reason::None;
    first.refusal = -1;
    if (first.part == first.requests.size())
        endFirst(Outcome::Done, Reason::None);
}

void WriteQueue::refusedByPlc(quint8 plcError)
{
    QueuedWrite &first = m_waiting.front();
    first.refusal = plcError;
    letGo();
    if (first.kind == WriteKind::Release && first.tries < mostRefusedReleases)
        return;
    if (first.part > 0)
        endFirst(Outcome::Unknown, Reason::PartlyDone);
    else if (first.doubt != Reason::None)
        endFirst(Outcome::Unknown, Reason::PlcError);
    else
        endFirst(Outcome::Refused, Reason::PlcError);
}

void WriteQueue::refusedForNow(quint8 plcError)
{
    m_waiting.front().refusal = plcError;
    m_frameLeft = false;
}

void WriteQueue::unanswered(Reason reason)
{
    QueuedWrite &first = m_waiting.front();
    letGo();
    if (m_frameLeft)
        first.doubt = reason;
    else
        first.unread = reason;
    if (first.kind == WriteKind::Release || first.tries < first.options.attempts)
        return;
    m_ends.addAsFarAsSent(first, first.unread);
    m_waiting.pop_front();
}

void WriteQueue::endFirst(Outcome outcome, Reason reason)
{
    m_ends.add(m_waiting.front(), outcome, reason);
    m_waiting.pop_front();
}

// --- all -----------------------------------------------------------------------------------------

template <typename Which>
int WriteQueue::endAll(Reason ifUnsent, Which which)
{
    int ended = 0;
    std::erase_if(m_waiting, [&](const QueuedWrite &write) {
        if (isHeld(write) || !which(write))
            return false;
        m_ends.addAsFarAsSent(write, ifUnsent);
        ++ended;
        return true;
    });
    return ended;
}

void WriteQueue::linkLost()
{
    endAll(Reason::Offline, [](const QueuedWrite &write) {
        return write.kind != WriteKind::Release && isUntouched(write) &&
               write.options.whenOffline == WhenOffline::Fail;
    });
}

void WriteQueue::linkStaysLost()
{
    endAll(Reason::Offline, [](const QueuedWrite &write) { return write.kind == WriteKind::Release; });
}

void WriteQueue::expire(SteadyTime now)
{
    if (now < m_nextExpiry)
        return;
    endAll(Reason::Expired, [now](const QueuedWrite &write) {
        return write.kind != WriteKind::Release && now >= write.expiresAt;
    });
    m_nextExpiry = SteadyTime::max();
    for (const QueuedWrite &write : m_waiting) {
        if (!isHeld(write))
            watchExpiry(write);
    }
}

bool WriteQueue::cancel(WriteId id)
{
    return endAll(Reason::Cancelled, [&](const QueuedWrite &write) {
               return write.id == id && write.kind != WriteKind::Release && isUntouched(write);
           }) > 0;
}

int WriteQueue::cancelAll()
{
    return endAll(Reason::Cancelled, [](const QueuedWrite &write) {
        return write.kind != WriteKind::Release && isUntouched(write);
    });
}

void WriteQueue::cancelTag(Tag tag)
{
    endAll(Reason::Cancelled,
           [tag](const QueuedWrite &write) { return write.tag == tag && write.kind != WriteKind::Release; });
}

void WriteQueue::endButReleases()
{
    endAll(Reason::Stopped, [](const QueuedWrite &write) { return write.kind != WriteKind::Release; });
}

void WriteQueue::stop()
{
    if (m_inHand && m_frameLeft)
        m_waiting.front().doubt = Reason::Stopped;
    m_inHand = false;
    for (QueuedWrite &write : m_waiting) {
        if (write.doubt != Reason::None)
            write.doubt = Reason::Stopped;
    }
    endAll(Reason::Stopped, [](const QueuedWrite &) { return true; });
    m_nextExpiry = SteadyTime::max();
}

} // namespace kvlink
