// SPDX-License-Identifier: MIT
#include "home_assistant.h"

#include <kvlink/text.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>

namespace kvgateway
{

namespace
{

// What ids may have there.
QString idOf(const QString &text)
{
    QString id;
    for (const QChar c : text) {
        const bool isPlain = c.unicode() < 0x80 && (c.isLetterOrNumber() || c == '-');
        // Others by their number, so that no two names become one id.
        id += isPlain ? QString(c) : QStringLiteral("_%1_").arg(c.unicode(), 0, 16);
    }
    return id;
}

QString kindOf(const MqttConfig &config, const TagConfig &tag)
{
    QString problem;
    const auto address = kvlink::AddressInfo::parse(tag.settings.address, problem);
    const bool isWritten = config.commands && tag.settings.access != kvlink::Access::ReadOnly;
    if (address && address->isBit() && address->values() == 1)
        return isWritten ? QStringLiteral("switch") : QStringLiteral("binary_sensor");
    return isWritten && tag.min && tag.max ? QStringLiteral("number") : QStringLiteral("sensor");
}

QJsonArray availability(const MqttTopics &topics, const QString &plc)
{
    QJsonArray all;
    for (const QByteArray &topic : {topics.status(), topics.statusOf(plc)})
        all.append(QJsonObject{{QStringLiteral("topic"), QString::fromUtf8(topic)}});
    return all;
}

QString nodeOf(const MqttConfig &config)
{
    return QStringLiteral("kv-") + idOf(config.site);
}

QByteArray topicFor(const MqttConfig &config, const TagConfig &tag)
{
    return QStringLiteral("%1/%2/%3/%4/config")
        .arg(config.homeAssistant, kindOf(config, tag), nodeOf(config), idOf(tag.name))
        .toUtf8();
}

MqttMessage messageFor(const MqttConfig &config, const MqttTopics &topics, const TagConfig &tag)
{
    const QString kind = kindOf(config, tag);
    const QString plc = tag.name.section('.', 0, 0);
    const QString node = nodeOf(config);
    const QString id = idOf(tag.name);
    const TagTopics of = topics.of(tag.name);
    QJsonObject object{
        {QStringLiteral("name"), tag.name.section('.', 1)},
        {QStringLiteral("unique_id"), QString(node + '-' + id)},
        {QStringLiteral("state_topic"), QString::fromUtf8(of.live)},
        {QStringLiteral("availability"), availability(topics, plc)},
        {QStringLiteral("availability_mode"), QStringLiteral("all")},
        {QStringLiteral("device"),
         QJsonObject{{QStringLiteral("identifiers"), QJsonArray{QString(node + '-' + idOf(plc))}},
                     {QStringLiteral("name"), QString(config.site + ' ' + plc)}}}};
    const bool isBit = kind == QLatin1String("switch") || kind == QLatin1String("binary_sensor");
    object[QStringLiteral("value_template")] =
        isBit ? QStringLiteral("{{ 'true' if value_json.value else 'false' }}")
              : QStringLiteral("{{ value_json.value }}");
    if (isBit) {
        object[QStringLiteral("payload_on")] = QStringLiteral("true");
        object[QStringLiteral("payload_off")] = QStringLiteral("false");
    } else if (!tag.settings.unit.isEmpty()) {
        object[QStringLiteral("unit_of_measurement")] = tag.settings.unit;
    }
    if (kind == QLatin1String("switch") || kind == QLatin1String("number"))
        object[QStringLiteral("command_topic")] = QString::fromUtf8(MqttTopics::commandOf(of));
    if (kind == QLatin1String("number")) {
        object[QStringLiteral("min")] = *tag.min;
        object[QStringLiteral("max")] = *tag.max;
    }
    MqttMessage message;
    message.topic = topicFor(config, tag);
    message.payload = QJsonDocument(object).toJson(QJsonDocument::Compact);
    message.isRetained = true;
    return message;
}

} // namespace

std::vector<MqttMessage> discoveryMessages(const MqttConfig &config, const MqttTopics &topics)
{
    std::vector<MqttMessage> messages;
    if (config.homeAssistant.isEmpty())
        return messages;
    for (const TagConfig &tag : topics.tags())
        messages.push_back(messageFor(config, topics, tag));
    return messages;
}

std::vector<MqttMessage> discoveryChange(const MqttConfig &config, const MqttTopics &before,
                                         const MqttTopics &now)
{
    std::vector<MqttMessage> messages = discoveryMessages(config, now);
    if (config.homeAssistant.isEmpty())
        return messages;
    QSet<QByteArray> kept;
    for (const MqttMessage &message : messages)
        kept.insert(message.topic);
    for (const TagConfig &tag : before.tags()) {
        const QByteArray topic = topicFor(config, tag);
        if (!kept.contains(topic))
            messages.push_back({topic, {}, true, 0, {}});
    }
    return messages;
}

} // namespace kvgateway
