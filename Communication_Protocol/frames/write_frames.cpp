// SPDX-License-Identifier: MIT
// Write frames: one pending write becomes a WRS, ST or RS command; a single bit of a word becomes
// two frames, a read of the word and a write of it.
//
// In:   a copy of the head of writeList; values low byte first.
// Out:  frames at the end of frameQueue; the values in the store, unless the last request failed.
// Runs: on the exchange thread, inside the scheduling pass; listMutex is held.
#include "addresses/area_table.h"
#include "base/debug_line.h"
#include "base/settings.h"
#include "Communication_Protocol.h"
#include "frames/command_text.h"
#include "frames/frame_queue.h"

namespace
{
// No PLC takes a command anywhere near this long; a count that asks for more is a host error.
constexpr qint64 longestFrame = 64LL * 1024 * 1024;

struct WriteCommand {
    QByteArray frame;
    int lastValue = 0;
};

quint32 byteAt(const QByteArray &data, qint64 index)
{
    return index < data.size() ? quint8(data.at(int(index))) : 0;
}

int wordAt(const QByteArray &data, qint64 element)
{
    return int(byteAt(data, 2 * element) | byteAt(data, 2 * element + 1) << 8);
}

int dwordAt(const QByteArray &data, qint64 element)
{
    const auto low = quint32(wordAt(data, 2 * element));
    const auto high = quint32(wordAt(data, 2 * element + 1));
    return int(low | high << 16);
}

// "ST R205\r", "RS R205\r"
QByteArray relayCommand(const Area &area, const RW_VAR &var)
{
    QByteArray command(byteAt(var.data, 0) == 0 ? "RS " : "ST ");
    if (area.write == Write::HexRelay)
        appendFormatted(command, area.relay, area.device, var.address);
    else
        appendFormatted(command, area.relay, area.device, var.address / bitsPerWord,
                        var.address % bitsPerWord);
    return command += '\r';
}

// "WRS DM200.U 2 04660 00001\r".
// On purpose: double words go out signed; one with its top bit set is a minus sign and nine digits.
WriteCommand valuesCommand(const Area &area, const RW_VAR &var)
{
    const bool words = area.write == Write::Words;
    WriteCommand command{"WRS ", 0};
    appendFormatted(command.frame, area.operand, area.device, var.address, var.count);
    for (int i = 0; i < var.count; ++i) {
        command.lastValue = words ? wordAt(var.data, i) : dwordAt(var.data, i);
        appendFormatted(command.frame, words ? " %05d" : " %010d", command.lastValue);
    }
    command.frame += '\r';
    return command;
}

bool hasValues(const Area &area, int count)
{
    const int width = replyWidth(area.write == Write::DWords ? Reply::DWords : Reply::Words);
    return (area.write == Write::Words || area.write == Write::DWords) &&
           qint64(count) * width <= longestFrame;
}

WriteCommand writeCommand(const RW_VAR &var)
{
    const Area *area = findArea(var.area);
    if (area != nullptr && area->relay != nullptr)
        return {relayCommand(*area, var), 0};
    if (area != nullptr && hasValues(*area, var.count))
        return valuesCommand(*area, var);
    debugLine("write default");
    return {}; // On purpose: an empty frame is queued
}

// Reads the word, then writes it with a placeholder that the reply to the read fills in
// (replies/bit_write.cpp). The two frames are next to each other in the queue, the read first.
void queueBitWrite(const RW_VAR &var)
{
    RW_VAR word = var;
    word.area = getPlcReg(var.area);
    word.address = var.address / bitsPerWord;
    word.count = 1;
    word.data = QByteArray(2, '\0');
    word.accessMode = kvReplyHasData;
    word.preReadMark = kvPreRead;
    ReadRegister(&word);

    word.accessMode = kvReplyIsShort;
    word.preReadMark = 0;
    WriteAnalog(&word);

    setSetting(&ComInfo::framesPerRequest, 2);
    setSetting(&ComInfo::framesDone, 0);
}

// A write that no command can express would stay at the head of the list forever.
void dropWrite(const RW_VAR &var)
{
    debugLine("WriteRegister default", var.station, var.area, var.address, var.count);
    if (!PLC_driver.writeList.isEmpty())
        PLC_driver.writeList.removeFirst(); // may be the very record just logged
}
} // namespace

void WriteAnalog(RW_VAR *var)
{
    if (var == nullptr)
        return;
    const WriteCommand command = writeCommand(*var);
    // On purpose: payloadLength holds the last value sent, not a length.
    queueFrame(command.frame, acknowledgementLength, command.lastValue, *var);
}

void WriteRegister(RW_VAR *var)
{
    if (var == nullptr || ControlCenter(var) == 0)
        return;
    const Area *area = findArea(var->area);
    if (area == nullptr || area->write == Write::Never) {
        dropWrite(*var);
        return;
    }
    if (area->write == Write::BitOfWord)
        queueBitWrite(*var);
    else
        WriteAnalog(var);
    if (loadShared(PLC_driver.lastFailed) == 0)
        WriteDataToLocal(var);
}
