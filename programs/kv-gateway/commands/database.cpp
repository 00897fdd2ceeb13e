// SPDX-License-Identifier: MIT
// `db`: the tables that [[postgresql]] fills, made or printed.
#include "commands.h"

#include "outlets/postgresql_schema.h"

#include <cstdio>

namespace kvgateway
{

namespace
{

using namespace std::chrono_literals;

// Those that were named; all without a name. None with a problem.
std::vector<PostgresqlConfig> chosen(const CommandLine &line)
{
    const auto config = checkedConfig(line);
    if (!config)
        return {};
    std::vector<PostgresqlConfig> databases;
    QStringList unknown = line.names;
    for (const PostgresqlConfig &one : config->postgresql) {
        if (line.names.isEmpty() || line.names.contains(one.name))
            databases.push_back(one);
        unknown.removeAll(one.name);
    }
    if (config->postgresql.empty())
        std::fprintf(stderr, "%s has no [[postgresql]]: add one, with a url\n", qUtf8Printable(line.file));
    else if (!unknown.isEmpty())
        std::fprintf(stderr, "no [[postgresql]] is called \"%s\"; nothing was changed\n",
                     qUtf8Printable(unknown.first()));
    return unknown.isEmpty() ? databases : std::vector<PostgresqlConfig>();
}

bool makeTables(const PostgresqlConfig &config)
{
    // Old rows that become a hypertable take their time.
    PqLink link({10s, 24h});
    PqProblem trouble;
    QString done, problem;
    const bool isMade = link.open(config, trouble) && makeSchema(link, config.schema, done, problem);
    if (isMade)
        std::printf("schema %s of %s: %s\n", qUtf8Printable(config.schema), qUtf8Printable(config.place()),
                    qUtf8Printable(done));
    else
        std::fprintf(stderr, "%s: %s\n", qUtf8Printable(config.place()),
                     qUtf8Printable(problem.isEmpty() ? trouble.text : problem));
    return isMade;
}

} // namespace

int runDatabaseInit(const CommandLine &line)
{
    const std::vector<PostgresqlConfig> databases = chosen(line);
    bool areMade = !databases.empty();
    for (const PostgresqlConfig &one : databases)
        areMade = makeTables(one) && areMade;
    return areMade ? 0 : 1;
}

int runDatabaseSql(const CommandLine &line)
{
    const std::vector<PostgresqlConfig> databases = chosen(line);
    QStringList printed;
    for (const PostgresqlConfig &one : databases) {
        if (!printed.contains(one.schema))
            std::printf("%s", schemaSql(one.schema).constData());
        printed << one.schema;
    }
    return databases.empty() ? 1 : 0;
}

} // namespace kvgateway
