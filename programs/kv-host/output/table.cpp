// SPDX-License-Identifier: MIT
// Columns as wide as their widest cell.
#include "table.h"

#include "shown_text.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace kvhost
{

namespace
{

QString csvOf(const QStringList &cells)
{
    QStringList fields;
    for (const QString &cell : cells)
        fields << csvField(cell);
    return fields.join(',');
}

QString jsonOf(const QStringList &columns, const QStringList &cells)
{
    QJsonObject object;
    for (int i = 0; i < columns.size() && i < cells.size(); ++i) {
        bool ok = false;
        const double number = cells[i].toDouble(&ok);
        object[columns[i]] = ok ? QJsonValue(number) : QJsonValue(cells[i]);
    }
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

QString textOf(const QStringList &cells, const QVector<int> &widths)
{
    QString line;
    for (int i = 0; i < cells.size(); ++i) {
        const QString cell = printable(cells[i]);
        line += i + 1 < cells.size() ? padded(cell, widths[i]) + "  " : cell;
    }
    while (line.endsWith(' '))
        line.chop(1);
    return line;
}

} // namespace

QVector<int> Table::widths(bool hasHeadings) const
{
    QVector<int> widths(int(m_columns.size()), 0);
    for (int i = 0; i < m_columns.size(); ++i) {
        widths[i] = hasHeadings ? columnsOf(m_columns[i]) : 0;
        for (const QStringList &cells : m_rows)
            widths[i] = std::max(widths[i], columnsOf(printable(cells[i])));
    }
    return widths;
}

QStringList Table::lines(OutputFormat format, bool hasHeadings) const
{
    const QVector<int> columns = widths(hasHeadings);
    const auto lineOf = [&](const QStringList &cells) {
        switch (format) {
        case OutputFormat::Csv:
            return csvOf(cells);
        case OutputFormat::Json:
            return jsonOf(m_columns, cells);
        case OutputFormat::Text:
            break;
        }
        return textOf(cells, columns);
    };
    QStringList lines;
    if (hasHeadings && format != OutputFormat::Json)
        lines << lineOf(m_columns);
    for (const QStringList &cells : m_rows)
        lines << lineOf(cells);
    return lines;
}

void Table::print(Output &out) const
{
    for (const QString &line : lines(out.format(), !out.isQuiet()))
        out.line(line);
}

} // namespace kvhost
