// SPDX-License-Identifier: MIT
// kv-host: the tool that an engineer reaches for, on kvlink.
#include "app/exit_code.h"
#include "app/summary.h"
#include "commands/commands.h"
#include "output/side_note.h"

#include <QCoreApplication>

namespace kvhost
{

namespace
{

struct Command {
    const char *name;
    int (*run)(App &app);
    bool needsPlc;
};

// clang-format off
constexpr Command commands[] = {
    {"read",  runRead,  true },
    {"write", runWrite, true },
    {"watch", runWatch, true },
    {"log",   runLog,   true },
    {"info",  runInfo,  true },
    {"plan",  runPlan,  false},
    {"check", runCheck, false},
    {"stats", runStats, true },
    {"bench", runBench, true },
    {"areas", runAreas, false},
};
// clang-format on

bool showsDriverLines = false;

// The driver's diagnostic lines are for people who look for a fault: with -vv.
void onQtMessage(QtMsgType type, const QMessageLogContext & /*where*/, const QString &text)
{
    if (type == QtDebugMsg && !showsDriverLines)
        return;
    sideNote(type == QtDebugMsg ? QStringLiteral("driver: %1").arg(text) : text);
}

int runCommand(App &app, const Command &command)
{
    const bool needsPlc = command.needsPlc && !app.options.isDryRun;
    if (const auto code = prepare(app, QCoreApplication::applicationDirPath(), needsPlc))
        return *code;
    noteLinks(app);
    return command.run(app);
}

int run(int argc, char **argv)
{
    Options options;
    if (const auto code = readOptions(argc, argv, options))
        return *code;
    // Qt's own event loop instead of GLib's: with that one each wait writes to and reads from an
    // eventfd several times.
    qputenv("QT_NO_GLIB", "1");
    const QCoreApplication application(argc, argv);
    showsDriverLines = options.verbosity >= 2;
    qInstallMessageHandler(onQtMessage);
    App app(options);
    for (const Command &command : commands) {
        if (options.command == QLatin1String(command.name))
            return runCommand(app, command);
    }
    return ExitUsage;
}

} // namespace

} // namespace kvhost

int main(int argc, char **argv)
{
    return kvhost::run(argc, argv);
}
