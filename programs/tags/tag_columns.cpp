// SPDX-License-Identifier: MIT
// The header of a tag file: a misspelt column must not be ignored, since its values would
// be shown unscaled.
#include "tag_columns.h"

#include <kvlink/text.h>

namespace kvtags
{

namespace
{

QString unknownColumn(const QString &field, const QStringList &names)
{
    const QString near = kvlink::nearestName(field, names);
    return QStringLiteral("the column '%1' is not known%2; the columns are %3")
        .arg(field, near.isEmpty() ? QString() : QStringLiteral("; did you mean '%1'?").arg(near),
             names.join(QStringLiteral(", ")));
}

} // namespace

QStringList columnNames()
{
    return {"name", "address", "type",     "station", "scale",  "offset",
            "unit", "rw",      "deadband", "comment", "command"};
}

TagColumns TagColumns::usual()
{
    TagColumns columns;
    for (int i = 0; i < columnCount; ++i)
        columns.m_at[std::size_t(i)] = i;
    return columns;
}

bool TagColumns::isHeader(const Record &record)
{
    return record.fields[0].compare(QLatin1String("name"), Qt::CaseInsensitive) == 0 ||
           record.fields.contains(QStringLiteral("address"), Qt::CaseInsensitive);
}

std::optional<TagColumns> TagColumns::fromHeader(const Record &header, const QStringList &extras,
                                                 QString &problem)
{
    const QStringList names = columnNames() + extras;
    TagColumns columns;
    columns.m_at.fill(-1);
    columns.m_extrasAt.assign(std::size_t(extras.size()), -1);
    columns.m_width = int(header.fields.size());
    columns.m_isNamed = true;
    for (int i = 0; i < header.fields.size(); ++i) {
        const QString &field = header.fields[i];
        if (field.isEmpty())
            continue;
        const auto column = names.indexOf(field.toLower());
        if (column < 0)
            problem = unknownColumn(field, names);
        else if (!columns.place(column, i))
            problem = QStringLiteral("the column '%1' is there twice").arg(field);
        if (!problem.isEmpty())
            return std::nullopt;
    }
    if (columns.m_at[int(Column::Name)] < 0 || columns.m_at[int(Column::Address)] < 0) {
        problem = QStringLiteral("the columns 'name' and 'address' are both needed");
        return std::nullopt;
    }
    return columns;
}

bool TagColumns::place(qsizetype column, int at)
{
    int &place =
        column < columnCount ? m_at[std::size_t(column)] : m_extrasAt[std::size_t(column - columnCount)];
    if (place >= 0)
        return false;
    place = at;
    return true;
}

QString TagColumns::text(const Record &record, Column column) const
{
    return record.fields.value(m_at[std::size_t(column)]);
}

QStringList TagColumns::extras(const Record &record) const
{
    QStringList cells;
    for (const int at : m_extrasAt)
        cells << record.fields.value(at);
    return cells;
}

bool TagColumns::has(const Record &record, Column column) const
{
    const int at = m_at[std::size_t(column)];
    return at >= 0 && (m_isNamed || at < record.fields.size());
}

QString TagColumns::surplus(const Record &record) const
{
    for (int i = m_width; i < record.fields.size(); ++i) {
        if (!record.fields[i].isEmpty())
            return record.fields[i];
    }
    return {};
}

} // namespace kvtags
