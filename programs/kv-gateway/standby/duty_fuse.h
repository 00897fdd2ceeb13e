// SPDX-License-Identifier: MIT
// Ends this process at a time, whatever it does then: it may be stopped, hang, or wait for a disk.
// A gateway that cannot stop its links must not go on writing when another one has begun.
#pragma once

#include <kvlink/times.h>

#include "store/clock.h"

#include <ctime>

namespace kvgateway
{

/// Goes on while the machine sleeps.
class BootClock : public MachineClock
{
public:
    kvlink::SteadyTime steady() const override;
};

class DutyFuse
{
public:
    virtual ~DutyFuse() = default;

    /// \param when by BootClock; takes the place of what was said before
    virtual void arm(kvlink::SteadyTime when) = 0;
    virtual void disarm() = 0;
};

/// A timer of the kernel that sends SIGKILL, which ends a stopped process as well.
class KillFuse : public DutyFuse
{
public:
    KillFuse();
    ~KillFuse() override;
    KillFuse(const KillFuse &) = delete;
    KillFuse &operator=(const KillFuse &) = delete;

    /// \return false: the kernel gives no timer
    bool isThere() const { return m_isThere; }
    void arm(kvlink::SteadyTime when) override;
    void disarm() override;

private:
    timer_t m_timer{};
    bool m_isThere = false;
};

} // namespace kvgateway
