// What the command line and ~/.config/kv-host.conf say.
#pragma once

#include "clock.h"
#include "values.h"

#include <QString>
#include <QStringList>

#include <optional>

namespace kvhost
{

enum class OutputFormat { Text, Csv, Json };

struct Options {
    // all commands
    QStringList plcs;
    bool simulate = false;
    Ms timeout{1000};
    int retries = 3;
    int maxBlock = 128;
    Ms gap{0};
    QString driver;
    QString tagFile;
    WordOrder order = WordOrder::LowFirst;
    OutputFormat format = OutputFormat::Text;
    bool quiet = false;
    int verbose = 0;
    // the command
    QString command;
    QStringList words; ///< addresses, names or assignments
    bool yes = false;
    bool dryRun = false;
    bool force = false;
    Ms cycle{500};
    Ms duration{0}; ///< 0: until Ctrl-C
    QString output;
    QString sqlite;
    Ms rotate{0};
};

/// "1s", "250ms", "1.5s", "2m", "1h"; a bare number counts milliseconds.
std::optional<Ms> parseDuration(const QString &text);

/// \return an exit code if the program is to end at once (help, version, a wrong line)
std::optional<int> readOptions(int argc, char **argv, Options *options);

} // namespace kvhost
