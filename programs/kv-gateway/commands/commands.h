// SPDX-License-Identifier: MIT
// What the program does, one function for each command. Each returns the exit code: 0 done, 1 not
// done, with a message on stderr.
#pragma once

#include "config/config.h"

#include <kvlink/times.h>

#include <QString>
#include <QStringList>

#include <optional>

namespace kvgateway
{

/// What was typed, as it was typed.
struct CommandLine {
    QString command; ///< "check", "user add", ...
    QString file = QStringLiteral("/etc/kv-gateway/gateway.toml");
    QString driver;
    QString shard; ///< run
    bool isInsecure = false;
    QString plc;       ///< init
    QString folder;    ///< init
    QString from, to;  ///< history
    QStringList names; ///< tags of history; user or token; outlets of db
    QString role;
    QString validFor; ///< token
};

int runCheck(const CommandLine &line);
int runService(const CommandLine &line);
int runInit(const CommandLine &line);
int runHistory(const CommandLine &line);
/// user add|password|role|remove|list, token add|remove|list
int runAccounts(const CommandLine &line);

/// db init: makes the tables of [[postgresql]], or brings them up to date.
int runDatabaseInit(const CommandLine &line);
/// db sql: prints what makes them.
int runDatabaseSql(const CommandLine &line);

/// Reads the configuration for a command; problems go to stderr.
std::optional<Config> checkedConfig(const CommandLine &line);
/// Of such a configuration the data folder.
/// \return none with a problem
std::optional<QString> dataFolder(const CommandLine &line);

} // namespace kvgateway
