// SPDX-License-Identifier: MIT
// One link as the faces hold it: its parts, its engine and thread, its mailbox; and the ways from a
// caller to the engine.
//
// Threads: every call from any thread, but for the destructor.
#pragma once

#include "api/link_thread.h"
#include "api/mailbox.h"

#include <atomic>

namespace kvlink
{

class PlcLink
{
public:
    /// What makes a link impossible from the start.
    enum class Fault { None, Settings, Address, Driver };
    /// What a link stands on, handed in. With a fault the problem says why, and the rest
    /// may be null.
    struct Parts {
        std::unique_ptr<Clock> clock;
        std::unique_ptr<Transport> transport;
        std::unique_ptr<Driver> driver;
        Fault fault = Fault::None;
        QString problem;
    };
    /// The system's clock, the transport of the url, a private copy of the driver.
    static Parts systemParts(const LinkSettings &settings);

    PlcLink(const LinkSettings &settings, Parts parts);
    ~PlcLink(); ///< stops
    PlcLink(const PlcLink &) = delete;
    PlcLink &operator=(const PlcLink &) = delete;

    QString problem() const;
    /// With one there is no engine: it takes no commands, and whoever looks finds nothing.
    Fault fault() const { return m_parts.fault; }
    const LinkSettings &settings() const { return m_settings; }
    Mailbox &mailbox() { return m_mailbox; }
    const Mailbox &mailbox() const { return m_mailbox; }
    bool start();
    void stop();
    /// Of a write, a read or a query.
    quint64 newId() { return ++m_lastId; }

    // --- the engine ------------------------------------------------------------------------------

    /// As LinkThread::post. False while the link is stopped.
    bool post(LinkThread::Command command);
    /// As LinkThread::call.
    void call(const LinkThread::Command &command);
    /// As LinkThread::look.
    template <class Ask>
    auto look(Ask ask) const
    {
        return m_thread ? m_thread->look(ask) : decltype(m_thread->look(ask))();
    }
    std::optional<EngineTag> engineTagOf(Tag tag) const;
    /// The engine's: within call() only.
    Driver &driver() const { return *m_parts.driver; }

private:
    const LinkSettings m_settings;
    const Parts m_parts;
    QString m_problem;
    std::atomic<quint64> m_lastId{0}; ///< of writes, reads and queries alike
    Mailbox m_mailbox;
    std::unique_ptr<Engine> m_engine;     ///< null with a fault
    std::unique_ptr<LinkThread> m_thread; ///< null as well; ends first
    mutable std::mutex m_problemMutex;    ///< guards m_problem
    std::mutex m_lifeMutex;               ///< held by start and stop; before all others
};

} // namespace kvlink
