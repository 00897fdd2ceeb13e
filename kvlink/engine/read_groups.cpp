// SPDX-License-Identifier: MIT
#include "engine/read_groups.h"

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

} // namespace kvlink
