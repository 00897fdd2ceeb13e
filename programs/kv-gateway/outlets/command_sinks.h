// SPDX-License-Identifier: MIT
// Where commands of a broker go.
#pragma once

#include "plant/write_order.h"

#include <functional>

namespace kvgateway
{

/// Any thread. Hands a write to the plant; \a end comes in the plant's thread.
using CommandSink = std::function<void(const WriteOrder &order, const WriteEnd &end)>;
/// Any thread. Says that a command was refused before it came to the plant.
using RefusalSink = std::function<void(const WriteOrder &order, const QString &why)>;

} // namespace kvgateway
