// SPDX-License-Identifier: MIT
// What an edge node of Sparkplug B 3.0 says, and when: a state machine without a broker. Each call
// may leave messages in their order; take() hands them out.
//
//     begin(bdSeq)   the death of the connection that comes, for the broker to keep
//     connected()    NBIRTH, DBIRTH of each PLC that answers; perhaps after the primary host
//     offer(rows)    DDATA
//     setLink()      DDEATH, DBIRTH
#pragma once

#include "host_state.h"
#include "sparkplug_batches.h"
#include "sparkplug_command.h"

#include "store/clock.h"

namespace kvgateway
{

/// What became of offered rows, by their numbers.
struct SparkplugTaken {
    std::vector<quint64> sent;
    std::vector<quint64> postponed; ///< the PLC has no birth now
    std::vector<quint64> refused;
    QString why; ///< of the first one that was refused
};

/// One thread at a time.
class SparkplugSession
{
public:
    /// After a rebirth the next one waits for so long.
    static constexpr kvlink::Duration rebirthEvery = std::chrono::seconds(5);

    /// \param clock outlives the session
    SparkplugSession(const SparkplugConfig &config, const Clock &clock);

    void setTags(const std::vector<TagConfig> &tags);
    void setLink(const QString &plc, bool isReady);
    void removeLink(const QString &plc);
    /// Each change of a tag, sent or not: births tell the newest ones. What is not good gets the
    /// present time: a historian would put it in the place of the good value of that time.
    void note(OutletRow &row);

    /// A connection is tried. \return its will
    MqttMessage begin(quint8 bdSeq);
    /// What to subscribe to, before anything is sent.
    std::vector<QByteArray> filters() const;
    void connected();
    void disconnected();
    /// After NBIRTH, until the connection ends or the host is gone.
    bool isBorn() const { return m_isBorn; }
    /// Waits for the primary host.
    bool isWaiting() const { return m_isConnected && !m_isBorn; }
    /// What is said before leaving; the same as the will.
    MqttMessage death() const;
    /// A rebirth that had to wait.
    void tick();

    /// Rows are taken while there is a birth.
    SparkplugTaken offer(const std::vector<OutletRow> &rows, std::size_t count, OfferKind kind);

    /// \return false: the primary host has gone, and the node must leave
    bool takeHostState(const QByteArray &payload);
    /// NCMD and DCMD.
    SparkplugOrders takeCommand(const MqttReceived &message);
    /// The value of a tag once more, with the present time, and what went wrong with a write of it.
    void tellFailure(const QString &tag, const QString &text);

    bool isHostState(const QByteArray &topic) const { return topic == m_hostTopic; }
    /// Nobody subscribes to it.
    QByteArray dataTopic() const { return topic("NDATA"); }
    std::vector<MqttMessage> take() { return std::exchange(m_out, {}); }

private:
    QByteArray topic(const char *type, const QString &device = {}) const;
    quint64 now() const;
    void publish(const QByteArray &topic, SparkplugPayload payload);
    SparkplugMetric bdSeqMetric() const;
    SparkplugMetric failureMetric() const;
    void bearNode();
    void bear(SparkplugDevice &device);
    void die(SparkplugDevice &device);
    void rebirth();
    void add(SparkplugBatches &batches, const OutletRow &row, OfferKind kind, SparkplugTaken &taken);

    const SparkplugConfig m_config;
    const Clock &m_clock;
    const QByteArray m_hostTopic; ///< empty: there is no primary host
    SparkplugDevices m_devices;
    HostState m_host;
    std::vector<MqttMessage> m_out;
    quint8 m_bdSeq = 0;
    quint8 m_seq = 0;
    bool m_isConnected = false;
    bool m_isBorn = false;
    QString m_failure;      ///< of the last write that did not end as done
    quint64 m_failedAt = 0; ///< ms since 1970
    quint64 m_firstSeq = 0; ///< of the first row of this run; 0: there was none
    kvlink::SteadyTime m_nextRebirth{};
    bool m_isRebirthDue = false;
};

} // namespace kvgateway
