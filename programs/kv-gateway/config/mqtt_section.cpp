// SPDX-License-Identifier: MIT
#include "mqtt_section.h"

#include "outlet_keys.h"

#include <tags/pattern.h>

#include <QFileInfo>
#include <QUrl>

#include <algorithm>

namespace kvgateway
{

namespace
{

using namespace std::chrono_literals;

constexpr quint16 plainPort = 1883;
constexpr quint16 tlsPort = 8883;
constexpr int longestTopic = 1000;

constexpr ChoiceRow<MqttVersion> versions[] = {{"5", MqttVersion::V5}, {"3.1.1", MqttVersion::V311}};
constexpr ChoiceRow<MqttLayout> layouts[] = {{"tag", MqttLayout::Tag}, {"group", MqttLayout::Group}};

bool isOneBroker(const MqttConfig &one, const MqttConfig &other)
{
    return one.host == other.host && one.port == other.port;
}

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
        readBroker();
        if (!sofar.shards.empty())
            m_config.statusTopic += QLatin1String("/{shard}");
        readIdentity(sofar);
        readTls();
        readTopics();
        checkShard("client", m_config.client, !sofar.shards.empty());
        checkShard("status_topic", m_config.statusTopic, !sofar.shards.empty());
        m_config.tags = readOutletTags(m_from, sofar.plcs);
        m_config.commands = m_from.yesOrNo("commands", m_config.commands);
        m_config.keepalive = m_from.duration("keepalive", m_config.keepalive, 5s, 1h);
        readBacklogKeys(m_from, m_config);
        for (const MqttConfig &other : sofar.mqtt) {
            if (isOneBroker(m_config, other))
                refuseShared(other, sofar.plcs);
        }
        m_from.refuseOthers();
        return std::move(m_config);
    }

private:
    void readBroker()
    {
        const QString typed = m_from.text("url");
        if (!m_from.has("url"))
            return m_from.refuse("url",
                                 QStringLiteral("a [[mqtt]] has no broker: add url = \"mqtt://broker\""));
        const QUrl url(typed, QUrl::StrictMode);
        m_config.hasTls = url.scheme() == QLatin1String("mqtts");
        m_config.host = url.host();
        m_config.port = quint16(url.port(m_config.hasTls ? tlsPort : plainPort));
        const bool isKnown = m_config.hasTls || url.scheme() == QLatin1String("mqtt");
        const bool hasMore = url.path().size() > 1 || url.hasQuery() || url.hasFragment();
        if (!url.userInfo().isEmpty())
            m_from.refuse("url", QStringLiteral("a user or password does not belong here, where everybody "
                                                "reads it: use user_file and password_file"));
        else if (!url.isValid() || !isKnown || m_config.host.isEmpty() || hasMore || m_config.port == 0)
            m_from.refuse("url", QStringLiteral("\"%1\" is not a broker: write mqtt://HOST, mqtts://HOST or "
                                                "mqtt://HOST:PORT")
                                     .arg(typed));
    }

    void readIdentity(const Config &sofar)
    {
        const std::vector<MqttConfig> &others = sofar.mqtt;
        m_config.version = m_from.choice("version", m_config.version, versions);
        m_config.site = readSite(m_from);
        const QString client = QStringLiteral("kv-gateway-") + m_config.site;
        m_config.client = m_from.text("client", sofar.shards.empty() ? client : client + "-{shard}");
        const auto isTaken = [this](const MqttConfig &other) {
            return other.client == m_config.client && isOneBroker(other, m_config);
        };
        if (m_config.client.isEmpty() || m_config.client.size() > 100)
            m_from.refuse("client", QStringLiteral("client must have 1 to 100 characters"));
        else if (std::any_of(others.begin(), others.end(), isTaken))
            m_from.refuse("client", QStringLiteral("two [[mqtt]] are the client \"%1\" of one broker: they "
                                                   "would throw each other out; set client")
                                        .arg(m_config.client));
        m_config.userFile = file("user_file");
        m_config.passwordFile = file("password_file");
        if (m_config.userFile.isEmpty() && !m_config.passwordFile.isEmpty())
            m_from.refuse("password_file", QStringLiteral("a password needs a user: add user_file"));
    }

    void readTls()
    {
        const bool hasFiles = readTlsFiles(m_from, m_base, m_config);
        if (!m_config.hasTls && hasFiles)
            m_from.refuse("url", QStringLiteral("certificates need TLS: write mqtts:// in url"));
        if (!m_config.hasTls || !m_config.ca.isEmpty())
            return;
        // The library needs a file: that of the system, where Debian has it.
        m_config.ca = authoritiesOfTheSystem();
        if (!m_from.has("ca") && !QFileInfo(m_config.ca).isReadable())
            m_from.refuse("ca", QStringLiteral("TLS needs to know who signed the broker's certificate: add "
                                               "ca = \"FILE.pem\", or install ca-certificates"));
    }

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

    // What the gateways of two shards must not have in common.
    void checkShard(const char *key, const QString &pattern, bool hasShards)
    {
        const QString name = QString::fromLatin1(key);
        const bool isOfShard = pattern.contains(QLatin1String("{shard}"));
        if (hasShards && !isOfShard)
            m_from.refuse(key,
                          QStringLiteral("%1 \"%2\": the gateways of all shards would have the same one; "
                                         "put {shard} into it")
                              .arg(name, pattern));
        else if (!hasShards && isOfShard)
            m_from.refuse(key, QStringLiteral("%1 \"%2\": {shard} needs [[shard]]").arg(name, pattern));
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

    QString file(const char *key) { return readFilePath(m_from, key, m_base); }

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
