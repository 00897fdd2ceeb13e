// SPDX-License-Identifier: MIT
#include "engine/planner.h"

#include <algorithm>

namespace kvlink
{

namespace
{

// A block that grows tag by tag.
class Planner
{
public:
    Planner(std::span<const UnitRange> tags, const PlanLimits &limits, const std::set<RangeKey> &cuts)
        : m_tags(tags), m_limits(limits), m_nextCut(cuts.begin()), m_lastCut(cuts.end())
    {
    }

    std::vector<PlannedBlock> plan()
    {
        for (quint32 i = 0; i < m_tags.size(); ++i) {
            const bool afterCut = passesCut(m_tags[i]);
            if (m_tags[i].count > m_limits.mostUnits)
                addPieces(i);
            else if (!afterCut && canJoin(m_tags[i]))
                join(i);
            else
                start(i);
        }
        return std::move(m_blocks);
    }

private:
    bool passesCut(const UnitRange &tag)
    {
        bool passed = false;
        for (; m_nextCut != m_lastCut && *m_nextCut <= tag.key(); ++m_nextCut)
            passed = true;
        return passed;
    }

    bool canJoin(const UnitRange &tag) const
    {
        if (m_blocks.empty() || m_blocks.back().isPiece)
            return false;
        const PlannedBlock &block = m_blocks.back();
        const int gap = tag.first - (block.first + block.count);
        const int end = std::max(block.first + block.count, tag.end());
        return end - block.first <= m_limits.mostUnits &&
               gap * m_limits.unitSeconds < m_limits.requestSeconds;
    }

    void join(quint32 i)
    {
        PlannedBlock &block = m_blocks.back();
        const int end = block.first + block.count;
        const int gap = std::max(m_tags[i].first - end, 0);
        const int more = std::max(m_tags[i].end() - end, 0);
        block.count += more;
        block.usedUnits += more - gap;
        block.gaps += gap > 0 ? 1 : 0;
        block.end = i + 1;
    }

    void start(quint32 i)
    {
        const UnitRange &tag = m_tags[i];
        m_blocks.push_back({tag.first, tag.count, i, i + 1, tag.count, 0, false, {}});
    }

    void addPieces(quint32 i)
    {
        const UnitRange &tag = m_tags[i];
        const int values = std::max(m_limits.mostUnits / tag.unitsOfValue, 1);
        const int step = values * tag.unitsOfValue;
        for (int at = tag.first; at < tag.end(); at += step) {
            const int count = std::min(step, tag.end() - at);
            m_blocks.push_back({at, count, i, i + 1, count, 0, true, tag});
        }
    }

    std::span<const UnitRange> m_tags;
    const PlanLimits &m_limits;
    std::set<RangeKey>::const_iterator m_nextCut;
    std::set<RangeKey>::const_iterator m_lastCut;
    std::vector<PlannedBlock> m_blocks;
};

} // namespace

std::vector<PlannedBlock> planBlocks(std::span<const UnitRange> tags, const PlanLimits &limits,
                                     const std::set<RangeKey> &cuts)
{
    return Planner(tags, limits, cuts).plan();
}

} // namespace kvlink
