// SPDX-License-Identifier: MIT
// Read frames: one variable in store units becomes one RDS command.
//
// In:   area, address and count of the variable. The area is a read key already; others were
//       converted when the variable was registered.
// Out:  one frame at the end of frameQueue. The station is not in the command, but in the copy of
//       the record that travels along.
// Runs: on the exchange thread, inside the scheduling pass.
#include "addresses/area_table.h"
#include "base/debug_line.h"
#include "Communication_Protocol.h"
#include "frames/command_text.h"
#include "frames/frame_queue.h"
#include "frames/reply_length.h"

namespace
{
// "RDS DM100.U 3\r"
QByteArray readCommand(const Area &area, int address, int count)
{
    QByteArray command;
    command.reserve(32); // enough for most commands: one piece of heap
    command += "RDS ";
    appendFormatted(command, area.operand, area.device, address, count);
    return command += '\r';
}
} // namespace

void ReadRegister(RW_VAR *var)
{
    if (var != nullptr && ControlCenter(var) != 0)
        ReadAnalog(var);
}

void ReadAnalog(RW_VAR *var)
{
    if (var == nullptr)
        return;
    const Area *area = findArea(var->area);
    if (area == nullptr || !isReadable(*area)) {
        debugLine("read default", var->area);
        // On purpose: an empty frame is queued, so that the request ends like any other.
        queueFrame(QByteArray(), lineEndLength, 0, *var);
        return;
    }
    const int dataLength = replyDataLength(area->reply, var->count);
    queueFrame(readCommand(*area, var->address, var->count), dataLength + lineEndLength, dataLength, *var);
}
