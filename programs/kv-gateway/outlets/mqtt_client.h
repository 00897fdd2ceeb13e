// SPDX-License-Identifier: MIT
// What an outlet wants from an MQTT client. Tests have one of their own.
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>
#include <vector>

namespace kvgateway
{

enum class MqttQos : quint8 {
    AtMostOnce,  ///< 0: the broker says nothing
    AtLeastOnce, ///< 1: it acknowledges
};

struct MqttMessage {
    QByteArray topic;
    QByteArray payload;
    bool isRetained = false;
    quint64 token = 0;      ///< comes back with the acknowledgement; 0: nobody waits for it
    QByteArray correlation; ///< MQTT 5 only
    MqttQos qos = MqttQos::AtLeastOnce;
    /// No message, but the question whether the broker has read all before: acknowledged() says so.
    /// It is asked by giving up a subscription to the topic, which nobody may have.
    bool asksReceipt = false;
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

    /// Before each attempt to connect. \return what the broker publishes when we are gone
    /// without a word
    virtual MqttMessage will() = 0;
    /// That attempt ended before the broker heard of it.
    virtual void unheard() {}
    /// The broker accepted us. \param hasSession it knows us from before, with what it retained
    virtual void connected(bool hasSession) = 0;
    /// Nothing that was published and not acknowledged will be. Comes after each
    /// failed attempt too.
    virtual void disconnected(const QString &problem) = 0;
    /// \param problem why the broker refused the subscription; empty: it did not
    virtual void subscribed(const QByteArray &filter, const QString &problem) = 0;
    /// Of a message with QoS 1, or a receipt.
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
    /// In this order. Any thread; never blocks. Without a connection they vanish.
    virtual void publish(std::vector<MqttMessage> messages) = 0;
    /// In MqttClientEvents::connected(); goes out before what is published there. In a session that
    /// outlasts its connection AtLeastOnce brings a message twice.
    virtual void subscribe(const QByteArray &filter, MqttQos qos) = 0;
    /// Drops a connection that does not answer, and connects again. Any thread.
    virtual void reconnect(const QString &why) = 0;
    /// The same with a last message, which the broker is given a moment to acknowledge.
    virtual void leave(const QString &why, const MqttMessage &goodbye) = 0;
};

} // namespace kvgateway
