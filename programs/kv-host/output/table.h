// SPDX-License-Identifier: MIT
// A table for stdout in any of the three formats.
#pragma once

#include "output.h"

#include <QStringList>
#include <QVector>

#include <utility>

namespace kvhost
{

class Table
{
public:
    explicit Table(QStringList columns) : m_columns(std::move(columns)) {}

    /// One cell for each column.
    void add(const QStringList &cells) { m_rows << cells; }
    void print(Output &out) const;

    /// The lines that print() writes. Pure.
    QStringList lines(OutputFormat format, bool hasHeadings) const;

private:
    QVector<int> widths(bool hasHeadings) const;

    QStringList m_columns;
    QVector<QStringList> m_rows;
};

} // namespace kvhost
