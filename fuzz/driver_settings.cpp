// SPDX-License-Identifier: MIT
// Any settings block: every word may hold any number from the start and change to any other in
// the middle of a session. The driver behaves as the plain model does, and touches nothing
// beyond the block.
#include "session.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    Session(input, Settings::Any).play();
    return 0;
}
