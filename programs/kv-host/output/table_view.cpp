// SPDX-License-Identifier: MIT
#include "table_view.h"

#include "shown_text.h"
#include "tags/pattern.h"

#include <algorithm>

namespace kvhost
{

using kvlink::Quality;

namespace
{

constexpr char bold[] = "\x1b[1m";
constexpr char red[] = "\x1b[31m";
constexpr char yellow[] = "\x1b[33m";
constexpr char dim[] = "\x1b[2m";
constexpr char plain[] = "\x1b[0m";

constexpr int gapBetweenColumns = 3;
constexpr int widestReason = 40;
constexpr int qualityWidth = 7;
constexpr int ageWidth = 6;

constexpr int mostLines = 1 << 24;
constexpr int allPages = 1 << 16;

struct Move {
    const char *key;
    int lines, pages;
};

// Home and End come in two ways, as terminals please.
constexpr Move moves[] = {{"\x1b[A", -1, 0},
                          {"\x1b[B", 1, 0},
                          {"\x1bOA", -1, 0},
                          {"\x1bOB", 1, 0},
                          {"\x1b[5~", 0, -1},
                          {"\x1b[6~", 0, 1},
                          {" ", 0, 1},
                          {"\x1b[H", 0, -allPages},
                          {"\x1b[F", 0, allPages},
                          {"\x1bOH", 0, -allPages},
                          {"\x1bOF", 0, allPages},
                          {"\x1b[1~", 0, -allPages},
                          {"\x1b[4~", 0, allPages}};

QString coloured(const QString &text, const char *colour, bool hasColours)
{
    return hasColours && *colour != '\0' ? QString::fromLatin1(colour) + text + QString::fromLatin1(plain)
                                         : text;
}

const char *colourOf(const TableRow &row)
{
    switch (row.row.quality) {
    case Quality::Bad:
        return red;
    case Quality::Stale:
        return yellow;
    case Quality::Never:
    case Quality::Pending:
        return dim;
    case Quality::Good:
        break;
    }
    return row.isChanged ? bold : "";
}

QString valueText(const Row &row)
{
    if (!row.hasValue)
        return QStringLiteral("-");
    return printable(row.unit.isEmpty() ? row.value : row.value + " " + row.unit);
}

bool passes(const QString &filter, const QString &name)
{
    if (!kvtags::isPattern(filter))
        return name.contains(filter, Qt::CaseInsensitive);
    return kvtags::matchesPattern(filter.toLower(), name.toLower());
}

// Worst first.
int rankOf(Quality quality)
{
    switch (quality) {
    case Quality::Bad:
        return 0;
    case Quality::Stale:
        return 1;
    case Quality::Never:
        return 2;
    case Quality::Pending:
        return 3;
    case Quality::Good:
        break;
    }
    return 4;
}

std::vector<const TableRow *> chosen(const std::vector<TableRow> &rows, const TableState &state)
{
    std::vector<const TableRow *> chosen;
    for (const TableRow &row : rows) {
        if (passes(state.filter, row.row.name))
            chosen.push_back(&row);
    }
    if (state.order == TableOrder::ByName) {
        std::stable_sort(chosen.begin(), chosen.end(),
                         [](const TableRow *a, const TableRow *b) { return a->row.name < b->row.name; });
    } else if (state.order == TableOrder::ByQuality) {
        std::stable_sort(chosen.begin(), chosen.end(), [](const TableRow *a, const TableRow *b) {
            return rankOf(a->row.quality) < rankOf(b->row.quality);
        });
    }
    return chosen;
}

// How wide the cells of all rows are, so that columns stand below each other.
struct Widths {
    int name = 4, value = 5, reason = 0;

