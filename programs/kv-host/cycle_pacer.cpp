#include "cycle_pacer.h"

namespace kvhost
{

void CyclePacer::set(std::map<int, int> blocks, Ms asked)
{
    m_blocks = std::move(blocks);
    m_asked = asked;
    m_done = 0;
    m_started = false;
    m_everStarted = false;
    m_pauseEnd = Time{};
}

void CyclePacer::stationReady(int station, bool ready)
{
    if (ready)
        m_ready.insert(station);
    else
        m_ready.erase(station);
}

// Blocks of stations that are switched off are passed over by the driver.
int CyclePacer::due() const
{
    int count = 0;
    for (const auto &[station, blocks] : m_blocks) {
        if (m_ready.contains(station))
            count += blocks;
    }
    return count;
}

void CyclePacer::begins(Time now)
{
    if (m_started)
        return;
    m_started = true;
    m_startBefore = m_everStarted ? m_start : now;
    m_everStarted = true;
    m_start = now;
    m_done = 0;
}

bool CyclePacer::finished(Time now)
{
    begins(now);
    if (++m_done < due())
        return false;
    m_started = false;
    m_lastCycle = m_startBefore == m_start ? now - m_start : m_start - m_startBefore;
    m_pauseEnd = m_start + m_asked;
    return true;
}

} // namespace kvhost
