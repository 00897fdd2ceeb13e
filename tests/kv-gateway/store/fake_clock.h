// SPDX-License-Identifier: MIT
// Clocks that tests turn by hand, and a data folder that vanishes with its test.
#pragma once

#include "store/clock.h"
#include "store/records.h"

#include <QTemporaryDir>

#include <ostream>

/// How a failed test shows a text; found by GoogleTest beside QString.
inline void PrintTo(const QString &text, std::ostream *out)
{
    *out << '"' << text.toStdString() << '"';
}

namespace kvgateway
{

/// 2026-05-04T08:00:00Z, the start of a minute and of an hour.
constexpr qint64 startMs = 1'777'881'600'000;

inline kvlink::WallTime at(qint64 msAfterStart)
{
    return kvlink::WallTime(std::chrono::milliseconds(startMs + msAfterStart));
}

class FakeClock : public Clock
{
public:
    kvlink::WallTime wall() const override { return m_wall; }
    kvlink::SteadyTime steady() const override { return m_steady; }

    void advance(kvlink::Duration time)
    {
        m_wall += time;
        m_steady += time;
    }
    void jump(kvlink::Duration time) { m_wall += time; }

private:
    kvlink::WallTime m_wall = at(0);
    kvlink::SteadyTime m_steady{std::chrono::hours(1)};
};

inline kvlink::Sample good(qint64 msAfterStart, kvlink::Value value)
{
    kvlink::Sample sample;
    sample.value = std::move(value);
    sample.quality = kvlink::Quality::Good;
    sample.time = at(msAfterStart);
    return sample;
}

inline kvlink::Sample bad(qint64 msAfterStart, kvlink::Reason reason)
{
    kvlink::Sample sample;
    sample.quality = kvlink::Quality::Bad;
    sample.reason = reason;
    sample.time = at(msAfterStart);
    return sample;
}

} // namespace kvgateway
