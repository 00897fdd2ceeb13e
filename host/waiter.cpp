#include "waiter.h"

#include <algorithm>

namespace kvhost
{

Waiter::Waiter()
{
    m_timer.setTimerType(Qt::PreciseTimer);
    m_timer.setSingleShot(true);
    QObject::connect(&m_timer, &QTimer::timeout, &m_context, [this] { wake(); });
}

void Waiter::until(Time deadline)
{
    if (!m_woken) {
        const auto left = std::chrono::ceil<Ms>(deadline - Clock::now()).count();
        m_timer.start(int(std::clamp<long long>(left, 0, 60'000)));
        m_loop.exec();
        m_timer.stop();
        m_handled = Clock::now();
    }
    m_woken = false;
}

void Waiter::handleEvents(Time now)
{
    if (now - m_handled < HANDLED_EVERY)
        return;
    m_handled = now;
    m_loop.processEvents();
}

void Waiter::wake()
{
    m_woken = true;
    if (m_loop.isRunning())
        m_loop.quit();
}

void Waiter::wakeFromOutside()
{
    QMetaObject::invokeMethod(
        &m_context, [this] { wake(); }, Qt::QueuedConnection);
}

} // namespace kvhost
