// SPDX-License-Identifier: MIT
#include "frames/reply_length.h"

#include "frames/frame_queue.h"

#include <limits>

int replyDataLength(Reply layout, int count)
{
    const qint64 length = qint64(count) * replyWidth(layout) - 1;
    const qint64 lowest = std::numeric_limits<int>::min();
    const qint64 highest = std::numeric_limits<int>::max() - lineEndLength;
    return int(qBound(lowest, length, highest));
}
