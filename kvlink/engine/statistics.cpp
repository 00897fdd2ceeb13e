// SPDX-License-Identifier: MIT
#include "engine/statistics.h"

#include <algorithm>
#include <limits>

namespace kvlink
{

namespace
{
// PLCs on Ethernet take about this long for each character of an answer, however fast
// the network is.
constexpr double leastPerByte = 0.5e-6;
constexpr double guessOnEthernet = 0.005;
constexpr double guessOnSerial = 0.010;
constexpr double weightOfNewest = 0.1;
} // namespace

void AnswerTimes::add(Duration took)
{
    const auto *bound = std::lower_bound(answerTimeBounds.begin(), answerTimeBounds.end(), took);
    ++m_counts[std::size_t(bound - answerTimeBounds.begin())];
    m_sum += took;
    const auto time = quint32(std::clamp<qint64>(took.count(), 0, std::numeric_limits<quint32>::max()));
    if (m_times.size() < most) {
        m_times.push_back(time);
        return;
    }
    m_times[m_next] = time;
    m_next = (m_next + 1) % most;
}

void AnswerTimes::fill(LinkStatistics &statistics) const
{
    statistics.answerCounts = m_counts;
    statistics.answerSum = m_sum;
    if (m_times.empty())
        return;
    std::vector<quint32> sorted = m_times;
    std::sort(sorted.begin(), sorted.end());
    const auto at = [&](std::size_t percent) {
        const std::size_t rank = (sorted.size() * percent + 99) / 100; // nearest rank, counted from 1
        return Duration(sorted[rank - 1]);
    };
    statistics.answerMin = Duration(sorted.front());
    statistics.answerMedian = at(50);
    statistics.answer90 = at(90);
    statistics.answer99 = at(99);
    statistics.answerMax = Duration(sorted.back());
}

RequestCost::RequestCost(double secondsPerByte)
    : m_perByte(std::max(secondsPerByte, leastPerByte)), m_lineTime(secondsPerByte),
      m_turnaround(secondsPerByte > 0.0 ? guessOnSerial : guessOnEthernet)
{
}

void RequestCost::add(Duration took, int bytes)
{
    const double seconds = double(took.count()) / 1e6 - m_lineTime * bytes;
    const double turnaround = std::max(seconds, 0.0);
    m_turnaround = m_answers == 0 ? turnaround : m_turnaround + weightOfNewest * (turnaround - m_turnaround);
    m_answers = std::min(m_answers + 1, enough);
}

} // namespace kvlink
