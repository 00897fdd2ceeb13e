// SPDX-License-Identifier: MIT
#include "history_reader.h"

#include "codes.h"
#include "schema.h"
#include "trend_builder.h"

#include <algorithm>

namespace kvgateway
{

namespace
{

constexpr int mostRows = 10'000;
constexpr int mostPoints = 10'000;
constexpr char allTags[] =
    "SELECT t.name, (SELECT min(time) FROM samples WHERE tag = t.id), "
    "(SELECT max(time) FROM samples WHERE tag = t.id), r.first, r.last FROM tags AS t "
    "LEFT JOIN (SELECT tag, min(time) AS first, max(time) AS last FROM recent GROUP BY tag) "
    "AS r ON r.tag = t.id ORDER BY t.name";
constexpr char pageOfRows[] =
    "SELECT seq, time, quality, reason, plc_error, shape, value FROM samples "
    "WHERE tag = ?1 AND (time, seq) > (?2, ?3) AND time < ?4 "
    "UNION ALL SELECT seq, time, quality, reason, plc_error, shape, value FROM recent "
    "WHERE tag = ?1 AND (time, seq) > (?2, ?3) AND time < ?4 ORDER BY time, seq LIMIT ?5";

// Each call sees one state of the database.
class ReadTransaction
{
public:
    explicit ReadTransaction(Database &database) : m_database(database) { m_database.run("BEGIN"); }
    ~ReadTransaction() { m_database.run("COMMIT"); }
    ReadTransaction(const ReadTransaction &) = delete;
    ReadTransaction &operator=(const ReadTransaction &) = delete;

private:
    Database &m_database;
};

kvlink::Sample sampleOf(const Statement &row, int firstColumn)
{
    kvlink::Sample sample;
    sample.time = fromMs(row.integer(firstColumn));
    sample.quality = qualityFromCode(row.integer(firstColumn + 1));
    sample.reason = reasonFromCode(row.integer(firstColumn + 2));
    sample.plcError = quint8(row.integer(firstColumn + 3));
    sample.value = valueOf(row, firstColumn + 4);
    return sample;
}

std::optional<kvlink::WallTime> earlier(const Statement &row, int one, int other)
{
    if (row.isNull(one) && row.isNull(other))
        return {};
    if (row.isNull(one) || row.isNull(other))
        return fromMs(row.integer(row.isNull(one) ? other : one));
    return fromMs(std::min(row.integer(one), row.integer(other)));
}

std::optional<kvlink::WallTime> later(const Statement &row, int one, int other)
{
    if (row.isNull(one) && row.isNull(other))
        return {};
    return fromMs(std::max(row.integer(one), row.integer(other))); // a missing one reads as 0
}

qint64 idOf(Database &database, const QString &name)
{
    Statement asked(database, "SELECT id FROM tags WHERE name = ?");
    asked.bind(1, name);
    return asked.step() ? asked.integer(0) : 0;
}

} // namespace

HistoryReader::HistoryReader(std::unique_ptr<Database> database) : m_database(std::move(database)) {}
HistoryReader::~HistoryReader() = default;

std::unique_ptr<HistoryReader> HistoryReader::open(const QString &folder, QString &problem)
{
    auto database = openToRead(folder + QStringLiteral("/history.sqlite"), historySchema(), problem);
    return std::unique_ptr<HistoryReader>(database ? new HistoryReader(std::move(database)) : nullptr);
}

std::optional<std::vector<HistoryTag>> HistoryReader::tags(QString &problem) const
{
    std::vector<HistoryTag> tags;
    Statement rows(*m_database, allTags);
    while (rows.step())
        tags.push_back({rows.text(0), earlier(rows, 1, 3), later(rows, 2, 4)});
    if (!rows.hasFailed())
        return tags;
    problem = m_database->problem();
    return {};
}

bool HistoryReader::hasTag(const QString &name) const
{
    return idOf(*m_database, name) != 0;
}

std::optional<RawPage> HistoryReader::raw(const RawQuery &query, QString &problem) const
{
    const int limit = std::clamp(query.limit, 1, mostRows);
    const qint64 from = toMs(query.range.from);
    // Sequences begin at 1: all rows at `from` come after (from, 0).
    const RawPosition after = query.after.timeMs >= from ? query.after : RawPosition{from, 0};
    RawPage page;
    page.end = after;
    Statement rows(*m_database, pageOfRows);
    rows.bind(1, idOf(*m_database, query.tag)).bind(2, after.timeMs).bind(3, after.seq);
    rows.bind(4, toMs(query.range.to)).bind(5, qint64(limit) + 1);
    while (rows.step()) {
        page.more = int(page.rows.size()) == limit;
        if (page.more)
            break;
        page.rows.push_back({rows.integer(0), sampleOf(rows, 1)});
        page.end = {rows.integer(1), rows.integer(0)};
    }
    if (!rows.hasFailed())
        return page;
    problem = m_database->problem();
    return {};
}

std::optional<Trend> HistoryReader::trend(const TrendQuery &query, QString &problem) const
{
    TrendQuery bounded = query;
    bounded.points = std::clamp(query.points, 1, mostPoints);
    const ReadTransaction transaction(*m_database);
    TrendBuilder builder(*m_database, idOf(*m_database, query.tag), bounded);
    if (builder.build())
        return builder.trend();
    problem = m_database->problem();
    return {};
}

} // namespace kvgateway
