// SPDX-License-Identifier: MIT
// The link handshake: a station is opened with CR before its first command.
//
// Runs: on the exchange thread, inside the scheduling pass. The link flags belong to that thread:
//       no lock is needed.
#include "base/debug_line.h"
#include "Communication_Protocol.h"
#include "frames/frame_queue.h"

unsigned ControlCenter(RW_VAR *var)
{
    if (var == nullptr)
        return 0;
    if (!handshake.contains(var->station)) {
        debugLine("init handshake");
        handshake.insert(var->station, false);
    }
    if (handshake.value(var->station))
        return 1;
    debugLine("Handshake(RW_Var)");
    Handshake(var);
    return 0;
}

void Handshake(RW_VAR *var)
{
    if (var == nullptr)
        return;
    // On purpose: the opening alone ends in CR LF, all other commands in a lone CR.
    queueFrame("CR\r\n", acknowledgementLength, 0, *var);
}
