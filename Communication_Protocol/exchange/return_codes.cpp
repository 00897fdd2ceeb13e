// Driver return codes: one integer tells the host what went wrong and whose variable it was. Each kind of
// failure owns a band of twelve codes, one for each kind of host object.
#include "Communication_Protocol.h"
#include "exchange/outcome.h"

int GetDriverReturnValue(int kind)
{
    switch (kind) {
    case Outcome::Success:
        return 1;
    case Outcome::ErrorReply:
        return SwitchErrorReturn(10);
    case Outcome::NoReply:
        return SwitchErrorReturn(40);
    case Outcome::WrongLength:
        return SwitchErrorReturn(70);
    case Outcome::AcceptedUndecoded:
        return 100;
    case Outcome::RemoteErrorReply:
        return SwitchErrorReturn(110);
    case Outcome::RemoteNoReply:
        return SwitchErrorReturn(140);
    case Outcome::RemoteWrongLength:
        return SwitchErrorReturn(170);
    default:
        return 200;
    }
}

int SwitchErrorReturn(int base)
{
    const int ownerType = PLC_driver.frameQueue.isEmpty() ? 0 : PLC_driver.frameQueue.first().var.ownerType;
    const bool ownCode = ownerType >= 0 && ownerType <= 11;
    return base + 1 + (ownCode ? ownerType : 0);
}
