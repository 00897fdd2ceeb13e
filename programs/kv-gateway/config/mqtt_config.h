// SPDX-License-Identifier: MIT
// An MQTT broker that gets the values: one [[mqtt]] of the configuration.
#pragma once

#include "broker_config.h"

#include <QStringList>

namespace kvgateway
{

enum class MqttLayout : quint8 {
    Tag,   ///< a message for each value
    Group, ///< a message for the values of a group that change together
};

struct MqttConfig : BrokerConfig {
    QString name = QStringLiteral("mqtt"); ///< also of its file in the data folder
    QString site;                          ///< {site} in topics
    MqttLayout layout = MqttLayout::Tag;
    QString topic;       ///< of live values: "kv/{site}/{plc}/{tag}"
    QString storedTopic; ///< of values that come late: "kv/{site}/{plc}/{tag}/stored"
    QString statusTopic = QStringLiteral("kv/{site}/_status"); ///< "online"; with "/PLC" of a PLC
    bool retain = true;                                 ///< the broker keeps the newest value of each tag
    QStringList tags;                                   ///< names and patterns; empty: all
    bool commands = false;                              ///< TOPIC/set writes
    int drainRate = 2000;                               ///< stored rows a second
    kvlink::Duration keep = std::chrono::hours(7 * 24); ///< of a stored row; 0: forever
    qint64 size = 1'000'000'000;                        ///< of the file in the data folder; 0: no limit
    QString homeAssistant;                              ///< first level of discovery messages; empty: none

    bool operator==(const MqttConfig &other) const = default;
};

} // namespace kvgateway
