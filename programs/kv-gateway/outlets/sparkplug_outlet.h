// SPDX-License-Identifier: MIT
// Values to an MQTT broker as Sparkplug B 3.0, and commands from it: the gateway is the edge node,
// each PLC a device.
//
// Sparkplug asks for QoS 0, which nobody acknowledges. So a receipt is asked for after each batch:
// once it comes the broker has read all before, and the rows are done.
#pragma once

#include "birth_count.h"
#include "command_sinks.h"
#include "sparkplug_session.h"

#include <memory>
#include <mutex>

namespace kvgateway
{

class SparkplugOutlet : public Outlet, private MqttClientEvents
{
public:
    static constexpr std::size_t window = 5000; ///< most rows without a receipt
    /// Without any receipt for so long the connection is given up.
    static constexpr kvlink::Duration longestSilence = std::chrono::seconds(20);

    /// \param countPath of the file that counts the connections
    /// \param clock outlives the outlet
    SparkplugOutlet(const SparkplugConfig &config, const QString &countPath,
                    std::shared_ptr<MqttClient> client, const Clock &clock, CommandSink commands,
                    RefusalSink refusals);

    void start(OutletEvents &events) override;
    void stop() override;
    std::size_t offer(const std::vector<OutletRow> &rows, OfferKind kind) override;
    void note(OutletRow &row) override;
    void tick() override;
    OutletState state() const override;

    void setTags(const std::vector<TagConfig> &tags) override;
    void setLink(const QString &plc, bool isReady) override;
    void removeLink(const QString &plc) override;

private:
    MqttMessage will() override;
    void unheard() override;
    void connected(bool hasSession) override;
    void disconnected(const QString &problem) override;
    void subscribed(const QByteArray &filter, const QString &problem) override;
    void acknowledged(quint64 token) override;
    void refused(quint64 token, const QString &why) override;
    void received(const MqttReceived &message) override;

    struct Open {
        std::vector<quint64> seqs;
        kvlink::SteadyTime since{};
    };
    std::size_t room(OfferKind kind) const;
    void askReceipt(std::vector<quint64> seqs);
    void send();
    void followBirth();
    void takeHostState(const QByteArray &payload);
    void order(const SparkplugWrite &write, const MqttReceived &message);
    void refuse(const SparkplugRefusal &refusal);
    void writeEnded(const WriteReport &report);

    const SparkplugConfig m_config;
    const std::shared_ptr<MqttClient> m_client;
    const Clock &m_clock;
    const CommandSink m_commands;
    const RefusalSink m_refusals;
    OutletEvents *m_events = nullptr;
    /// Writes end in the thread in which the outlet goes: it may be gone by then.
    const std::shared_ptr<SparkplugOutlet *> m_self;

    mutable std::mutex m_mutex;
    SparkplugSession m_session;
    BirthCount m_count;
    OutletState m_state;
    quint64 m_sessions = 0;
    quint64 m_lastToken = 0;
    std::map<quint64, Open> m_open; ///< receipts that are asked for, by token
    std::size_t m_openRows = 0;
    std::map<QByteArray, QString> m_refusedFilters; ///< why the broker refuses a subscription
};

} // namespace kvgateway
