// SPDX-License-Identifier: MIT
// How long an outlet waits before it dials again.
#pragma once

#include <algorithm>
#include <chrono>
#include <random>

namespace kvgateway
{

/// Doubles with each attempt. A random half of it: many gateways that lost one broker or database
/// do not come back in step.
class BackOff
{
public:
    using Time = std::chrono::milliseconds;

    BackOff(Time first, Time longest) : m_first(first), m_longest(longest) {}

    /// At least half of the first time, and at most the longest.
    Time next()
    {
        const Time most = m_now;
        m_now = std::min(m_now * 2, m_longest);
        return most / 2 + Time(Time::rep(m_random() % std::minstd_rand::result_type(most.count() / 2 + 1)));
    }
    /// A connection was of use: the first time is next.
    void reset() { m_now = m_first; }

private:
    const Time m_first;
    const Time m_longest;
    Time m_now = m_first;
    std::minstd_rand m_random{std::random_device{}()};
};

} // namespace kvgateway
