// SPDX-License-Identifier: MIT
// Two event counters of the system: one that stays set once the program is to end, and one for each
// HUP that only reopens a log.
#include "signals.h"

#include <csignal>
#include <cstdint>
#include <sys/eventfd.h>
#include <unistd.h>

namespace kvhost
{

namespace
{

int stopEvent = -1;
int hupEvent = -1;
volatile std::sig_atomic_t caughtSignal = 0;
volatile std::sig_atomic_t reopensAsked = 0;

extern "C" void onSignal(int signal)
{
    const std::uint64_t one = 1;
    if (signal == SIGHUP && reopensAsked != 0) {
        // A counter that is full has been heard of already.
        (void)!::write(hupEvent, &one, sizeof one);
        return;
    }
    if (caughtSignal != 0)
        ::_exit(128 + signal);
    caughtSignal = signal;
    if (::write(stopEvent, &one, sizeof one) != ssize_t(sizeof one))
        ::_exit(128 + signal);
}

constexpr int caughtSignals[] = {SIGINT, SIGTERM, SIGHUP};

} // namespace

Signals::Signals(std::function<void(int)> caught) : m_caught(std::move(caught))
{
    stopEvent = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    hupEvent = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    m_stop = std::make_unique<QSocketNotifier>(stopEvent, QSocketNotifier::Read);
    QObject::connect(m_stop.get(), &QSocketNotifier::activated, m_stop.get(), [this] {
        m_stop->setEnabled(false); // it stays readable for those who write to full pipes
        m_caught(caughtSignal);
    });
    for (const int signal : caughtSignals) {
        // What nohup has switched off stays off.
        if (std::signal(signal, onSignal) == SIG_IGN)
            std::signal(signal, SIG_IGN);
    }
    // Both come back as errors of the write, which say what happened.
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
}

Signals::~Signals()
{
    for (const int signal : caughtSignals)
        std::signal(signal, SIG_DFL);
    m_stop.reset();
    m_hup.reset();
    ::close(stopEvent);
    ::close(hupEvent);
}

void Signals::reopenOnHup(std::function<void()> reopen)
{
    m_reopen = std::move(reopen);
    m_hup = std::make_unique<QSocketNotifier>(hupEvent, QSocketNotifier::Read);
    QObject::connect(m_hup.get(), &QSocketNotifier::activated, m_hup.get(), [this] {
        std::uint64_t count = 0;
        if (::read(hupEvent, &count, sizeof count) == ssize_t(sizeof count))
            m_reopen();
    });
    reopensAsked = 1;
}

int Signals::stopDescriptor() const
{
    return stopEvent;
}

} // namespace kvhost
