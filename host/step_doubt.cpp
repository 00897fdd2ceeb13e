#include "step_doubt.h"

#include <algorithm>
#include <utility>

namespace kvhost
{

void StepDoubt::accepted(const UnitRange &range, const QByteArray &answer, Time now)
{
    m_lastAnswer = answer;
    m_lastTime = now;
    const bool known = std::any_of(m_ranges.begin(), m_ranges.end(), [&range](const UnitRange &old) {
        return old.station == range.station && old.key == range.key && old.first == range.first &&
               old.count == range.count;
    });
    if (!known)
        m_ranges << range;
}

QVector<UnitRange> StepDoubt::emptied(const QByteArray &surplus, Time now)
{
    if (surplus.isEmpty()) {
        if (now - m_lastTime >= PROOF)
            m_ranges.clear();
        return {};
    }
    // A mere copy of the last answer: whichever of the two was meant for the last request said the same.
    if (surplus == m_lastAnswer)
        return {};
    return mismatch();
}

QVector<UnitRange> StepDoubt::mismatch()
{
    return std::exchange(m_ranges, {});
}

} // namespace kvhost
