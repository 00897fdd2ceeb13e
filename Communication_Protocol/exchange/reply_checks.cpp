// SPDX-License-Identifier: MIT
// Reply checks: is this an answer to the frame in flight, and does it carry data?
//
// In:   the reply, and the head of frameQueue that it should answer.
// Out:  a driver return code; good data goes on to the decoder (replies/reply_decoder.cpp).
// Runs: on the exchange thread, with no lock held; local replies are decoded under storeMutex, the
//       pre-read of a bit write under listMutex too.
#include "base/held_lock.h"
#include "base/settings.h"
#include "Communication_Protocol.h"
#include "exchange/outcome.h"
#include "frames/frame_queue.h"

#include <optional>

namespace
{
constexpr int anyLength = -1; // Protocol::replyLength

// What CheckGetData says of a reply.
constexpr int replyError = 0;
constexpr int replyData = 1;
constexpr int replyAccepted = 2;

bool isErrorReply(const QByteArray &reply)
{
    return reply.size() == acknowledgementLength && (reply.startsWith('E') || reply.startsWith('e'));
}

bool isMissing(const Protocol &head, int length)
{
    return length == 0 && head.replyLength != 0;
}

bool isWrongLength(const Protocol &head, int length)
{
    return length != head.replyLength && head.replyLength != anyLength;
}

// A pre-read looks at the write that it serves, so writeList must not change meanwhile.
void decodeLocal(QByteArray *reply, bool preRead)
{
    std::optional<Held<QMutex>> lists;
    if (preRead)
        lists.emplace(PLC_driver.listMutex, Rank::Lists);
    const Held store(PLC_driver.storeMutex, Rank::Store);
    SaveToLocalDataErea(reply);
}
} // namespace

int Handshake_Check(QByteArray *reply)
{
    if (reply == nullptr)
        return 0;
    return reply->size() == acknowledgementLength && reply->startsWith("CC") ? 1 : 0;
}

int CheckGetData(QByteArray *reply, int /*length*/)
{
    if (reply == nullptr || PLC_driver.frameQueue.isEmpty())
        return replyError;
    if (reply->isEmpty() || isErrorReply(*reply))
        return replyError;
    if (reply->startsWith("OK"))
        return replyAccepted;
    switch (PLC_driver.frameQueue.first().var.accessMode) {
    case kvReplyHasData:
        return replyData;
    case kvReplyIsShort:
        return replyAccepted;
    default:
        return replyError;
    }
}

int DealDataOfLocalArea(QByteArray *reply, int length)
{
    if (reply == nullptr || PLC_driver.frameQueue.isEmpty())
        return 0;
    const Protocol &head = PLC_driver.frameQueue.first();
    if (isMissing(head, length))
        return GetDriverReturnValue(outcome::noReply);
    if (isWrongLength(head, length))
        return GetDriverReturnValue(outcome::wrongLength);
    const int check = CheckGetData(reply, length);
    if (check == replyError)
        return GetDriverReturnValue(outcome::errorReply);
    if (check == replyData)
        decodeLocal(reply, head.var.preReadMark == kvPreRead);
    return GetDriverReturnValue(outcome::success);
}

int DealDataOfRemoteArea(QByteArray *reply, int length)
{
    if (reply == nullptr || PLC_driver.frameQueue.isEmpty())
        return 0;
    const Protocol &head = PLC_driver.frameQueue.first();
    if (isMissing(head, length))
        return GetDriverReturnValue(outcome::remoteNoReply);
    if (isWrongLength(head, length))
        return GetDriverReturnValue(outcome::remoteWrongLength);
    if (CheckGetData(reply, length) == replyError)
        return GetDriverReturnValue(outcome::remoteErrorReply);
    if (head.var.preReadMark != kvPreRead)
        return GetDriverReturnValue(outcome::acceptedUndecoded);
    // On purpose: without storeMutex. A pre-read patches the queued write frame, not the store.
    const Held lists(PLC_driver.listMutex, Rank::Lists);
    SaveToLocalDataErea(reply);
    const bool lastFrame = setting(&ComInfo::framesDone) == 1;
    return GetDriverReturnValue(lastFrame ? outcome::acceptedUndecoded : outcome::success);
}
