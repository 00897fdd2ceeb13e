// SPDX-License-Identifier: MIT
// All faults of one PLC.
#include "faults/fault_plan.h"

#include "faults/fault_text.h"

#include <algorithm>

namespace kvsim
{
namespace
{

constexpr std::size_t mostFaults = 1000;

} // namespace

const FaultPlan::Entry *FaultPlan::add(std::string_view text, std::string &problem)
{
    auto settings = faultFromText(text, m_family, problem);
    if (!settings)
        return nullptr;
    if (m_entries.size() >= mostFaults)
        std::erase_if(m_entries, [](const Entry &entry) { return entry.fault.hasExpired(); });
    if (m_entries.size() >= mostFaults) {
        problem = "there are " + std::to_string(mostFaults) + " faults already; clear some first";
        return nullptr;
    }
    m_entries.push_back({++m_lastId, Fault(std::move(*settings))});
    return &m_entries.back();
}

bool FaultPlan::remove(int id)
{
    return std::erase_if(m_entries, [id](const Entry &entry) { return entry.id == id; }) > 0;
}

void FaultPlan::apply(Fault &fault, std::vector<FaultEffect> &effects)
{
    if (!fault.happens())
        return;
    effects.push_back(fault.effect());
    ++m_done[faultKindRow(fault.effect().kind).name];
}

std::vector<FaultEffect> FaultPlan::effectsOn(const Asked &asked)
{
    std::vector<FaultEffect> effects;
    for (Entry &entry : m_entries)
        if (!entry.fault.onConnections() && entry.fault.matches(asked))
            apply(entry.fault, effects);
    return effects;
}

std::vector<FaultEffect> FaultPlan::effectsOnConnection(bool othersOpen)
{
    std::vector<FaultEffect> effects;
    for (Entry &entry : m_entries) {
        const bool second = entry.fault.effect().kind == FaultKind::Second;
        if (entry.fault.onConnections() && (othersOpen || !second))
            apply(entry.fault, effects);
    }
    return effects;
}

const FaultEffect *effectOf(const std::vector<FaultEffect> &effects, FaultKind kind)
{
    const auto found = std::find_if(effects.begin(), effects.end(),
                                    [kind](const FaultEffect &effect) { return effect.kind == kind; });
    return found == effects.end() ? nullptr : &*found;
}

} // namespace kvsim
