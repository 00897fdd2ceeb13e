#include "signals.h"

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace kvhost
{

namespace
{

int g_pipe[2] = {-1, -1};
volatile std::sig_atomic_t g_caught = 0;

extern "C" void onSignal(int signal)
{
    if (g_caught != 0)
        ::_exit(128 + signal);
    g_caught = 1;
    const char byte = char(signal);
    // The pipe holds more than the one byte that is ever written.
    if (::write(g_pipe[1], &byte, 1) != 1)
        ::_exit(128 + signal);
}

} // namespace

Signals::Signals(std::function<void(int)> caught) : m_caught(std::move(caught))
{
    if (::pipe2(g_pipe, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    m_notifier = std::make_unique<QSocketNotifier>(g_pipe[0], QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(), [this] {
        char byte = 0;
        if (::read(g_pipe[0], &byte, 1) == 1)
            m_caught(byte);
    });
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        // What nohup has switched off stays off.
        if (std::signal(signal, onSignal) == SIG_IGN)
            std::signal(signal, SIG_IGN);
    }
}

Signals::~Signals()
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        std::signal(signal, SIG_DFL);
    m_notifier.reset();
    ::close(g_pipe[0]);
    ::close(g_pipe[1]);
}

} // namespace kvhost
