// SPDX-License-Identifier: MIT
// The MQTT client by libmosquitto, in a thread of its own.
//
// All calls of the library are made in that one thread, which polls the socket itself. So what the
// library's own thread brings along is not there: select() and its limit of 1,024 descriptors, a
// thread that ends without a word, a stop that waits for a connection attempt. Each connection has
// a library object of its own: nothing that was queued in an old one goes out in a new one.
#pragma once

#include "mqtt_client.h"

#include "config/broker_config.h"

#include <memory>
#include <thread>

namespace kvgateway
{

struct MosquittoOptions {
    /// The broker forgets us with the end of a connection: it keeps no command for us to deliver
    /// hours later. Otherwise that it knows us says that it still has what it retained.
    bool isClean = false;
    bool endsWithWill = false; ///< MQTT 5: the broker publishes the will after a goodbye, too
};

class MosquittoClient : public MqttClient
{
public:
    /// Longest wait between two attempts to connect; the first one is 1 s, then twice as long each.
    static constexpr std::chrono::milliseconds longestBackOff = std::chrono::seconds(30);

    MosquittoClient(const BrokerConfig &config, MosquittoOptions options);
    ~MosquittoClient() override;

    void start(MqttClientEvents &events) override;
    void stop(const MqttMessage &goodbye) override;
    void publish(std::vector<MqttMessage> messages) override;
    void subscribe(const QByteArray &filter, MqttQos qos) override;
    void reconnect(const QString &why) override;
    void leave(const QString &why, const MqttMessage &goodbye) override;

private:
    struct Shared;
    class Connection;
    static void run(const std::shared_ptr<Shared> &shared);

    std::shared_ptr<Shared> m_shared;
    std::thread m_thread;
};

} // namespace kvgateway
