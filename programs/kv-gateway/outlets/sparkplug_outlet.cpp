// SPDX-License-Identifier: MIT
#include "sparkplug_outlet.h"

#include <QUuid>

#include <algorithm>

namespace kvgateway
{

SparkplugOutlet::SparkplugOutlet(const SparkplugConfig &config, const QString &countPath,
                                 std::shared_ptr<MqttClient> client, const Clock &clock, CommandSink commands,
                                 RefusalSink refusals)
    : m_config(config), m_client(std::move(client)), m_clock(clock), m_commands(std::move(commands)),
      m_refusals(std::move(refusals)), m_self(std::make_shared<SparkplugOutlet *>(this)),
      m_session(config, clock), m_count(countPath)
{
}

void SparkplugOutlet::start(OutletEvents &events)
{
    m_events = &events;
    m_client->start(*this);
}

void SparkplugOutlet::stop()
{
    MqttMessage death;
    {
        const std::lock_guard lock(m_mutex);
        death = m_session.death();
    }
    m_client->stop(death);
    const std::lock_guard lock(m_mutex);
    m_session.disconnected();
    m_state.session = 0;
}

OutletState SparkplugOutlet::state() const
{
    const std::lock_guard lock(m_mutex);
    return m_state;
}

// What the session says, in its order.
void SparkplugOutlet::send()
{
    std::vector<MqttMessage> messages = m_session.take();
    if (!messages.empty())
        m_client->publish(std::move(messages));
}

void SparkplugOutlet::setTags(const std::vector<TagConfig> &tags)
{
    const std::lock_guard lock(m_mutex);
    m_session.setTags(tags);
    ++m_state.round;
    send();
}

void SparkplugOutlet::setLink(const QString &plc, bool isReady)
{
    const std::lock_guard lock(m_mutex);
    m_session.setLink(plc, isReady);
    ++m_state.round; // what waited for the PLC may go
    send();
}

void SparkplugOutlet::removeLink(const QString &plc)
{
    const std::lock_guard lock(m_mutex);
    m_session.removeLink(plc);
    send();
}

void SparkplugOutlet::note(OutletRow &row)
{
    const std::lock_guard lock(m_mutex);
    m_session.note(row);
}

// A broker that answers pings and nothing else is not waited for.
void SparkplugOutlet::tick()
{
    const std::lock_guard lock(m_mutex);
    m_session.tick();
    send();
    if (m_open.empty() || m_clock.steady() <= m_open.begin()->second.since + longestSilence)
        return;
    m_open.clear();
    m_openRows = 0;
    m_client->reconnect(QStringLiteral("the broker is connected and answers nothing"));
}

// Stored rows take at most half of the window, so that live ones need not wait for them.
std::size_t SparkplugOutlet::room(OfferKind kind) const
{
    if (!m_state.isReady())
        return 0;
    const std::size_t most = kind == OfferKind::Live ? window : window / 2;
    return m_openRows >= most ? 0 : most - m_openRows;
}

std::size_t SparkplugOutlet::offer(const std::vector<OutletRow> &rows, OfferKind kind)
{
    SparkplugTaken taken;
    std::size_t count = 0;
    {
        const std::lock_guard lock(m_mutex);
        count = std::min(rows.size(), room(kind));
        taken = m_session.offer(rows, count, kind);
        send();
        if (!taken.sent.empty())
            askReceipt(std::move(taken.sent));
    }
    if (!taken.postponed.empty())
        m_events->postponed(taken.postponed);
    if (!taken.refused.empty())
        m_events->refused(taken.refused, taken.why);
    return count;
}

void SparkplugOutlet::askReceipt(std::vector<quint64> seqs)
{
    MqttMessage message;
    message.topic = m_session.dataTopic();
    message.asksReceipt = true;
    message.token = ++m_lastToken;
    m_openRows += seqs.size();
    m_open.emplace(m_lastToken, Open{std::move(seqs), m_clock.steady()});
    m_client->publish({message});
}

MqttMessage SparkplugOutlet::will()
{
    const std::lock_guard lock(m_mutex);
    return m_session.begin(m_count.next());
}

void SparkplugOutlet::unheard()
{
    const std::lock_guard lock(m_mutex);
    m_count.giveBack();
}

void SparkplugOutlet::connected(bool /*hasSession*/)
{
    {
        const std::lock_guard lock(m_mutex);
        for (const QByteArray &filter : m_session.filters())
            m_client->subscribe(filter, MqttQos::AtLeastOnce);
        m_session.connected();
        followBirth();
    }
    m_events->changed();
}

// After each step that may bring NBIRTH.
void SparkplugOutlet::followBirth()
{
    if (m_session.isBorn() && !m_state.isReady())
        m_state.session = ++m_sessions;
    m_state.problem.clear();
    if (m_session.isWaiting())
        m_state.problem = QStringLiteral("connected; waits for the primary host \"%1\" to say that it is "
                                         "online")
                              .arg(m_config.primaryHost);
    send();
}

void SparkplugOutlet::disconnected(const QString &problem)
{
    {
        const std::lock_guard lock(m_mutex);
        m_session.disconnected();
        m_open.clear();
        m_openRows = 0;
        m_state.session = 0;
        m_state.problem = problem;
    }
    m_events->changed();
}

// Kept over a loss of the connection, so that it is said once.
void SparkplugOutlet::subscribed(const QByteArray &filter, const QString &problem)
{
    {
        const std::lock_guard lock(m_mutex);
        m_refusedFilters.erase(filter);
        if (!problem.isEmpty())
            m_refusedFilters.emplace(filter, problem);
        m_state.warning = m_count.problem();
        if (!m_refusedFilters.empty())
            m_state.warning =
                QStringLiteral("the broker refuses the subscription to %1 (%2), so what a host sends there "
                               "does not arrive: allow it for this client")
                    .arg(QString::fromUtf8(m_refusedFilters.begin()->first),
                         m_refusedFilters.begin()->second);
    }
    m_events->changed();
}

void SparkplugOutlet::acknowledged(quint64 token)
{
    std::vector<quint64> seqs;
    {
        const std::lock_guard lock(m_mutex);
        const auto found = m_open.find(token);
        if (found == m_open.end())
            return;
        seqs = std::move(found->second.seqs);
        m_openRows -= seqs.size();
        m_open.erase(found);
    }
    m_events->acknowledged(seqs);
}

// A message that cannot be sent leaves a gap in the order of all: a new connection begins again.
void SparkplugOutlet::refused(quint64 /*token*/, const QString &why)
{
    const std::lock_guard lock(m_mutex);
    m_client->leave(why, m_session.death());
}

void SparkplugOutlet::received(const MqttReceived &message)
{
    if (m_session.isHostState(message.topic))
        return takeHostState(message.payload);
    SparkplugOrders orders;
    {
        const std::lock_guard lock(m_mutex);
        orders = m_session.takeCommand(message);
        send();
    }
    for (const SparkplugRefusal &refusal : orders.refusals)
        refuse(refusal);
    for (const SparkplugWrite &write : orders.writes)
        order(write, message);
}

void SparkplugOutlet::takeHostState(const QByteArray &payload)
{
    {
        const std::lock_guard lock(m_mutex);
        if (m_session.takeHostState(payload)) {
            followBirth();
        } else {
            m_state.session = 0;
            const QString why =
                QStringLiteral("the primary host \"%1\" has gone offline").arg(m_config.primaryHost);
            m_client->leave(why, m_session.death());
            m_session.disconnected();
        }
    }
    m_events->changed();
}

void SparkplugOutlet::order(const SparkplugWrite &write, const MqttReceived &message)
{
    WriteOrder order;
    order.tag = write.tag;
    order.value = write.value;
    order.who = QStringLiteral("sparkplug:") + m_config.name;
    order.from = QStringLiteral("%1:%2").arg(m_config.host).arg(m_config.port);
    order.correlation = QUuid::createUuid().toString(QUuid::WithoutBraces);
    if (message.expiry)
        order.expires = std::min(order.expires, kvlink::Duration(std::chrono::seconds(*message.expiry)));
    if (order.expires <= kvlink::Duration(0))
        return refuse({write.tag, QStringLiteral("the command has expired")});
    const std::weak_ptr<SparkplugOutlet *> self = m_self;
    m_commands(order, [self](const WriteReport &report) {
        if (const auto held = self.lock())
            (*held)->writeEnded(report);
    });
}

void SparkplugOutlet::refuse(const SparkplugRefusal &refusal)
{
    WriteOrder order;
    order.tag = refusal.tag;
    order.who = QStringLiteral("sparkplug:") + m_config.name;
    order.from = QStringLiteral("%1:%2").arg(m_config.host).arg(m_config.port);
    m_refusals(order, refusal.why);
    const std::lock_guard lock(m_mutex);
    m_session.tellFailure(refusal.tag, refusal.tag + QStringLiteral(": ") + refusal.why);
    send();
}

// One that is done is read back, and so comes as a change.
void SparkplugOutlet::writeEnded(const WriteReport &report)
{
    if (report.outcome == kvlink::Outcome::Done)
        return;
    const std::lock_guard lock(m_mutex);
    m_session.tellFailure(report.order.tag, report.order.tag + QStringLiteral(": ") + report.text);
    send();
}

} // namespace kvgateway
