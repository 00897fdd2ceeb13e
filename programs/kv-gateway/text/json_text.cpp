// SPDX-License-Identifier: MIT
#include "json_text.h"

#include "time_text.h"

#include <QJsonArray>
#include <QLocale>

#include <cmath>
#include <type_traits>

namespace kvgateway
{

namespace
{

constexpr char firstPrintable = 0x20;
constexpr double largestWhole = 9007199254740992.0; // 2^53: beyond, a double skips whole numbers

void appendEscaped(QByteArray &out, char c)
{
    static const char digits[] = "0123456789abcdef";
    if (c == '"' || c == '\\') {
        out += '\\';
        out += c;
    } else if (c == '\n') {
        out += "\\n";
    } else if (uchar(c) < uchar(firstPrintable)) {
        out += "\\u00";
        out += digits[uchar(c) >> 4];
        out += digits[uchar(c) & 0xF];
    } else {
        out += c;
    }
}

void appendNumber(QByteArray &out, double number)
{
    if (std::isfinite(number))
        out += QByteArray::number(number, 'g', QLocale::FloatingPointShortest);
    else
        out += "null";
}

// Of a scalar, and of a value: the value has one more kind, a list.
template <typename Variant>
void appendAny(QByteArray &out, const Variant &value)
{
    std::visit(
        [&out](const auto &held) {
            using Held = std::decay_t<decltype(held)>;
            if constexpr (std::is_same_v<Held, std::monostate>) {
                out += "null";
            } else if constexpr (std::is_same_v<Held, bool>) {
                out += held ? "true" : "false";
            } else if constexpr (std::is_same_v<Held, qint64>) {
                out += QByteArray::number(held);
            } else if constexpr (std::is_same_v<Held, double>) {
                appendNumber(out, held);
            } else if constexpr (std::is_same_v<Held, QString>) {
                appendJson(out, held);
            } else {
                out += '[';
                for (std::size_t i = 0; i < held.size(); ++i) {
                    if (i > 0)
                        out += ',';
                    appendAny(out, held[i]);
                }
                out += ']';
            }
        },
        value);
}

template <typename Variant>
QJsonValue anyJson(const Variant &value)
{
    return std::visit(
        [](const auto &held) -> QJsonValue {
            using Held = std::decay_t<decltype(held)>;
            if constexpr (std::is_same_v<Held, std::monostate>) {
                return {QJsonValue::Null};
            } else if constexpr (std::is_same_v<Held, double>) {
                return std::isfinite(held) ? QJsonValue(held) : QJsonValue(QJsonValue::Null);
            } else if constexpr (std::is_same_v<Held, std::vector<kvlink::Scalar>>) {
                QJsonArray list;
                for (const kvlink::Scalar &scalar : held)
                    list.append(anyJson(scalar));
                return list;
            } else {
                return QJsonValue(held);
            }
        },
        value);
}

template <typename Variant>
std::optional<Variant> plainFromJson(const QJsonValue &json)
{
    if (json.isBool())
        return Variant(json.toBool());
    if (json.isString() && json.toString().isValidUtf16())
        return Variant(json.toString());
    if (!json.isDouble())
        return std::nullopt;
    const double number = json.toDouble();
    if (number == std::floor(number) && std::abs(number) <= largestWhole)
        return Variant(qint64(number));
    return Variant(number);
}

// It would be written to the PLC as a question mark.
QString halfACharacter()
{
    return QStringLiteral("the text has half a character: \\ud800 to \\udfff come in pairs");
}

} // namespace

void appendJson(QByteArray &out, const QString &text)
{
    out += '"';
    const QByteArray bytes = text.toUtf8();
    for (const char c : bytes)
        appendEscaped(out, c);
    out += '"';
}

void appendJson(QByteArray &out, const kvlink::Value &value)
{
    appendAny(out, value);
}

void appendSample(QByteArray &out, const kvlink::Sample &sample)
{
    out += "\"value\":";
    appendAny(out, sample.value);
    out += R"(,"quality":")";
    out += kvlink::qualityName(sample.quality).toLatin1();
    out += '"';
    if (sample.quality == kvlink::Quality::Bad) {
        out += ",\"reason\":";
        appendJson(out, sample.reasonText());
    }
    if (sample.time != kvlink::WallTime{}) {
        out += R"(,"time":")";
        out += timeText(sample.time).toLatin1();
        out += '"';
    }
}

QJsonValue jsonValue(const kvlink::Value &value)
{
    return anyJson(value);
}

std::optional<kvlink::Scalar> scalarFromJson(const QJsonValue &json)
{
    return plainFromJson<kvlink::Scalar>(json);
}

std::optional<kvlink::Value> valueFromJson(const QJsonValue &json, QString &problem)
{
    if (!json.isArray()) {
        auto value = plainFromJson<kvlink::Value>(json);
        if (!value)
            problem =
                json.isString()
                    ? halfACharacter()
                    : QStringLiteral("the value must be true, false, a number, a text or a list of these");
        return value;
    }
    std::vector<kvlink::Scalar> list;
    const QJsonArray array = json.toArray();
    for (const auto &one : array) {
        const auto scalar = scalarFromJson(one);
        if (!scalar) {
            problem = one.isString()
                          ? halfACharacter()
                          : QStringLiteral("a list of values may hold true, false, numbers and texts only");
            return std::nullopt;
        }
        list.push_back(*scalar);
    }
    return kvlink::Value(std::move(list));
}

} // namespace kvgateway
