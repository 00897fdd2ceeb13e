#include "waiter.h"

#include <algorithm>

namespace kvhost
{

Waiter::Waiter()
{
    m_timer.setTimerType(Qt::PreciseTimer);
    m_timer.setSingleShot(true);
    QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { m_woken = true; });
}

void Waiter::until(Time deadline)
{
    if (!m_woken) {
        const auto left = std::chrono::ceil<Ms>(deadline - Clock::now()).count();
        m_timer.start(int(std::clamp<long long>(left, 0, 60'000)));
        // On purpose not exec(): to leave it after a time-out, Qt writes to an eventfd and reads it at the next wait, which
        // makes five calls of the system out of one.
        while (!m_woken)
            m_loop.processEvents(QEventLoop::WaitForMoreEvents);
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

// On purpose the event loop is woken even if the call comes out of it: it goes to sleep after posted events, whatever
// they have done.
void Waiter::wake()
{
    m_woken = true;
    m_loop.wakeUp();
}

} // namespace kvhost
