// SPDX-License-Identifier: MIT
// What an outlet wants from an MQTT client. Tests have one of their own.
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>
#include <vector>

namespace kvgateway
{

struct MqttMessage {
    QByteArray topic;
    QByteArray payload;
    bool isRetained = false;
    quint64 token = 0;      ///< comes back with the acknowledgement; 0: nobody waits for it
    QByteArray correlation; ///< MQTT 5 only
};

struct MqttReceived {
    QByteArray topic;
    QByteArray payload;
    bool isRetained = false;
    QByteArray correlation;        ///< MQTT 5
    std::optional<quint32> expiry; ///< MQTT 5: seconds that are left
};

/// In the client's thread; nothing here blocks.
class MqttClientEvents
{
public:
    virtual ~MqttClientEvents() = default;

    /// The broker accepted us. \param hasSession it knows us from before, with what it retained
    virtual void connected(bool hasSession) = 0;
    /// Nothing that was published and not acknowledged will be. Comes after each
    /// failed attempt too.
    virtual void disconnected(const QString &problem) = 0;
    /// \param problem why the broker refused the subscription; empty: it did not
    virtual void subscribed(const QByteArray &filter, const QString &problem) = 0;
    virtual void acknowledged(quint64 token) = 0;
    virtual void refused(quint64 token, const QString &why) = 0;
    virtual void received(const MqttReceived &message) = 0;
};

/// Connects, and connects again, by itself.
class MqttClient
{
public:
    virtual ~MqttClient() = default;

    /// \param events outlives the client, or stop() was called
    virtual void start(MqttClientEvents &events) = 0;
    /// Publishes \a goodbye, if there is a connection, and ends it. No event comes after it.
    /// Within a second.
    virtual void stop(const MqttMessage &goodbye) = 0;
    /// With QoS 1, in this order. Any thread; never blocks. Without a connection they vanish.
    virtual void publish(std::vector<MqttMessage> messages) = 0;
    /// In MqttClientEvents::connected(). At most once: a command must not come twice.
    virtual void subscribe(const QByteArray &filter) = 0;
    /// Drops a connection that does not answer, and connects again. Any thread.
    virtual void reconnect(const QString &why) = 0;
};

} // namespace kvgateway
