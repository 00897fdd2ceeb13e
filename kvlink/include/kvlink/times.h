// SPDX-License-Identifier: MIT
// Times and durations, as kvlink uses them everywhere: microseconds, typed by the clock
// they come from.
#pragma once

#include <chrono>

namespace kvlink
{

using Duration = std::chrono::microseconds;

/// Time that only goes forward; for ages, deadlines and periods.
using SteadyTime = std::chrono::time_point<std::chrono::steady_clock, Duration>;

/// Time of day, UTC; for people and logs. It may jump.
using WallTime = std::chrono::time_point<std::chrono::system_clock, Duration>;

using namespace std::chrono_literals;

} // namespace kvlink
