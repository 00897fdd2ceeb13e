// SPDX-License-Identifier: MIT
// What the scheduler asks of the switched-off stations.
#pragma once

#include "Communication_Protocol.h"

/// Position of the first entry whose station is switched on; the length of the list if there is
/// none. Takes stationMutex once, however long the list is.
int firstReachable(const QList<RW_VAR> &list);
