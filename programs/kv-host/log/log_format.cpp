// SPDX-License-Identifier: MIT
// CSV as spreadsheets of any country read it, or JSON.
#include "log_format.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QJsonObject>

namespace kvhost
{

namespace
{

QString timeOf(const LogFormat &format, qint64 timeMs)
{
    if (!format.hasLocalTime)
        return isoTime(timeMs);
    const QString text =
        QDateTime::fromMSecsSinceEpoch(timeMs).toString(QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz"));
    return format.hasDecimalComma ? QString(text).replace('.', ',') : text;
}

bool isNumber(const QString &value)
{
    bool ok = false;
    (void)value.toDouble(&ok);
    return ok;
}

QString numberOf(const LogFormat &format, const QString &value)
{
    return format.hasDecimalComma ? QString(value).replace('.', ',') : value;
}

QByteArray joined(const LogFormat &format, const QStringList &cells)
{
    QStringList fields;
    for (const QString &cell : cells)
        fields << csvField(cell, format.separator);
    return fields.join(format.separator).toUtf8() + '\n';
}

QByteArray wideJson(const LogFormat &format, const LogRow &row)
{
    QJsonObject object;
    object["time"] = double(row.row.timeMs);
    for (int i = 0; i < row.wide.size(); ++i) {
        bool ok = false;
        const double number = row.wide[i].toDouble(&ok);
        if (!row.wide[i].isEmpty())
            object[format.wideNames[i]] = ok ? QJsonValue(number) : QJsonValue(row.wide[i]);
    }
    return QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n';
}

QByteArray wideCsv(const LogFormat &format, const LogRow &row)
{
    QStringList cells = {timeOf(format, row.row.timeMs)};
    for (const QString &value : row.wide) {
        cells << (isNumber(value) ? numberOf(format, value) : value);
    }
    return joined(format, cells);
}

} // namespace

QByteArray headerOf(const LogFormat &format)
{
    if (format.isJson)
        return {};
    if (format.isWide)
        return joined(format, QStringList{QStringLiteral("time")} + format.wideNames);
    return joined(format, QString::fromLatin1(csvHeader).split(','));
}

QByteArray lineOf(const LogFormat &format, const LogRow &row)
{
    if (format.isWide)
        return format.isJson ? wideJson(format, row) : wideCsv(format, row);
    if (format.isJson)
        return jsonLine(row.row).toUtf8() + '\n';
    const Row &value = row.row;
    return joined(format, {timeOf(format, value.timeMs), value.name,
                           value.isNumeric ? numberOf(format, value.value) : value.value, value.unit,
                           kvlink::qualityName(value.quality), value.error});
}

} // namespace kvhost
