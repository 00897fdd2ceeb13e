// kv-host: reference host of the driver, and the tool an engineer reaches for.
#include "app.h"
#include "signals.h"

#include <QCoreApplication>
#include <QNetworkProxy>

#include <cstdio>
#include <map>

namespace kvhost
{

namespace
{

struct Command {
    const char *name;
    int (*run)(App *);
    bool needsPlc;
};

// clang-format off
constexpr Command COMMANDS[] = {
    {"read",  runRead,  true },
    {"write", runWrite, true },
    {"watch", runWatch, true },
    {"log",   runLog,   true },
    {"plan",  runPlan,  false},
    {"check", runCheck, false},
    {"stats", runStats, true },
    {"bench", runBench, true },
    {"areas", runAreas, false},
};
// clang-format on

bool g_showDriverLines = false;

// The driver's diagnostic lines are for people who look for a fault: with -vv.
void onQtMessage(QtMsgType type, const QMessageLogContext & /*where*/, const QString &text)
{
    if (type == QtDebugMsg && !g_showDriverLines)
        return;
    std::fprintf(stderr, "%s%s\n", type == QtDebugMsg ? "driver: " : "", text.toUtf8().constData());
}

QString frameText(const QByteArray &bytes)
{
    QString text = QString::fromLatin1(bytes);
    return text.replace('\r', QLatin1String("\\r")).replace('\n', QLatin1String("\\n"));
}

void tellLink(const LinkStatus &status)
{
    if (status.ready)
        std::fprintf(stderr, "kv-host: %s: linked\n", status.url.toUtf8().constData());
    else
        std::fprintf(stderr, "kv-host: %s: %s%s; trying again\n", status.url.toUtf8().constData(),
                     status.trouble == Trouble::NoLink ? "no link: " : "",
                     status.reason.toUtf8().constData());
}

// Commands that go on for long tell when a link is lost and found again, in a table or by a line.
bool tellsLinks(const Options &options)
{
    const bool goesOn = options.command == "watch" || options.command == "log";
    const bool table =
        options.command == "watch" && stdoutIsTerminal() && options.format == OutputFormat::Text;
    return options.verbose > 0 || (goesOn && !table && !options.quiet);
}

// What -v and -vv add, on stderr. Called on the exchange thread.
void beVerbose(App *app)
{
    if (tellsLinks(app->options)) {
        app->session->onLink = [verbose = app->options.verbose > 0,
                                told = std::map<int, QString>()](const LinkStatus &status) mutable {
            // The opening that goes well, and the same trouble again, are told on demand only.
            const bool opening = !status.ready && status.failures == 0;
            const QString now = status.ready || opening ? QString() : status.reason;
            const bool news = now != told[status.station];
            told[status.station] = now;
            if (news || verbose)
                tellLink(status);
        };
    }
    if (app->options.verbose >= 2) {
        app->session->onExchange = [](const ExchangeReport &report) {
            std::fprintf(stderr, "%7.2f ms  %s -> %s  result %d %s\n", inMs(report.time),
                         frameText(report.frame).toUtf8().constData(),
                         frameText(report.answer).toUtf8().constData(), report.result,
                         report.reason.toUtf8().constData());
        };
    }
}

int runCommand(App *app, const Command &command, const QString &programFolder)
{
    const bool needsPlc = command.needsPlc && !app->options.dryRun;
    if (const auto code = prepare(app, programFolder, needsPlc))
        return *code;
    beVerbose(app);
    const Signals signals_([app](int signal) { app->session->interrupt(signal); });
    return command.run(app);
}

int run(int argc, char **argv)
{
    Options options;
    if (const auto code = readOptions(argc, argv, &options))
        return *code;
    // Qt's own event loop instead of GLib's: with that one each wait writes to and reads from an eventfd
    // several times, which costs an exchange more than its own send and receive. Nothing here needs GLib.
    qputenv("QT_NO_GLIB", "1");
    QCoreApplication application(argc, argv);
    // A proxy that is set up for the web has nothing to do with PLCs.
    QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy);
    g_showDriverLines = options.verbose >= 2;
    qInstallMessageHandler(onQtMessage);
    App app(options);
    for (const Command &command : COMMANDS) {
        if (options.command == QLatin1String(command.name))
            return runCommand(&app, command, QCoreApplication::applicationDirPath());
    }
    return EXIT_USAGE;
}

} // namespace

} // namespace kvhost

int main(int argc, char **argv)
{
    return kvhost::run(argc, argv);
}
