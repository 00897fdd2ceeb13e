// SPDX-License-Identifier: MIT
// Files that a person hands in.
#include "shell/input_files.h"

#include "devices/memory_file.h"
#include "scan/program_text.h"
#include "shell/options.h"
#include "text/regular_file.h"

#include <cstdio>

namespace kvsim
{
namespace
{

constexpr qint64 largestProgramFile = 1024 * 1024;

std::optional<QByteArray> readInput(const std::string &path, qint64 mostBytes, std::string &problem)
{
    QString reason;
    auto bytes = readRegularFile(QString::fromStdString(path), mostBytes, reason);
    if (!bytes)
        problem = path + ": " + reason.toStdString();
    return bytes;
}

// "a program of 3 rows" or "a memory file".
std::optional<std::string> kindOf(const std::string &path, const Rules &rules, std::string &problem)
{
    const auto bytes = readInput(path, largestMemoryFile, problem);
    if (!bytes)
        return std::nullopt;
    if (!bytes->trimmed().startsWith('{')) {
        const auto rows = readProgram(path, rules, problem);
        return rows ? std::optional("a program of " + std::to_string(rows->size()) + " row(s)")
                    : std::nullopt;
    }
    QString reason;
    if (memoryFromJson(*bytes, rules.family, reason))
        return "a memory file";
    problem = path + ": " + reason.toStdString();
    return std::nullopt;
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

int checkFiles(const std::vector<std::string> &paths, const Rules &rules)
{
    int code = 0;
    for (const std::string &path : paths) {
        std::string problem;
        if (const auto kind = kindOf(path, rules, problem)) {
            std::printf("%s: %s\n", path.c_str(), kind->c_str());
        } else {
            std::fprintf(stderr, "kv-sim: %s\n", problem.c_str());
            code = exitBadFile;
        }
    }
    return code;
}

} // namespace kvsim
