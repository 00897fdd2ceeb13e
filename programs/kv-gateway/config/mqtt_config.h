// SPDX-License-Identifier: MIT
// An MQTT broker that gets the values: one [[mqtt]] of the configuration.
#pragma once

#include <kvlink/times.h>

#include <QString>
#include <QStringList>

namespace kvgateway
{

enum class MqttVersion : quint8 { V311, V5 };

enum class MqttLayout : quint8 {
    Tag,   ///< a message for each value
    Group, ///< a message for the values of a group that change together
};

struct MqttConfig {
    QString name = QStringLiteral("mqtt"); ///< also of its file in the data folder
    QString host;
    quint16 port = 0;
    bool hasTls = false;
    MqttVersion version = MqttVersion::V5;
    QString client;       ///< id at the broker; no other client may have it
    QString site;         ///< {site} in topics
    QString userFile;     ///< absolute path; its first line is the user. Empty: none
    QString passwordFile; ///< the same
    QString ca;           ///< PEM: who signed the broker's certificate
    QString certificate;  ///< PEM: our own; empty: none
    QString key;
    kvlink::Duration keepalive = std::chrono::seconds(15);
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
