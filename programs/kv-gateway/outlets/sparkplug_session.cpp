// SPDX-License-Identifier: MIT
#include "sparkplug_session.h"

#include "store/codes.h"

#include <algorithm>

namespace kvgateway
{

namespace
{

constexpr char failureName[] = "Commands/Last Failure";
constexpr char softwareName[] = "Properties/FW";

// Of the metrics of the node; those of the tags follow.
enum Alias : quint64 { BdSeqAlias = 1, SoftwareAlias, FailureAlias, FirstTagAlias };

QByteArray hostTopicOf(const SparkplugConfig &config)
{
    return config.primaryHost.isEmpty() ? QByteArray() : "spBv1.0/STATE/" + config.primaryHost.toUtf8();
}

} // namespace

SparkplugSession::SparkplugSession(const SparkplugConfig &config, const Clock &clock)
    : m_config(config), m_clock(clock), m_hostTopic(hostTopicOf(config)),
      m_devices(config.uint32, FirstTagAlias)
{
}

QByteArray SparkplugSession::topic(const char *type, const QString &device) const
{
    QByteArray topic = "spBv1.0/" + m_config.group.toUtf8() + '/' + type + '/' + m_config.node.toUtf8();
    return device.isEmpty() ? topic : topic + '/' + device.toUtf8();
}

quint64 SparkplugSession::now() const
{
    return quint64(toMs(m_clock.wall()));
}

// The number in the order of all messages is given here and nowhere else.
void SparkplugSession::publish(const QByteArray &topic, SparkplugPayload payload)
{
    payload.timestamp = now();
    payload.seq = m_seq++; // after 255 comes 0
    MqttMessage message;
    message.topic = topic;
    message.payload = encodeSparkplug(payload);
    message.qos = MqttQos::AtMostOnce;
    m_out.push_back(std::move(message));
}

void SparkplugSession::setTags(const std::vector<TagConfig> &tags)
{
    m_devices.setTags(tags, [this](SparkplugDevice &device) { die(device); });
    for (auto &[name, device] : m_devices.all())
        bear(device);
}

void SparkplugSession::setLink(const QString &plc, bool isReady)
{
    m_devices.setLink(plc, isReady);
    SparkplugDevice *device = m_devices.find(plc);
    if (device == nullptr)
        return;
    if (isReady)
        bear(*device);
    else
        die(*device);
}

void SparkplugSession::removeLink(const QString &plc)
{
    m_devices.removeLink(plc);
    if (SparkplugDevice *device = m_devices.find(plc))
        die(*device);
}

void SparkplugSession::note(OutletRow &row)
{
    if (!row.sample.isGood())
        row.sample.time = m_clock.wall();
    if (m_firstSeq == 0)
        m_firstSeq = row.seq;
    m_devices.note(row);
}

MqttMessage SparkplugSession::begin(quint8 bdSeq)
{
    m_bdSeq = bdSeq;
    return death();
}

SparkplugMetric SparkplugSession::bdSeqMetric() const
{
    SparkplugMetric metric;
    metric.name = QStringLiteral("bdSeq");
    metric.type = SparkplugType::Int64;
    metric.value = quint64(m_bdSeq);
    return metric;
}

MqttMessage SparkplugSession::death() const
{
    SparkplugPayload payload;
    payload.metrics.push_back(bdSeqMetric());
    MqttMessage message;
    message.topic = topic("NDEATH");
    message.payload = encodeSparkplug(payload);
    return message;
}

std::vector<QByteArray> SparkplugSession::filters() const
{
    std::vector<QByteArray> filters{topic("NCMD")};
    if (m_config.commands)
        filters.push_back(topic("DCMD") + "/+");
    if (!m_hostTopic.isEmpty())
        filters.push_back(m_hostTopic);
    return filters;
}

void SparkplugSession::connected()
{
    m_isConnected = true;
    if (m_hostTopic.isEmpty())
        bearNode();
}

void SparkplugSession::disconnected()
{
    m_isConnected = m_isBorn = m_isRebirthDue = false;
    m_nextRebirth = {};
    m_out.clear();
    for (auto &[name, device] : m_devices.all())
        device.isBorn = false;
}

void SparkplugSession::bearNode()
{
    SparkplugPayload birth;
    SparkplugMetric number = bdSeqMetric();
    number.alias = BdSeqAlias;
    SparkplugMetric rebirth;
    rebirth.name = QString::fromLatin1(rebirthMetric);
    rebirth.type = SparkplugType::Boolean;
    rebirth.value = false;
    SparkplugMetric software;
    software.name = QString::fromLatin1(softwareName);
    software.alias = SoftwareAlias;
    software.type = SparkplugType::String;
    software.value = QStringLiteral("kv-gateway " KV_VERSION);
    birth.metrics = {number, rebirth, software};
    for (SparkplugMetric &metric : birth.metrics)
        metric.timestamp = now();
    SparkplugMetric failure = failureMetric();
    failure.name = QString::fromLatin1(failureName);
    failure.type = SparkplugType::String;
    birth.metrics.push_back(failure);
    m_seq = 0;
    m_isBorn = true;
    publish(topic("NBIRTH"), std::move(birth));
    for (auto &[name, device] : m_devices.all()) {
        device.isBorn = false;
        bear(device);
    }
}

SparkplugMetric SparkplugSession::failureMetric() const
{
    SparkplugMetric metric;
    metric.alias = FailureAlias;
    metric.timestamp = m_failedAt == 0 ? now() : m_failedAt;
    metric.isNull = m_failedAt == 0;
    if (!metric.isNull)
        metric.value = m_failure;
    return metric;
}

void SparkplugSession::bear(SparkplugDevice &device)
{
    if (!m_isBorn || device.isBorn || !m_devices.isReady(device))
        return;
    SparkplugPayload birth;
    birth.metrics.reserve(device.tags.size());
    for (SparkplugTag &tag : device.tags) {
        bool fits = false;
        birth.metrics.push_back(metricOf(tag, tag.newest, m_config.uint32, now(), fits));
        birth.metrics.back().name = tag.name;
        birth.metrics.back().type = tag.type;
        tag.saidSeq = tag.newestSeq;
    }
    device.isBorn = true;
    publish(topic("DBIRTH", device.name), std::move(birth));
}

void SparkplugSession::die(SparkplugDevice &device)
{
    if (std::exchange(device.isBorn, false))
        publish(topic("DDEATH", device.name), {});
}

// Not at once again: several hosts that missed the same message ask together.
void SparkplugSession::rebirth()
{
    if (!m_isBorn)
        return;
    m_isRebirthDue = m_clock.steady() < m_nextRebirth;
    if (m_isRebirthDue)
        return;
    m_nextRebirth = m_clock.steady() + rebirthEvery;
    bearNode();
}

void SparkplugSession::tick()
{
    if (m_isRebirthDue)
        rebirth();
}

SparkplugTaken SparkplugSession::offer(const std::vector<OutletRow> &rows, std::size_t count, OfferKind kind)
{
    SparkplugTaken taken;
    SparkplugBatches batches;
    for (std::size_t i = 0; i < std::min(count, rows.size()); ++i)
        add(batches, rows[i], kind, taken);
    for (SparkplugBatches::One &batch : batches.all())
        publish(topic("DDATA", batch.device), std::move(batch.payload));
    return taken;
}

void SparkplugSession::add(SparkplugBatches &batches, const OutletRow &row, OfferKind kind,
                           SparkplugTaken &taken)
{
    SparkplugDevice *device = nullptr;
    SparkplugTag *tag = m_devices.findTag(row.tag, device);
    bool fits = tag != nullptr;
    SparkplugMetric metric;
    if (fits)
        metric = metricOf(*tag, row.sample, m_config.uint32, now(), fits);
    if (!fits) {
        taken.refused.push_back(row.seq);
        if (taken.why.isEmpty())
            taken.why = QStringLiteral("%1 is not in the births any more, or of another type").arg(row.tag);
        return;
    }
    if (!device->isBorn) {
        taken.postponed.push_back(row.seq);
        return;
    }
    taken.sent.push_back(row.seq);
    if (row.seq == tag->saidSeq)
        return;
    // What an earlier run left is never the present value, nor what is older than that.
    const bool isOld = row.seq < m_firstSeq || m_firstSeq == 0 || row.seq < tag->saidSeq;
    metric.isHistorical = kind == OfferKind::Stored || isOld;
    if (!metric.isHistorical)
        tag->saidSeq = row.seq;
    batches.add(device->name, std::move(metric));
}

bool SparkplugSession::takeHostState(const QByteArray &payload)
{
    const std::optional<bool> isOnline = m_host.take(payload);
    if (!m_isConnected || !isOnline)
        return true;
    if (*isOnline && !m_isBorn)
        bearNode();
    return *isOnline || !m_isBorn;
}

void SparkplugSession::tellFailure(const QString &tag, const QString &text)
{
    if (!m_isBorn)
        return;
    m_failure = text;
    m_failedAt = now();
    publish(topic("NDATA"), {{}, {failureMetric()}, {}});
    SparkplugDevice *device = nullptr;
    const SparkplugTag *known = m_devices.findTag(tag, device);
    if (known == nullptr || !device->isBorn)
        return;
    bool fits = false;
    SparkplugMetric metric = metricOf(*known, known->newest, m_config.uint32, now(), fits);
    metric.timestamp = m_failedAt;
    publish(topic("DDATA", device->name), {{}, {metric}, {}});
}

SparkplugOrders SparkplugSession::takeCommand(const MqttReceived &message)
{
    SparkplugOrders orders;
    const QByteArray prefix = topic("DCMD") + '/';
    if (message.topic == topic("NCMD"))
        orders = readSparkplugCommand(message, {}, m_devices);
    else if (message.topic.startsWith(prefix))
        orders =
            readSparkplugCommand(message, QString::fromUtf8(message.topic.mid(prefix.size())), m_devices);
    if (orders.wantsRebirth)
        rebirth();
    return orders;
}

} // namespace kvgateway
