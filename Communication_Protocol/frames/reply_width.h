// How long the answer to a read will be.
#pragma once

#include "addresses/area_table.h"

/// Characters of one value in a reply, its separator included.
constexpr int replyWidth(Reply layout)
{
    switch (layout) {
    case Reply::Triples:
        return 24;
    case Reply::DWords:
        return 11;
    case Reply::Words:
    case Reply::None:
        break;
    }
    return 6;
}

/// Length of the data of a reply with count values: the last one has no separator. A count of 0 gives -1.
/// What passes the range of int stays at its end: no PLC answers that much.
int replyDataLength(Reply layout, int count);
