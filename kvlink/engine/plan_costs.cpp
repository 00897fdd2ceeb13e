// SPDX-License-Identifier: MIT
#include "engine/plan_costs.h"

#include <algorithm>

namespace kvlink
{

namespace
{

constexpr Duration lookedAtEvery = 10s;
constexpr double changedBy = 2.0;

int bytesOfUnit(const Device &device)
{
    if (device.field != Field::Whole)
        return bytesOfTriple;
    return device.element == Element::DoubleWord ? bytesOfDoubleWord : bytesOfWord;
}

} // namespace

PlanCosts::PlanCosts(int maxBlock, double secondsPerByte)
    : m_maxBlock(maxBlock), m_cost(secondsPerByte), m_turnaround(m_cost.turnaround())
{
}

bool PlanCosts::haveChanged(SteadyTime now)
{
    if (now - m_lookedAt < lookedAtEvery || !m_cost.isMeasured())
        return false;
    m_lookedAt = now;
    const double turnaround = m_cost.turnaround();
    if (turnaround < m_turnaround * changedBy && turnaround > m_turnaround / changedBy)
        return false;
    m_turnaround = turnaround;
    return true;
}

PlanLimits PlanCosts::limitsOf(const Device &device) const
{
    return {std::min(m_maxBlock, device.mostUnits), requestSeconds(), unitSeconds(bytesOfUnit(device))};
}

} // namespace kvlink
