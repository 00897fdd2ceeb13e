// SPDX-License-Identifier: MIT
// The thread round an engine: it sleeps in one poll() over the transport's descriptors and a
// wake-up descriptor, until the deadline that the engine gives.
//
// Threads: every call may come from any thread but the link's own. The engine works for one at a
//          time: for the link's thread while it steps, for a caller in call() and look().
// Locks:   m_life, then m_engineMutex, then m_mutex. The engine is held while the sink is called:
//          whoever looks sees what the sink has seen. Nothing is held while the thread sleeps.
#pragma once

#include "engine/engine.h"

#include <functional>
#include <mutex>
#include <vector>

#include <pthread.h>

struct pollfd;

namespace kvlink
{

class LinkThread
{
public:
    using Command = std::function<void(Engine &)>;
    using Sink = std::function<void(Events &)>;

    /// \param sink takes what happened, on the link's thread; the events are cleared afterwards
    LinkThread(const Clock &clock, Transport &transport, Engine &engine, Sink sink);
    ~LinkThread(); ///< stops
    LinkThread(const LinkThread &) = delete;
    LinkThread &operator=(const LinkThread &) = delete;

    /// \param problem set on failure only: the system gave no thread or no descriptor
    bool start(QString &problem);
    /// All that was posted before is carried out; what it brought has gone to the sink on return.
    void stop();

    /// Runs the command on the link's thread, soon: the caller never waits for a step.
    /// False, and nothing is run, while the thread does not run.
    bool post(Command command);
    /// Runs the command now, after all that was posted before. Waits for a step at most.
    void call(const Command &command);

    /// What \a ask finds out of the engine. Waits for a step at most.
    template <class Ask>
    auto look(Ask ask) const
    {
        const std::lock_guard engine(m_engineMutex);
        return ask(std::as_const(m_engine));
    }

private:
    int startThread();
    static void *enter(void *self);
    void run();
    bool step(Events &events, SteadyTime &deadline);
    bool takeCommands();
    void sleepUntil(SteadyTime deadline);

    const Clock &m_clock;
    const Sink m_sink;
    const int m_wakeUp; ///< -1: the system gave none

    std::mutex m_life; ///< held while the thread is started and stopped
    pthread_t m_thread{};

    mutable std::mutex m_engineMutex; ///< guards what follows
    Engine &m_engine;
    Transport &m_transport;
    std::vector<Command> m_taken;

    std::mutex m_mutex; ///< guards what follows
    bool m_open = false;
    std::vector<Command> m_commands;

    std::vector<pollfd> m_sleepOn; ///< the link's thread only
};

} // namespace kvlink
