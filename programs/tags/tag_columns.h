// SPDX-License-Identifier: MIT
// Which column of a tag file is where.
#pragma once

#include "record_reader.h"

#include <array>
#include <optional>
#include <vector>

namespace kvtags
{

enum class Column {
    Name,
    Address,
    Type,
    Station,
    Scale,
    Offset,
    Unit,
    ReadWrite,
    Deadband,
    Comment,
    Command,
};

constexpr int columnCount = 11;

/// "name", "address", ... in the order of the enumerators.
QStringList columnNames();

class TagColumns
{
public:
    /// As they stand in a file without a header.
    static TagColumns usual();
    static bool isHeader(const Record &record);
    /// \param extras names of further columns that the program knows
    /// \param problem a column that is unknown, repeated or missing; set on failure only
    static std::optional<TagColumns> fromHeader(const Record &header, const QStringList &extras,
                                                QString &problem);

    /// Empty if the file or the record has no such column.
    QString text(const Record &record, Column column) const;
    /// The cells of the further columns, in the order in which they were given.
    QStringList extras(const Record &record) const;
    /// The file has this column; without a header, the record does.
    bool has(const Record &record, Column column) const;
    /// A cell with something in it beyond the last column. \return empty if there is none
    QString surplus(const Record &record) const;

private:
    /// Where a column is. \return false if it was there already
    bool place(qsizetype column, int at);

    std::array<int, columnCount> m_at{}; ///< -1: not in the file
    std::vector<int> m_extrasAt;         ///< the same for the further columns
    int m_width = columnCount;
    bool m_isNamed = false; ///< by a header
};

} // namespace kvtags
