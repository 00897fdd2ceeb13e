// SPDX-License-Identifier: MIT
// Signals as events of the main loop.
#include "shell/signals.h"

#include <QCoreApplication>
#include <QSocketNotifier>

#include <array>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace kvsim
{
namespace
{

std::array<int, 2> pipeEnds{-1, -1};

// A handler may do next to nothing; writing one byte is allowed.
extern "C" void kvSimNoteSignal(int)
{
    const char byte = 0;
    [[maybe_unused]] const auto written = ::write(pipeEnds[1], &byte, 1);
}

} // namespace

void onEndSignals(std::function<void()> end)
{
    if (::pipe2(pipeEnds.data(), O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    auto *notifier = new QSocketNotifier(pipeEnds[0], QSocketNotifier::Read, QCoreApplication::instance());
    QObject::connect(notifier, &QSocketNotifier::activated, notifier, [end = std::move(end)] {
        char byte = 0;
        if (::read(pipeEnds[0], &byte, 1) == 1)
            end();
    });
    struct sigaction action {
    };
    action.sa_handler = kvSimNoteSignal;
    action.sa_flags = SA_RESTART;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        ::sigaction(signal, &action, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN); // a file beyond its limit is an error of the write
}

} // namespace kvsim
