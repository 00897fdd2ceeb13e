// SPDX-License-Identifier: MIT
// Which column of a tag file is where.
#pragma once

#include "record_reader.h"

#include <array>

namespace kvhost
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
    /// \return false with what is wrong: a column that is unknown, repeated or missing
    static bool fromHeader(const Record &header, TagColumns &columns, QString &problem);

    /// Empty if the file or the record has no such column.
    QString text(const Record &record, Column column) const;
    /// The file has this column; without a header, the record does.
    bool has(const Record &record, Column column) const;
    /// A cell with something in it beyond the last column. \return empty if there is none
    QString surplus(const Record &record) const;

private:
    std::array<int, columnCount> m_at{}; ///< -1: not in the file
    int m_width = columnCount;
    bool m_isNamed = false; ///< by a header
};

} // namespace kvhost
