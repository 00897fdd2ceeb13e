// SPDX-License-Identifier: MIT
// From what screens count in to what frames and read blocks count in.
#include "addresses/area_table.h"
#include "base/debug_line.h"
#include "Communication_Protocol.h"

namespace
{
// 16-bit words that the bits span; the first bit may lie anywhere in its word.
int wordsOfBits(int address, int count)
{
    return int((address % bitsPerWord + qint64(count) + bitsPerWord - 1) / bitsPerWord);
}

// Double words that hold this many 16-bit registers.
int dwordsOfRegisters(int count)
{
    return int((qint64(count) + 1) / 2);
}
} // namespace

int updateRwVar(RW_VAR *var)
{
    if (var == nullptr)
        return 0;
    const Area *area = findArea(var->area);
    if (area == nullptr) {
        debugLine("updateRwVar default", var->area, var->address, var->count);
        return 0;
    }
    var->area = area->readKey;
    switch (area->element) {
    case Element::Relay:
    case Element::WordBit:
        var->count = wordsOfBits(var->address, var->count);
        var->address /= bitsPerWord;
        break;
    case Element::Contact:
    case Element::DWord:
        var->count = dwordsOfRegisters(var->count);
        break;
    case Element::Word:
        break;
    }
    return 0;
}
