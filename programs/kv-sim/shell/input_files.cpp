// SPDX-License-Identifier: MIT
// Files that a person hands in.
#include "shell/input_files.h"

#include "devices/memory_file.h"
#include "scan/program_text.h"
#include "shell/options.h"
#include "text/regular_file.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>

namespace kvsim
{
namespace
{

constexpr qint64 largestProgramFile = 1024 * 1024;
constexpr qint64 largestRecordingFile = 64 * 1024 * 1024;

std::optional<QByteArray> readInput(const std::string &path, qint64 mostBytes, std::string &problem)
{
    QString reason;
    auto bytes = readRegularFile(QString::fromStdString(path), mostBytes, reason);
    if (!bytes)
        problem = path + ": " + reason.toStdString();
    return bytes;
}

// The first line of a recording is an object of its own; a memory file has no "event".
bool isRecording(const QByteArray &bytes)
{
    const QByteArray firstLine = bytes.left(bytes.indexOf('\n'));
    return QJsonDocument::fromJson(firstLine).object().contains("event");
}

std::string rowsText(std::size_t count, const char *what)
{
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

// "a program of 3 rows", "a recording of 5 events" or "a memory file"; empty if it is none of them.
std::string kindOf(const std::string &path, const Rules &rules, std::string &problem)
{
    const auto bytes = readInput(path, largestMemoryFile, problem);
    if (!bytes)
        return {};
    if (!bytes->trimmed().startsWith('{')) {
        const auto rows = readProgram(path, rules, problem);
        return rows ? "a program of " + rowsText(rows->size(), "row") : std::string();
    }
    if (isRecording(*bytes)) {
        const auto events = readRecording(path, problem);
        return events ? "a recording of " + rowsText(events->size(), "event") : std::string();
    }
    QString reason;
    if (memoryFromJson(*bytes, rules.family, reason))
        return "a memory file";
    problem = path + ": " + reason.toStdString();
    return {};
}

} // namespace

std::optional<std::vector<ProgramRow>> readProgram(const std::string &path, const Rules &rules,
                                                   std::string &problem)
{
    const auto bytes = readInput(path, largestProgramFile, problem);
    if (!bytes)
        return std::nullopt;
    auto rows = programFromText({bytes->constData(), std::size_t(bytes->size())}, rules, problem);
    if (!rows)
        problem = path + ": " + problem;
    return rows;
}

std::optional<std::vector<RecordedEvent>> readRecording(const std::string &path, std::string &problem)
{
    const auto bytes = readInput(path, largestRecordingFile, problem);
    if (!bytes)
        return std::nullopt;
    auto events = recordingFromText({bytes->constData(), std::size_t(bytes->size())}, problem);
    if (!events)
        problem = path + ": " + problem;
    return events;
}

int checkFiles(const std::vector<std::string> &paths, const Rules &rules)
{
    int code = 0;
    for (const std::string &path : paths) {
        std::string problem;
        const std::string kind = kindOf(path, rules, problem);
        if (!kind.empty()) {
            std::printf("%s: %s\n", path.c_str(), kind.c_str());
        } else {
            std::fprintf(stderr, "kv-sim: %s\n", problem.c_str());
            code = exitBadFile;
        }
    }
    return code;
}

} // namespace kvsim
