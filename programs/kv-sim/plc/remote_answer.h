// SPDX-License-Identifier: MIT
// Remote-area requests carried out on the memory of a PLC.
#pragma once

#include "plc/plc.h"
#include "requests/remote_request.h"

#include <string>

namespace kvsim
{

/// The answer without CR LF.
std::string answerRemote(Plc &plc, const RemoteRequest &request);

} // namespace kvsim
