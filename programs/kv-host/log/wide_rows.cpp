// SPDX-License-Identifier: MIT
#include "wide_rows.h"

#include <algorithm>

namespace kvhost
{

QStringList WideRows::emptyCells(int values)
{
    QStringList cells;
    for (int i = 0; i < values; ++i)
        cells << QString();
    return cells;
}

std::optional<LogRow> WideRows::put(int cell, const QString &value, qint64 timeMs)
{
    std::optional<LogRow> before;
    if (m_seen[std::size_t(cell)])
        before = flush();
    m_seen[std::size_t(cell)] = true;
    m_cells[cell] = value;
    m_timeMs = std::max(m_timeMs, timeMs);
    m_isNew = true;
    return before;
}

std::optional<LogRow> WideRows::flush()
{
    if (!m_isNew)
        return std::nullopt;
    LogRow row;
    row.row.timeMs = m_timeMs;
    row.wide = m_cells;
    std::fill(m_seen.begin(), m_seen.end(), false);
    m_isNew = false;
    return row;
}

} // namespace kvhost
