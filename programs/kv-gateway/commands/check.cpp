// SPDX-License-Identifier: MIT
// `check`: every mistake of a configuration, with its place; nothing is changed.
#include "commands.h"

#include "config/config_file.h"
#include "config/shards.h"

#include <cstdio>

namespace kvgateway
{

namespace
{

bool sayProblems(const LoadedConfig &loaded)
{
    for (const Problem &problem : loaded.problems)
        std::fprintf(stderr, "%s\n", qUtf8Printable(problem.shown()));
    const int count = int(loaded.problems.size());
    if (count > 0)
        std::fprintf(stderr, "%d %s; nothing was changed\n", count, count == 1 ? "mistake" : "mistakes");
    return count > 0;
}

} // namespace

int runCheck(const CommandLine &line)
{
    const LoadedConfig loaded = loadConfig(line.file, line.driver);
    if (sayProblems(loaded))
        return 1;
    std::printf("%s is fine: %s\n", qUtf8Printable(line.file), qUtf8Printable(loaded.config.sizeText()));
    for (const ShardConfig &shard : loaded.config.shards) {
        Config part = loaded.config;
        QString problem;
        chooseShard(part, shard.name, problem);
        std::printf("shard %s: %s\n", qUtf8Printable(shard.name), qUtf8Printable(part.sizeText()));
    }
    return 0;
}

std::optional<Config> checkedConfig(const CommandLine &line)
{
    LoadedConfig loaded = loadConfig(line.file, line.driver);
    if (sayProblems(loaded))
        return std::nullopt;
    return std::move(loaded.config);
}

std::optional<QString> dataFolder(const CommandLine &line)
{
    const auto config = checkedConfig(line);
    return config ? std::optional(config->folder) : std::nullopt;
}

} // namespace kvgateway
