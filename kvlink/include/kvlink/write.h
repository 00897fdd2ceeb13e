// SPDX-License-Identifier: MIT
// Writes: what may be asked for, and how each one ends.
//
// A write ends in exactly one outcome. Nothing is sent after its end, and nothing is sent twice
// where attempts is 1.
#pragma once

#include "sample.h"
#include "tag.h"

namespace kvlink
{

using WriteId = quint64; ///< above 0, never reused; 0: no write

/// Closed: a switch over it needs no default.
enum class Outcome : quint8 {
    Done,    ///< confirmed by the PLC
    Refused, ///< the PLC answered an error code; nothing was changed
    NotSent, ///< never left this host
    Unknown, ///< sent, not confirmed: it may have been carried out
};

/// "done", "refused", "not sent", "unknown".
KVLINK_API QString outcomeName(Outcome outcome);

enum class WhenOffline : quint8 { Fail, Wait };

struct WriteOptions {
    bool coalesce =
        false; ///< replaces an unsent older write of the same tag, which ends as NotSent, Replaced
    WhenOffline whenOffline = WhenOffline::Fail;
    Duration expires = 5s; ///< not sent after this time; must be above 0
    int attempts =
        2; ///< 1 to 10; always 1 for tags marked as commands. Only what was not confirmed is sent again
};

struct WriteResult {
    WriteId id = 0;
    Tag tag;
    Outcome outcome = Outcome::NotSent;
    Reason reason = Reason::None;
    quint8 plcError = 0; ///< with Reason::PlcError: 0 for "E0", ...
    QString text;        ///< a whole sentence: "sent, no answer in 1 s; it may have been carried out"
    int attempts = 0;    ///< how often it was sent
    WallTime time{};     ///< when it ended
    SteadyTime steadyTime{};
};

} // namespace kvlink

Q_DECLARE_METATYPE(kvlink::WriteResult)
