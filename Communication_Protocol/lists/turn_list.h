// SPDX-License-Identifier: MIT
// Turning a list: whose turn is over goes to its end.
#pragma once

#include "Communication_Protocol.h"

/// Moves the first \a count entries to the end of the list; the order among them and among the rest
/// stays. Cheap on every Qt: one or a few entries cost the same however long the list is.
/// \param count  0 to the length of the list
/// Example: 1 2 3 4 5 turned by 2 is 3 4 5 1 2.
void turnList(QList<RW_VAR> &list, int count);
