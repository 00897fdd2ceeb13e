// SPDX-License-Identifier: MIT
// What the command line, the environment and ~/.config/kv-host.conf say.
#pragma once

#include "output/output.h"
#include "tags/text_decoding.h"

#include <kvlink/link.h>

#include <QString>
#include <QStringList>

#include <optional>

namespace kvhost
{

struct Options {
    // all commands
    QStringList
        plcs; ///< "[STATION=]URL"; of the command line, else of KV_PLC, else of the configuration file
    bool isSimulated = false;
    kvlink::LinkSettings link; ///< all but its url
    int retries = 3;
    QString tagFile;
    kvtags::FileEncoding encoding = kvtags::FileEncoding::Utf8;
    OutputFormat format = OutputFormat::Text;
    bool isQuiet = false;
    int verbosity = 0;
    bool isReadOnly = false;
    // the command
    QString command;
    QStringList words;        ///< addresses, names or assignments
    bool isConfirmed = false; ///< --yes
    bool isDryRun = false;
    bool isForced = false;
    bool isVerified = true;
    std::optional<kvlink::Duration> pulse;
    kvlink::Duration every{500000};
    kvlink::Duration duration{0}; ///< 0: until Ctrl-C
    // log
    QString output;
    QString sqlite;
    kvlink::Duration rotate{0};
    kvlink::Duration keep{0};
    bool isWide = false;
    bool isOnChange = false;
    std::optional<QChar> separator;
    bool hasDecimalComma = false;
    bool hasLocalTime = false;
};

/// Every command with what it does, in the order of the help.
struct CommandText {
    const char *name;
    const char *what;
};
const std::vector<CommandText> &commandTexts();

/// "500ms", "2s", "1h"; a lone 0 needs no unit. \param problem set on failure only
std::optional<kvlink::Duration> timeFromText(const QString &text, QString &problem);

/// \return an exit code if the program is to end at once (help, version, a wrong line), after a
///   message
std::optional<int> readOptions(int argc, char **argv, Options &options);

} // namespace kvhost
