// SPDX-License-Identifier: MIT
#include "mqtt_section.h"

#include "broker_keys.h"
#include "outlet_keys.h"
#include "shards.h"

#include <tags/pattern.h>

#include <algorithm>

namespace kvgateway
{

namespace
{

constexpr int longestTopic = 1000;

constexpr ChoiceRow<MqttLayout> layouts[] = {{"tag", MqttLayout::Tag}, {"group", MqttLayout::Group}};

QString filledSite(const MqttConfig &mqtt, const QString &pattern)
{
    return QString(pattern).replace(QLatin1String("{site}"), mqtt.site);
}

class MqttReader
{
public:
    MqttReader(TomlSection &from, const QDir &base) : m_from(from), m_base(base) {}

    MqttConfig read(const Config &sofar)
    {
        m_config.name = readOutletName(m_from, m_config.name, sofar);
        m_config.site = readSite(m_from);
        const bool hasShards = !sofar.shards.empty();
        QString client = QStringLiteral("kv-gateway-") + m_config.site;
        if (hasShards) {
            client += QLatin1String("-{shard}");
            m_config.statusTopic += QLatin1String("/{shard}");
        }
        readBroker(m_from, m_base, QStringLiteral("[[mqtt]]"), client, sofar, m_config);
        readTopics();
        checkShard(m_from, "client", m_config.client, hasShards);
        checkShard(m_from, "status_topic", m_config.statusTopic, hasShards);
        m_config.tags = readOutletTags(m_from, sofar.plcs);
        m_config.commands = m_from.yesOrNo("commands", m_config.commands);
        readBacklogKeys(m_from, m_config);
        for (const MqttConfig &other : sofar.mqtt) {
            if (m_config.isBrokerOf(other))
                refuseShared(other, sofar.plcs);
        }
        m_from.refuseOthers();
        return std::move(m_config);
    }

private:
    void readTopics()
    {
        m_config.layout = m_from.choice("layout", m_config.layout, layouts);
        const bool isGrouped = m_config.layout == MqttLayout::Group;
        m_config.topic = m_from.text("topic", isGrouped ? QStringLiteral("kv/{site}/{plc}/{group}")
                                                        : QStringLiteral("kv/{site}/{plc}/{tag}"));
        m_config.storedTopic = m_from.text("stored_topic", m_config.topic + "/stored");
        m_config.statusTopic = m_from.text("status_topic", m_config.statusTopic);
        const QString status = m_config.statusTopic;
        if (status.isEmpty() || status.contains('+') || status.contains('#') || status.startsWith('$'))
            m_from.refuse("status_topic",
                          QStringLiteral("status_topic \"%1\": it must not be empty, have '+' "
                                         "or '#', nor begin with '$'")
                              .arg(status));
        checkTopic("topic", m_config.topic);
        checkTopic("stored_topic", m_config.storedTopic);
        if (m_config.topic == m_config.storedTopic)
            m_from.refuse("stored_topic", QStringLiteral("stored_topic must differ from topic: a value that "
                                                         "comes late must not be taken for the newest"));
        m_config.retain = m_from.yesOrNo("retain", !isGrouped);
        if (isGrouped && m_config.retain)
            m_from.refuse("retain", QStringLiteral("the message of a group holds what changed, not all its "
                                                   "values: it cannot be retained"));
        if (isGrouped && m_from.yesOrNo("commands", false))
            m_from.refuse("commands", QStringLiteral("commands go to the topic of a tag: they need layout = "
                                                     "\"tag\""));
        m_config.homeAssistant = m_from.text("home_assistant");
        if (!m_config.homeAssistant.isEmpty() && (isGrouped || hasReserved(m_config.homeAssistant)))
            m_from.refuse("home_assistant", QStringLiteral("home_assistant is the first level of its topics, "
                                                           "\"homeassistant\", and needs layout = \"tag\""));
    }

    // What two [[mqtt]] of one broker must not have in common.
    void refuseShared(const MqttConfig &other, const std::vector<PlcConfig> &plcs)
    {
        const QString status = filledSite(m_config, m_config.statusTopic);
        if (status == filledSite(other, other.statusTopic))
            m_from.refuse(
                "status_topic",
                QStringLiteral("two [[mqtt]] of one broker say under \"%1\" whether they are there, "
                               "and when one ends both seem gone: set status_topic")
                    .arg(status));
        if (!m_config.commands || !other.commands ||
            filledSite(m_config, m_config.topic) != filledSite(other, other.topic))
            return;
        for (const PlcConfig &plc : plcs) {
            const auto shared = std::find_if(plc.tags.begin(), plc.tags.end(), [&](const TagConfig &tag) {
                return kvtags::matchesAny(m_config.tags, tag.name) &&
                       kvtags::matchesAny(other.tags, tag.name);
            });
            if (shared == plc.tags.end())
                continue;
            return m_from.refuse(
                "commands", QStringLiteral("the [[mqtt]] \"%1\" takes commands for %2 from the same topic of "
                                           "the same broker: each would be carried out twice; leave commands "
                                           "out of one of them, or choose other tags")
                                .arg(other.name, shared->name));
        }
    }

    void checkTopic(const char *key, const QString &topic)
    {
        const bool isGrouped = m_config.layout == MqttLayout::Group;
        const QString of = isGrouped ? QStringLiteral("{group}") : QStringLiteral("{tag}");
        QString rest = topic;
        QStringList known{"{site}", "{plc}", of};
        for (const QString &word : known)
            rest.remove(word);
        QString problem;
        if (rest.contains('{') || rest.contains('}'))
            problem = QStringLiteral("only %1 are filled in").arg(known.join(QStringLiteral(", ")));
        else if (!topic.contains(of) || !topic.contains(QLatin1String("{plc}")))
            problem = QStringLiteral("it must have {plc} and %1, else several would share a topic").arg(of);
        else if (rest.contains('+') || rest.contains('#') || topic.size() > longestTopic)
            problem =
                QStringLiteral("it must not have '+' or '#', nor more than %1 characters").arg(longestTopic);
        else if (topic.startsWith('$') || topic.startsWith('/') || topic.endsWith('/'))
            problem = QStringLiteral("it must not begin with '$' or '/', nor end with '/'");
        if (!problem.isEmpty())
            m_from.refuse(key, QStringLiteral("%1 \"%2\": %3").arg(QString::fromLatin1(key), topic, problem));
    }

    TomlSection &m_from;
    const QDir &m_base;
    MqttConfig m_config;
};

} // namespace

MqttConfig readMqtt(TomlSection from, const QDir &base, const Config &sofar)
{
    return MqttReader(from, base).read(sofar);
}

} // namespace kvgateway
