// SPDX-License-Identifier: MIT
// Whole sessions: the bytes choose host calls and replies (opening of links, pre-reads, retries,
// give-up, purge, lists, stations switched off and on, remote mode), and after each step the driver
// shows what the plain model shows.
#include "session.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    Session(input, Settings::Sensible).play();
    return 0;
}
