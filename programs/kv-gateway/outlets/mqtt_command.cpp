// SPDX-License-Identifier: MIT
#include "mqtt_command.h"

#include "text/json_text.h"
#include "text/time_text.h"

#include <kvlink/text.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QUuid>

#include <algorithm>

namespace kvgateway
{

namespace
{

using namespace std::chrono_literals;

constexpr auto largestCommand = 64 * 1024;
constexpr double longestExpiry = 3600; // seconds
constexpr kvlink::Duration clocksDiffer = 2s;

kvlink::Duration secondsOf(double seconds)
{
    return std::chrono::duration_cast<kvlink::Duration>(std::chrono::duration<double>(seconds));
}

// Reads one message; the first problem counts.
class CommandReader
{
public:
    CommandReader(const MqttReceived &message, const QString &tag, kvlink::WallTime now)
        : m_message(message), m_now(now)
    {
        m_command.order.tag = tag;
        m_command.order.correlation = QUuid::createUuid().toString(QUuid::WithoutBraces);
    }

    MqttCommand read()
    {
        if (m_message.payload.size() > largestCommand)
            refuse(QStringLiteral("a command has at most 64 KiB"));
        else
            takeJson();
        // After the correlation, so that the answer finds who asked.
        if (m_message.isRetained)
            m_command.problem = QStringLiteral("a retained command would be carried out again with each "
                                               "connection: send it without retain");
        return std::move(m_command);
    }

private:
    void refuse(const QString &why)
    {
        if (m_command.problem.isEmpty())
            m_command.problem = why;
    }

    void takeJson()
    {
        // In a list, since older parsers take no value alone.
        QJsonParseError error{};
        const QJsonArray list = QJsonDocument::fromJson("[" + m_message.payload + "]", &error).array();
        if (error.error != QJsonParseError::NoError || list.size() != 1)
            return refuse(QStringLiteral("that is not JSON: send 1200, true, \"text\" or "
                                         "{\"value\":1200,\"correlation\":\"order-7\"}"));
        if (!list.at(0).isObject())
            return takeValue(list.at(0));
        const QJsonObject object = list.at(0).toObject();
        takeCorrelation(object);
        takeValue(object.value(QStringLiteral("value")));
        takeAge(object);
        static const QStringList known{"value", "correlation", "time", "expires"};
        for (const QString &key : object.keys()) {
            if (!known.contains(key)) {
                const QString near = kvlink::nearestName(key, known);
                refuse(QStringLiteral("unknown key \"%1\"").arg(key) +
                       (near.isEmpty() ? QString() : QStringLiteral("; did you mean \"%1\"?").arg(near)));
            }
        }
    }

    void takeValue(const QJsonValue &json)
    {
        QString problem;
        if (auto value = valueFromJson(json, problem))
            m_command.order.value = std::move(*value);
        else
            refuse(problem);
        takeExpiry(std::chrono::duration<double>(m_command.order.expires).count());
    }

    void takeCorrelation(const QJsonObject &object)
    {
        static const QRegularExpression shape(QStringLiteral("^[A-Za-z0-9._:-]{1,100}$"));
        if (!object.contains(QStringLiteral("correlation")))
            return;
        const QString typed = object.value(QStringLiteral("correlation")).toString();
        if (shape.match(typed).hasMatch())
            m_command.order.correlation = typed;
        else
            refuse(QStringLiteral("correlation must have 1 to 100 letters, digits and . _ : -"));
    }

    // Of MQTT 5, the seconds that the broker says are left.
    void takeExpiry(double seconds)
    {
        if (m_message.expiry)
            seconds = std::min(seconds, double(*m_message.expiry));
        m_command.order.expires = secondsOf(seconds);
        if (m_command.order.expires <= kvlink::Duration(0))
            refuse(QStringLiteral("the command has expired"));
    }

    void takeAge(const QJsonObject &object)
    {
        const QJsonValue expires = object.value(QStringLiteral("expires"));
        if (!expires.isUndefined()) {
            const double seconds = expires.toDouble(-1);
            if (!(seconds > 0 && seconds <= longestExpiry))
                return refuse(QStringLiteral("expires must be above 0 and at most 3600 (seconds)"));
            takeExpiry(seconds);
        }
        if (!object.contains(QStringLiteral("time")))
            return;
        QString problem;
        const auto time = timeFromText(object.value(QStringLiteral("time")).toString(), problem);
        if (!time)
            return refuse(QStringLiteral("time: ") + problem);
        const kvlink::Duration age = m_now - *time;
        if (age < -clocksDiffer)
            refuse(
                QStringLiteral("the time of the command lies %1 ahead of this gateway's: compare the clocks")
                    .arg(kvlink::durationText(-age)));
        else if (age >= m_command.order.expires)
            refuse(QStringLiteral("the command has expired: it is %1 old").arg(kvlink::durationText(age)));
        else
            m_command.order.expires -= std::max(age, kvlink::Duration(0));
    }

    const MqttReceived &m_message;
    const kvlink::WallTime m_now;
    MqttCommand m_command;
};

} // namespace

MqttCommand readCommand(const MqttReceived &message, const QString &tag, kvlink::WallTime now)
{
    return CommandReader(message, tag, now).read();
}

QByteArray answerText(const WriteReport &report)
{
    QJsonObject object{{QStringLiteral("correlation"), report.order.correlation},
                       {QStringLiteral("tag"), report.order.tag},
                       {QStringLiteral("outcome"), kvlink::outcomeName(report.outcome)},
                       {QStringLiteral("text"), report.text}};
    if (report.reason != kvlink::Reason::None)
        object[QStringLiteral("reason")] = kvlink::reasonText(report.reason);
    if (report.time != kvlink::WallTime{})
        object[QStringLiteral("time")] = timeText(report.time);
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

} // namespace kvgateway
