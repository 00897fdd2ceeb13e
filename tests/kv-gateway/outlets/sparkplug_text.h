// SPDX-License-Identifier: MIT
// Messages of Sparkplug B as lines that people read, for transcripts. Times count from the start
// of the test's clock.
//
//     DBIRTH/gw/a seq 1 at 0
//       speed #4 UInt16 = 7 at 0
//     DDATA/gw/a seq 2 at 5
//       #4 = 8 at 5, historical, quality 500
#pragma once

#include "outlets/mqtt_client.h"
#include "outlets/sparkplug_types.h"

#include "store/fake_clock.h"

namespace kvgateway
{

inline std::string shownValue(const SparkplugMetric &metric)
{
    if (metric.isNull)
        return metric.value.index() == 0 ? "null" : "null with a value";
    const SparkplugValue &value = metric.value;
    if (const auto *narrow = std::get_if<quint32>(&value))
        return std::to_string(*narrow);
    if (const auto *wide = std::get_if<quint64>(&value))
        return std::to_string(*wide);
    if (const auto *real = std::get_if<double>(&value))
        return QString::number(*real).toStdString();
    if (const auto *real = std::get_if<float>(&value))
        return QString::number(double(*real)).toStdString() + "f";
    if (const auto *bit = std::get_if<bool>(&value))
        return *bit ? "true" : "false";
    if (const auto *text = std::get_if<QString>(&value))
        return text->startsWith("kv-gateway ") ? "the version" : "\"" + text->toStdString() + "\"";
    if (const auto *bytes = std::get_if<QByteArray>(&value))
        return bytes->toHex(' ').toStdString();
    return "neither null nor a value";
}

inline std::string shownMetric(const SparkplugMetric &metric)
{
    std::string line = " ";
    if (!metric.name.isEmpty())
        line += " " + metric.name.toStdString();
    if (metric.alias)
        line += " #" + std::to_string(*metric.alias);
    if (metric.type)
        line += " " + sparkplugTypeName(*metric.type).toStdString();
    line += " = " + shownValue(metric);
    if (metric.timestamp)
        line += " at " + std::to_string(qint64(*metric.timestamp) - startMs);
    if (metric.isHistorical)
        line += ", historical";
    if (metric.quality)
        line += ", quality " + std::to_string(int(*metric.quality));
    return line + "\n";
}

/// \param message under spBv1.0/plant1
inline std::string shownMessage(const MqttMessage &message)
{
    if (message.asksReceipt)
        return "receipt\n";
    std::string topic = message.topic.toStdString();
    if (topic.rfind("spBv1.0/plant1/", 0) == 0)
        topic = topic.substr(sizeof "spBv1.0/plant1/" - 1);
    if (message.qos == MqttQos::AtLeastOnce)
        topic += " (QoS 1)";
    if (message.isRetained)
        topic += " (retained)";
    const auto payload = decodeSparkplug(message.payload);
    if (!payload)
        return topic + " is no Sparkplug\n";
    if (payload->seq)
        topic += " seq " + std::to_string(*payload->seq);
    if (payload->timestamp)
        topic += " at " + std::to_string(qint64(*payload->timestamp) - startMs);
    topic += "\n";
    for (const SparkplugMetric &metric : payload->metrics)
        topic += shownMetric(metric);
    return topic;
}

} // namespace kvgateway
