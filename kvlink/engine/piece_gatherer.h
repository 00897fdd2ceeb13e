// SPDX-License-Identifier: MIT
// Tags that are larger than a request: their raw bytes, while the pieces come in.
//
// Each value is whole, since pieces end between values; the values of one tag may be of different
// moments. Its sample carries the time of the first piece: nothing in it is older.
#pragma once

#include "engine/value_book.h"

namespace kvlink
{

class PieceGatherer
{
public:
    /// Takes a piece, in order from the first one on; the last one goes to the book with all
    /// before it. A piece whose forerunner is missing is dropped.
    void take(ValueBook &book, ValueBook::Slot slot, const UnitBlock &piece, const Moment &at, bool tell);
    void forget(ValueBook::Slot slot) { m_gathered.erase(slot); }
    void clear() { m_gathered.clear(); }

private:
    struct Gathered {
        std::vector<char> raw;
        int nextUnit = 0;
        Moment began;
    };

    std::map<ValueBook::Slot, Gathered> m_gathered;
};

} // namespace kvlink
