// SPDX-License-Identifier: MIT
// kv-sim: strict simulated KV PLCs with every fault of the field.
#include "shell/input_files.h"
#include "shell/options.h"
#include "shell/plc_unit.h"
#include "shell/signals.h"

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

using namespace kvsim;

using Plcs = std::vector<std::unique_ptr<PlcUnit>>;

int startAll(const Options &options, Plcs &plcs)
{
    for (int plc = 0; plc < options.plcs; ++plc) {
        plcs.push_back(std::make_unique<PlcUnit>(optionsOf(options, plc)));
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
            PlcUnit::quit();
    });
}

} // namespace

int main(int argc, char **argv)
{
    int exitCode = 0;
    const auto options = kvsim::parseOptions(argc, argv, exitCode);
    if (!options)
        return exitCode;
    if (!options->check.empty())
        return checkFiles(options->check, options->rules);
    // Qt's own event loop instead of GLib's, which costs each request several reads and writes
    // of an eventfd.
    qputenv("QT_NO_GLIB", "1");
    QCoreApplication application(argc, argv);
    // A proxy that is set up for the web has nothing to do with PLCs.
    QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy);
    kvsim::onEndSignals([] { kvsim::PlcUnit::quit(); });
    Plcs plcs;
    if (const int code = startAll(*options, plcs); code != 0)
        return code;
    std::unique_ptr<QSocketNotifier> input;
    if (options->exitWithStdin) {
        input = std::make_unique<QSocketNotifier>(STDIN_FILENO, QSocketNotifier::Read);
        quitWithStdin(*input);
    }
    QCoreApplication::exec();
    return endAll(plcs);
}
