// SPDX-License-Identifier: MIT
// Asks for the lock again and again, in a thread of its own, and says when a gateway is to begin
// and when to leave.
#pragma once

#include "duty.h"
#include "duty_fuse.h"
#include "duty_lock.h"

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

namespace kvgateway
{

/// Called in the keeper's thread; they must not wait for what they ask for.
struct DutySinks {
    std::function<void()> begin; ///< read and write the PLCs
    std::function<void()> leave; ///< stop that at once, then call DutyKeeper::left()
    std::function<void(const DutyStatus &)> changed;
};

class DutyKeeper
{
public:
    /// \param clock that of the fuse; both outlive the keeper
    DutyKeeper(std::unique_ptr<DutyLock> lock, const Clock &clock, DutyFuse &fuse, DutySinks sinks,
               DutyTiming timing = {});
    ~DutyKeeper(); ///< stops
    DutyKeeper(const DutyKeeper &) = delete;
    DutyKeeper &operator=(const DutyKeeper &) = delete;

    void start();
    /// Gives the lock back. Only when nothing reads and writes any more: the fuse is out then.
    void stop();
    /// Any thread: what sinks.leave() asked for is done.
    void left();
    /// Any thread.
    DutyStatus status() const;

    /// One question and what follows from it. The thread does it again and again.
    /// \return how long to wait until the next one
    kvlink::Duration turn();

private:
    void run();
    Duty::Order decide(LockAnswer answer, kvlink::SteadyTime asked);
    void tell(const QString &text);

    const std::unique_ptr<DutyLock> m_lock;
    const Clock &m_clock;
    DutyFuse &m_fuse;
    const DutySinks m_sinks;
    const DutyTiming m_timing;
    Duty m_duty;
    std::thread m_thread;

    mutable std::mutex m_mutex;
    std::condition_variable m_wake;
    DutyStatus m_status{DutyState::Unreachable, {}, QStringLiteral("it was not asked yet")};
    bool m_hasLeft = false;
    bool m_isEnding = false;
};

} // namespace kvgateway
