// SPDX-License-Identifier: MIT
// kv-sim: strict simulated KV PLCs with every fault of the field.
#include "desk/group_desk.h"
#include "shell/control_line.h"
#include "shell/error_output.h"
#include "shell/input_files.h"
#include "shell/options.h"
#include "shell/plc_unit.h"
#include "shell/recorder.h"
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
using ControlLines = std::vector<std::unique_ptr<ControlLine>>;

int startAll(const Options &options, Recorder &recorder, Plcs &plcs)
{
    std::string problem;
    if (!options.record.empty())
        problem = recorder.open(options.record, options.model);
    if (!problem.empty())
        return fail(exitLine, "--record: " + problem);
    const auto replayed = options.replay.empty() ? std::optional<std::vector<RecordedEvent>>(std::in_place)
                                                 : readRecording(options.replay, problem);
    if (!replayed)
        return fail(exitLine, "--replay: " + problem);
    for (int plc = 0; plc < options.plcs; ++plc) {
        plcs.push_back(std::make_unique<PlcUnit>(optionsOf(options, plc)));
        if (!options.record.empty())
            plcs.back()->recordTo(recorder, plc);
        if (!replayed->empty())
            plcs.back()->replay(*replayed, plc);
        if (const int code = plcs.back()->start(); code != 0)
            return code;
    }
    return 0;
}

int openControl(const Options &options, GroupDesk &desk, ControlLines &lines)
{
    for (const Address &address : options.controlAll) {
        lines.push_back(
            std::make_unique<ControlLine>([&desk](std::string_view line) { return desk.run(line); }));
        if (const QString wrong = lines.back()->open(address); !wrong.isEmpty())
            return fail(exitLine, wrong.toStdString() + "; port 0 takes a free one");
        say("listening control-all " + lines.back()->address().toStdString());
    }
    return 0;
}

std::vector<ControlDesk *> desksOf(const Plcs &plcs)
{
    std::vector<ControlDesk *> desks;
    for (const auto &plc : plcs)
        desks.push_back(&plc->desk());
    return desks;
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
        std::array<char, 4096> buffer{};
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
    Recorder recorder;
    Plcs plcs;
    if (const int code = startAll(*options, recorder, plcs); code != 0)
        return code;
    GroupDesk desk(desksOf(plcs));
    ControlLines control;
    if (const int code = openControl(*options, desk, control); code != 0)
        return code;
    say("ready");
    std::unique_ptr<QSocketNotifier> input;
    if (options->exitWithStdin) {
        input = std::make_unique<QSocketNotifier>(STDIN_FILENO, QSocketNotifier::Read);
        quitWithStdin(*input);
    }
    QCoreApplication::exec();
    const int code = endAll(plcs);
    tellLostLines();
    return recorder.hasFailed() ? exitLine : code;
}
