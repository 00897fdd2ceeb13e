// SPDX-License-Identifier: MIT
// What a host asks of an edge node: writes, or all births once more.
#pragma once

#include "mqtt_client.h"
#include "sparkplug_devices.h"

namespace kvgateway
{

/// A value that a host wants in the PLC. Its type fits the tag; access and limits are
/// not looked at.
struct SparkplugWrite {
    QString tag; ///< "line1.speed"
    kvlink::Value value;
};

/// What a host asked for and does not get.
struct SparkplugRefusal {
    QString tag; ///< "line1.speed"; of an unknown metric what the host called it
    QString why;
};

struct SparkplugOrders {
    bool wantsRebirth = false;
    std::vector<SparkplugWrite> writes;
    std::vector<SparkplugRefusal> refusals;
};

/// Name of the metric by which a host asks for all births once more.
constexpr char rebirthMetric[] = "Node Control/Rebirth";

/// \param plc whose metrics it is for; empty: for those of the node itself
SparkplugOrders readSparkplugCommand(const MqttReceived &message, const QString &plc,
                                     const SparkplugDevices &devices);

} // namespace kvgateway
