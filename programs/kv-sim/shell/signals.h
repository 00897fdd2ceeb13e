// SPDX-License-Identifier: MIT
// SIGINT, SIGTERM and SIGHUP as events of the main loop.
#pragma once

#include <functional>

namespace kvsim
{

/// Calls the function from the event loop, once for each signal. Also keeps SIGPIPE and SIGXFSZ
/// from ending the program.
void onEndSignals(std::function<void()> end);

} // namespace kvsim
