// SPDX-License-Identifier: MIT
#include "engine/read_groups.h"

#include <algorithm>

namespace kvlink
{

void ReadGroups::add(const Device &device, const UnitRange &tag, SteadyTime staleAt)
{
    m_groups.try_emplace(device.readArea, device).first->second.add(tag, staleAt);
}

void ReadGroups::remove(const Device &device, const UnitRange &tag)
{
    const auto group = m_groups.find(device.readArea);
    group->second.remove(tag);
    if (group->second.isEmpty())
        m_groups.erase(group);
}

ReadGroup *ReadGroups::find(const Device &device)
{
    const auto group = m_groups.find(device.readArea);
    return group == m_groups.end() ? nullptr : &group->second;
}

bool ReadGroups::next(ReadRequest &request, quint64 pass, const PlanCosts &costs, SteadyTime now)
{
    for (auto &[area, group] : m_groups) {
        group.forgetOldCuts(now);
        group.replan(costs.limitsOf(group.device()));
        const ReadBlock *block = group.next(pass, now);
        if (block == nullptr)
            continue;
        request.device = &group.device();
        const PlannedBlock &planned = *block; // its plan alone: the state stays with the group
        request.block = planned;
        request.tagSlots.clear();
        for (const UnitRange &tag : group.tagsOf(*block))
            request.tagSlots.push_back(tag.slot);
        return true;
    }
    return false;
}

SteadyTime ReadGroups::age(ValueBook &book, const PlanCosts &costs, SteadyTime now)
{
    SteadyTime next = SteadyTime::max();
    for (auto &[area, group] : m_groups) {
        group.replan(costs.limitsOf(group.device())); // tags that came since age as well
        // Named again: clang 14 captures no structured binding.
        const SteadyTime ofGroup = group.age(now, [&book, &aged = group](const ReadBlock &block) {
            for (const UnitRange &tag : aged.tagsOf(block))
                book.age(tag.slot);
        });
        next = std::min(next, ofGroup);
    }
    return next;
}

void ReadGroups::invalidate()
{
    for (auto &[area, group] : m_groups)
        group.invalidate();
}

void ReadGroups::forgetRefusals()
{
    for (auto &[area, group] : m_groups)
        group.forgetRefusals();
}

void ReadGroups::forgetAges()
{
    for (auto &[area, group] : m_groups)
        group.forgetAges();
}

} // namespace kvlink
