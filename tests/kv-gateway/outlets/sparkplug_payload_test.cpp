// SPDX-License-Identifier: MIT
// Bytes of Sparkplug B, worked out by hand from the numbers of its fields, and values in its types.
#include "outlets/sparkplug_payload.h"
#include "outlets/sparkplug_types.h"

#include "conformance.h"

#include <gtest/gtest.h>

#include <cmath>

namespace kvgateway
{
namespace
{

std::string hex(const QByteArray &bytes)
{
    return bytes.toHex(' ').toStdString();
}

TEST(SparkplugPayload, anEmptyOneStillHasItsNumberAndTime)
{
    // Field 1 is the time, field 3 the number; each as a varint.
    EXPECT_EQ(hex(encodeSparkplug({1000, {}, 0})), "08 e8 07 18 00");
    EXPECT_EQ(hex(encodeSparkplug({})), "");
}

TEST(SparkplugPayload, aBirthMetricHasEverything)
{
    SparkplugMetric metric;
    metric.name = "speed";
    metric.alias = 7;
    metric.timestamp = 1;
    metric.type = SparkplugType::Int16;
    metric.value = quint32(qint32(-2));
    // 0a name, 10 alias, 18 time, 20 type, 50 int_value: all 32 bits of a negative number
    EXPECT_EQ(hex(encodeSparkplug({{}, {metric}, {}})),
              "12 13 0a 05 73 70 65 65 64 10 07 18 01 20 02 50 fe ff ff ff 0f");
}

TEST(SparkplugPayload, aStoredBadValueSaysSo)
{
    SparkplugMetric metric;
    metric.alias = 7;
    metric.isHistorical = true;
    metric.isNull = true;
    metric.quality = SparkplugQuality::Stale;
    // 28 historical, 38 null, 4a properties: a key, and a value of type 3 (Int32) with 500
    EXPECT_EQ(hex(encodeSparkplug({{}, {metric}, {}})),
              "12 18 10 07 28 01 38 01 4a 10 0a 07 51 75 61 6c 69 74 79 12 05 08 03 18 f4 03");
    conforms("P:propertyset-keys-array-size P:propertyset-values-array-size P:metric-propertyvalue-type-type "
             "P:metric-propertyvalue-type-value P:metric-propertyvalue-type-req "
             "P:propertyset-quality-value-type P:propertyset-quality-value-value");
}

TEST(SparkplugPayload, whatWasWrittenIsReadAgain)
{
    const SparkplugValue values[] = {quint32(5),         quint64(1) << 40,     1.5F, 2.5, true,
                                     QString("\u00b0C"), QByteArray("\0\1", 2)};
    SparkplugPayload payload{1'777'881'600'000, {}, 255};
    for (const SparkplugValue &value : values) {
        SparkplugMetric metric;
        metric.name = "x";
        metric.value = value;
        metric.quality = SparkplugQuality::Bad;
        payload.metrics.push_back(metric);
    }
    const auto read = decodeSparkplug(encodeSparkplug(payload));
    ASSERT_TRUE(read && read->metrics.size() == std::size(values));
    EXPECT_EQ(read->timestamp, 1'777'881'600'000U);
    EXPECT_EQ(read->seq, 255U);
    for (std::size_t i = 0; i < std::size(values); ++i) {
        EXPECT_EQ(read->metrics[i].value, values[i]) << i;
        EXPECT_EQ(read->metrics[i].quality, SparkplugQuality::Bad);
    }
}

TEST(SparkplugPayload, otherBytesAreNone)
{
    EXPECT_FALSE(decodeSparkplug("{\"value\":1}"));
    EXPECT_FALSE(decodeSparkplug(QByteArray::fromHex("1213 0a05 73"))) << "cut off";
    EXPECT_TRUE(decodeSparkplug(QByteArray::fromHex("1800 ba3e 0161"))) << "a field that is not known";
}

struct TypeRow {
    const char *address;
    double scale;
    UInt32As as;
    SparkplugType type;
};

TEST(SparkplugTypes, followTheFormatOfTheAddress)
{
    using enum SparkplugType;
    constexpr auto byLong = UInt32As::LongValue;
    const TypeRow rows[] = {
        {"DM100", 1, byLong, UInt16},
        {"DM100.S", 1, byLong, Int16},
        {"DM100.D", 1, byLong, UInt32},
        {"DM100.D", 1, UInt32As::Int64, Int64},
        {"DM100.L", 1, byLong, Int32},
        {"DM100.H", 1, byLong, UInt16},
        {"DM100.F", 1, byLong, Float},
        {"DM100.F", 0.5, byLong, Double},
        {"DM100.S", 0.1, byLong, Double},
        {"R500", 1, byLong, Boolean},
        {"DM100.5", 1, byLong, Boolean},
        {"DM100.STR:8", 1, byLong, String},
        {"DM100:10", 1, byLong, UInt16Array},
        {"DM100.L:2", 1, byLong, Int32Array},
        {"DM100.F:2", 1, byLong, FloatArray},
        {"R500-R507", 1, byLong, BooleanArray},
        {"DM100:2", 0.1, byLong, DoubleArray},
        {"T5", 1, byLong, Boolean},
        {"TC5", 1, byLong, UInt32},
    };
    for (const TypeRow &row : rows) {
        QString problem;
        const auto address = kvlink::AddressInfo::parse(row.address, problem);
        ASSERT_TRUE(address) << row.address;
        TagConfig tag;
        tag.settings.address = row.address;
        tag.settings.scale = row.scale;
        tag.kind = address->kind();
        tag.count = address->values();
        EXPECT_EQ(sparkplugTypeName(sparkplugTypeOf(tag, row.as)).toStdString(),
                  sparkplugTypeName(row.type).toStdString())
            << row.address;
    }
    conforms("P:metric-datatype-value-type P:metric-datatype-value");
}

struct ValueRow {
    SparkplugType type;
    kvlink::Value value;
    SparkplugValue sent;
    UInt32As as = UInt32As::LongValue;
};

TEST(SparkplugTypes, valuesGoInTheirField)
{
    using enum SparkplugType;
    using List = std::vector<kvlink::Scalar>;
    const ValueRow rows[] = {
        {UInt16, qint64(65535), quint32(65535)},
        {Int16, qint64(-1), quint32(0xffffffff)},
        {Int32, qint64(-2147483648LL), quint32(0x80000000)},
        {UInt32, qint64(4294967295LL), quint64(4294967295)},
        {UInt32, qint64(4294967295LL), quint32(4294967295), UInt32As::IntValue},
        {Int64, qint64(-1), quint64(0xffffffffffffffff)},
        {Float, 1.5, 1.5F},
        {Double, 0.1, 0.1},
        {Boolean, true, true},
        {String, QString("text"), QString("text")},
        {UInt16Array, List{qint64(1), qint64(0x0203)}, QByteArray::fromHex("01000302")},
        {Int32Array, List{qint64(-2)}, QByteArray::fromHex("feffffff")},
        {FloatArray, List{1.0}, QByteArray::fromHex("0000803f")},
        {DoubleArray, List{1.0}, QByteArray::fromHex("000000000000f03f")},
        // Their number, then the first one in the high bit.
        {BooleanArray, List{true, false, true}, QByteArray::fromHex("03000000a0")},
    };
    for (const ValueRow &row : rows) {
        SparkplugMetric metric;
        EXPECT_TRUE(setSparkplugValue(metric, row.value, row.type, row.as));
        EXPECT_EQ(metric.value, row.sent) << sparkplugTypeName(row.type).toStdString();
        EXPECT_EQ(metric.type, row.type);
        QString problem;
        EXPECT_EQ(valueOfCommand(metric, row.type, problem), row.value) << problem.toStdString();
    }
}

TEST(SparkplugTypes, whatDoesNotFitIsNotSent)
{
    using enum SparkplugType;
    SparkplugMetric metric;
    EXPECT_FALSE(setSparkplugValue(metric, qint64(40000), Int16, UInt32As::LongValue));
    EXPECT_FALSE(setSparkplugValue(metric, 1.5, Int16, UInt32As::LongValue));
    EXPECT_FALSE(setSparkplugValue(metric, QString("5"), Boolean, UInt32As::LongValue));
    EXPECT_FALSE(setSparkplugValue(metric, qint64(5), UInt16Array, UInt32As::LongValue));
    EXPECT_FALSE(metric.type);
    EXPECT_TRUE(setSparkplugValue(metric, {}, Int16, UInt32As::LongValue));
    EXPECT_TRUE(metric.isNull && metric.value.index() == 0) << "no value yet";
    const std::vector<kvlink::Scalar> gap{qint64(1), {}};
    EXPECT_TRUE(setSparkplugValue(metric, gap, UInt16Array, UInt32As::LongValue));
    EXPECT_TRUE(metric.isNull) << "a list with a gap";
}

struct CommandRow {
    SparkplugType tag;
    std::optional<SparkplugType> named;
    SparkplugValue sent;
    std::optional<kvlink::Value> value;
    const char *problem = "";
};

TEST(SparkplugTypes, aCommandIsReadByItsTypeAndFitsThatOfTheTag)
{
    using enum SparkplugType;
    const CommandRow rows[] = {
        {Int16, {}, quint32(0xfffffffe), qint64(-2)},
        {Int16, {}, quint32(0xfffe), qint64(-2)}, // some writers send the 16 bits alone
        {Int16, {}, quint64(5), qint64(5)},
        {Int16, Int64, quint64(0xfffffffffffffffe), qint64(-2)},
        {Int16, Int32, quint32(40000), {}, "40000 as Int32 does not fit Int16"},
        {Int16, Float, 1.0F, {}, "1 as Float does not fit Int16"},
        {Int16, String, QString("5"), {}, "\"5\" as String does not fit Int16"},
        {UInt16, {}, quint32(65536), {}, "65536 does not fit UInt16"},
        {UInt16, Int32, quint32(0xffffffff), {}, "4294967295 as Int32 does not fit UInt16"},
        {UInt32, {}, quint32(4294967295), qint64(4294967295LL)},
        {UInt32, {}, quint64(4294967295), qint64(4294967295LL)},
        {UInt32, {}, quint64(4294967296), {}, "4294967296 does not fit UInt32"},
        {Int64, UInt64, quint64(0x8000000000000000), {}, "9223372036854775808 as UInt64 does not fit Int64"},
        {Double, Float, 0.5F, 0.5},
        {Float, {}, 0.5, 0.5},
        {Float, {}, 0.1, double(0.1F)},
        {Float, {}, 1e40, {}, "1e+40 does not fit Float"},
        {Double, Int32, quint32(5), {}, "5 as Int32 does not fit Double"},
        {Boolean, {}, true, true},
        {Boolean, {}, quint32(1), {}, "1 does not fit Boolean"},
        {String, {}, QString("text"), QString("text")},
        {UInt16Array, {}, QByteArray::fromHex("0100"), std::vector<kvlink::Scalar>{qint64(1)}},
        {UInt16Array, {}, QByteArray::fromHex("010002"), {}, "what it holds does not fit UInt16Array"},
        {BooleanArray, {}, QByteArray::fromHex("0900000080"), {}, "what it holds does not fit BooleanArray"},
        {UInt16Array,
         Int16Array,
         QByteArray::fromHex("0100"),
         {},
         "what it holds as Int16Array does not fit UInt16Array"},
        {Int16, {}, {}, {}, "there is no value in it"},
    };
    for (const CommandRow &row : rows) {
        SparkplugMetric metric;
        metric.type = row.named;
        metric.value = row.sent;
        QString problem;
        EXPECT_EQ(valueOfCommand(metric, row.tag, problem), row.value);
        EXPECT_EQ(problem.toStdString(), row.problem);
    }
    conforms("C:ncmd-metric-value C:dcmd-metric-value");
}

} // namespace
} // namespace kvgateway
