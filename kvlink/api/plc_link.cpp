// SPDX-License-Identifier: MIT
#include "api/plc_link.h"

#include "api/settings_check.h"
#include "api/traced_transport.h"
#include "driver/loaded_driver.h"
#include "transport/make_transport.h"

#include <QRandomGenerator>

namespace kvlink
{

PlcLink::Parts PlcLink::systemParts(const LinkSettings &settings)
{
    Parts parts;
    parts.clock = std::make_unique<SystemClock>();
    parts.problem = problemOf(settings);
    parts.fault = Fault::Settings;
    if (!parts.problem.isEmpty())
        return parts;
    parts.fault = Fault::Address;
    parts.transport = makeTransport(settings.url, parts.problem);
    if (!parts.transport)
        return parts;
    if (settings.trace)
        parts.transport = std::make_unique<TracedTransport>(std::move(parts.transport), settings.trace);
    parts.fault = Fault::Driver;
    parts.driver = LoadedDriver::load(settings.driver, parts.problem);
    if (parts.driver)
        parts.fault = Fault::None;
    return parts;
}

PlcLink::PlcLink(const LinkSettings &settings, Parts parts)
    : m_settings(settings), m_parts(std::move(parts)), m_problem(m_parts.problem)
{
    if (m_parts.fault != Fault::None)
        return;
    m_engine = std::make_unique<Engine>(*m_parts.clock, *m_parts.transport, *m_parts.driver, m_settings,
                                        QRandomGenerator::global()->generate64());
    m_thread = std::make_unique<LinkThread>(*m_parts.clock, *m_parts.transport, *m_engine,
                                            [this](Events &events) { m_mailbox.put(events); });
}

PlcLink::~PlcLink()
{
    stop();
}

QString PlcLink::problem() const
{
    const std::lock_guard held(m_problemMutex);
    return m_problem;
}

bool PlcLink::start()
{
    const std::lock_guard life(m_lifeMutex);
    if (!m_thread)
        return false;
    if (m_mailbox.link().state == LinkState::Stopped)
        m_mailbox.setLink(LinkState::Resolving); // waitForLink may be called before the thread says so
    QString problem;
    const bool started = m_thread->start(problem);
    if (!started)
        m_mailbox.setLink(LinkState::Stopped);
    const std::lock_guard held(m_problemMutex);
    m_problem = problem;
    return started;
}

void PlcLink::stop()
{
    const std::lock_guard life(m_lifeMutex);
    if (!m_thread)
        return;
    m_thread->stop();
    m_mailbox.setLink(LinkState::Stopped);
}

bool PlcLink::post(LinkThread::Command command)
{
    return m_thread && m_thread->post(std::move(command));
}

void PlcLink::call(const LinkThread::Command &command)
{
    if (m_thread)
        m_thread->call(command);
}

std::optional<EngineTag> PlcLink::engineTagOf(Tag tag) const
{
    return look([tag](const Engine &engine) { return engine.tag(tag); });
}

} // namespace kvlink
