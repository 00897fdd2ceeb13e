// Time as kv-host counts it. Pure parts never ask for it: it is handed in.
#pragma once

#include <chrono>

namespace kvhost
{

using Clock = std::chrono::steady_clock;
using Time = Clock::time_point;
using Ms = std::chrono::milliseconds;

inline double inMs(Clock::duration span)
{
    return std::chrono::duration<double, std::milli>(span).count();
}

} // namespace kvhost
