// SPDX-License-Identifier: MIT
#include "sparkplug_command.h"

#include "sparkplug_types.h"

namespace kvgateway
{

namespace
{

QString shownName(const SparkplugMetric &metric)
{
    if (!metric.name.isEmpty() || !metric.alias)
        return metric.name;
    return QStringLiteral("alias %1").arg(*metric.alias);
}

void takeOfNode(const SparkplugMetric &metric, SparkplugOrders &orders)
{
    const bool *isWanted = std::get_if<bool>(&metric.value);
    if (metric.name != QLatin1String(rebirthMetric))
        orders.refusals.push_back(
            {shownName(metric), QStringLiteral("the node has no such metric that can be written")});
    else if (isWanted == nullptr)
        orders.refusals.push_back({metric.name, QStringLiteral("it must be true, a Boolean")});
    else if (*isWanted)
        orders.wantsRebirth = true;
}

void takeOfDevice(const SparkplugMetric &metric, const QString &plc, const SparkplugDevices &devices,
                  SparkplugOrders &orders)
{
    const SparkplugTag *tag = devices.findMetric(plc, metric);
    QString problem;
    if (tag == nullptr)
        orders.refusals.push_back(
            {plc + QLatin1Char('.') + shownName(metric), QStringLiteral("there is no such metric")});
    else if (auto value = valueOfCommand(metric, tag->type, problem))
        orders.writes.push_back({tag->tag, std::move(*value)});
    else
        orders.refusals.push_back({tag->tag, problem});
}

} // namespace

SparkplugOrders readSparkplugCommand(const MqttReceived &message, const QString &plc,
                                     const SparkplugDevices &devices)
{
    SparkplugOrders orders;
    const auto refuse = [&](const char *why) {
        orders.refusals.push_back({QString::fromUtf8(message.topic), QString::fromLatin1(why)});
    };
    if (message.isRetained) {
        // An empty one only clears what the broker kept.
        if (!message.payload.isEmpty())
            refuse("a retained command would be carried out again with each connection: send it without "
                   "retain");
        return orders;
    }
    const auto payload = decodeSparkplug(message.payload);
    if (!payload) {
        refuse("that is not a payload of Sparkplug B");
        return orders;
    }
    for (const SparkplugMetric &metric : payload->metrics) {
        if (plc.isEmpty())
            takeOfNode(metric, orders);
        else
            takeOfDevice(metric, plc, devices, orders);
    }
    return orders;
}

} // namespace kvgateway
