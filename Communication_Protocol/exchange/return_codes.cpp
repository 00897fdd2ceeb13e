// SPDX-License-Identifier: MIT
// Driver return codes: one integer says what went wrong and whose variable it was. Each kind of
// failure has a band of twelve codes, one for each kind of host object.
#include "Communication_Protocol.h"
#include "exchange/outcome.h"

namespace
{
constexpr int lastOwnCode = 11; // owner types above it share the code of owner type 0
} // namespace

int GetDriverReturnValue(int kind)
{
    switch (kind) {
    case outcome::success:
        return kvGood;
    case outcome::errorReply:
        return SwitchErrorReturn(10);
    case outcome::noReply:
        return SwitchErrorReturn(40);
    case outcome::wrongLength:
        return SwitchErrorReturn(70);
    case outcome::acceptedUndecoded:
        return kvGoodUndecoded;
    case outcome::remoteErrorReply:
        return SwitchErrorReturn(110);
    case outcome::remoteNoReply:
        return SwitchErrorReturn(140);
    case outcome::remoteWrongLength:
        return SwitchErrorReturn(170);
    default:
        return kvUnknownOutcome;
    }
}

int SwitchErrorReturn(int base)
{
    const int ownerType = PLC_driver.frameQueue.isEmpty() ? 0 : PLC_driver.frameQueue.first().var.ownerType;
    const bool ownCode = ownerType >= 0 && ownerType <= lastOwnCode;
    return base + 1 + (ownCode ? ownerType : 0);
}
