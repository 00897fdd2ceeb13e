// SPDX-License-Identifier: MIT
// A write on its way, and how it ends: the outcome follows from how far its requests came, so that
// nobody is told that nothing was sent when something was.
#pragma once

#include "model/units.h"

#include <kvlink/write.h>

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

/// Ends that nobody has taken yet, in order.
class WriteEnds
{
public:
    /// \param timeout of an exchange: for the texts
    explicit WriteEnds(Duration timeout) : m_timeout(timeout) {}

    /// \param what what is wrong; empty: what the write itself says
    void add(const QueuedWrite &write, Outcome outcome, Reason reason, const QString &what = {});
    /// The outcome says how far the write came.
    /// \param ifUnsent the reason, if that is nowhere
    void addAsFarAsSent(const QueuedWrite &write, Reason ifUnsent);

    /// What has ended since the last call.
    std::vector<WriteEnd> take() { return std::exchange(m_ended, {}); }

private:
    QString detail(const QueuedWrite &write, Reason reason) const;

    const Duration m_timeout;
    std::vector<WriteEnd> m_ended;
};

} // namespace kvlink
