// When the next pass over the cyclic read list may begin, and how long passes take. Pure.
#pragma once

#include "clock.h"

#include <map>
#include <set>

namespace kvhost
{

class CyclePacer
{
public:
    /// \param blocks read blocks by station, \param asked time from the start of one pass to that of the next
    void set(std::map<int, int> blocks, Ms asked);

    void stationReady(int station, bool ready);

    /// A cyclic read is about to be sent.
    void begins(Time now);

    /// A cyclic read is finished, well or not. \return true if the pass is complete with it
    bool finished(Time now);

    /// True if cyclic reads may go on now; false until pauseEnd().
    bool mayRead(Time now) const { return now >= m_pauseEnd; }
    Time pauseEnd() const { return m_pauseEnd; }
    /// The cycle as it was reached: from the start of the pass before last to that of the last one, or the
    /// time of the first pass.
    Clock::duration lastCycle() const { return m_lastCycle; }
    Ms asked() const { return m_asked; }

private:
    int due() const;

    std::map<int, int> m_blocks;
    std::set<int> m_ready;
    Ms m_asked{0};
    int m_done = 0;
    bool m_started = false;
    bool m_everStarted = false;
    Time m_start{};
    Time m_startBefore{};
    Time m_pauseEnd{};
    Clock::duration m_lastCycle{};
};

} // namespace kvhost
