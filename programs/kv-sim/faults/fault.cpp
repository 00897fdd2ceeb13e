// SPDX-License-Identifier: MIT
// One fault: to which requests, and how often.
#include "faults/fault.h"

#include "requests/verbs.h"

#include <utility>

namespace kvsim
{
namespace
{

constexpr double drawsOf32Bits = 4294967296.0;

} // namespace

Fault::Fault(FaultSettings settings) : m_settings(std::move(settings)), m_random(m_settings.timing.seed) {}

bool Fault::onConnections() const
{
    return faultKindRow(effect().kind).onConnections;
}

bool Fault::matches(const Asked &asked) const
{
    if (effect().kind == FaultKind::Forget && isRemoteWord(asked.word))
        return false; // remote-area requests know no opening
    return m_settings.filter.matches(asked);
}

bool Fault::isDue()
{
    switch (m_settings.timing.when) {
    case FaultTiming::When::Always:
    case FaultTiming::When::Next: // expires after N
        return true;
    case FaultTiming::When::Every:
        return m_seen % m_settings.timing.period == 0;
    case FaultTiming::When::Probability:
        // Compared by hand: distributions differ between standard libraries, and a seed must not.
        return double(m_random()) / drawsOf32Bits < m_settings.timing.probability;
    }
    return false;
}

bool Fault::happens()
{
    if (hasExpired())
        return false;
    ++m_seen;
    if (!isDue())
        return false;
    ++m_done;
    return true;
}

bool Fault::hasExpired() const
{
    const FaultTiming &timing = m_settings.timing;
    return (timing.when == FaultTiming::When::Next && m_done >= timing.period) ||
           (timing.times && m_done >= *timing.times);
}

} // namespace kvsim
