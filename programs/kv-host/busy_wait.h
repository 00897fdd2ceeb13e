// Whether the wait for an answer begins with looking again and again, before the thread goes to sleep.
//
// A PLC simulated on the same machine, or a gateway beside it, answers sooner than a sleeping thread is woken. It is
// worth the processor only where requests follow each other without a pause and answers come that fast; a PLC behind a
// network never does. Pure: time is handed in.
#pragma once

#include "clock.h"

namespace kvhost
{

class BusyWait
{
public:
    static constexpr std::chrono::microseconds LONGEST{100};

    /// How long to look busily in a wait that begins now; 0: not at all.
    Clock::duration allowance(Time now) const;

    /// Bytes have come. \param busily the wait began with looking busily
    void answered(Time begin, Time now, bool busily);

private:
    static constexpr std::chrono::microseconds FAST{250};  // asleep and woken again included
    static constexpr std::chrono::microseconds PAUSE{500}; // since the answer before
    static constexpr int REST = 100;                       // waits after one that was busy in vain

    Time m_lastAnswer{};
    Clock::duration m_lastTook = FAST;
    int m_rest = 0;
};

} // namespace kvhost
