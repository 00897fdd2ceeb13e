// What can become of a reply, as GetDriverReturnValue numbers it.
#pragma once

namespace Outcome
{
constexpr int Success = 0;
constexpr int ErrorReply = 1;
constexpr int NoReply = 2;
constexpr int WrongLength = 3;
constexpr int AcceptedUndecoded = 4;
constexpr int RemoteErrorReply = 5;
constexpr int RemoteNoReply = 6;
constexpr int RemoteWrongLength = 7;
} // namespace Outcome
