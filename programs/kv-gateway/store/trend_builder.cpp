// SPDX-License-Identifier: MIT
#include "trend_builder.h"

#include "codes.h"

#include <algorithm>

namespace kvgateway
{

namespace
{

// clang-format off
// The stretches of a range, led by the one before it, whose last value may hold into the range.
constexpr char minutesOfRange[] =
    "SELECT start, min, max, mean, good, count, last FROM minutes WHERE tag = ?1 AND start < ?3 AND start >= "
    "ifnull((SELECT max(start) FROM minutes WHERE tag = ?1 AND start < ?2), ?2) ORDER BY start";
constexpr char hoursOfRange[] =
    "SELECT start, min, max, mean, good, count, last FROM hours WHERE tag = ?1 AND start < ?3 AND start >= "
    "ifnull((SELECT max(start) FROM hours WHERE tag = ?1 AND start < ?2), ?2) ORDER BY start";
constexpr char newestRows[] =
    "SELECT time, quality, shape, value FROM recent WHERE tag = ?1 ORDER BY seq";
constexpr char rowsOfRange[] =
    "SELECT time, quality, shape, value, seq FROM samples WHERE tag = ?1 AND time < ?3 AND time >= "
    "ifnull((SELECT max(time) FROM samples WHERE tag = ?1 AND time < ?2), ?2) "
    "UNION ALL SELECT time, quality, shape, value, seq FROM recent WHERE tag = ?1 AND time < ?3 ORDER BY time, seq";
constexpr char firstRow[] =
    "SELECT min(ifnull((SELECT min(time) FROM samples WHERE tag = ?1), 9e18), "
    "ifnull((SELECT min(time) FROM recent WHERE tag = ?1), 9e18))";
constexpr char firstMinute[] = "SELECT min(start) FROM minutes WHERE tag = ?1";
constexpr char firstHour[] = "SELECT min(start) FROM hours WHERE tag = ?1";
// clang-format on

std::optional<double> goodNumber(const Statement &row, int qualityColumn)
{
    if (qualityFromCode(row.integer(qualityColumn)) != kvlink::Quality::Good)
        return {};
    return numberOf(valueOf(row, qualityColumn + 1));
}

qint64 roundedUp(qint64 number, qint64 unit)
{
    return (number + unit - 1) / unit * unit;
}

} // namespace

struct TrendBuilder::Stretch {
    qint64 start = 0;
    Bucket bucket;
};

TrendBuilder::TrendBuilder(Database &database, qint64 tag, const TrendQuery &query)
    : m_database(database), m_tag(tag), m_wantedFrom(toMs(query.range.from)), m_to(toMs(query.range.to)),
      m_points(query.points), m_alive(database.number("SELECT value FROM facts WHERE name = 'alive'"))
{
}

bool TrendBuilder::build()
{
    m_to = std::max(m_to, m_wantedFrom);
    chooseSource();
    m_buckets.resize(std::size_t(roundedUp(m_to - m_from, m_width) / m_width));
    if (m_source == TrendSource::Rows)
        return addRows();
    m_tip = loadTip();
    return addStretches(m_source == TrendSource::Minutes ? minutesOfRange : hoursOfRange) && addNewest();
}

// Rows are removed before minutes, and those before hours: an old range has only the coarser ones.
void TrendBuilder::chooseSource()
{
    const qint64 width = (m_to - m_wantedFrom + m_points - 1) / m_points;
    if (width >= hourMs || (width >= minuteMs && isOlderIn(firstMinute, firstHour)))
        return setUnit(hourMs, TrendSource::Hours);
    if (width >= minuteMs)
        return setUnit(minuteMs, TrendSource::Minutes);
    if (!isOlderIn(firstRow, firstMinute))
        return setUnit(1, TrendSource::Rows);
    if (isOlderIn(firstMinute, firstHour))
        return setUnit(hourMs, TrendSource::Hours);
    setUnit(minuteMs, TrendSource::Minutes);
}

// The finer rows begin within the range, and the coarser ones before them.
bool TrendBuilder::isOlderIn(const char *finer, const char *coarser)
{
    Statement fine(m_database, finer);
    Statement coarse(m_database, coarser);
    fine.bind(1, m_tag);
    coarse.bind(1, m_tag);
    if (!coarse.step() || coarse.isNull(0) || !fine.step())
        return false;
    // A stretch begins before its first row.
    return fine.isNull(0) ||
           (fine.integer(0) > m_wantedFrom && coarse.integer(0) < bucketStart(fine.integer(0), hourMs));
}

void TrendBuilder::setUnit(qint64 unit, TrendSource source)
{
    m_unit = unit;
    m_source = source;
    m_from = bucketStart(m_wantedFrom, unit);
    m_width = std::max(unit, roundedUp((m_to - m_from + m_points - 1) / m_points, unit));
}

Bucket &TrendBuilder::at(qint64 start)
{
    const qint64 i = start / m_width;
    return i < qint64(m_buckets.size()) ? m_buckets[std::size_t(i)] : m_outside;
}

// Its times count from the start of the range.
RollUp TrendBuilder::rollUp(const Tip &tip)
{
    return {m_width,
            RollUp::Between::Fill,
            [this](qint64 start) -> Bucket & { return at(start); },
            {std::max<qint64>(0, tip.time - m_from), tip.value}};
}

bool TrendBuilder::addStretches(const char *query)
{
    Statement rows(m_database, query);
    rows.bind(1, m_tag).bind(2, m_from).bind(3, m_to);
    std::optional<Stretch> before;
    while (rows.step()) {
        const Stretch stretch{rows.integer(0), bucketOf(rows, 1)};
        if (before)
            addStretch(*before, stretch.start);
        before = stretch;
    }
    if (before)
        addStretch(*before, std::min(m_to, m_alive));
    return !rows.hasFailed();
}

// Its numbers, and its last value until the next one begins. The newest stretch ends with the tip:
// what came after it is added with the newest rows.
void TrendBuilder::addStretch(const Stretch &stretch, qint64 next)
{
    if (stretch.start >= m_from)
        at(stretch.start - m_from).add(stretch.bucket);
    const qint64 end = stretch.start + m_unit;
    if (!stretch.bucket.last || bucketStart(m_tip.time, m_unit) == stretch.start || next <= m_from)
        return;
    rollUp({end, stretch.bucket.last}).advance(next - m_from);
}

Tip TrendBuilder::loadTip()
{
    Statement tip(m_database, "SELECT tip_time, tip_value FROM tags WHERE id = ?");
    tip.bind(1, m_tag);
    if (!tip.step() || tip.isNull(1))
        return {tip.integer(0), {}};
    return {tip.integer(0), tip.real(1)};
}

bool TrendBuilder::addNewest()
{
    RollUp newest = rollUp(m_tip.time < m_to ? m_tip : Tip{m_to, {}});
    Statement rows(m_database, newestRows);
    rows.bind(1, m_tag);
    while (rows.step()) {
        const qint64 time = rows.integer(0);
        const auto number = goodNumber(rows, 1);
        if (time < m_from)
            newest.setTip({0, number});
        else if (time < m_to)
            newest.take(time - m_from, number);
        else
            newest.take(m_to - m_from, {});
    }
    newest.advance(std::min(m_to, m_alive) - m_from);
    return !rows.hasFailed();
}

bool TrendBuilder::addRows()
{
    RollUp all = rollUp({});
    Statement rows(m_database, rowsOfRange);
    rows.bind(1, m_tag).bind(2, m_from).bind(3, m_to);
    while (rows.step()) {
        const qint64 time = rows.integer(0);
        const auto number = goodNumber(rows, 1);
        if (time < m_from)
            all.setTip({0, number});
        else
            all.take(time - m_from, number);
    }
    all.advance(std::min(m_to, m_alive) - m_from);
    return !rows.hasFailed();
}

Trend TrendBuilder::trend() const
{
    Trend trend;
    trend.width = std::chrono::milliseconds(m_width);
    trend.source = m_source;
    qint64 start = m_from;
    for (const Bucket &bucket : m_buckets) {
        trend.points.push_back({fromMs(start), std::chrono::milliseconds(bucket.good), bucket.min, bucket.max,
                                bucket.mean, bucket.count});
        start += m_width;
    }
    return trend;
}

} // namespace kvgateway
