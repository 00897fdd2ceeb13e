// SPDX-License-Identifier: MIT
// The scheduler: what to send next.
//
// In:   the three variable lists, the switched-off stations.
// Out:  at most one request in frameQueue, built from a copy of a list's head; the entry stays in
//       its list until its reply is in (exchange/reply_intake.cpp).
// Runs: on the exchange thread; listMutex is held for the whole pass, the frame builders included.
#include "base/held_lock.h"
#include "base/settings.h"
#include "Communication_Protocol.h"
#include "exchange/stations.h"
#include "lists/turn_list.h"

namespace
{
constexpr int mostTurns = 5; // writes, or one-shot reads, in a row before a cyclic read

using Builder = void (*)(RW_VAR *);

quintptr headFrame()
{
    QList<Protocol> &queue = PLC_driver.frameQueue;
    return queue.isEmpty() ? 0 : reinterpret_cast<quintptr>(&queue.first());
}

// Entries of switched-off stations go to the end until a reachable one is at the head. If there is
// none, they have gone round once: the list stays as it is.
bool bringReachableToHead(QList<RW_VAR> &list)
{
    const int skipped = firstReachable(list);
    if (skipped == list.size())
        return false;
    turnList(list, skipped);
    return true;
}

// Has a request built for the head of the list; false if no station of the list is reachable.
bool offer(QList<RW_VAR> &list, int opKind, Builder local, Builder remote)
{
    PLC_driver.opKind = opKind;
    if (!bringReachableToHead(list))
        return false;
    RW_VAR head = list.first();
    const Builder build = setting(&ComInfo::remoteMode) == 0 ? local : remote;
    build(&head);
    return true;
}

bool offerWrite()
{
    if (PLC_driver.writeList.isEmpty() || PLC_driver.writeTurns >= mostTurns)
        return false;
    ++PLC_driver.writeTurns;
    return offer(PLC_driver.writeList, kvWrite, WriteRegister, Remote_WriteVar);
}

bool offerOnceRead()
{
    if (PLC_driver.onceReadList.isEmpty() || PLC_driver.onceReadTurns >= mostTurns)
        return false;
    ++PLC_driver.onceReadTurns;
    return offer(PLC_driver.onceReadList, kvOnceRead, ReadRegister, Remote_ReadVar);
}

void resetTurns()
{
    PLC_driver.writeTurns = 0;
    PLC_driver.onceReadTurns = 0;
}

bool offerCyclicRead()
{
    if (PLC_driver.readList.isEmpty())
        return false;
    resetTurns();
    return offer(PLC_driver.readList, kvCyclicRead, ReadRegister, Remote_ReadVar);
}

// On purpose: with writes still waiting but their five turns used up, and nothing to read, one pass
// stays idle. It gives the turns back and reports a complete cycle to the host.
void closeCycle()
{
    resetTurns();
    setSetting(&ComInfo::cycleDone, 1);
}
} // namespace

quintptr ComCommunication()
{
    if (!PLC_driver.frameQueue.isEmpty())
        return headFrame(); // a resend, or the next frame of the same request

    const Held lists(PLC_driver.listMutex, Rank::Lists);
    if (!offerWrite() && !offerOnceRead() && !offerCyclicRead())
        closeCycle();
    return headFrame();
}
