#include "busy_wait.h"

namespace kvhost
{

Clock::duration BusyWait::allowance(Time now) const
{
    const bool worthIt = m_rest == 0 && m_lastTook < FAST && now - m_lastAnswer < PAUSE;
    return worthIt ? Clock::duration(LONGEST) : Clock::duration::zero();
}

void BusyWait::answered(Time begin, Time now, bool busily)
{
    m_lastAnswer = now;
    m_lastTook = now - begin;
    if (busily && m_lastTook > LONGEST)
        m_rest =
            REST; // the other side gets nowhere while this one keeps a processor, for instance the only one
    else if (m_rest > 0)
        --m_rest;
}

} // namespace kvhost
