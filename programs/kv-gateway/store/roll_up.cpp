// SPDX-License-Identifier: MIT
#include "roll_up.h"

#include <algorithm>

namespace kvgateway
{

void Bucket::widen(double value)
{
    min = isEmpty() ? value : std::min(min, value);
    max = isEmpty() ? value : std::max(max, value);
}

void Bucket::hold(double value, qint64 ms)
{
    if (ms <= 0)
        return;
    widen(value);
    mean = good == 0 ? value : mean + (value - mean) * double(ms) / double(good + ms);
    good += ms;
    last = value;
}

void Bucket::take(double value)
{
    widen(value);
    if (good == 0)
        mean = value; // until it has held for a while
    ++count;
    last = value;
}

void Bucket::add(const Bucket &other)
{
    if (!other.isEmpty()) {
        min = isEmpty() ? other.min : std::min(min, other.min);
        max = isEmpty() ? other.max : std::max(max, other.max);
        if (good + other.good == 0 || good == 0)
            mean = other.mean;
        else
            mean += (other.mean - mean) * double(other.good) / double(good + other.good);
        good += other.good;
        count += other.count;
    }
    last = other.last;
}

qint64 bucketStart(qint64 ms, qint64 width)
{
    const qint64 rest = ms % width;
    return ms - (rest < 0 ? rest + width : rest);
}

void RollUp::advance(qint64 time)
{
    if (m_tip.value && time > m_tip.time)
        hold(m_tip.time, time);
    m_tip.time = std::max(m_tip.time, time);
}

// A value that holds for a year touches two stretches, or each in between as well.
void RollUp::hold(qint64 from, qint64 to)
{
    qint64 start = bucketStart(from, m_width);
    const qint64 lastStart = bucketStart(to, m_width);
    while (true) {
        const qint64 begin = std::max(from, start);
        const qint64 end = std::min(to, start + m_width);
        if (end > begin)
            m_at(start).hold(*m_tip.value, end - begin);
        if (start == lastStart)
            return;
        start = m_between == Between::Fill || start + m_width == lastStart ? start + m_width : lastStart;
    }
}

void RollUp::take(qint64 time, std::optional<double> value)
{
    const bool hadValue = m_tip.value.has_value();
    advance(time);
    if (value)
        m_at(bucketStart(time, m_width)).take(*value);
    else if (hadValue)
        m_at(bucketStart(time, m_width)).last.reset();
    // On purpose not the later of two times: after the clock went back, it counts from there.
    m_tip = {time, value};
}

} // namespace kvgateway
