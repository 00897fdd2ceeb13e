// SPDX-License-Identifier: MIT
// Values to an MQTT broker as JSON, and commands from it.
//
//     kv/plant1/line1/speed          {"value":1480,"quality":"good","time":"...","seq":17}
//     kv/plant1/line1/speed/stored   the same, of values that come late; never retained
//     kv/plant1/line1/speed/set      1500
//     kv/plant1/line1/speed/set/answer   {"correlation":"...","outcome":"done",...}
//     kv/plant1/_status              online, or offline by the broker's will
//     kv/plant1/_status/line1        online or offline: the link to the PLC
#pragma once

#include "command_sinks.h"
#include "mqtt_client.h"
#include "mqtt_topics.h"
#include "outlet.h"

#include "store/clock.h"

#include <map>
#include <memory>
#include <mutex>
#include <set>

namespace kvgateway
{

class MqttOutlet : public Outlet, private MqttClientEvents
{
public:
    static constexpr std::size_t window = 1000; ///< most messages without acknowledgement
    /// Without any acknowledgement for so long, or without that of one message for so long, the
    /// connection is given up.
    static constexpr kvlink::Duration longestSilence = std::chrono::seconds(20);
    static constexpr kvlink::Duration longestAnswer = std::chrono::minutes(2);

    /// \param clock outlives the outlet
    MqttOutlet(const MqttConfig &config, std::shared_ptr<MqttClient> client, const Clock &clock,
               CommandSink commands, RefusalSink refusals);

    void start(OutletEvents &events) override;
    void stop() override;
    std::size_t offer(const std::vector<OutletRow> &rows, OfferKind kind) override;
    void tick() override;
    bool wantsNewest(const QString &tag) const override;
    OutletState state() const override;

    void setTags(const std::vector<TagConfig> &tags) override;
    void setLink(const QString &plc, bool isReady) override;
    void removeLink(const QString &plc) override;

    /// What the broker says when we are gone without a word.
    static MqttMessage will(const MqttConfig &config);

private:
    MqttMessage will() override { return will(m_config); }
    void connected(bool hasSession) override;
    void disconnected(const QString &problem) override;
    void subscribed(const QByteArray &filter, const QString &problem) override;
    void acknowledged(quint64 token) override;
    void refused(quint64 token, const QString &why) override;
    void received(const MqttReceived &message) override;

    struct Open {
        std::vector<quint64> seqs;
        kvlink::SteadyTime since{};
        QByteArray takenBack; ///< topic of m_gone
    };
    std::shared_ptr<const MqttTopics> topics() const;
    std::vector<quint64> close(quint64 token);
    std::size_t room(OfferKind kind);
    MqttMessage messageOf(const MqttTopics &topics, const OutletRow &row, OfferKind kind) const;
    std::size_t offerGroups(const MqttTopics &topics, const std::vector<OutletRow> &rows, OfferKind kind);
    void begin(bool hasSession, std::vector<MqttMessage> discovery);
    quint64 open(std::vector<quint64> seqs, const QByteArray &takenBack = {});
    void publishRetained(std::vector<MqttMessage> messages);
    std::vector<MqttMessage> takeBackGone();
    std::vector<MqttMessage> tagChange(const MqttTopics &before, const MqttTopics &now) const;
    MqttMessage linkMessage(const MqttTopics &topics, const QString &plc, bool isReady) const;
    void answer(const QByteArray &topic, const QByteArray &correlation, const WriteReport &report);

    const MqttConfig m_config;
    const std::shared_ptr<MqttClient> m_client;
    const Clock &m_clock;
    const CommandSink m_commands;
    const RefusalSink m_refusals;
    OutletEvents *m_events = nullptr;

    mutable std::mutex m_mutex;
    std::shared_ptr<const MqttTopics> m_topics;
    QHash<QString, bool> m_links; ///< by PLC
    /// Topics of which the broker retains something that is gone, until it has acknowledged
    /// an empty message.
    std::set<QByteArray> m_gone;
    OutletState m_state;
    quint64 m_sessions = 0;
    quint64 m_lastToken = 0;
    std::map<quint64, Open> m_open; ///< messages without acknowledgement, by token
    kvlink::SteadyTime m_lastAnswer{};
};

} // namespace kvgateway
