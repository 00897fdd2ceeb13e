// SPDX-License-Identifier: MIT
// How long the answer to a read will be.
#pragma once

#include "addresses/area_table.h"

/// Length of the data of a reply with count values: the last one has no separator. A count of 0
/// gives -1. A length outside the range of int stays at its end: no PLC answers that much.
int replyDataLength(Reply layout, int count);
