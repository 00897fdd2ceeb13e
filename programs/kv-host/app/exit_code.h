// SPDX-License-Identifier: MIT
// How kv-host ends.
#pragma once

#include <kvlink/sample.h>
#include <kvlink/write.h>

#include <vector>

namespace kvhost
{

enum ExitCode {
    ExitGood = 0,
    ExitSomeBad = 1,
    ExitUsage = 2,
    ExitNoLink =
        3, ///< no connection to the PLC, or a write that was not sent; also: no driver library, no kv-sim
    ExitNoAnswer = 4,   ///< linked, but no answer; also: a write that may have been carried out
    ExitRefused = 5,    ///< by the PLC or by the write guard
    ExitBySignal = 128, ///< plus the signal's number: 130 after Ctrl-C
};

/// When nothing at all came back, for this reason.
int exitCodeOf(kvlink::Reason reason);
int exitCodeOf(kvlink::Outcome outcome);

/// Of several parts: good if all are, their own code if all end alike, ExitSomeBad otherwise.
int exitCodeOf(const std::vector<int> &parts);

} // namespace kvhost
