// SPDX-License-Identifier: MIT
// The event loop of the main thread, run until something is so, a time has come, or a signal asks
// the program to end.
#pragma once

#include <kvlink/times.h>

#include <functional>

namespace kvhost
{

class EventWait
{
public:
    /// Sleeps between events. \param done asked after each of them
    /// \return done(), at the latest at \a limit or after interrupt()
    bool until(const std::function<bool()> &done, kvlink::SteadyTime limit = kvlink::SteadyTime::max());
    /// Only waits. \return false if it was interrupted
    bool pause(kvlink::SteadyTime limit);

    void interrupt(int signal) { m_signal = signal; }
    /// Number of the signal; 0: none came.
    int interrupted() const { return m_signal; }

private:
    int m_signal = 0;
};

kvlink::SteadyTime steadyNow();

/// Lets the event loop of the main thread look again; from any thread.
void wakeMainThread();

} // namespace kvhost
