// SPDX-License-Identifier: MIT
// Cutting a range of a device into pieces of bounded length. Read blocks, one-shot reads and host
// writes are made so.
#pragma once

#include <QtGlobal>

#include <limits>

/// Calls take(address, count) for each piece of [address, address + count): pieces of longest
/// elements, the last one shorter. Ends early when take returns false, and at the end of int: no
/// device reaches that far. A count below 1 has no pieces.
/// Example: 100, 300, 128 -> (100, 128), (228, 128), (356, 44).
template <typename Take>
void forEachPiece(int address, qint64 count, int longest, Take take)
{
    for (qint64 done = 0; done < count; done += longest) {
        const qint64 start = address + done;
        if (start > std::numeric_limits<int>::max())
            return;
        if (!take(int(start), int(qMin<qint64>(count - done, longest))))
            return;
    }
}
