#include "table.h"

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

} // namespace

QString Table::textLine(const QStringList &cells, const QVector<int> &widths) const
{
    QString line;
    for (int i = 0; i < cells.size(); ++i)
        line += i + 1 < cells.size() ? cells[i].leftJustified(widths[i]) + "  " : cells[i];
    return line;
}

QStringList Table::lines(OutputFormat format, bool headings) const
{
    QVector<int> widths(int(m_columns.size()), 0);
    for (int i = 0; i < m_columns.size(); ++i) {
        widths[i] = headings ? int(m_columns[i].size()) : 0;
        for (const QStringList &cells : m_rows)
            widths[i] = std::max(widths[i], int(cells[i].size()));
    }
    QStringList lines;
    if (headings && format != OutputFormat::Json)
        lines << (format == OutputFormat::Csv ? csvOf(m_columns) : textLine(m_columns, widths));
    for (const QStringList &cells : m_rows) {
        lines << (format == OutputFormat::Csv    ? csvOf(cells)
                  : format == OutputFormat::Json ? jsonOf(m_columns, cells)
                                                 : textLine(cells, widths));
    }
    return lines;
}

void Table::print(Output *out) const
{
    for (const QString &line : lines(out->format(), !out->quiet()))
        out->line(line);
}

} // namespace kvhost
