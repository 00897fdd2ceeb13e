// SPDX-License-Identifier: MIT
#include "mqtt_topics.h"

#include <algorithm>

namespace kvgateway
{

QByteArray topicLevel(const QString &name)
{
    constexpr uchar firstPrintable = 0x20, del = 0x7f;
    QByteArray level;
    const QByteArray bytes = name.toUtf8();
    for (const char c : bytes) {
        const bool isReserved = c == '/' || c == '+' || c == '#' || c == '%' || c == '$';
        if (isReserved || uchar(c) < firstPrintable || uchar(c) == del)
            level += '%' + QByteArray(1, c).toHex().toUpper();
        else
            level += c;
    }
    return level;
}

QByteArray filledTopic(const QString &pattern, const QString &site, const QString &plc, const QString &tag,
                       const QString &group)
{
    QByteArray topic = pattern.toUtf8();
    topic.replace("{site}", topicLevel(site)).replace("{plc}", topicLevel(plc));
    topic.replace("{tag}", topicLevel(tag));
    return topic.replace("{group}", group.isEmpty() ? QByteArray("other") : topicLevel(group));
}

MqttTopics::MqttTopics(const MqttConfig &config, const std::vector<TagConfig> &tags)
    : m_config(config), m_status(filledTopic(config.statusTopic, config.site, {}, {}, {})), m_tags(tags)
{
    for (std::size_t i = 0; i < m_tags.size(); ++i) {
        const TagConfig &tag = m_tags[i];
        const TagTopics topics{filled(config.topic, tag.name, tag.group),
                               filled(config.storedTopic, tag.name, tag.group)};
        m_topics.insert(tag.name, topics);
        if (config.commands)
            m_commandTags.insert(commandOf(topics), int(i));
    }
}

QByteArray MqttTopics::filled(const QString &pattern, const QString &tag, const QString &group) const
{
    return filledTopic(pattern, m_config.site, tag.section('.', 0, 0), tag.section('.', 1), group);
}

TagTopics MqttTopics::of(const QString &tag) const
{
    const auto known = m_topics.constFind(tag);
    if (known != m_topics.constEnd())
        return *known;
    return {filled(m_config.topic, tag, {}), filled(m_config.storedTopic, tag, {})};
}

QByteArray MqttTopics::commandFilter() const
{
    QStringList levels = m_config.topic.split('/');
    for (QString &level : levels) {
        if (level.contains(QLatin1String("{plc}")) || level.contains(QLatin1String("{tag}")))
            level = QStringLiteral("+");
    }
    return filledTopic(levels.join('/'), m_config.site, {}, {}, {}) + "/set";
}

const TagConfig *MqttTopics::commandTag(const QByteArray &topic) const
{
    const auto found = m_commandTags.constFind(topic);
    return found == m_commandTags.constEnd() ? nullptr : &m_tags[std::size_t(*found)];
}

} // namespace kvgateway
