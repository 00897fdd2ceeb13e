// SPDX-License-Identifier: MIT
// What can become of a reply, as GetDriverReturnValue numbers it.
#pragma once

namespace outcome
{
constexpr int success = 0;
constexpr int errorReply = 1;
constexpr int noReply = 2;
constexpr int wrongLength = 3;
constexpr int acceptedUndecoded = 4;
constexpr int remoteErrorReply = 5;
constexpr int remoteNoReply = 6;
constexpr int remoteWrongLength = 7;
} // namespace outcome
