// SPDX-License-Identifier: MIT
#include "engine/request_counts.h"

namespace kvlink
{

quint64 &RequestCounts::counterOf(Exchange::End end)
{
    switch (end) {
    case Exchange::End::Answered:
        return m_answers;
    case Exchange::End::PlcError:
        return m_plcErrors;
    case Exchange::End::Corrupted:
        return m_corrupted;
    case Exchange::End::NoAnswer:
    case Exchange::End::LinkLost:
        break;
    }
    return m_noAnswers;
}

void RequestCounts::ended(const Exchange::Ended &ended)
{
    ++counterOf(ended.end);
    if (ended.isAnswer())
        m_times.add(ended.took);
}

void RequestCounts::fill(LinkStatistics &statistics) const
{
    statistics.requests = m_requests;
    statistics.repeats = m_repeats;
    statistics.answers = m_answers;
    statistics.plcErrors = m_plcErrors;
    statistics.corrupted = m_corrupted;
    statistics.noAnswers = m_noAnswers;
    m_times.fill(statistics);
}

} // namespace kvlink
