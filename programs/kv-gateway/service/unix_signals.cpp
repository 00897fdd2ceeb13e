// SPDX-License-Identifier: MIT
#include "unix_signals.h"

#include <csignal>
#include <sys/signalfd.h>
#include <unistd.h>

namespace kvgateway
{

UnixSignals::UnixSignals(std::function<void()> stop, std::function<void()> reload)
    : m_stop(std::move(stop)), m_reload(std::move(reload))
{
    sigset_t wanted;
    sigemptyset(&wanted);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP})
        sigaddset(&wanted, signal);
    pthread_sigmask(SIG_BLOCK, &wanted, nullptr);
    m_descriptor = signalfd(-1, &wanted, SFD_CLOEXEC | SFD_NONBLOCK);
    m_notifier = std::make_unique<QSocketNotifier>(m_descriptor, QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(), [this] { take(); });
}

UnixSignals::~UnixSignals()
{
    m_notifier.reset();
    close(m_descriptor);
}

void UnixSignals::take()
{
    signalfd_siginfo info{};
    while (read(m_descriptor, &info, sizeof info) == ssize_t(sizeof info)) {
        if (info.ssi_signo == SIGHUP)
            m_reload();
        else
            m_stop();
    }
}

} // namespace kvgateway
