// SPDX-License-Identifier: MIT
// A steady rate: how many may go now.
#pragma once

#include <kvlink/times.h>

#include <algorithm>

namespace kvgateway
{

/// What was not used is saved up for a tenth of a second, no longer.
class Pace
{
public:
    /// \param perSecond above 0
    Pace(int perSecond, kvlink::SteadyTime now) : m_perSecond(perSecond), m_last(now) {}

    int allowance(kvlink::SteadyTime now)
    {
        const double most = std::max(1.0, m_perSecond * mostSavedUp);
        m_saved += m_perSecond * std::chrono::duration<double>(now - m_last).count();
        m_saved = std::min(m_saved, most);
        m_last = now;
        return int(m_saved);
    }
    void take(std::size_t count) { m_saved -= double(count); }
    /// One that was taken did not go.
    void giveBack() { m_saved += 1; }

private:
    static constexpr double mostSavedUp = 0.1; ///< seconds

    double m_perSecond;
    double m_saved = 0;
    kvlink::SteadyTime m_last;
};

} // namespace kvgateway
