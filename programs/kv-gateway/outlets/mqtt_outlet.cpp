// SPDX-License-Identifier: MIT
#include "mqtt_outlet.h"

#include "home_assistant.h"
#include "mqtt_command.h"

#include "text/json_text.h"

#include <QSet>

#include <algorithm>
#include <iterator>

namespace kvgateway
{

namespace
{

void appendRow(QByteArray &out, const OutletRow &row)
{
    out += '{';
    appendSample(out, row.sample);
    out += ",\"seq\":";
    out += QByteArray::number(row.seq);
    out += '}';
}

QByteArray presence(bool isThere)
{
    return isThere ? "online" : "offline";
}

// The values of one group that go together. A tag that comes again begins the next message.
struct GroupMessage {
    QByteArray topic;
    QByteArray payload;
    QSet<QString> tags;
    std::vector<quint64> seqs;
};

void appendTo(std::vector<GroupMessage> &messages, const QByteArray &topic, const OutletRow &row)
{
    const auto last =
        std::find_if(messages.rbegin(), messages.rend(), [&](const auto &one) { return one.topic == topic; });
    if (last == messages.rend() || last->tags.contains(row.tag)) {
        messages.push_back({topic, "{\"values\":{", {}, {}});
        return appendTo(messages, topic, row);
    }
    if (!last->seqs.empty())
        last->payload += ',';
    appendJson(last->payload, row.tag.section('.', 1));
    last->payload += ':';
    appendRow(last->payload, row);
    last->tags.insert(row.tag);
    last->seqs.push_back(row.seq);
}

} // namespace

MqttOutlet::MqttOutlet(const MqttConfig &config, std::shared_ptr<MqttClient> client, const Clock &clock,
                       CommandSink commands, RefusalSink refusals)
    : m_config(config), m_client(std::move(client)), m_clock(clock), m_commands(std::move(commands)),
      m_refusals(std::move(refusals)),
      m_topics(std::make_shared<MqttTopics>(config, std::vector<TagConfig>()))
{
}

MqttMessage MqttOutlet::will(const MqttConfig &config)
{
    MqttMessage message;
    message.topic = MqttTopics(config, {}).status();
    message.payload = presence(false);
    message.isRetained = true;
    return message;
}

void MqttOutlet::start(OutletEvents &events)
{
    m_events = &events;
    m_client->start(*this);
}

void MqttOutlet::stop()
{
    m_client->stop(will(m_config));
    const std::lock_guard lock(m_mutex);
    m_state.session = 0;
}

std::shared_ptr<const MqttTopics> MqttOutlet::topics() const
{
    const std::lock_guard lock(m_mutex);
    return m_topics;
}

// What the broker retained of a tag that is gone would look alive forever.
std::vector<MqttMessage> MqttOutlet::tagChange(const MqttTopics &before, const MqttTopics &now) const
{
    std::vector<MqttMessage> messages = discoveryChange(m_config, before, now);
    QSet<QString> kept;
    for (const TagConfig &tag : now.tags())
        kept.insert(tag.name);
    for (const TagConfig &tag : before.tags()) {
        if (m_config.retain && !kept.contains(tag.name))
            messages.push_back({before.of(tag.name).live, {}, true, 0, {}});
    }
    return messages;
}

void MqttOutlet::setTags(const std::vector<TagConfig> &tags)
{
    const auto before = topics();
    const auto now = std::make_shared<const MqttTopics>(m_config, tags);
    std::vector<MqttMessage> messages = tagChange(*before, *now);
    const std::lock_guard lock(m_mutex);
    m_topics = now;
    for (const TagConfig &tag : tags)
        m_gone.erase(now->of(tag.name).live);
    publishRetained(std::move(messages));
}

// Empty ones take something back: they are repeated with each connection until the broker has one.
// The others go out with each connection.
void MqttOutlet::publishRetained(std::vector<MqttMessage> messages)
{
    for (MqttMessage &message : messages) {
        if (!message.payload.isEmpty()) {
            m_gone.erase(message.topic);
            continue;
        }
        m_gone.insert(message.topic);
        if (m_state.isReady())
            message.token = open({}, message.topic);
    }
    if (m_state.isReady() && !messages.empty())
        m_client->publish(std::move(messages));
}

std::vector<MqttMessage> MqttOutlet::takeBackGone()
{
    std::vector<MqttMessage> messages;
    for (const QByteArray &topic : m_gone)
        messages.push_back({topic, {}, true, open({}, topic), {}});
    return messages;
}

// A message that waits for its acknowledgement. \return its token
quint64 MqttOutlet::open(std::vector<quint64> seqs, const QByteArray &takenBack)
{
    const kvlink::SteadyTime now = m_clock.steady();
    if (m_open.empty())
        m_lastAnswer = now;
    m_open.emplace(++m_lastToken, Open{std::move(seqs), now, takenBack});
    return m_lastToken;
}

MqttMessage MqttOutlet::linkMessage(const MqttTopics &topics, const QString &plc, bool isReady) const
{
    MqttMessage message;
    message.topic = topics.statusOf(plc);
    message.payload = presence(isReady);
    message.isRetained = true;
    return message;
}

void MqttOutlet::setLink(const QString &plc, bool isReady)
{
    const std::lock_guard lock(m_mutex);
    const auto known = m_links.constFind(plc);
    if (known != m_links.constEnd() && *known == isReady)
        return;
    m_links.insert(plc, isReady);
    publishRetained({linkMessage(*m_topics, plc, isReady)});
}

void MqttOutlet::removeLink(const QString &plc)
{
    const std::lock_guard lock(m_mutex);
    if (m_links.remove(plc))
        publishRetained({{m_topics->statusOf(plc), {}, true, 0, {}}});
}

bool MqttOutlet::wantsNewest(const QString &tag) const
{
    return topics()->has(tag);
}

OutletState MqttOutlet::state() const
{
    const std::lock_guard lock(m_mutex);
    return m_state;
}

// A broker that answers pings and acknowledges nothing, or not that one message, is not waited for.
void MqttOutlet::tick()
{
    const std::lock_guard lock(m_mutex);
    if (!m_state.isReady() || m_open.empty())
        return;
    const kvlink::SteadyTime now = m_clock.steady();
    if (now <= m_lastAnswer + longestSilence && now <= m_open.begin()->second.since + longestAnswer)
        return;
    m_open.clear();
    m_client->reconnect(QStringLiteral("the broker is connected and acknowledges nothing"));
}

// Stored rows take at most half of the window, so that live ones need not wait for them.
std::size_t MqttOutlet::room(OfferKind kind)
{
    if (!m_state.isReady())
        return 0;
    const std::size_t most = kind == OfferKind::Live ? window : window / 2;
    return m_open.size() >= most ? 0 : most - m_open.size();
}

// The newest value of a tag that is gone is a late one.
MqttMessage MqttOutlet::messageOf(const MqttTopics &topics, const OutletRow &row, OfferKind kind) const
{
    MqttMessage message;
    const TagTopics of = topics.of(row.tag);
    const bool isLive = kind == OfferKind::Live && topics.has(row.tag);
    message.topic = isLive ? of.live : of.stored;
    message.isRetained = isLive && m_config.retain;
    appendRow(message.payload, row);
    return message;
}

std::size_t MqttOutlet::offer(const std::vector<OutletRow> &rows, OfferKind kind)
{
    const std::lock_guard lock(m_mutex);
    const std::size_t free = room(kind);
    if (free == 0)
        return 0;
    if (m_config.layout == MqttLayout::Group)
        return offerGroups(*m_topics, rows, kind);
    const std::size_t count = std::min(rows.size(), free);
    std::vector<MqttMessage> messages;
    messages.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        messages.push_back(messageOf(*m_topics, rows[i], kind));
        messages.back().token = open({rows[i].seq});
    }
    m_client->publish(std::move(messages));
    return count;
}

