// SPDX-License-Identifier: MIT
// Which host reads bring back what a read request brought: the driver's store has one image for
// each value of a read unit.
#pragma once

#include <QString>

namespace kvlink
{

/// How the driver wants the address of a read unit written.
enum class UnitText : quint8 {
    Decimal, ///< 100 -> "100"
    Hex,     ///< 26 -> "1A"
    Channel, ///< channel 12 of relays -> "1200"
    HexWord, ///< word 31 of relays -> "1F0"
};

/// Area codes of the host reads; -1: the store does not keep this value.
struct UnitViews {
    int readArea;
    UnitText text;
    int whole;
    int contact;
    int current;
    int set;
};

/// Null for an area that no read request is made with.
const UnitViews *findUnitViews(int readArea);

QString unitText(UnitText text, int unit);

} // namespace kvlink
