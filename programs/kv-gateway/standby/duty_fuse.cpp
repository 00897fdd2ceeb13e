// SPDX-License-Identifier: MIT
#include "duty_fuse.h"

#include <csignal>

namespace kvgateway
{

namespace
{

constexpr qint64 microsecondsOfSecond = 1'000'000;
constexpr qint64 nanosecondsOfMicrosecond = 1000;

} // namespace

kvlink::SteadyTime BootClock::steady() const
{
    timespec now{};
    ::clock_gettime(CLOCK_BOOTTIME, &now);
    return kvlink::SteadyTime(
        kvlink::Duration(qint64(now.tv_sec) * microsecondsOfSecond + now.tv_nsec / nanosecondsOfMicrosecond));
}

KillFuse::KillFuse()
{
    sigevent event{};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = SIGKILL;
    m_isThere = ::timer_create(CLOCK_BOOTTIME, &event, &m_timer) == 0;
}

KillFuse::~KillFuse()
{
    if (m_isThere)
        ::timer_delete(m_timer);
}

void KillFuse::arm(kvlink::SteadyTime when)
{
    const qint64 microseconds = when.time_since_epoch().count();
    itimerspec at{};
    at.it_value.tv_sec = time_t(microseconds / microsecondsOfSecond);
    at.it_value.tv_nsec = long(microseconds % microsecondsOfSecond * nanosecondsOfMicrosecond);
    ::timer_settime(m_timer, TIMER_ABSTIME, &at, nullptr);
}

void KillFuse::disarm()
{
    const itimerspec never{};
    ::timer_settime(m_timer, 0, &never, nullptr);
}

} // namespace kvgateway
