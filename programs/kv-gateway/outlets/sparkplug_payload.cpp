// SPDX-License-Identifier: MIT
#include "sparkplug_payload.h"

#include "sparkplug_b.pb.h"

namespace kvgateway
{

namespace
{

constexpr char qualityKey[] = "Quality";

struct ValueWriter {
    wire::Metric &to;

    void operator()(std::monostate /*none*/) const {}
    void operator()(quint32 value) const { to.set_int_value(value); }
    void operator()(quint64 value) const { to.set_long_value(value); }
    void operator()(float value) const { to.set_float_value(value); }
    void operator()(double value) const { to.set_double_value(value); }
    void operator()(bool value) const { to.set_boolean_value(value); }
    void operator()(const QString &value) const { to.set_string_value(value.toStdString()); }
    void operator()(const QByteArray &value) const { to.set_bytes_value(value.toStdString()); }
};

void write(const SparkplugMetric &metric, wire::Metric &to)
{
    if (!metric.name.isEmpty())
        to.set_name(metric.name.toStdString());
    if (metric.alias)
        to.set_alias(*metric.alias);
    if (metric.timestamp)
        to.set_timestamp(*metric.timestamp);
    if (metric.type)
        to.set_datatype(quint32(*metric.type));
    if (metric.isHistorical)
        to.set_is_historical(true);
    if (metric.isNull)
        to.set_is_null(true);
    std::visit(ValueWriter{to}, metric.value);
    if (!metric.quality)
        return;
    wire::PropertySet &properties = *to.mutable_properties();
    properties.add_keys(qualityKey);
    wire::PropertyValue &quality = *properties.add_values();
    quality.set_type(quint32(SparkplugType::Int32));
    quality.set_int_value(quint32(*metric.quality));
}

SparkplugValue valueOf(const wire::Metric &from)
{
    switch (from.value_case()) {
    case wire::Metric::kIntValue:
        return quint32(from.int_value());
    case wire::Metric::kLongValue:
        return quint64(from.long_value());
    case wire::Metric::kFloatValue:
        return from.float_value();
    case wire::Metric::kDoubleValue:
        return from.double_value();
    case wire::Metric::kBooleanValue:
        return from.boolean_value();
    case wire::Metric::kStringValue:
        return QString::fromStdString(from.string_value());
    case wire::Metric::kBytesValue:
        return QByteArray::fromStdString(from.bytes_value());
    case wire::Metric::VALUE_NOT_SET:
        break;
    }
    return {};
}

std::optional<SparkplugQuality> qualityOf(const wire::PropertySet &properties)
{
    const int count = std::min(properties.keys_size(), properties.values_size());
    for (int i = 0; i < count; ++i) {
        if (properties.keys(i) == qualityKey)
            return SparkplugQuality(properties.values(i).int_value());
    }
    return std::nullopt;
}

SparkplugMetric read(const wire::Metric &from)
{
    SparkplugMetric metric;
    metric.name = QString::fromStdString(from.name());
    if (from.has_alias())
        metric.alias = from.alias();
    if (from.has_timestamp())
        metric.timestamp = from.timestamp();
    if (from.has_datatype())
        metric.type = SparkplugType(from.datatype());
    metric.isHistorical = from.is_historical();
    metric.isNull = from.is_null();
    metric.value = valueOf(from);
    metric.quality = qualityOf(from.properties());
    return metric;
}

} // namespace

QByteArray encodeSparkplug(const SparkplugPayload &payload)
{
    wire::Payload to;
    if (payload.timestamp)
        to.set_timestamp(*payload.timestamp);
    for (const SparkplugMetric &metric : payload.metrics)
        write(metric, *to.add_metrics());
    // On purpose written when it is 0, too: a reader asks whether it is there.
    if (payload.seq)
        to.set_seq(*payload.seq);
    return QByteArray::fromStdString(to.SerializeAsString());
}

std::optional<SparkplugPayload> decodeSparkplug(const QByteArray &bytes)
{
    wire::Payload from;
    if (!from.ParseFromArray(bytes.constData(), int(bytes.size())))
        return std::nullopt;
    SparkplugPayload payload;
    if (from.has_timestamp())
        payload.timestamp = from.timestamp();
    payload.metrics.reserve(std::size_t(from.metrics_size()));
    for (const wire::Metric &metric : from.metrics())
        payload.metrics.push_back(read(metric));
    if (from.has_seq())
        payload.seq = from.seq();
    return payload;
}

} // namespace kvgateway
