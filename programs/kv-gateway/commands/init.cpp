// SPDX-License-Identifier: MIT
// `init`: a first configuration and tag file with remarks, for one PLC.
#include "commands.h"

#include <kvlink/plc.h>

#include <QDir>
#include <QFile>

#include <cstdio>
#include <unistd.h>

namespace kvgateway
{

namespace
{

constexpr char configText[] =
    R"(# Configuration of kv-gateway. "kv-gateway check gateway.toml" names every mistake;
# "systemctl reload kv-gateway" takes a change without dropping the links that stay.

data = "data"                      # folder of history, records and users
# pages = "pages"                  # folder of drawings (*.svg) with live values

[listen]
address = "127.0.0.1"              # "0.0.0.0" lets other machines in: needs TLS and users
port = 8480
# certificate = "cert.pem"
# key = "key.pem"
# hosts = ["panel.local"]          # names by which browsers reach it

[history]
# enabled = true
# rows = "30d"                     # each change is kept for so long; "forever" is possible
# minutes = "400d"                 # minimum, mean and maximum of each minute
# hours = "forever"
# size = "unlimited"               # or "2GB": the oldest rows go first

[access]
# local = "viewer"                 # what this machine may do without a login:
#                                  # "none", "viewer", "operator" (writes), "engineer"

[[plc]]
name = "line1"
url = "@URL@"
tags = "line1.csv"
# period = "1s"                    # of tags that name none
# word_order = "low"               # of 32-bit values
# text_encoding = "utf-8"          # of texts in the PLC; "shift-jis", "latin-1"
)";

constexpr char tagText[] = R"(# Tags of line1. Only name and address are needed; rw says which may be written.
name,address,unit,period,group,history,min,max,rw,comment
speed,DM100.S,rpm,500ms,drive,yes,0,1500,rw,set value of the drive
count,DM110.D,,1s,production,yes,,,r,pieces of this shift
running,R500,,200ms,drive,yes,,,r,the line runs
)";

bool askAddress(QString &url)
{
    if (isatty(STDIN_FILENO) == 0) {
        std::fprintf(stderr, "init: name the PLC: --plc tcp://192.168.0.10\n");
        return false;
    }
    std::fprintf(stderr, "Address of the PLC, as in tcp://192.168.0.10: ");
    QFile input;
    url = input.open(stdin, QIODevice::ReadOnly) ? QString::fromUtf8(input.readLine()).trimmed() : QString();
    return true;
}

// On purpose never over a file that is there: it may be the work of a day.
bool writeNew(const QString &path, const QByteArray &text)
{
    QFile file(path);
    if (file.open(QIODevice::WriteOnly | QIODevice::NewOnly) && file.write(text) == text.size() &&
        file.flush()) {
        std::printf("%s is made\n", qUtf8Printable(path));
        return true;
    }
    std::fprintf(stderr, "%s: %s; nothing is replaced\n", qUtf8Printable(path),
                 qUtf8Printable(file.errorString()));
    return false;
}

} // namespace

int runInit(const CommandLine &line)
{
    QString url = line.plc;
    if (url.isEmpty() && !askAddress(url))
        return 1;
    kvlink::LinkSettings settings;
    settings.url = url;
    settings.driver = line.driver;
    const kvlink::Plc trial(settings);
    if (!trial.problem().isEmpty() && !trial.lacksDriver()) {
        std::fprintf(stderr, "%s\n", qUtf8Printable(trial.problem()));
        return 1;
    }
    const QDir folder(line.folder.isEmpty() ? QStringLiteral(".") : line.folder);
    if (!folder.mkpath(QStringLiteral("."))) {
        std::fprintf(stderr, "%s cannot be made; name another folder\n", qUtf8Printable(folder.path()));
        return 1;
    }
    for (const char *name : {"gateway.toml", "line1.csv"}) {
        if (folder.exists(QString::fromLatin1(name))) {
            std::fprintf(stderr, "%s is there already; nothing was changed\n",
                         qUtf8Printable(folder.filePath(name)));
            return 1;
        }
    }
    const QByteArray config = QByteArray(configText).replace("@URL@", url.toUtf8());
    if (!writeNew(folder.filePath(QStringLiteral("gateway.toml")), config) ||
        !writeNew(folder.filePath(QStringLiteral("line1.csv")), tagText))
        return 1;
    std::printf("Next: put your tags into line1.csv, then kv-gateway run gateway.toml\n");
    return 0;
}

} // namespace kvgateway
