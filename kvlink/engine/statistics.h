// SPDX-License-Identifier: MIT
// The answer times of a link, and what they come to.
#pragma once

#include <kvlink/link.h>

#include <vector>

namespace kvlink
{

class AnswerTimes
{
public:
    void add(Duration took);

    /// Sets the counts and sum of all answer times, and five of the last 10,000 by nearest
    /// rank: nothing while there was no answer.
    void fill(LinkStatistics &statistics) const;

private:
    static constexpr std::size_t most = 10000;

    std::vector<quint32> m_times; ///< microseconds, in a ring
    std::size_t m_next = 0;
    decltype(LinkStatistics::answerCounts) m_counts{};
    Duration m_sum{};
};

/// What a request costs on this link: measured, or guessed while nothing was.
class RequestCost
{
public:
    /// \param secondsPerByte of the line; 0 for TCP and UDP
    explicit RequestCost(double secondsPerByte);

    /// \param bytes of frame and answer together
    void add(Duration took, int bytes);

    bool isMeasured() const { return m_answers >= enough; }
    /// Seconds from the last byte of a request to the first byte of its answer.
    double turnaround() const { return m_turnaround; }
    /// Seconds that one byte more costs.
    double perByte() const { return m_perByte; }

private:
    static constexpr int enough = 8;

    double m_perByte;
    double m_lineTime;
    double m_turnaround;
    int m_answers = 0;
};

} // namespace kvlink
