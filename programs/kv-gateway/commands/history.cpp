// SPDX-License-Identifier: MIT
// `history`: what was kept, as CSV on standard output, beside a running service or without one.
#include "commands.h"

#include "store/csv_export.h"
#include "text/time_text.h"

#include <tags/pattern.h>

#include <algorithm>
#include <cstdio>

namespace kvgateway
{

namespace
{

int fail(const QString &problem)
{
    std::fprintf(stderr, "%s\n", qUtf8Printable(problem));
    return 1;
}

bool takeTime(const char *name, const QString &typed, kvlink::WallTime &time, QString &problem)
{
    if (typed.isEmpty())
        return true;
    const auto taken = timeFromText(typed, problem);
    if (!taken)
        problem = QStringLiteral("--%1: %2").arg(QString::fromLatin1(name), problem);
    time = taken.value_or(time);
    return taken.has_value();
}

// In the order of the history; each pattern must name something.
std::optional<QStringList> chosen(const std::vector<HistoryTag> &tags, const QStringList &patterns,
                                  QString &problem)
{
    QStringList names;
    for (const QString &pattern : patterns) {
        const auto before = names.size();
        for (const HistoryTag &tag : tags) {
            if (kvtags::matchesPattern(pattern, tag.name))
                names << tag.name;
        }
        if (names.size() == before) {
            problem =
                QStringLiteral("there is no history of \"%1\"; kv-gateway history without a name lists all")
                    .arg(pattern);
            return std::nullopt;
        }
    }
    names.removeDuplicates();
    return names;
}

int listTags(const std::vector<HistoryTag> &tags)
{
    for (const HistoryTag &tag : tags)
        std::printf("%s\t%s\t%s\n", qUtf8Printable(tag.name),
                    tag.first ? qUtf8Printable(timeText(*tag.first)) : "-",
                    tag.last ? qUtf8Printable(timeText(*tag.last)) : "-");
    return 0;
}

} // namespace

int runHistory(const CommandLine &line)
{
    QString problem;
    const auto folder = dataFolder(line);
    if (!folder)
        return 1;
    const auto reader = HistoryReader::open(*folder, problem);
    const auto tags = reader ? reader->tags(problem) : std::nullopt;
    if (!tags)
        return fail(problem);
    if (line.names.isEmpty())
        return listTags(*tags);
    TimeRange range{kvlink::WallTime{}, endOfTime};
    const auto names = chosen(*tags, line.names, problem);
    if (!names || !takeTime("from", line.from, range.from, problem) ||
        !takeTime("to", line.to, range.to, problem))
        return fail(problem);
    CsvExport rows(*reader, *names, range);
    for (;;) {
        const auto piece = rows.next(problem);
        if (!piece)
            return fail(problem);
        if (piece->isEmpty())
            return std::fflush(stdout) == 0 ? 0
                                            : fail(QStringLiteral("standard output does not take the rows"));
        if (std::fwrite(piece->constData(), 1, std::size_t(piece->size()), stdout) !=
            std::size_t(piece->size()))
            return fail(QStringLiteral("standard output does not take the rows"));
    }
}

} // namespace kvgateway
