// SPDX-License-Identifier: MIT
#include "engine/read_group.h"

#include <algorithm>
#include <utility>

namespace kvlink
{

namespace
{
constexpr Duration refusalLasts = 60s;

bool isSameTag(const UnitRange &one, const UnitRange &other)
{
    return one.slot == other.slot && one.key() == other.key();
}

bool bySlot(const UnitRange &one, const UnitRange &other)
{
    return one.key() != other.key() ? one.key() < other.key() : one.slot < other.slot;
}

} // namespace

// --- tags and plan -------------------------------------------------------------------------------

void ReadGroup::add(const UnitRange &tag, SteadyTime staleAt)
{
    m_addedStaleAt = std::min(m_addedStaleAt, staleAt);
    m_added.push_back(tag);
    m_isPlanned = false;
}

void ReadGroup::remove(const UnitRange &tag)
{
    m_isPlanned = false;
    const auto added = std::find_if(m_added.begin(), m_added.end(),
                                    [&](const UnitRange &one) { return isSameTag(one, tag); });
    if (added != m_added.end())
        m_added.erase(added);
    else
        m_removed.push_back(tag);
}

void ReadGroup::takeChanges()
{
    if (!m_removed.empty()) {
        std::sort(m_removed.begin(), m_removed.end(), bySlot);
        std::erase_if(m_tags, [this](const UnitRange &tag) {
            return std::binary_search(m_removed.begin(), m_removed.end(), tag, bySlot);
        });
        m_removed.clear();
    }
    if (!m_added.empty()) {
        std::sort(m_added.begin(), m_added.end(), bySlot);
        const auto middle = m_tags.insert(m_tags.end(), m_added.begin(), m_added.end());
        std::inplace_merge(m_tags.begin(), middle, m_tags.end(), bySlot);
        m_added.clear();
    }
}

void ReadGroup::replan(const PlanLimits &limits)
{
    if (m_isPlanned)
        return;
    takeChanges();
    const std::vector<ReadBlock> old = std::move(m_blocks);
    const std::vector<PlannedBlock> planned = planBlocks(m_tags, limits, allCuts());
    m_blocks.assign(planned.size(), ReadBlock());
    for (std::size_t i = 0; i < planned.size(); ++i)
        static_cast<PlannedBlock &>(m_blocks[i]) = planned[i];
    carryOver(old);
    m_isPlanned = true;
    m_hint = 0;
}

// Tags that are refused stand alone.
std::set<RangeKey> ReadGroup::allCuts() const
{
    std::set<RangeKey> cuts = m_cuts;
    for (const auto &[key, refusal] : m_refusals) {
        cuts.insert(key);
        cuts.insert({key.first, key.second + 1});
    }
    return cuts;
}

void ReadGroup::carryOver(const std::vector<ReadBlock> &old)
{
    // Tags of a block that was cut or joined may have been read by any of the old ones: the
    // earliest time is safe.
    SteadyTime earliest = std::exchange(m_addedStaleAt, SteadyTime::max());
    const SteadyTime added = earliest;
    for (const ReadBlock &block : old)
        earliest = std::min(earliest, block.staleAt);
    auto at = old.begin();
    for (ReadBlock &block : m_blocks) {
        while (at != old.end() && *at < block)
            ++at;
        const bool stays = at != old.end() && !(block < *at);
        block.asked = stays ? at->asked : 0;
        block.staleAt = stays ? std::min(at->staleAt, added) : earliest;
        const auto refusal = m_refusals.find(m_tags[block.begin].key());
        if (refusal != m_refusals.end()) {
            block.notBefore = refusal->second.notBefore;
            block.plcError = refusal->second.plcError;
        }
    }
}

// --- asking --------------------------------------------------------------------------------------

const ReadBlock *ReadGroup::next(quint64 pass, SteadyTime now)
{
    if (pass != m_pass) {
        m_pass = pass;
        m_hint = 0;
    }
    for (; m_hint < m_blocks.size(); ++m_hint) {
        ReadBlock &block = m_blocks[m_hint];
        if (block.asked == pass || block.notBefore > now)
            continue;
        block.asked = pass;
        return &block;
    }
    return nullptr;
}

ReadBlock *ReadGroup::find(const PlannedBlock &block)
{
    const auto found = std::lower_bound(m_blocks.begin(), m_blocks.end(), block);
    return found != m_blocks.end() && !(block < *found) ? &*found : nullptr;
}

void ReadGroup::answered(const PlannedBlock &block, SteadyTime staleAt)
{
    ReadBlock *now = find(block);
    if (now == nullptr) {
        ageAtLatest(staleAt); // planned again since: its tags are in other requests now
        return;
    }
    now->staleAt = staleAt;
    if (!now->isRefused())
        return;
    m_refusals.erase(m_tags[now->begin].key());
    m_isPlanned = false;
}

void ReadGroup::failed(const PlannedBlock &block)
{
    if (ReadBlock *now = find(block))
        now->staleAt = SteadyTime::max();
}

bool ReadGroup::refused(const PlannedBlock &block, quint8 plcError, SteadyTime now)
{
    ReadBlock *found = find(block);
    if (found == nullptr)
        return true; // planned again since: its tags are asked in other requests
    const std::span<const UnitRange> tags = tagsOf(*found);
    m_isPlanned = false;
    found->asked = 0; // the same units may be asked for again, with fewer tags
    // The middle, or the next place where one key ends and another begins.
    const auto half = std::upper_bound(tags.begin(), tags.end(), tags[(tags.size() - 1) / 2]);
    if (half != tags.end()) {
        m_cuts.insert(half->key());
    } else if (tags.front().key() != tags.back().key()) {
        m_cuts.insert(std::lower_bound(tags.begin(), tags.end(), tags.back())->key());
    } else {
        m_refusals[tags.front().key()] = {now + refusalLasts, plcError};
        failed(block);
        return false;
    }
    if (m_cutsUntil == SteadyTime::max())
        m_cutsUntil = now + refusalLasts;
    return true;
}

void ReadGroup::forgetRefusals()
{
    if (m_cuts.empty() && m_refusals.empty())
        return;
    m_cuts.clear();
    m_cutsUntil = SteadyTime::max();
    m_refusals.clear();
    m_isPlanned = false;
}

void ReadGroup::forgetOldCuts(SteadyTime now)
{
    if (now < m_cutsUntil)
        return;
    m_cuts.clear();
    m_cutsUntil = SteadyTime::max();
    m_isPlanned = false;
}

void ReadGroup::forgetAges()
{
    for (ReadBlock &block : m_blocks)
        block.staleAt = SteadyTime::max();
}

void ReadGroup::ageAtLatest(SteadyTime staleAt)
{
    for (ReadBlock &block : m_blocks)
        block.staleAt = std::min(block.staleAt, staleAt);
}

} // namespace kvlink
