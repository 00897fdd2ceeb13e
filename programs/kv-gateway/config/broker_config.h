// SPDX-License-Identifier: MIT
// How an MQTT broker is reached: what [[mqtt]] and [[sparkplug]] have in common.
#pragma once

#include <kvlink/times.h>

#include <QString>

namespace kvgateway
{

enum class MqttVersion : quint8 { V311, V5 };

struct BrokerConfig {
    QString host;
    quint16 port = 0;
    bool hasTls = false;
    MqttVersion version = MqttVersion::V5;
    QString client;       ///< id at the broker; no other client may have it
    QString userFile;     ///< absolute path; its first line is the user. Empty: none
    QString passwordFile; ///< the same
    QString ca;           ///< PEM: who signed the broker's certificate
    QString certificate;  ///< PEM: our own; empty: none
    QString key;
    kvlink::Duration keepalive = std::chrono::seconds(15);

    bool operator==(const BrokerConfig &other) const = default;

    bool isBrokerOf(const BrokerConfig &other) const { return host == other.host && port == other.port; }
};

} // namespace kvgateway
