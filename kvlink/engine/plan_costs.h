// SPDX-License-Identifier: MIT
// What the plans of a link reckon with: what a request costs there, and what a unit.
//
// They follow what is measured in steps of two, and look every ten seconds: plans that changed with
// every answer would cost more than they save.
#pragma once

#include "engine/planner.h"
#include "engine/statistics.h"
#include "model/device_table.h"

namespace kvlink
{

// Bytes of one unit in an answer, with the blank after it.
constexpr int bytesOfWord = 6;
constexpr int bytesOfDoubleWord = 11;
constexpr int bytesOfTriple = 24;
constexpr int bytesOfFrame = 22; ///< "RDS DM10000.U 100" with its CR, and the CR LF of the answer

class PlanCosts
{
public:
    /// \param maxBlock units of the largest request; a device may have a smaller limit
    /// \param secondsPerByte of the line; 0 for TCP and UDP
    PlanCosts(int maxBlock, double secondsPerByte);

    /// \param bytes of frame and answer together
    void measured(Duration took, int bytes) { m_cost.add(took, bytes); }
    bool isMeasured() const { return m_cost.isMeasured(); }

    /// True if a request costs twice or half of what the plans reckon with: plan again.
    bool haveChanged(SteadyTime now);

    double requestSeconds() const { return m_turnaround + bytesOfFrame * m_cost.perByte(); }
    /// \param bytes one of those above
    double unitSeconds(int bytes) const { return bytes * m_cost.perByte(); }
    PlanLimits limitsOf(const Device &device) const;

private:
    const int m_maxBlock;
    RequestCost m_cost;
    double m_turnaround; ///< as it was when the plans were made
    SteadyTime m_lookedAt{};
};

} // namespace kvlink
