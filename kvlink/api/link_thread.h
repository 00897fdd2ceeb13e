// SPDX-License-Identifier: MIT
// The thread round an engine: it sleeps in one poll() over the transport's descriptors and a
// wake-up descriptor, until the deadline that the engine gives.
//
// Threads: post, call, start and stop may come from any thread, but not from the link's own. The
//          engine is touched by one thread at a time: by the link's while it runs, by a caller
//          under m_life while it does not.
// Locks:   m_life, then m_mutex. The thread itself takes m_mutex alone, and holds nothing
//          while it works.
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
    /// All that was posted before is carried out; what it brought has gone to the sink
    /// when this returns.
    void stop();

    /// Runs the command on the link's thread, soon. False, and nothing is run, while the thread
    /// does not run.
    bool post(Command command);
    /// Runs the command and waits for it; while the thread does not run, in the caller's.
    void call(const Command &command);

private:
    int startThread();
    static void *enter(void *self);
    void run();
    bool takeCommands();
    void sleepUntil(SteadyTime deadline);

    const Clock &m_clock;
    Transport &m_transport;
    Engine &m_engine;
    const Sink m_sink;

    std::mutex m_life; ///< held while the thread is started and stopped
    pthread_t m_thread{};
    int m_wakeUp = -1;

    std::mutex m_mutex; ///< guards what follows
    bool m_open = false;
    std::vector<Command> m_commands;

    std::vector<pollfd> m_sleepOn; ///< the link's thread only, as is the next
    std::vector<Command> m_taken;
};

} // namespace kvlink
