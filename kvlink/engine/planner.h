// SPDX-License-Identifier: MIT
// Which requests read a set of tags of one device: as few as pay.
//
// Two tags share a request when reading across the gap between them costs less than a request more.
// All units of a tag come in one request, so that no 32-bit value and no text is ever made of two
// answers. Only a tag that is larger than the largest request is read in several; they end between
// its values, never inside one. A text is one value: a longer one than the largest request is still
// asked for in one.
#pragma once

#include <QtGlobal>

#include <set>
#include <span>
#include <tuple>
#include <utility>
#include <vector>

namespace kvlink
{

/// A tag as the planner sees it, in read units of its device.
struct UnitRange {
    int first = 0;
    int count = 0;
    int unitsOfValue = 1; ///< units that must come together
    quint32 slot = 0;     ///< which tag it is; of no account here

    int end() const { return first + count; }
    friend bool operator<(const UnitRange &one, const UnitRange &other) { return one.key() < other.key(); }
    /// Tags with the same key ask for the same units: what the PLC refuses of one it
    /// refuses of all.
    std::pair<int, int> key() const { return {first, count}; }
};

using RangeKey = std::pair<int, int>;

struct PlanLimits {
    int mostUnits;
    double requestSeconds; ///< what one request more costs
    double unitSeconds;    ///< what one unit more costs
};

/// One request: some units, for the tags from \a begin to before \a end.
struct PlannedBlock {
    int first = 0;
    int count = 0;
    quint32 begin = 0;
    quint32 end = 0;
    int usedUnits = 0; ///< asked for by tags; the rest are gaps
    int gaps = 0;
    bool isPiece = false; ///< one of several for a single large tag
    UnitRange large{};    ///< with a piece: that tag

    /// Blocks of one plan stand in this order, and no two are the same.
    friend bool operator<(const PlannedBlock &one, const PlannedBlock &other)
    {
        return one.order() < other.order();
    }
    std::tuple<int, bool, int, quint32, int, int> order() const
    {
        const int tagFirst = isPiece ? large.first : first;
        return {tagFirst, isPiece, large.count, large.slot, first, count};
    }
};

/// \param tags sorted
/// \param cuts no request holds tags from both sides of a cut: of a key less than it, and of others
std::vector<PlannedBlock> planBlocks(std::span<const UnitRange> tags, const PlanLimits &limits,
                                     const std::set<RangeKey> &cuts = {});

} // namespace kvlink
