// SPDX-License-Identifier: MIT
// The tags of one device that are read together, and the requests that read them.
//
// A request that the PLC refuses is cut in two until the bad tags are alone. Cuts last a minute, as
// do refusals: then everything is asked in large requests again.
#pragma once

#include "engine/planner.h"
#include "model/device_table.h"

#include <kvlink/times.h>

#include <map>

namespace kvlink
{

/// One request of a group.
struct ReadBlock : PlannedBlock {
    quint64 asked = 0;                        ///< number of the pass that asked it last
    SteadyTime staleAt = SteadyTime::max();   ///< when its tags are stale; max: they are not good
    SteadyTime notBefore = SteadyTime::min(); ///< refused: asked again then
    quint8 plcError = 0;                      ///< refused: with this code
    bool isRefused() const { return notBefore != SteadyTime::min(); }
};

class ReadGroup
{
public:
    explicit ReadGroup(const Device &device) : m_device(&device) {}

    const Device &device() const { return *m_device; }

    /// \param staleAt of its value, when that is good already
    void add(const UnitRange &tag, SteadyTime staleAt = SteadyTime::max());
    void remove(const UnitRange &tag);
    bool isEmpty() const { return m_tags.size() + m_added.size() == m_removed.size(); }
    int tagCount() const { return int(m_tags.size() + m_added.size() - m_removed.size()); }

    /// Plans again if tags came or went, if the PLC refused some, or after invalidate(). Requests
    /// that stay as they were keep their state.
    void replan(const PlanLimits &limits);
    /// replan() will plan.
    void invalidate() { m_isPlanned = false; }

    const std::vector<ReadBlock> &blocks() const { return m_blocks; }
    /// Of one of the blocks.
    std::span<const UnitRange> tagsOf(const PlannedBlock &block) const
    {
        return std::span(m_tags).subspan(block.begin, block.end - block.begin);
    }

    /// The next request that pass \a pass has not asked yet; it is marked as asked. Null:
    /// none is left.
    const ReadBlock *next(quint64 pass, SteadyTime now);

    // --- how it went. \a block: a copy of what next() gave; the group may have a new plan since --

    void answered(const PlannedBlock &block, SteadyTime staleAt);
    void failed(const PlannedBlock &block);
    /// \return true: cut in two, both to be asked in this pass; false: the tags of the block are
    /// alone and bad
    bool refused(const PlannedBlock &block, quint8 plcError, SteadyTime now);

    /// Forgets cuts and refusals, as after a loss of the link: another PLC may be there.
    void forgetRefusals();
    /// Forgets the cuts when their minute is over. Before replan().
    void forgetOldCuts(SteadyTime now);

    /// Calls \a act for each block whose tags are stale now, and marks it. \return when the next
    /// one will be
    template <typename Act>
    SteadyTime age(SteadyTime now, Act act)
    {
        SteadyTime next = SteadyTime::max();
        for (ReadBlock &block : m_blocks) {
            if (block.staleAt <= now) {
                block.staleAt = SteadyTime::max();
                act(block);
            }
            next = std::min(next, block.staleAt);
        }
        return next;
    }
    void forgetAges();
    /// Its tags are stale then at the latest.
    void ageAtLatest(SteadyTime staleAt);

private:
    struct Refusal {
        SteadyTime notBefore{};
        quint8 plcError = 0;
    };

    void takeChanges();
    void carryOver(const std::vector<ReadBlock> &old);
    std::set<RangeKey> allCuts() const;
    ReadBlock *find(const PlannedBlock &block);

    const Device *m_device;
    std::vector<UnitRange> m_tags; ///< sorted
    std::vector<UnitRange> m_added;
    SteadyTime m_addedStaleAt = SteadyTime::max(); ///< the earliest of those added
    std::vector<UnitRange> m_removed;
    std::vector<ReadBlock> m_blocks;
    bool m_isPlanned = false;
    quint64 m_pass = 0;
    std::size_t m_hint = 0; ///< all blocks before it have been asked by m_pass
    std::set<RangeKey> m_cuts;
    SteadyTime m_cutsUntil = SteadyTime::max();
    std::map<RangeKey, Refusal> m_refusals;
};

} // namespace kvlink
