// Waiting on a thread that has Qt's sockets or timers: until woken or until a time, never longer.
#pragma once

#include "clock.h"

#include <QEventLoop>
#include <QTimer>

#include <atomic>

namespace kvhost
{

class Waiter
{
public:
    Waiter();

    /// Events of this thread are handled meanwhile. Returns at once if wake() was called since the last time.
    void until(Time deadline);

    /// For a thread that is too busy to wait: handles the events that have come, unless it has just been done.
    void handleEvents(Time now);

    /// From any thread.
    void wake();

private:
    static constexpr Ms HANDLED_EVERY{2};

    QEventLoop m_loop;
    QTimer m_timer;
    Time m_handled{};
    std::atomic<bool> m_woken{false};
};

} // namespace kvhost
