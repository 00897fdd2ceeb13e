// SPDX-License-Identifier: MIT
// The one way in which the driver takes a mutex. Take locks only downwards and inwards:
//
//   listMutex                the three lists, turn counters, currentVar.result; host callbacks
//     stationMutex           the switched-off stations
//     storeMutex             DataStorage, as screens and replies see it
//       storageControlMutex  the growing of one image
//         storeInnerLock     every touch of DataStorage; nothing is called under it
//
// Builds with assertions check the order on each thread. A lock taken out of order, or twice, is a
// deadlock waiting to happen: it ends the program with a line that names both ranks.
#pragma once

#include <cstdio>
#include <cstdlib>

enum class Rank { Lists = 1, Stations, Store, StoreGrowth, StoreInner };

#ifndef NDEBUG
class LockOrder
{
public:
    static void enter(Rank rank)
    {
        const unsigned bit = 1U << unsigned(rank);
        if (heldRanks >= bit) {
            (void)std::fprintf(stderr, "lock order: rank %d wanted while ranks %#x are held\n", int(rank),
                               heldRanks);
            std::abort();
        }
        heldRanks |= bit;
    }
    static void leave(Rank rank) { heldRanks &= ~(1U << unsigned(rank)); }

private:
    static inline thread_local unsigned heldRanks = 0;
};
#else
class LockOrder
{
public:
    static void enter(Rank) {}
    static void leave(Rank) {}
};
#endif

/// Holds a mutex (QMutex or std::mutex) for the life of the object.
template <typename Mutex>
class Held
{
public:
    Held(Mutex &mutex, Rank rank) : m_mutex(mutex), m_rank(rank)
    {
        LockOrder::enter(m_rank);
        m_mutex.lock();
    }
    ~Held()
    {
        m_mutex.unlock();
        LockOrder::leave(m_rank);
    }
    Held(const Held &) = delete;
    Held &operator=(const Held &) = delete;

private:
    Mutex &m_mutex;
    const Rank m_rank;
};
