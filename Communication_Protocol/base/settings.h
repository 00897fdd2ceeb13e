// SPDX-License-Identifier: MIT
// What the exchange thread and the screen threads use at the same time without a lock: the words of
// the host's settings block, and two members of the driver object. Each access is atomic and
// relaxed: the words are independent of each other. Where several values must agree, the mutexes of
// PLC_driver guard them.
#pragma once

#include "Communication_Protocol.h"

#include <atomic>

template <typename Value>
Value loadShared(Value &shared)
{
    return std::atomic_ref<Value>(shared).load(std::memory_order_relaxed);
}

template <typename Value>
void storeShared(Value &shared, Value value)
{
    std::atomic_ref<Value>(shared).store(value, std::memory_order_relaxed);
}

/// A word of the settings block; 0 while no block is set. Example: setting(&ComInfo::multiStation).
inline int setting(int ComInfo::*word)
{
    ComInfo *block = PLC_driver.comInfo;
    return block == nullptr ? 0 : loadShared(block->*word);
}

/// Writes a word of the settings block; nothing while no block is set.
inline void setSetting(int ComInfo::*word, int value)
{
    ComInfo *block = PLC_driver.comInfo;
    if (block != nullptr)
        storeShared(block->*word, value);
}

/// The station that a variable uses: its own, or the default one in a host with a single PLC.
inline int stationInUse(int station)
{
    return setting(&ComInfo::multiStation) == 0 ? setting(&ComInfo::defaultStation) : station;
}

/// maxBlockLength, at least 1: cutting into blocks of no units would never end.
inline int blockLength()
{
    return qMax(1, setting(&ComInfo::maxBlockLength));
}
