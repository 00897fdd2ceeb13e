#include "output.h"

#include <QDateTime>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>
#include <cstdio>
#include <unistd.h>

namespace kvhost
{

const char CSV_HEADER[] = "time,name,value,unit,quality,error";

bool hasValue(const QualityBook::State &state)
{
    return state.everRead && state.quality != Quality::Bad && state.quality != Quality::Never;
}

Row makeRow(const Variable &variable, int i, const Value &value, const QualityBook::State &state,
            qint64 timeMs)
{
    Row row;
    row.timeMs = timeMs;
    row.name = variable.nameOf(i);
    row.unit = variable.unit;
    row.quality = state.quality;
    row.error = state.quality == Quality::Bad ? state.reason : QString();
    row.hasValue = hasValue(state);
    if (row.hasValue)
        row.value = variable.shownValue(value);
    row.numeric = value.format != Format::Text && value.format != Format::Hex;
    if (value.format == Format::Float && !std::isfinite(value.real))
        row.numeric = false;
    return row;
}

QString textLine(const Row &row, int nameWidth)
{
    QString line = row.name.leftJustified(nameWidth) + "  ";
    line += row.hasValue ? row.value : QStringLiteral("-");
    if (row.hasValue && !row.unit.isEmpty())
        line += " " + row.unit;
    if (row.quality != Quality::Good)
        line += QStringLiteral("  [%1]").arg(QString::fromLatin1(qualityName(row.quality)));
    if (!row.error.isEmpty())
        line += " " + row.error;
    return line;
}

QString csvField(const QString &text)
{
    if (!text.contains(',') && !text.contains('"') && !text.contains('\n') && !text.contains('\r'))
        return text;
    QString quoted = text;
    return "\"" + quoted.replace("\"", "\"\"") + "\"";
}

QString csvLine(const Row &row)
{
    const QStringList fields = {
        QDateTime::fromMSecsSinceEpoch(row.timeMs, Qt::UTC).toString(Qt::ISODateWithMs),
        csvField(row.name),
        csvField(row.value),
        csvField(row.unit),
        QString::fromLatin1(qualityName(row.quality)),
        csvField(row.error)};
    return fields.join(',');
}

QString jsonLine(const Row &row)
{
    QJsonObject object;
    object["time"] = double(row.timeMs);
    object["name"] = row.name;
    object["quality"] = QString::fromLatin1(qualityName(row.quality));
    if (row.hasValue)
        object["value"] = row.numeric ? QJsonValue(row.value.toDouble()) : QJsonValue(row.value);
    else
        object["error"] = row.error.isEmpty() ? QString::fromLatin1(qualityName(row.quality)) : row.error;
    if (!row.unit.isEmpty())
        object["unit"] = row.unit;
    return QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact));
}

void Output::row(const Row &row)
{
    if (m_quiet && m_format == OutputFormat::Text) {
        line(row.hasValue ? row.value : QStringLiteral("-"));
        return;
    }
    switch (m_format) {
    case OutputFormat::Text:
        line(textLine(row, m_nameWidth));
        break;
    case OutputFormat::Json:
        line(jsonLine(row));
        break;
    case OutputFormat::Csv:
        if (!m_headerDone)
            line(QString::fromLatin1(CSV_HEADER));
        m_headerDone = true;
        line(csvLine(row));
        break;
    }
}

void Output::line(const QString &text)
{
    if (m_broken)
        return;
    const QByteArray bytes = text.toUtf8() + '\n';
    const bool written =
        std::fwrite(bytes.constData(), 1, std::size_t(bytes.size()), stdout) == std::size_t(bytes.size());
    m_broken = !written || std::fflush(stdout) != 0;
}

void Output::note(const QString &text) const
{
    if (!m_quiet)
        problem(text);
}

void Output::problem(const QString &text) const
{
    std::fflush(stdout);
    std::fprintf(stderr, "%s\n", text.toUtf8().constData());
}

bool stdoutIsTerminal()
{
    return ::isatty(STDOUT_FILENO) == 1;
}
bool stdinIsTerminal()
{
    return ::isatty(STDIN_FILENO) == 1;
}

} // namespace kvhost
