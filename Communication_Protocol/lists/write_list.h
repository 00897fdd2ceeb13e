// SPDX-License-Identifier: MIT
// What host writes need to know about the list of pending writes.
#pragma once

#include "Communication_Protocol.h"

/// True if a piece of the same write with a higher address could still enter writeList: there is
/// room, or an entry after the head that it might overwrite. Takes listMutex.
bool writeListMayTakeMoreAfter(const RW_VAR &piece);
