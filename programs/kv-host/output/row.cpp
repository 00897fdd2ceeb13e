// SPDX-License-Identifier: MIT
// Rows from samples, and lines from rows.
#include "row.h"

#include "shown_text.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

namespace kvhost
{

const char csvHeader[] = "time,name,value,unit,quality,error";
const char csvWriteHeader[] = "time,name,value,unit,quality,error,outcome,text";

namespace
{

QJsonObject jsonOf(const Row &row)
{
    QJsonObject object;
    object["time"] = double(row.timeMs);
    object["name"] = row.name;
    object["quality"] = kvlink::qualityName(row.quality);
    if (row.hasValue)
        object["value"] = row.isNumeric ? QJsonValue(row.value.toDouble()) : QJsonValue(row.value);
    else
        object["error"] = row.error.isEmpty() ? kvlink::qualityName(row.quality) : row.error;
    if (!row.unit.isEmpty())
        object["unit"] = row.unit;
    return object;
}

QString textOf(const QJsonObject &object)
{
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

QString nameAndValue(const Row &row, int nameWidth)
{
    QString line = padded(printable(row.name), nameWidth) + "  ";
    line += row.hasValue ? printable(row.value) : QStringLiteral("-");
    if (row.hasValue && !row.unit.isEmpty())
        line += " " + printable(row.unit);
    return line;
}

} // namespace

bool hasShownValue(const kvlink::Sample &sample)
{
    return sample.hasValue() && sample.quality != kvlink::Quality::Bad &&
           sample.quality != kvlink::Quality::Never;
}

Row makeRow(const kvtags::Variable &variable, int i, const kvlink::Sample &sample, qint64 now)
{
    Row row;
    row.name = variable.nameOf(i);
    row.unit = variable.settings.unit;
    row.quality = sample.quality;
    row.isNumeric = variable.isNumeric();
    row.hasValue = hasShownValue(sample);
    row.timeMs = row.hasValue ? msOf(sample.time) : now;
    if (row.hasValue)
        row.value = variable.shown(sample.value, i);
    if (sample.quality == kvlink::Quality::Bad)
        row.error = sample.reasonText();
    return row;
}

qint64 msOf(kvlink::WallTime time)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
}

qint64 nowMs()
{
    return QDateTime::currentMSecsSinceEpoch();
}

QString textLine(const Row &row, int nameWidth)
{
    QString line = nameAndValue(row, nameWidth);
    if (row.quality != kvlink::Quality::Good)
        line += QStringLiteral("  [%1]").arg(kvlink::qualityName(row.quality));
    if (!row.error.isEmpty())
        line += " " + printable(row.error);
    return line;
}

QString textLine(const WriteRow &row, int nameWidth)
{
    if (row.text.isEmpty())
        return textLine(row.row, nameWidth);
    return textLine(row.row, nameWidth) + QStringLiteral("  [%1] %2").arg(row.outcome, printable(row.text));
}

QString csvField(const QString &text, QChar separator)
{
    const auto isPlain = [separator](QChar c) {
        return c >= QChar(' ') && c <= QChar('~') && c != separator && c != '"';
    };
    if (std::all_of(text.begin(), text.end(), isPlain))
        return text;
    QString field;
    for (const QChar c : text)
        field += c == '\n' || c == '\r' || c == '\t' ? QString(c) : printable(c);
    if (!field.contains(separator) && !field.contains('"') && !field.contains('\n') && !field.contains('\r'))
        return field;
    return "\"" + field.replace("\"", "\"\"") + "\"";
}

QString isoTime(qint64 timeMs)
{
    return QDateTime::fromMSecsSinceEpoch(timeMs, Qt::UTC).toString(Qt::ISODateWithMs);
}

QString csvLine(const Row &row)
{
    const QStringList fields = {isoTime(row.timeMs),
                                csvField(row.name),
                                csvField(row.value),
                                csvField(row.unit),
                                kvlink::qualityName(row.quality),
                                csvField(row.error)};
    return fields.join(',');
}

QString csvLine(const WriteRow &row)
{
    return QStringLiteral("%1,%2,%3").arg(csvLine(row.row), row.outcome, csvField(row.text));
}

QString jsonLine(const Row &row)
{
    return textOf(jsonOf(row));
}

QString jsonLine(const WriteRow &row)
{
    QJsonObject object = jsonOf(row.row);
    object["outcome"] = row.outcome;
    if (!row.text.isEmpty())
        object["text"] = row.text;
    return textOf(object);
}

} // namespace kvhost
