// SPDX-License-Identifier: MIT
#include "sparkplug_types.h"

#include <kvlink/text.h>

#include <QtEndian>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <limits>

namespace kvgateway
{

namespace
{

struct TypeRow {
    SparkplugType type;
    SparkplugType array; // Unknown: no tag is one
    const char *name;
    int bits; // of a whole number; 0: it is none
    bool isSigned;
};

// clang-format off
constexpr TypeRow types[] = {
    {SparkplugType::Int8,    SparkplugType::Unknown,      "Int8",    8,  true},
    {SparkplugType::Int16,   SparkplugType::Int16Array,   "Int16",   16, true},
    {SparkplugType::Int32,   SparkplugType::Int32Array,   "Int32",   32, true},
    {SparkplugType::Int64,   SparkplugType::Int64Array,   "Int64",   64, true},
    {SparkplugType::UInt8,   SparkplugType::Unknown,      "UInt8",   8,  false},
    {SparkplugType::UInt16,  SparkplugType::UInt16Array,  "UInt16",  16, false},
    {SparkplugType::UInt32,  SparkplugType::UInt32Array,  "UInt32",  32, false},
    {SparkplugType::UInt64,  SparkplugType::Unknown,      "UInt64",  64, false},
    {SparkplugType::Float,   SparkplugType::FloatArray,   "Float",   0,  true},
    {SparkplugType::Double,  SparkplugType::DoubleArray,  "Double",  0,  true},
    {SparkplugType::Boolean, SparkplugType::BooleanArray, "Boolean", 0,  false},
    {SparkplugType::String,  SparkplugType::Unknown,      "String",  0,  false},
};
// clang-format on

constexpr int bitsOfByte = 8;
constexpr int bitsOfLong = 64;

const TypeRow *rowOf(SparkplugType type)
{
    const auto *row = std::find_if(std::begin(types), std::end(types),
                                   [type](const TypeRow &one) { return one.type == type; });
    return row == std::end(types) ? nullptr : row;
}

const TypeRow *rowOfArray(SparkplugType type)
{
    const auto *row = std::find_if(std::begin(types), std::end(types), [type](const TypeRow &one) {
        return one.array == type && type != SparkplugType::Unknown;
    });
    return row == std::end(types) ? nullptr : row;
}

qint64 leastOf(const TypeRow &row)
{
    return row.isSigned ? -(qint64(1) << (row.bits - 1)) : 0;
}

// Of UInt64 what a value here can hold.
qint64 largestOf(const TypeRow &row)
{
    if (row.bits == bitsOfLong)
        return std::numeric_limits<qint64>::max();
    return (qint64(1) << (row.isSigned ? row.bits - 1 : row.bits)) - 1;
}

bool fits(const TypeRow &row, qint64 number)
{
    if (row.bits == bitsOfLong)
        return row.isSigned || number >= 0;
    return number >= leastOf(row) && number <= largestOf(row);
}

// What an address takes, tried: only it knows its range.
bool takes(const kvlink::AddressInfo &address, const char *typed)
{
    QString problem;
    return address.valueFromText(QString::fromLatin1(typed), {}, {}, problem).has_value();
}

SparkplugType wholeType(const TagConfig &tag, UInt32As uint32)
{
    QString problem;
    auto address = kvlink::AddressInfo::parse(tag.settings.address, problem);
    if (address && address->values() > 1)
        address = kvlink::AddressInfo::parse(address->nameOfValue(0), problem);
    if (!address)
        return SparkplugType::Int64;
    const bool isWide = takes(*address, "10000000") || takes(*address, "-40000");
    if (address->kind() == kvlink::ValueKind::Whole && takes(*address, "-1"))
        return isWide ? SparkplugType::Int32 : SparkplugType::Int16;
    if (!isWide)
        return SparkplugType::UInt16;
    return uint32 == UInt32As::Int64 ? SparkplugType::Int64 : SparkplugType::UInt32;
}

SparkplugType scalarType(const TagConfig &tag, UInt32As uint32)
{
    const bool isScaled = tag.settings.scale != 1.0 || tag.settings.offset != 0.0;
    switch (tag.kind) {
    case kvlink::ValueKind::Bit:
        return SparkplugType::Boolean;
    case kvlink::ValueKind::Text:
        return SparkplugType::String;
    case kvlink::ValueKind::Real:
        return isScaled ? SparkplugType::Double : SparkplugType::Float;
    case kvlink::ValueKind::Whole:
    case kvlink::ValueKind::Hex:
        break;
    }
    return isScaled ? SparkplugType::Double : wholeType(tag, uint32);
}

std::optional<double> realOf(const kvlink::Value &value)
{
    if (const auto *real = std::get_if<double>(&value))
        return *real;
    if (const auto *whole = std::get_if<qint64>(&value))
        return double(*whole);
    return std::nullopt;
}

SparkplugValue wholeValue(const TypeRow &row, qint64 number, UInt32As as)
{
    const bool isLong =
        row.bits == bitsOfLong || (row.type == SparkplugType::UInt32 && as != UInt32As::IntValue);
    if (isLong)
        return quint64(number);
    return quint32(qint32(number & 0xffffffff)); // negative ones with all 32 bits
}

SparkplugValue scalarValue(const TypeRow &row, const kvlink::Value &value, UInt32As as)
{
    if (const auto *whole = std::get_if<qint64>(&value); whole != nullptr && row.bits > 0)
        return fits(row, *whole) ? wholeValue(row, *whole, as) : SparkplugValue();
    if (const auto real = realOf(value); real && row.type == SparkplugType::Float)
        return float(*real);
    if (const auto real = realOf(value); real && row.type == SparkplugType::Double)
        return *real;
    if (const auto *bit = std::get_if<bool>(&value); bit != nullptr && row.type == SparkplugType::Boolean)
        return *bit;
    if (const auto *text = std::get_if<QString>(&value); text != nullptr && row.type == SparkplugType::String)
        return *text;
    return {};
}

int bytesOf(const TypeRow &row)
{
    if (row.bits > 0)
        return row.bits / bitsOfByte;
    return row.type == SparkplugType::Float ? int(sizeof(float)) : int(sizeof(double));
}

// The low bytes of a number, the lowest one first.
void appendLittle(QByteArray &out, quint64 number, int bytes)
{
    std::array<char, sizeof number> all{};
    qToLittleEndian(number, all.data());
    out.append(all.data(), bytes);
}

quint64 littleAt(const QByteArray &bytes, int at, int count)
{
    std::array<char, sizeof(quint64)> all{};
    std::copy_n(bytes.constData() + at, count, all.begin());
    return qFromLittleEndian<quint64>(all.data());
}

// Their number in 4 bytes, then 8 in a byte, from the high bit on.
std::optional<QByteArray> packedBits(const std::vector<kvlink::Scalar> &list)
{
    QByteArray out;
    appendLittle(out, list.size(), int(sizeof(quint32)));
    for (std::size_t i = 0; i < list.size(); ++i) {
        const bool *bit = std::get_if<bool>(&list[i]);
        if (bit == nullptr)
            return std::nullopt;
        if (i % bitsOfByte == 0)
            out += '\0';
        if (*bit)
            out.back() = char(uchar(out.back()) | (0x80U >> (i % bitsOfByte)));
    }
    return out;
}

std::optional<QByteArray> packed(const TypeRow &row, const std::vector<kvlink::Scalar> &list)
{
    if (row.type == SparkplugType::Boolean)
        return packedBits(list);
    QByteArray out;
    for (const kvlink::Scalar &scalar : list) {
        const kvlink::Value value = std::visit([](const auto &one) { return kvlink::Value(one); }, scalar);
        const auto *whole = std::get_if<qint64>(&value);
        const auto real = realOf(value);
        quint64 bits = 0;
        if (row.bits > 0 && whole != nullptr && fits(row, *whole)) {
            bits = quint64(*whole);
        } else if (row.bits == 0 && real && row.type == SparkplugType::Float) {
            bits = std::bit_cast<quint32>(float(*real));
        } else if (row.bits == 0 && real) {
            bits = std::bit_cast<quint64>(*real);
        } else {
            return std::nullopt;
        }
        appendLittle(out, bits, bytesOf(row));
    }
    return out;
}

// A number as some writers send it: with all bits of the field, or with those of its type alone.
std::optional<qint64> numberOf(const SparkplugValue &value, const TypeRow &row)
{
    const auto *narrow = std::get_if<quint32>(&value);
    const auto *wide = std::get_if<quint64>(&value);
    if (narrow == nullptr && wide == nullptr)
        return std::nullopt;
    const quint64 bits = narrow != nullptr ? *narrow : *wide;
    if (!row.isSigned)
        return bits <= quint64(largestOf(row)) ? std::optional(qint64(bits)) : std::nullopt;
    const qint64 whole = narrow != nullptr ? qint64(qint32(*narrow)) : qint64(bits);
    if (fits(row, whole))
        return whole;
    const bool isOfItsWidth = row.bits < bitsOfLong && bits < (quint64(1) << row.bits);
    return isOfItsWidth ? std::optional(qint64(bits) - (qint64(1) << row.bits)) : std::nullopt;
}

// What a Float holds of it.
std::optional<double> realOf(const SparkplugValue &value, const TypeRow &row)
{
    const auto *narrow = std::get_if<float>(&value);
    const auto *wide = std::get_if<double>(&value);
    if (narrow == nullptr && wide == nullptr)
        return std::nullopt;
    const double real = narrow != nullptr ? double(*narrow) : *wide;
    if (row.type != SparkplugType::Float || narrow != nullptr || !std::isfinite(real))
        return real;
    const bool fits = std::fabs(real) <= double(std::numeric_limits<float>::max());
    return fits ? std::optional(double(float(real))) : std::nullopt;
}

std::optional<kvlink::Value> scalarOfCommand(const SparkplugMetric &metric, const TypeRow &row)
{
    if (row.bits > 0) {
        const TypeRow *named = metric.type ? rowOf(*metric.type) : nullptr;
        const bool isWhole = named == nullptr || named->bits > 0;
        const auto number = isWhole ? numberOf(metric.value, named == nullptr ? row : *named) : std::nullopt;
        return number && fits(row, *number) ? std::optional(kvlink::Value(*number)) : std::nullopt;
    }
    if (const auto *bit = std::get_if<bool>(&metric.value);
        bit != nullptr && row.type == SparkplugType::Boolean)
        return *bit;
    if (const auto *text = std::get_if<QString>(&metric.value);
        text != nullptr && row.type == SparkplugType::String)
        return *text;
    const bool isReal = row.type == SparkplugType::Float || row.type == SparkplugType::Double;
    const auto real = isReal ? realOf(metric.value, row) : std::nullopt;
    return real ? std::optional(kvlink::Value(*real)) : std::nullopt;
}

std::optional<std::vector<kvlink::Scalar>> unpackedBits(const QByteArray &bytes)
{
    constexpr auto head = int(sizeof(quint32));
    if (bytes.size() < head)
        return std::nullopt;
    const quint64 count = littleAt(bytes, 0, head);
    if (quint64(bytes.size() - head) != (count + bitsOfByte - 1) / bitsOfByte)
        return std::nullopt;
    std::vector<kvlink::Scalar> list;
    for (quint64 i = 0; i < count; ++i) {
        const auto eight = uchar(bytes.at(head + int(i / bitsOfByte)));
        list.emplace_back((eight & (0x80U >> (i % bitsOfByte))) != 0);
    }
    return list;
}

std::optional<std::vector<kvlink::Scalar>> unpacked(const QByteArray &bytes, const TypeRow &row)
{
    if (row.type == SparkplugType::Boolean)
        return unpackedBits(bytes);
    const int size = bytesOf(row);
    if (bytes.isEmpty() || bytes.size() % size != 0)
        return std::nullopt;
    std::vector<kvlink::Scalar> list;
    for (int at = 0; at < int(bytes.size()); at += size) {
        const quint64 bits = littleAt(bytes, at, size);
        if (row.bits > 0) {
            const auto number = numberOf(SparkplugValue(bits), row);
            if (!number)
                return std::nullopt;
            list.emplace_back(*number);
        } else if (row.type == SparkplugType::Float) {
            list.emplace_back(double(std::bit_cast<float>(quint32(bits))));
        } else {
            list.emplace_back(std::bit_cast<double>(bits));
        }
    }
    return list;
}

std::optional<kvlink::Value> arrayOfCommand(const SparkplugMetric &metric, const TypeRow &row)
{
    const auto *bytes = std::get_if<QByteArray>(&metric.value);
    const bool isOther = metric.type && *metric.type != row.array;
    if (bytes == nullptr || isOther)
        return std::nullopt;
    auto list = unpacked(*bytes, row);
    return list ? std::optional(kvlink::Value(std::move(*list))) : std::nullopt;
}

QString shown(const SparkplugValue &value)
{
    if (const auto *narrow = std::get_if<quint32>(&value))
        return QString::number(*narrow);
    if (const auto *wide = std::get_if<quint64>(&value))
        return QString::number(*wide);
    if (const auto *real = std::get_if<double>(&value))
        return QString::number(*real);
    if (const auto *real = std::get_if<float>(&value))
        return QString::number(double(*real));
    if (const auto *text = std::get_if<QString>(&value))
        return QLatin1Char('"') + *text + QLatin1Char('"');
    if (const auto *bit = std::get_if<bool>(&value))
        return *bit ? QStringLiteral("true") : QStringLiteral("false");
    return QStringLiteral("what it holds");
}

} // namespace

SparkplugType sparkplugTypeOf(const TagConfig &tag, UInt32As uint32)
{
    const SparkplugType type = scalarType(tag, uint32);
    const TypeRow *row = rowOf(type);
    return tag.count > 1 && row != nullptr && row->array != SparkplugType::Unknown ? row->array : type;
}

bool setSparkplugValue(SparkplugMetric &metric, const kvlink::Value &value, SparkplugType type, UInt32As as)
{
    SparkplugValue wanted;
    const TypeRow *row = rowOf(type);
    const TypeRow *rowOfItems = rowOfArray(type);
    const auto *list = std::get_if<std::vector<kvlink::Scalar>>(&value);
    if (row != nullptr)
        wanted = scalarValue(*row, value, as);
    else if (rowOfItems != nullptr && list != nullptr) {
        if (auto bytes = packed(*rowOfItems, *list))
            wanted = std::move(*bytes);
    }
    // A list with a gap is no list of its type.
    const bool hasGap = list != nullptr && std::any_of(list->begin(), list->end(),
                                                       [](const auto &one) { return one.index() == 0; });
    const bool isNull = value.index() == 0 || hasGap;
    if (wanted.index() == 0 && !isNull)
        return false;
    metric.type = type;
    metric.isNull = isNull;
    metric.value = std::move(wanted);
    return true;
}

std::optional<kvlink::Value> valueOfCommand(const SparkplugMetric &metric, SparkplugType type,
                                            QString &problem)
{
    const TypeRow *row = rowOf(type);
    const TypeRow *rowOfItems = rowOfArray(type);
    std::optional<kvlink::Value> value;
    if (metric.isNull || metric.value.index() == 0) {
        problem = QStringLiteral("there is no value in it");
        return std::nullopt;
    }
    if (row != nullptr)
        value = scalarOfCommand(metric, *row);
    else if (rowOfItems != nullptr)
        value = arrayOfCommand(metric, *rowOfItems);
    if (!value)
        problem = QStringLiteral("%1%2 does not fit %3")
                      .arg(shown(metric.value),
                           metric.type ? QStringLiteral(" as ") + sparkplugTypeName(*metric.type) : QString(),
                           sparkplugTypeName(type));
    return value;
}

QString sparkplugTypeName(SparkplugType type)
{
    if (const TypeRow *row = rowOf(type))
        return QString::fromLatin1(row->name);
    if (const TypeRow *row = rowOfArray(type))
        return QString::fromLatin1(row->name) + QStringLiteral("Array");
    return QStringLiteral("type %1").arg(quint32(type));
}

} // namespace kvgateway
