// SPDX-License-Identifier: MIT
// A write that somebody asks for, and how it ended.
#pragma once

#include "config/config.h"

#include <kvlink/write.h>

#include <functional>

namespace kvgateway
{

struct WriteOrder {
    QString tag; ///< whole name
    kvlink::Value value;
    kvlink::Duration expires = std::chrono::seconds(5); ///< not sent after this time; above 0
    QString who;
    QString from;
    QString correlation; ///< names the write to those who look for it; not empty
};

struct WriteReport {
    WriteOrder order;
    QString plc;
    kvlink::Value oldValue; ///< when it was asked for; std::monostate: not known
    kvlink::Outcome outcome = kvlink::Outcome::NotSent;
    kvlink::Reason reason = kvlink::Reason::None;
    QString text; ///< a sentence: what happened, and what to do
    kvlink::WallTime time{};
};

using WriteEnd = std::function<void(const WriteReport &)>;

/// Why a write is not handed to the PLC: the tag is read-only, or a value is outside its limits.
/// \return empty: nothing is against it
QString writeProblem(const TagConfig &tag, const kvlink::Value &value, kvlink::Reason &reason);

/// The same for a push button.
QString pressProblem(const TagConfig &tag, kvlink::Reason &reason);

} // namespace kvgateway
