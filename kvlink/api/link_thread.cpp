// SPDX-License-Identifier: MIT
#include "api/link_thread.h"

#include <algorithm>
#include <cerrno>
#include <csignal>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace kvlink
{
namespace
{
// 256 links in one process: the usual 8 MiB for each would be 2 GiB of address space.
constexpr std::size_t stackSize = 256 * 1024;
} // namespace

LinkThread::LinkThread(const Clock &clock, Transport &transport, Engine &engine, Sink sink)
    : m_clock(clock), m_sink(std::move(sink)), m_wakeUp(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)),
      m_engine(engine), m_transport(transport)
{
}

LinkThread::~LinkThread()
{
    stop();
    if (m_wakeUp >= 0)
        ::close(m_wakeUp);
}

bool LinkThread::start(QString &problem)
{
    const std::lock_guard life(m_life);
    const std::lock_guard engine(m_engineMutex);
    const std::lock_guard held(m_mutex); // what is posted from now on comes after the start
    if (m_open)
        return true;
    m_engine.start();
    const int error = m_wakeUp < 0 ? EMFILE : startThread();
    m_open = error == 0;
    if (m_open)
        return true;
    m_engine.stop();
    problem = QStringLiteral("the system gave no thread for the link: %1").arg(qt_error_string(error));
    return false;
}

// \return 0, or what the system says
int LinkThread::startThread()
{
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, stackSize);
    // Signals are for the program's own threads: its handlers expect to run there.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const int error = pthread_create(&m_thread, &attributes, &enter, this);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    pthread_attr_destroy(&attributes);
    return error;
}

void LinkThread::stop()
{
    const std::lock_guard life(m_life);
    {
        const std::lock_guard held(m_mutex);
        if (!m_open)
            return;
        m_open = false;
    }
    ::eventfd_write(m_wakeUp, 1);
    pthread_join(m_thread, nullptr);
}

bool LinkThread::post(Command command)
{
    const std::lock_guard held(m_mutex);
    if (!m_open)
        return false;
    m_commands.push_back(std::move(command));
    if (m_commands.size() == 1)
        ::eventfd_write(m_wakeUp, 1);
    return true;
}

void LinkThread::call(const Command &command)
{
    {
        const std::lock_guard engine(m_engineMutex);
        takeCommands();
        command(m_engine);
    }
    ::eventfd_write(m_wakeUp, 1); // the deadline may be another one now
}

void *LinkThread::enter(void *self)
{
    static_cast<LinkThread *>(self)->run();
    return nullptr;
}

void LinkThread::run()
{
    Events events;
    SteadyTime deadline{};
    while (step(events, deadline))
        sleepUntil(deadline);
}

// \return false when it was the last: buttons that were pressed are released then
bool LinkThread::step(Events &events, SteadyTime &deadline)
{
    const std::lock_guard engine(m_engineMutex);
    const bool isOpen = takeCommands();
    if (!isOpen)
        m_engine.stop();
    deadline = m_engine.step(events);
    if (!events.isEmpty())
        m_sink(events);
    events.clear();
    m_sleepOn.assign(1, pollfd{m_wakeUp, POLLIN, 0});
    m_transport.addDescriptors(m_sleepOn);
    return isOpen || m_engine.link().state != LinkState::Stopped;
}

// The caller holds the engine. \return false when these were the last
bool LinkThread::takeCommands()
{
    bool isOpen = true;
    {
        const std::lock_guard held(m_mutex);
        m_taken.swap(m_commands);
        isOpen = m_open;
    }
    for (const Command &command : m_taken)
        command(m_engine);
    m_taken.clear();
    return isOpen;
}

void LinkThread::sleepUntil(SteadyTime deadline)
{
    const auto wait = std::min(deadline - m_clock.now(), Duration(1h));
    if (wait <= Duration(0))
        return; // the next step looks at the socket and takes the commands itself
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(wait);
    const timespec span{time_t(seconds.count()), long(std::chrono::nanoseconds(wait - seconds).count())};
    const int woken = ::ppoll(m_sleepOn.data(), nfds_t(m_sleepOn.size()), &span, nullptr);
    eventfd_t wakeUps = 0;
    if (woken > 0 && m_sleepOn.front().revents != 0)
        ::eventfd_read(m_wakeUp, &wakeUps);
}

} // namespace kvlink
