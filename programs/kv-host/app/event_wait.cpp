// SPDX-License-Identifier: MIT
#include "event_wait.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QTimer>

#include <algorithm>

namespace kvhost
{

namespace
{

constexpr std::chrono::milliseconds longestTimer{24 * 3600 * 1000};

} // namespace

// What comes while the events before it are handled is handled in the same call, which then goes to
// sleep all the same: so the question is asked again whenever it is about to.
bool EventWait::until(const std::function<bool()> &done, kvlink::SteadyTime limit)
{
    QTimer timer;
    timer.setSingleShot(true);
    timer.setTimerType(Qt::PreciseTimer);
    QAbstractEventDispatcher *dispatcher = QAbstractEventDispatcher::instance();
    const auto asking =
        QObject::connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, dispatcher, [&] {
            if (m_signal != 0 || done())
                dispatcher->interrupt();
        });
    bool isDone = done();
    while (!isDone && m_signal == 0) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(limit - steadyNow());
        if (left.count() <= 0)
            break;
        if (limit != kvlink::SteadyTime::max())
            timer.start(std::min(left, longestTimer));
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        isDone = done();
    }
    QObject::disconnect(asking);
    return isDone;
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
