#include "step_doubt.h"

#include <algorithm>
#include <utility>

namespace kvhost
{

namespace
{

bool same(const Accepted &a, const Accepted &b)
{
    return a.owner == b.owner && a.range.station == b.range.station && a.range.key == b.range.key &&
           a.range.first == b.range.first && a.range.count == b.range.count;
}

} // namespace

void StepDoubt::heard(const QByteArray &answer, Time now)
{
    m_lastAnswer = answer;
    m_lastTime = now;
    m_lastTaken = false;
}

void StepDoubt::accepted(const Accepted &what)
{
    const auto known = std::find_if(m_waiting.begin(), m_waiting.end(),
                                    [&what](const Accepted &old) { return same(old, what); });
    if (known != m_waiting.end())
        m_waiting.erase(known);
    m_waiting << what;
    m_lastTaken = true;
}

StepDoubt::Finding StepDoubt::emptied(const QByteArray &surplus, Time now)
{
    if (!surplus.isEmpty())
        return surplus == m_lastAnswer ? copied() : mismatch();
    Finding finding;
    if (now >= provedAt())
        finding.proved = std::exchange(m_waiting, {});
    return finding;
}

// Whichever of the two copies was meant for the last request, it said the same. About those before it this
// says nothing: an answer that came one too late may read like its successor.
StepDoubt::Finding StepDoubt::copied()
{
    Finding finding;
    finding.lost = std::exchange(m_waiting, {});
    if (m_lastTaken && !finding.lost.isEmpty())
        finding.proved << finding.lost.takeLast();
    return finding;
}

StepDoubt::Finding StepDoubt::mismatch()
{
    Finding finding;
    finding.doubted = std::exchange(m_waiting, {});
    return finding;
}

StepDoubt::Finding StepDoubt::linkLost()
{
    Finding finding;
    finding.lost = std::exchange(m_waiting, {});
    return finding;
}

} // namespace kvhost
