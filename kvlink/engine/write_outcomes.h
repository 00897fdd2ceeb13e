// SPDX-License-Identifier: MIT
// How a write can end, as rows: which outcome goes with which reason, and what is said to people.
#pragma once

#include <kvlink/write.h>

#include <span>

namespace kvlink
{

struct OutcomeRow {
    Outcome outcome;
    Reason reason;
    bool leftHost;        ///< a frame of the write was sent
    bool mayBeCarriedOut; ///< the PLC may have changed
    const char *text;     ///< %1: see endText()
};

std::span<const OutcomeRow> outcomeRows();

/// \param what what takes the place of %1: an error code, a time, what is wrong with the value
/// A pair without a row is a defect of the engine and asserts.
QString endText(Outcome outcome, Reason reason, const QString &what = {});

} // namespace kvlink
