#include "watch_table.h"

#include <QStringList>

#include <algorithm>
#include <cstdio>
#include <sys/ioctl.h>
#include <unistd.h>

namespace kvhost
{

namespace
{

QString linkLine(const LinkStatus &link)
{
    const QString reconnects =
        link.reconnects == 0 ? QString() : QStringLiteral(", %1 reconnects").arg(link.reconnects);
    if (link.ready)
        return QStringLiteral("%1  linked%2").arg(link.url, reconnects);
    return QStringLiteral("%1  NO LINK: %2%3")
        .arg(link.url, link.reason.isEmpty() ? "opening" : link.reason, reconnects);
}

QString rateLine(const Statistics &statistics, const TableRates &rates)
{
    return QStringLiteral("%1 exchanges/s  %2 words/s  cycle asked %3 ms, reached %4 ms  errors %5")
        .arg(rates.exchanges, 0, 'f', 0)
        .arg(rates.words, 0, 'f', 0)
        .arg(rates.asked.count())
        .arg(statistics.lastCycleMs, 0, 'f', 1)
        .arg(statistics.errorCount());
}

QString valueText(const Row &row)
{
    if (!row.hasValue)
        return QStringLiteral("-");
    return row.unit.isEmpty() ? row.value : row.value + " " + row.unit;
}

QString rowLine(const TableRow &row, int nameWidth, int valueWidth)
{
    const QString age = row.row.quality == Quality::Never ? QStringLiteral("-") : ageText(row.age);
    QString line =
        QStringLiteral("%1 %2 %3 %4 %5")
            .arg(QString::fromLatin1(row.changed ? "*" : " "), row.row.name.leftJustified(nameWidth),
                 valueText(row.row).rightJustified(valueWidth),
                 QString::fromLatin1(qualityName(row.row.quality)).leftJustified(7), age.rightJustified(6));
    if (!row.row.error.isEmpty())
        line += "  " + row.row.error;
    return line;
}

struct Size {
    int width = 80, height = 24;
};

Size terminalSize()
{
    winsize size{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col < 20 || size.ws_row < 4)
        return {};
    return {size.ws_col, size.ws_row};
}

} // namespace

QString ageText(Clock::duration age)
{
    const double seconds = inMs(age) / 1000.0;
    if (seconds < 10.0)
        return QStringLiteral("%1 s").arg(seconds, 0, 'f', 1);
    if (seconds < 120.0)
        return QStringLiteral("%1 s").arg(seconds, 0, 'f', 0);
    if (seconds < 7200.0)
        return QStringLiteral("%1 min").arg(seconds / 60.0, 0, 'f', 0);
    return QStringLiteral("%1 h").arg(seconds / 3600.0, 0, 'f', 0);
}

QStringList tableLines(const std::vector<TableRow> &rows, const QVector<LinkStatus> &links,
                       const Statistics &statistics, const TableRates &rates, int width, int height)
{
    int nameWidth = 4, valueWidth = 5;
    for (const TableRow &row : rows) {
        nameWidth = std::max(nameWidth, int(row.row.name.size()));
        valueWidth = std::max(valueWidth, int(valueText(row.row).size()));
    }
    QStringList lines;
    for (const LinkStatus &link : links)
        lines << linkLine(link);
    lines << rateLine(statistics, rates);
    lines << QStringLiteral("  %1 %2 quality    age")
                 .arg(QStringLiteral("name").leftJustified(nameWidth),
                      QStringLiteral("value").rightJustified(valueWidth));
    const int room = std::max(1, height - int(lines.size()) - 1);
    const bool allFit = int(rows.size()) <= room;
    const int shown = allFit ? int(rows.size()) : room - 1;
    for (int i = 0; i < shown; ++i)
        lines << rowLine(rows[std::size_t(i)], nameWidth, valueWidth);
    if (!allFit)
        lines << QStringLiteral("  ... %1 more do not fit: make the window higher, or name fewer")
                     .arg(int(rows.size()) - shown);
    for (QString &line : lines)
        line.truncate(width);
    return lines;
}

void WatchTable::draw(const std::vector<TableRow> &rows, const QVector<LinkStatus> &links,
                      const Statistics &statistics, const TableRates &rates)
{
    const Size size = terminalSize();
    const QStringList lines = tableLines(rows, links, statistics, rates, size.width - 1, size.height - 1);
    QByteArray text;
    // Up to where the last table began; then each line over its predecessor.
    if (m_lines > 0)
        text += "\x1b[" + QByteArray::number(m_lines) + "A";
    for (const QString &line : lines) {
        const QByteArray bytes = line.toUtf8();
        text += line.startsWith('*') ? "\r\x1b[1m" + bytes + "\x1b[0m\x1b[K\n" : "\r" + bytes + "\x1b[K\n";
    }
    text += "\x1b[J";
    m_lines = int(lines.size());
    std::fwrite(text.constData(), 1, std::size_t(text.size()), stdout);
    std::fflush(stdout);
}

void WatchTable::finish()
{
    std::fflush(stdout);
}

} // namespace kvhost
