// SPDX-License-Identifier: MIT
// The transport that a PLC's address calls for.
#pragma once

#include "transport/plc_url.h"
#include "transport/transport.h"

#include <memory>

namespace kvlink
{

std::unique_ptr<Transport> makeTransport(const PlcUrl &url);

/// The same from the text of a link's settings; null with a problem.
/// Example: makeTransport("tcp://192.168.0.10", problem).
std::unique_ptr<Transport> makeTransport(const QString &url, QString &problem);

} // namespace kvlink
