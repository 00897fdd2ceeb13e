// SPDX-License-Identifier: MIT
// The topics of a broker: patterns filled in, and found again.
#pragma once

#include "config/config.h"

#include <QHash>

namespace kvgateway
{

/// A name as one level of a topic: '/', '+', '#', '%' and what cannot be seen as %2F, %2B, ...
/// Examples: "speed" -> "speed", "a/b" -> "a%2Fb"
QByteArray topicLevel(const QString &name);

/// Fills in {site}, {plc}, {tag} and {group}; a group without a name is "other".
QByteArray filledTopic(const QString &pattern, const QString &site, const QString &plc, const QString &tag,
                       const QString &group);

/// What is known of a tag's topics.
struct TagTopics {
    QByteArray live;
    QByteArray stored;
};

/// All topics of a broker. Unchanging: a new configuration makes new ones.
class MqttTopics
{
public:
    MqttTopics(const MqttConfig &config, const std::vector<TagConfig> &tags);

    bool has(const QString &tag) const { return m_topics.contains(tag); }
    /// Of a tag that is not there any more, too: values of it may still be stored.
    TagTopics of(const QString &tag) const;
    /// "kv/plant1/_status": whether the gateway is there.
    const QByteArray &status() const { return m_status; }
    QByteArray statusOf(const QString &plc) const { return m_status + '/' + topicLevel(plc); }
    /// "kv/plant1/+/+/set"
    QByteArray commandFilter() const;
    /// nullptr: no tag has this topic for commands
    const TagConfig *commandTag(const QByteArray &topic) const;
    static QByteArray commandOf(const TagTopics &topics) { return topics.live + "/set"; }
    static QByteArray answerOf(const QByteArray &command) { return command + "/answer"; }
    const std::vector<TagConfig> &tags() const { return m_tags; }

private:
    QByteArray filled(const QString &pattern, const QString &tag, const QString &group) const;

    MqttConfig m_config;
    QByteArray m_status;
    std::vector<TagConfig> m_tags;
    QHash<QString, TagTopics> m_topics;   ///< by tag
    QHash<QByteArray, int> m_commandTags; ///< by topic for commands
};

} // namespace kvgateway