// On purpose all rows as soon as there is room for one message: a group is not torn, and the window
// is exceeded by what one step offers at most.
std::size_t MqttOutlet::offerGroups(const MqttTopics &topics, const std::vector<OutletRow> &rows,
                                    OfferKind kind)
{
    std::vector<GroupMessage> groups;
    for (const OutletRow &row : rows) {
        const TagTopics of = topics.of(row.tag);
        const bool isLive = kind == OfferKind::Live && topics.has(row.tag);
        appendTo(groups, isLive ? of.live : of.stored, row);
    }
    std::vector<MqttMessage> messages;
    for (GroupMessage &group : groups) {
        MqttMessage message;
        message.topic = std::move(group.topic);
        message.payload = group.payload + "}}";
        message.token = open(std::move(group.seqs));
        messages.push_back(std::move(message));
    }
    m_client->publish(std::move(messages));
    return rows.size();
}

void MqttOutlet::connected(bool hasSession)
{
    auto all = topics();
    if (m_config.commands)
        m_client->subscribe(all->commandFilter(), MqttQos::AtMostOnce);
    // On purpose before the lock, for which the plant waits: 20,000 tags take a moment.
    auto discovery = discoveryMessages(m_config, *all);
    std::unique_lock lock(m_mutex);
    while (m_topics != all) { // a reload came in between
        all = m_topics;
        lock.unlock();
        discovery = discoveryMessages(m_config, *all);
        lock.lock();
    }
    begin(hasSession, std::move(discovery));
    lock.unlock();
    m_events->changed();
}

