// SPDX-License-Identifier: MIT
// A write that came over MQTT: a value alone, or an object with what belongs to it.
//
//     1200
//     {"value":1200,"correlation":"order-7","time":"2026-05-04T08:15:02.113Z","expires":5}
#pragma once

#include "mqtt_client.h"

#include "plant/write_order.h"

namespace kvgateway
{

struct MqttCommand {
    WriteOrder order; ///< its correlation is never empty: one is made where none came
    QString problem;  ///< why it is refused, and what to do; empty: it goes to the PLC
};

/// \param tag the whole name. \param now for the age of the command
MqttCommand readCommand(const MqttReceived &message, const QString &tag, kvlink::WallTime now);

/// What goes to the answer topic:
/// {"correlation":"order-7","tag":"line1.speed","outcome":"done","text":"...","time":"..."}
QByteArray answerText(const WriteReport &report);

} // namespace kvgateway
