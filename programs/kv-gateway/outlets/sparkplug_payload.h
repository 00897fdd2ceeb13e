// SPDX-License-Identifier: MIT
// A Sparkplug B message as plain records, to bytes and back.
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>
#include <variant>
#include <vector>

namespace kvgateway
{

/// Numbers as they go over the wire.
enum class SparkplugType : quint32 {
    Unknown = 0,
    Int8 = 1,
    Int16 = 2,
    Int32 = 3,
    Int64 = 4,
    UInt8 = 5,
    UInt16 = 6,
    UInt32 = 7,
    UInt64 = 8,
    Float = 9,
    Double = 10,
    Boolean = 11,
    String = 12,
    Int16Array = 23,
    Int32Array = 24,
    Int64Array = 25,
    UInt16Array = 27,
    UInt32Array = 28,
    FloatArray = 30,
    DoubleArray = 31,
    BooleanArray = 32,
};

/// By the field that carries it: int_value, long_value, float_value, double_value,
/// boolean_value, string_value, bytes_value.
using SparkplugValue =
    std::variant<std::monostate, quint32, quint64, float, double, bool, QString, QByteArray>;

/// How far a value may be trusted: property "Quality".
enum class SparkplugQuality : quint32 { Bad = 0, Good = 192, Stale = 500 };

struct SparkplugMetric {
    QString name; ///< empty: its alias says which one it is
    std::optional<quint64> alias;
    std::optional<quint64> timestamp; ///< of the value, ms since 1970, UTC
    std::optional<SparkplugType> type;
    bool isHistorical = false; ///< it must not become the live value
    bool isNull = false;       ///< there is no value
    SparkplugValue value;
    std::optional<SparkplugQuality> quality; ///< none: good
};

struct SparkplugPayload {
    std::optional<quint64> timestamp; ///< of sending, ms since 1970, UTC
    std::vector<SparkplugMetric> metrics;
    std::optional<quint64> seq;
};

QByteArray encodeSparkplug(const SparkplugPayload &payload);

/// Fields that are not known are left out.
/// \return none: that is not such a message
std::optional<SparkplugPayload> decodeSparkplug(const QByteArray &bytes);

} // namespace kvgateway