// First of all that we are there.
void MqttOutlet::begin(bool hasSession, std::vector<MqttMessage> discovery)
{
    MqttMessage online = will(m_config);
    online.payload = presence(true);
    std::vector<MqttMessage> messages{online};
    m_open.clear();
    for (auto link = m_links.constBegin(); link != m_links.constEnd(); ++link)
        messages.push_back(linkMessage(*m_topics, link.key(), link.value()));
    m_state.session = ++m_sessions;
    m_state.wantsAll = !hasSession && m_config.retain;
    m_state.problem.clear();
    std::vector<MqttMessage> gone = takeBackGone();
    for (auto *more : {&discovery, &gone})
        messages.insert(messages.end(), std::make_move_iterator(more->begin()),
                        std::make_move_iterator(more->end()));
    m_client->publish(std::move(messages));
}

void MqttOutlet::disconnected(const QString &problem)
{
    {
        const std::lock_guard lock(m_mutex);
        m_open.clear();
        m_state.session = 0;
        m_state.problem = problem;
    }
    m_events->changed();
}

// Kept over a loss of the connection, so that it is said once.
void MqttOutlet::subscribed(const QByteArray &filter, const QString &problem)
{
    {
        const std::lock_guard lock(m_mutex);
        m_state.warning.clear();
        if (!problem.isEmpty())
            m_state.warning =
                QStringLiteral("the broker refuses the subscription to %1 (%2), so no command arrives: allow "
                               "it there for this client, or remove commands = true")
                    .arg(QString::fromUtf8(filter), problem);
    }
    m_events->changed();
}

std::vector<quint64> MqttOutlet::close(quint64 token)
{
    const std::lock_guard lock(m_mutex);
    m_lastAnswer = m_clock.steady();
    const auto found = m_open.find(token);
    if (found == m_open.end())
        return {};
    std::vector<quint64> seqs = std::move(found->second.seqs);
    m_gone.erase(found->second.takenBack);
    m_open.erase(found);
    return seqs;
}

void MqttOutlet::acknowledged(quint64 token)
{
    const auto seqs = close(token);
    if (!seqs.empty())
        m_events->acknowledged(seqs);
}

void MqttOutlet::refused(quint64 token, const QString &why)
{
    const auto seqs = close(token);
    if (!seqs.empty())
        m_events->refused(seqs, why);
}

void MqttOutlet::received(const MqttReceived &message)
{
    const auto all = topics();
    const TagConfig *tag = all->commandTag(message.topic);
    // An empty message only clears what the broker retained.
    if (tag == nullptr || (message.payload.isEmpty() && message.isRetained))
        return;
    MqttCommand command = readCommand(message, tag->name, m_clock.wall());
    command.order.who = QStringLiteral("mqtt:") + m_config.name;
    command.order.from = QStringLiteral("%1:%2").arg(m_config.host).arg(m_config.port);
    const QByteArray topic = MqttTopics::answerOf(message.topic);
    if (!command.problem.isEmpty()) {
        WriteReport report;
        report.order = command.order;
        report.text = command.problem + "; nothing was sent";
        report.time = m_clock.wall();
        answer(topic, message.correlation, report);
        return m_refusals(command.order, command.problem);
    }
    // The outlet may be gone when the write ends.
    const std::weak_ptr<MqttClient> client = m_client;
    m_commands(command.order, [client, topic, correlation = message.correlation](const WriteReport &report) {
        if (const auto held = client.lock())
            held->publish({{topic, answerText(report), false, 0, correlation}});
    });
}

void MqttOutlet::answer(const QByteArray &topic, const QByteArray &correlation, const WriteReport &report)
{
    m_client->publish({{topic, answerText(report), false, 0, correlation}});
}

} // namespace kvgateway
