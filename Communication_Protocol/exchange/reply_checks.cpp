// Reply checks: is this an answer to the frame in flight, and does it carry data?
//
// In:   the reply, and the head of frameQueue that it should answer.
// Out:  a driver return code; good data goes on to the decoder (replies/reply_decoder.cpp).
// Runs: on the exchange thread, with no lock held; local replies are decoded under storeMutex, the pre-read
// of a
//       bit write under listMutex too.
#include "base/held_lock.h"
#include "base/settings.h"
#include "Communication_Protocol.h"
#include "exchange/outcome.h"

#include <optional>

namespace
{
// What CheckGetData says of a reply.
constexpr int replyError = 0;
constexpr int replyData = 1;
constexpr int replyAccepted = 2;

constexpr int shortReplyLength = 4; // "OK", "CC", "E1" with their line end

bool isErrorReply(const QByteArray &reply)
{
    return reply.size() == shortReplyLength && (reply.startsWith('E') || reply.startsWith('e'));
}

bool isMissing(const Protocol &head, int length)
{
    return length == 0 && head.replyLength != 0;
}

bool isWrongLength(const Protocol &head, int length)
{
    return length != head.replyLength && head.replyLength != -1;
}

/// A pre-read looks at the write that it serves: writeList must stand still meanwhile.
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
    return reply->size() == shortReplyLength && reply->startsWith("CC") ? 1 : 0;
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
    case 0:
        return replyData;
    case 1:
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
        return GetDriverReturnValue(Outcome::NoReply);
    if (isWrongLength(head, length))
        return GetDriverReturnValue(Outcome::WrongLength);
    const int check = CheckGetData(reply, length);
    if (check == replyError)
        return GetDriverReturnValue(Outcome::ErrorReply);
    if (check == replyData)
        decodeLocal(reply, head.var.preReadMark == -1);
    return GetDriverReturnValue(Outcome::Success);
}

int DealDataOfRemoteArea(QByteArray *reply, int length)
{
    if (reply == nullptr || PLC_driver.frameQueue.isEmpty())
        return 0;
    const Protocol &head = PLC_driver.frameQueue.first();
    if (isMissing(head, length))
        return GetDriverReturnValue(Outcome::RemoteNoReply);
    if (isWrongLength(head, length))
        return GetDriverReturnValue(Outcome::RemoteWrongLength);
    if (CheckGetData(reply, length) == replyError)
        return GetDriverReturnValue(Outcome::RemoteErrorReply);
    if (head.var.preReadMark != -1)
        return GetDriverReturnValue(Outcome::AcceptedUndecoded);
    // On purpose: without storeMutex; a pre-read patches the queued write frame and leaves the store alone.
    const Held lists(PLC_driver.listMutex, Rank::Lists);
    SaveToLocalDataErea(reply);
    const bool lastFrame = setting(&ComInfo::framesDone) == 1;
    return GetDriverReturnValue(lastFrame ? Outcome::AcceptedUndecoded : Outcome::Success);
}
