// SPDX-License-Identifier: MIT
#include "event_wait.h"

#include <QCoreApplication>
#include <QTimer>

#include <algorithm>

namespace kvhost
{

namespace
{

constexpr std::chrono::milliseconds longestTimer{24 * 3600 * 1000};

} // namespace

bool EventWait::until(const std::function<bool()> &done, kvlink::SteadyTime limit)
{
    QTimer timer;
    timer.setSingleShot(true);
    timer.setTimerType(Qt::PreciseTimer);
    for (;;) {
        if (done())
            return true;
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(limit - steadyNow());
        if (m_signal != 0 || left.count() <= 0)
            return false;
        if (limit != kvlink::SteadyTime::max())
            timer.start(std::min(left, longestTimer));
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
}

bool EventWait::pause(kvlink::SteadyTime limit)
{
    until([] { return false; }, limit);
    return m_signal == 0;
}

kvlink::SteadyTime steadyNow()
{
    return std::chrono::time_point_cast<kvlink::Duration>(std::chrono::steady_clock::now());
}

void wakeMainThread()
{
    QMetaObject::invokeMethod(
        QCoreApplication::instance(), [] {}, Qt::QueuedConnection);
}

} // namespace kvhost
