// SPDX-License-Identifier: MIT
// Samples of one pass gathered into one row. Pure.
#pragma once

#include "log_format.h"

#include <optional>
#include <vector>

namespace kvhost
{

class WideRows
{
public:
    /// \param values how many cells a row has
    explicit WideRows(int values) : m_seen(std::size_t(values)), m_cells(emptyCells(values)) {}

    /// \param value empty for what is not good
    /// \return the row of the pass before, when this cell is already in the row: the next pass has
    ///   begun
    std::optional<LogRow> put(int cell, const QString &value, qint64 timeMs);
    /// The row so far, if there is anything new in it.
    std::optional<LogRow> flush();
    bool isEmpty() const { return !m_isNew; }

private:
    static QStringList emptyCells(int values);

    std::vector<bool> m_seen; ///< in this pass
    QStringList m_cells;      ///< a cell that is not read again keeps its value
    qint64 m_timeMs = 0;      ///< of the newest answer
    bool m_isNew = false;
};

} // namespace kvhost