    int ofCell() const
    {
        return 2 + name + 1 + value + 1 + qualityWidth + 1 + ageWidth + (reason > 0 ? 2 + reason : 0);
    }
};

Widths widthsOf(const std::vector<const TableRow *> &rows, int width)
{
    Widths widths;
    for (const TableRow *row : rows) {
        widths.name = std::max(widths.name, columnsOf(printable(row->row.name)));
        widths.value = std::max(widths.value, columnsOf(valueText(row->row)));
        widths.reason = std::max(widths.reason, std::min(columnsOf(printable(row->row.error)), widestReason));
    }
    // Where the terminal is narrow, names and values give way before the quality does.
    const int most = std::max(width / 2, 10);
    widths.name = std::min(widths.name, most);
    widths.value = std::min(widths.value, most);
    const int left = width - Widths{widths.name, widths.value, 0}.ofCell() - 2;
    widths.reason = std::clamp(widths.reason, 0, std::max(left, 0));
    return widths;
}

QString cellOf(const TableRow &row, const Widths &widths, int width, bool hasColours)
{
    const QString age = row.age < 0.0 ? QStringLiteral("-") : ageText(row.age);
    QString text =
        QStringLiteral("%1 %2 %3 %4 %5")
            .arg(QLatin1String(row.isChanged ? "*" : " "),
                 padded(cut(printable(row.row.name), widths.name), widths.name),
                 paddedLeft(cut(valueText(row.row), widths.value), widths.value),
                 padded(kvlink::qualityName(row.row.quality), qualityWidth), paddedLeft(age, ageWidth));
    if (widths.reason > 0)
        text += "  " + padded(cut(printable(row.row.error), widths.reason), widths.reason);
    return coloured(cut(text, width), colourOf(row), hasColours);
}

QString headingOf(const Widths &widths)
{
    return QStringLiteral("  %1 %2 %3 %4")
        .arg(padded(QStringLiteral("name"), widths.name), paddedLeft(QStringLiteral("value"), widths.value),
             padded(QStringLiteral("quality"), qualityWidth), paddedLeft(QStringLiteral("age"), ageWidth));
}

QStringList helpLines()
{
    return {"  /       show only names with a part or a pattern: /valve or /Valve*",
            "  s       sort: as given, by name, worst first", "  arrows  scroll; also PgUp, PgDn, Home, End",
            "  q       quit", "  ?       this help"};
}

QString statusOf(const TableState &state, int from, int to, int all, int total)
{
    if (state.isTyping)
        return QStringLiteral("/%1_").arg(printable(state.filter));
    static const char *const orders[] = {"", ", by name", ", worst first"};
    QString text = QStringLiteral("%1-%2 of %3").arg(all == 0 ? 0 : from + 1).arg(to).arg(all);
    if (all != total)
        text += QStringLiteral(" (of %1; /%2)").arg(total).arg(printable(state.filter));
    return text + QString::fromLatin1(orders[int(state.order)]) + QStringLiteral("   ? for help, q to quit");
}

} // namespace

bool takeKey(TableState &state, const QByteArray &key, int page)
{
    if (state.isTyping) {
        if (key == "\r" || key == "\n") {
            state.isTyping = false;
        } else if (key == "\x1b") {
            state.isTyping = false;
            state.filter.clear();
        } else if (key == "\x7f" || key == "\b") {
            state.filter.chop(1);
        } else if (!key.startsWith('\x1b') && uchar(key[0]) >= uchar(' ')) {
            state.filter += QString::fromUtf8(key);
        }
        return true;
    }
    for (const Move &move : moves) {
        if (key == move.key)
            state.top = std::clamp(state.top + move.lines + move.pages * page, 0, mostLines);
    }
    if (key == "s")
        state.order = TableOrder((int(state.order) + 1) % 3);
    state.isTyping = key == "/";
    if (state.isTyping)
        state.filter.clear();
    state.isHelp = key == "?" && !state.isHelp;
    return key != "q" && key != "Q";
}

QString ageText(double seconds)
{
    if (seconds < 10.0)
        return QStringLiteral("%1 s").arg(seconds, 0, 'f', 1);
    if (seconds < 120.0)
        return QStringLiteral("%1 s").arg(seconds, 0, 'f', 0);
    if (seconds < 7200.0)
        return QStringLiteral("%1 min").arg(seconds / 60.0, 0, 'f', 0);
    return QStringLiteral("%1 h").arg(seconds / 3600.0, 0, 'f', 0);
}

QStringList tableLines(const std::vector<TableRow> &rows, const std::vector<TableLink> &links,
                       const QString &rates, TableState &state, int width, int height, bool hasColours)
{
    QStringList lines;
    for (const TableLink &link : links)
        lines << coloured(cut(printable(link.text), width), link.isReady ? "" : red, hasColours);
    lines << cut(rates, width);
    const std::vector<const TableRow *> shown = chosen(rows, state);
    const Widths widths = widthsOf(shown, width);
    const int room = std::max(1, height - int(lines.size()) - 2);
    if (state.isHelp)
        return (lines + helpLines()).mid(0, height);
    // As many columns as fit, filled from top to bottom; only where one column does not
    // hold all rows.
    const int fit = std::max(1, (width + gapBetweenColumns) / (widths.ofCell() + gapBetweenColumns));
    const int columns = std::clamp((int(shown.size()) + room - 1) / room, 1, fit);
    const int perScreen = room * columns;
    state.top = std::clamp(state.top, 0, std::max(0, int(shown.size()) - perScreen));
    const QString gap(gapBetweenColumns, ' ');
    QStringList headings;
    for (int column = 0; column < columns; ++column)
        headings << padded(headingOf(widths), widths.ofCell());
    lines << cut(headings.join(gap), width);
    const int end = std::min(int(shown.size()), state.top + perScreen);
    for (int line = 0; line < std::min(room, end - state.top); ++line) {
        QStringList cells;
        for (int i = state.top + line; i < end; i += room)
            cells << cellOf(*shown[std::size_t(i)], widths, width, hasColours);
        lines << cells.join(gap);
    }
    lines << cut(statusOf(state, state.top, end, int(shown.size()), int(rows.size())), width);
    return lines;
}

} // namespace kvhost
