// SPDX-License-Identifier: MIT
// Reply intake: what becomes of the request in flight.
//
// In:   a reply (or none) to the head of frameQueue.
// Out:  the head removed (good), kept to be sent again (failed), or the whole request given up; the
//       lists advanced, the host's callbacks called, currentVar filled.
// Runs: on the exchange thread. Decoding comes first and releases storeMutex before listMutex is
//       taken.
#include "base/held_lock.h"
#include "base/settings.h"
#include "Communication_Protocol.h"
#include "lists/turn_list.h"

#include <algorithm>
#include <limits>

namespace
{
quintptr finishedAs(int code)
{
    PLC_driver.currentVar.result = code;
    return reinterpret_cast<quintptr>(&PLC_driver.currentVar);
}

quintptr finishedLockedAs(int code)
{
    const Held lists(PLC_driver.listMutex, Rank::Lists);
    return finishedAs(code);
}

// The head frame can only be a handshake. The queue is emptied either way: the next pass of the
// scheduler builds the request itself.
quintptr takeHandshakeAnswer(int station, QByteArray *reply)
{
    const bool linked = Handshake_Check(reply) == 1;
    PLC_driver.frameQueue.clear();
    if (linked)
        handshake[station] = true;
    return finishedAs(linked ? kvGood : kvHandshakeRefused);
}

// A pass is complete when more local requests have finished than the read list has blocks.
// On purpose: writes and one-shot reads count too.
void countTowardsCycle()
{
    const Held lists(PLC_driver.listMutex, Rank::Lists);
    const int finished = loadShared(PLC_driver.readsThisCycle) + 1;
    const bool complete = finished > int(PLC_driver.readList.size());
    storeShared(PLC_driver.readsThisCycle, complete ? 0 : finished);
    if (complete)
        setSetting(&ComInfo::cycleDone, 1);
}

// A host may have left any number in its block, even the highest int.
qint64 oneMoreThan(int ComInfo::*word)
{
    return qint64(setting(word)) + 1;
}

// Takes the answered frame off the queue; true if it was the last one of its request.
bool advanceRequest()
{
    storeShared(PLC_driver.lastFailed, quint8(0));
    PLC_driver.frameQueue.removeFirst();
    const qint64 framesDone = oneMoreThan(&ComInfo::framesDone);
    setSetting(&ComInfo::framesDone, int(qMin<qint64>(framesDone, std::numeric_limits<int>::max())));
    return framesDone >= setting(&ComInfo::framesPerRequest);
}

// Counts a failed reply; true if the request is to be sent again.
bool countFailure()
{
    storeShared(PLC_driver.lastFailed, quint8(1));
    storeShared(PLC_driver.readsThisCycle, 0);
    setSetting(&ComInfo::cycleDone, 0);
    const qint64 retryCount = oneMoreThan(&ComInfo::retryCount);
    if (retryCount > setting(&ComInfo::maxRetries))
        return false; // giving up clears the count
    setSetting(&ComInfo::retryCount, int(retryCount));
    return true;
}

void giveUp(int station)
{
    setSetting(&ComInfo::retryCount, 0);
    PLC_driver.frameQueue.clear();
    handshake[station] = false;
}

bool sameRequester(const RW_VAR &one, const RW_VAR &other)
{
    return one.ownerType == other.ownerType && one.ownerId == other.ownerId;
}

// Calls the requester of the list's head: after a failure always, after success only when no other
// entry of the same requester is pending.
void notifyRequester(const QList<RW_VAR> &list, bool failed)
{
    if (list.isEmpty() || PLC_driver.notifyCallback == nullptr)
        return;
    const RW_VAR &head = list.first();
    const bool morePending = std::any_of(list.begin() + 1, list.end(),
                                         [&head](const RW_VAR &later) { return sameRequester(head, later); });
    if (!failed && morePending)
        return;
    PLC_driver.notifyCallback(setting(&ComInfo::callbackContext), head.ownerType, head.ownerId,
                              failed ? kvStatusFailed : kvStatusDone);
}

void takeHead(QList<RW_VAR> &list)
{
    if (list.isEmpty())
        return;
    passRetValue(list.first(), PLC_driver.currentVar);
    list.removeFirst();
}

void rotateHead(QList<RW_VAR> &list)
{
    if (list.isEmpty())
        return;
    passRetValue(list.first(), PLC_driver.currentVar);
    turnList(list, 1);
}

// Ends the request in the list that it came from. A remote one-shot read notifies nobody.
void finishRequest(bool remote, bool failed)
{
    switch (PLC_driver.opKind) {
    case kvWrite:
        notifyRequester(PLC_driver.writeList, failed);
        takeHead(PLC_driver.writeList);
        break;
    case kvOnceRead:
        if (!remote)
            notifyRequester(PLC_driver.onceReadList, failed);
        takeHead(PLC_driver.onceReadList);
        break;
    case kvCyclicRead:
        rotateHead(PLC_driver.readList);
        break;
    default:
        break;
    }
}

// Other pending requests of the same requester would fail the same way: they are dropped.
// On purpose: with multiStation 0 the requester's entries go whatever station they name.
void purgeRequester(QList<RW_VAR> &list)
{
    const bool matchStation = setting(&ComInfo::multiStation) != 0;
    const auto isDoomed = [matchStation](const RW_VAR &entry) {
        const RW_VAR &failed = PLC_driver.currentVar;
        return sameRequester(failed, entry) && (!matchStation || failed.station == entry.station);
    };
    list.erase(std::remove_if(list.begin(), list.end(), isDoomed), list.end());
}

void reportGivenUp()
{
    QList<RW_VAR> alwaysEmpty;
    if (PLC_driver.errorCallback != nullptr)
        PLC_driver.errorCallback(&alwaysEmpty, PLC_driver.currentVar.ownerType, 1);
    if (PLC_driver.opKind == kvWrite)
        purgeRequester(PLC_driver.writeList);
    else if (PLC_driver.opKind == kvOnceRead)
        purgeRequester(PLC_driver.onceReadList);
}
} // namespace

void passRetValue(const RW_VAR &from, RW_VAR &to)
{
    to = RW_VAR(from); // moved in from a copy, as in the merging of writes
    to.data.clear();
}

quintptr DataCom(QByteArray *reply, int length)
{
    if (reply == nullptr)
        return 0;
    if (PLC_driver.frameQueue.isEmpty())
        return finishedAs(kvGood);

    const int station = PLC_driver.frameQueue.first().var.station;
    const bool remote = PLC_driver.frameQueue.first().var.linkId != setting(&ComInfo::localLinkId);
    const bool linked = handshake[station];
    if (!linked && !remote)
        return takeHandshakeAnswer(station, reply);

    PLC_driver.currentVar.result = kvGood;
    const int code = remote ? DealDataOfRemoteArea(reply, length) : DealDataOfLocalArea(reply, length);
    const bool good = code == kvGood || code == kvGoodUndecoded;
    if (good) {
        if (!advanceRequest())
            return finishedLockedAs(code);
        if (!remote && setting(&ComInfo::cycleDone) == 0)
            countTowardsCycle();
    } else {
        if (countFailure())
            return finishedLockedAs(kvFailed);
        giveUp(station);
    }

    const Held lists(PLC_driver.listMutex, Rank::Lists);
    finishRequest(remote, !good);
    if (!good)
        reportGivenUp();
    return finishedAs(code);
}
