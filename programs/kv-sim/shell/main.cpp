// kv-sim: strict simulated KV PLCs with every vice of the field.
#include "options.h"
#include "program.h"
#include "signals.h"

#include <QCoreApplication>
#include <QNetworkProxy>
#include <QSocketNotifier>

#include <algorithm>
#include <array>
#include <memory>
#include <unistd.h>
#include <vector>

namespace
{

using Plcs = std::vector<std::unique_ptr<Program>>;

int startAll(const Options &options, Plcs &plcs)
{
    for (int plc = 0; plc < options.plcs; ++plc) {
        plcs.push_back(std::make_unique<Program>(optionsOf(options, plc)));
        if (const int code = plcs.back()->start(); code != 0)
            return code;
    }
    say("ready");
    return 0;
}

int endAll(const Plcs &plcs)
{
    int code = 0;
    for (const auto &plc : plcs)
        code = std::max(code, plc->end());
    return code;
}

void quitWithStdin(QSocketNotifier &notifier)
{
    QObject::connect(&notifier, &QSocketNotifier::activated, &notifier, [] {
        std::array<char, 4096> buffer;
        if (::read(STDIN_FILENO, buffer.data(), buffer.size()) <= 0)
            Program::quit();
    });
}

} // namespace

int main(int argc, char **argv)
{
    Options options;
    if (const int code = parseOptions(argc, argv, options); code >= 0)
        return code;
    // Qt's own event loop instead of GLib's, which costs each request several reads and writes of an eventfd.
    qputenv("QT_NO_GLIB", "1");
    QCoreApplication application(argc, argv);
    // A proxy that is set up for the web has nothing to do with PLCs.
    QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy);
    onEndSignals([] { Program::quit(); });
    Plcs plcs;
    if (const int code = startAll(options, plcs); code != 0)
        return code;
    std::unique_ptr<QSocketNotifier> input;
    if (options.exitWithStdin) {
        input = std::make_unique<QSocketNotifier>(STDIN_FILENO, QSocketNotifier::Read);
        quitWithStdin(*input);
    }
    QCoreApplication::exec();
    return endAll(plcs);
}
