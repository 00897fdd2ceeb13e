// SPDX-License-Identifier: MIT
#include "duty_keeper.h"

#include <utility>

namespace kvgateway
{

DutyKeeper::DutyKeeper(std::unique_ptr<DutyLock> lock, const Clock &clock, DutyFuse &fuse, DutySinks sinks,
                       DutyTiming timing)
    : m_lock(std::move(lock)), m_clock(clock), m_fuse(fuse), m_sinks(std::move(sinks)), m_timing(timing),
      m_duty(timing)
{
}

DutyKeeper::~DutyKeeper()
{
    stop();
}

void DutyKeeper::start()
{
    m_thread = std::thread([this] { run(); });
}

void DutyKeeper::stop()
{
    if (!m_thread.joinable())
        return;
    {
        const std::lock_guard lock(m_mutex);
        m_isEnding = true;
        m_wake.notify_all();
    }
    m_lock->interrupt();
    m_thread.join();
    m_lock->close();
    m_fuse.disarm();
}

void DutyKeeper::left()
{
    const std::lock_guard lock(m_mutex);
    m_hasLeft = true;
    m_wake.notify_all();
}

DutyStatus DutyKeeper::status() const
{
    const std::lock_guard lock(m_mutex);
    return m_status;
}

void DutyKeeper::run()
{
    for (;;) {
        const kvlink::Duration pause = turn();
        std::unique_lock lock(m_mutex);
        m_wake.wait_for(lock, pause, [this] { return m_isEnding || m_hasLeft; });
        if (m_isEnding)
            return;
    }
}

kvlink::Duration DutyKeeper::turn()
{
    {
        const std::lock_guard lock(m_mutex);
        if (std::exchange(m_hasLeft, false)) {
            m_duty.left();
            m_fuse.disarm();
        }
    }
    if (m_duty.state() == DutyState::Leaves)
        return m_timing.every;
    QString text;
    const kvlink::SteadyTime asked = m_clock.steady();
    const LockAnswer answer = m_lock->ask(text);
    const Duty::Order order = decide(answer, asked);
    // Before anything begins, and again with each answer: from here on the kernel watches.
    if (const auto end = m_duty.end())
        m_fuse.arm(*end);
    // First the status: who stops sees why.
    tell(text);
    if (order == Duty::Order::Begin)
        m_sinks.begin();
    else if (order == Duty::Order::Leave)
        m_sinks.leave();
    return answer == LockAnswer::Lost ? m_timing.again : m_timing.every;
}

Duty::Order DutyKeeper::decide(LockAnswer answer, kvlink::SteadyTime asked)
{
    switch (answer) {
    case LockAnswer::Held:
        return m_duty.held(asked, m_clock.steady());
    case LockAnswer::Taken:
        return m_duty.taken();
    case LockAnswer::Lost:
        break;
    }
    return m_duty.lost();
}

void DutyKeeper::tell(const QString &text)
{
    DutyStatus now{m_duty.state(), {}, {}};
    if (now.state == DutyState::StandsBy)
        now.holder = text;
    else if (now.state == DutyState::Unreachable || now.state == DutyState::Leaves)
        now.problem = text;
    {
        const std::lock_guard lock(m_mutex);
        if (m_status == now)
            return;
        m_status = now;
    }
    m_sinks.changed(now);
}

} // namespace kvgateway
