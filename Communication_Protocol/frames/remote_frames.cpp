// SPDX-License-Identifier: MIT
// Remote-area frames: variables beyond a remote link go out as short binary records with a sum.
//
// In:   any variable; nothing is checked, the far side does that.
// Out:  one frame at the end of frameQueue; the answer comes in the same text as from a PLC.
// Runs: on the exchange thread, inside the scheduling pass. No link handshake comes first.
#include "addresses/area_table.h"
#include "Communication_Protocol.h"
#include "frames/frame_queue.h"
#include "frames/reply_length.h"

#include <QtEndian>

namespace
{
template <typename Integer>
void appendBigEndian(QByteArray &frame, Integer value)
{
    char bytes[sizeof value];
    qToBigEndian<Integer>(value, reinterpret_cast<uchar *>(bytes));
    frame.append(bytes, sizeof bytes);
}

// Bytes 0 to 20. On purpose: byte 0 stays 0 in a read; a write puts its length there.
QByteArray requestHead(const RW_VAR &var)
{
    QByteArray frame;
    frame += '\0';
    frame += char(var.ownerType);
    frame += char(var.accessMode);
    frame += char(var.linkId);
    frame += char(var.station);
    appendBigEndian(frame, quint16(var.area));
    appendBigEndian(frame, quint32(var.address));
    appendBigEndian(frame, quint16(var.count));
    appendBigEndian(frame, quint32(var.preReadMark));
    appendBigEndian(frame, quint32(var.field13));
    return frame;
}

void appendChecksum(QByteArray &frame)
{
    const auto length = quint16(frame.size());
    frame += char(CalSUM(reinterpret_cast<const quint8 *>(frame.constData()), length));
}

// The far side answers a read in the layout of the area's own read request, or else in words.
Reply replyLayout(int code)
{
    const Area *area = findArea(code);
    return area != nullptr && isReadable(*area) ? area->reply : Reply::Words;
}
} // namespace

void Remote_ReadVar(RW_VAR *var)
{
    if (var == nullptr)
        return;
    QByteArray frame = requestHead(*var);
    appendChecksum(frame);
    const int dataLength = replyDataLength(replyLayout(var->area), var->count);
    queueFrame(frame, dataLength + lineEndLength, dataLength, *var);
}

void Remote_WriteVar(RW_VAR *var)
{
    if (var == nullptr)
        return;
    QByteArray frame = requestHead(*var) + var->data;
    frame[0] = char(frame.size() + 1);
    appendChecksum(frame);
    const int replyLength = var->station != 0 ? acknowledgementLength : 0; // station 0 answers no write
    queueFrame(frame, replyLength, 0, *var);
    WriteDataToLocal(var); // On purpose: even after a failed request, unlike a local write
}
