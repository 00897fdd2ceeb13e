// SPDX-License-Identifier: MIT
// The second half of writing a single bit of a word: the word just read, with the bit changed, goes
// into the write frame that waits after the read.
//
// In:   the reply to the read; the head of writeList (the bit and its new value); the second queued
//       frame.
// Out:  the five digits before that frame's terminator. Nothing is stored.
// Runs: on the exchange thread; listMutex is held by the caller, for writeList.
#include "addresses/area_table.h"
#include "Communication_Protocol.h"
#include "replies/decimal_field.h"

namespace
{
constexpr int digits = 5;

// On purpose: the bit of a negative address, a remainder below 0, changes nothing.
int withBit(int word, int bit, bool on)
{
    const unsigned mask = bit >= 0 ? 1U << bit : 0U;
    const unsigned changed = on ? unsigned(word) | mask : unsigned(word) & ~mask;
    return int(changed & 0xFFFFU);
}

void overwritePlaceholder(QByteArray &frame, int word)
{
    if (frame.size() < digits + 1)
        return; // no write frame of ours is that short
    frame.replace(frame.size() - digits - 1, digits, QByteArray::number(word).rightJustified(digits, '0'));
}
} // namespace

void SpecialRegisterSave(QByteArray *reply)
{
    if (reply == nullptr || PLC_driver.writeList.isEmpty() || PLC_driver.frameQueue.size() < 2)
        return;
    const RW_VAR &wanted = PLC_driver.writeList.at(0);
    const bool on = !wanted.data.isEmpty() && wanted.data.at(0) != 0;
    const int word = decimalField(reply->constData(), int(qMin<qint64>(reply->size(), digits)));
    overwritePlaceholder(PLC_driver.frameQueue[1].frame,
                         withBit(word & 0xFFFF, wanted.address % bitsPerWord, on));
}
