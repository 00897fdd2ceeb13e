// SPDX-License-Identifier: MIT
// What became of the requests of a link, in numbers.
#pragma once

#include "engine/exchange.h"
#include "engine/statistics.h"

namespace kvlink
{

class RequestCounts
{
public:
    void sent() { ++m_requests; }
    void sentAgain() { ++m_repeats; }
    void ended(const Exchange::Ended &ended);

    void fill(LinkStatistics &statistics) const;

private:
    quint64 &counterOf(Exchange::End end);

    quint64 m_requests = 0;
    quint64 m_repeats = 0;
    quint64 m_answers = 0;
    quint64 m_plcErrors = 0;
    quint64 m_corrupted = 0;
    quint64 m_noAnswers = 0;
    AnswerTimes m_times;
};

} // namespace kvlink
