// SPDX-License-Identifier: MIT
#include "history_removal.h"

#include "codes.h"
#include "roll_up.h"

#include <algorithm>
#include <limits>

namespace kvgateway
{

namespace
{

struct Table {
    const char *second; // the oldest row but one: as long as there is one, the oldest may go
    const char *bound;  // the time of the first row that one part leaves
    const char *remove; // what is before a time, but the newest of it
};

// clang-format off
constexpr Table tables[] = {
    {"SELECT time FROM samples WHERE tag = ? ORDER BY time LIMIT 1 OFFSET 1",
     "SELECT time FROM samples WHERE tag = ?1 AND time < ?2 ORDER BY time LIMIT 1 OFFSET ?3",
     "DELETE FROM samples WHERE tag = ?1 AND time < (SELECT max(time) FROM samples WHERE tag = ?1 AND time < ?2)"},
    {"SELECT start FROM minutes WHERE tag = ? ORDER BY start LIMIT 1 OFFSET 1",
     "SELECT start FROM minutes WHERE tag = ?1 AND start < ?2 ORDER BY start LIMIT 1 OFFSET ?3",
     "DELETE FROM minutes WHERE tag = ?1 AND start < (SELECT max(start) FROM minutes WHERE tag = ?1 AND start < ?2)"},
    {"SELECT start FROM hours WHERE tag = ? ORDER BY start LIMIT 1 OFFSET 1",
     "SELECT start FROM hours WHERE tag = ?1 AND start < ?2 ORDER BY start LIMIT 1 OFFSET ?3",
     "DELETE FROM hours WHERE tag = ?1 AND start < (SELECT max(start) FROM hours WHERE tag = ?1 AND start < ?2)"},
};
// clang-format on
constexpr std::size_t rowsTable = 0;
constexpr std::size_t minutesTable = 1;
constexpr qint64 partOfSpan = 20;
constexpr qint64 noTime = std::numeric_limits<qint64>::max();

qint64 cutOf(kvlink::Duration keep, kvlink::WallTime now)
{
    return keep.count() == 0 ? 0 : toMs(now - keep);
}

} // namespace

void HistoryRemoval::loadTags()
{
    m_tags.clear();
    Statement tags(m_database, "SELECT id FROM tags ORDER BY id");
    while (tags.step())
        m_tags.push_back(tags.integer(0));
    m_tag = 0;
    m_table = 0;
}

void HistoryRemoval::startByAge(const Retention &retention, kvlink::WallTime now)
{
    loadTags();
    m_cuts = {cutOf(retention.rows, now), cutOf(retention.minutes, now), cutOf(retention.hours, now)};
}

bool HistoryRemoval::startBySize(kvlink::WallTime now)
{
    loadTags();
    if (startFrom(rowsTable, hourMs, toMs(now)) || startFrom(minutesTable, hourMs, toMs(now)))
        return true;
    m_table = m_cuts.size();
    return false;
}

bool HistoryRemoval::startFrom(std::size_t table, qint64 leastSpan, qint64 now)
{
    Statement second(m_database, tables[table].second);
    qint64 oldest = noTime;
    for (const qint64 tag : m_tags) {
        second.bind(1, tag);
        if (second.step())
            oldest = std::min(oldest, second.integer(0));
        second.reset();
    }
    if (oldest == noTime || now - oldest < leastSpan)
        return false;
    m_cuts = {};
    m_cuts[table] = oldest + (now - oldest) / partOfSpan + 1;
    return true;
}

bool HistoryRemoval::step()
{
    Transaction transaction(m_database);
    if (!transaction.isOpen())
        return false;
    int removed = 0;
    for (int visited = 0; isBusy() && visited < mostTags && removed <= mostRows / 2; ++visited) {
        bool isDone = true;
        if (m_tag < m_tags.size() && m_cuts[m_table] != 0 && !removeOfTag(m_tags[m_tag], removed, isDone))
            return false;
        if (isDone)
            ++m_tag;
        if (m_tag >= m_tags.size() || m_cuts[m_table] == 0) {
            m_tag = 0;
            ++m_table;
        }
    }
    return transaction.commit();
}

// A tag with very many old rows takes several parts.
bool HistoryRemoval::removeOfTag(qint64 tag, int &removed, bool &isDone)
{
    Statement bound(m_database, tables[m_table].bound);
    bound.bind(1, tag).bind(2, m_cuts[m_table]).bind(3, qint64(mostRows / 2));
    const bool isPart = bound.step();
    const qint64 cut = isPart ? bound.integer(0) : m_cuts[m_table];
    bound.reset();
    Statement remove(m_database, tables[m_table].remove);
    if (!remove.bind(1, tag).bind(2, cut).finish())
        return false;
    removed += m_database.changes();
    isDone = !isPart || m_database.changes() == 0;
    return true;
}

qint64 HistoryRemoval::usedBytes()
{
    const qint64 pages = m_database.number("PRAGMA page_count") - m_database.number("PRAGMA freelist_count");
    return pages * m_database.number("PRAGMA page_size");
}

void HistoryRemoval::limitFile(qint64 bytes)
{
    constexpr qint64 noLimit = 4'294'967'294;
    constexpr qint64 morePages = 64;
    const qint64 pages = bytes / std::max<qint64>(1, m_database.number("PRAGMA page_size"));
    m_database.run(QStringLiteral("PRAGMA max_page_count=%1")
                       .arg(bytes == 0 ? noLimit : pages + pages / partOfSpan + morePages));
}

} // namespace kvgateway
