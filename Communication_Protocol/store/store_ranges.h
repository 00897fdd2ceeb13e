// SPDX-License-Identifier: MIT
// How large an image must be.
#pragma once

#include "addresses/area_table.h"

#include <QtGlobal>

/// Bytes that an image needs to hold the range; null: an unknown area.
/// On purpose: contacts count two bytes, and so do single relays, as if their bit number were a
/// word number. A range of word bits that starts late in a word may be one word short; whoever
/// writes past the end grows it.
qint64 sizeOfRange(const Area *area, qint64 address, qint64 count);
