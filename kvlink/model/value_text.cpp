// SPDX-License-Identifier: MIT
// Values as people type and read them. What is shown can be typed.
//
// On purpose: a hexadecimal place with a scale or an offset has decimal numbers, shown and typed;
// they are no longer the bits of a word.
#include "model/number_text.h"
#include "model/scaling.h"
#include "model/value_codec.h"

#include <QStringList>

#include <cmath>

namespace kvlink
{

namespace
{

// What a typed number means.
struct Typing {
    const Place &place;
    bool hexadecimal; // digits without 0x
    bool real;        // a float, or whatever has a scale
    QString problem;
};

std::optional<Scalar> bitFromText(const QString &typed)
{
    const QString word = typed.toLower();
    if (word == QLatin1String("1") || word == QLatin1String("on") || word == QLatin1String("true"))
        return Scalar(true);
    if (word == QLatin1String("0") || word == QLatin1String("off") || word == QLatin1String("false"))
        return Scalar(false);
    return std::nullopt;
}

std::optional<Scalar> fromDigits(const QString &typed, int base)
{
    bool good = false;
    const qint64 whole = typed.toLongLong(&good, base);
    return good ? std::optional<Scalar>(whole) : std::nullopt;
}

// After 0x a sign has no meaning.
std::optional<Scalar> fromPrefixed(const QString &digits)
{
    const bool isSigned = digits.startsWith(QLatin1Char('-')) || digits.startsWith(QLatin1Char('+'));
    return isSigned ? std::nullopt : fromDigits(digits, 16);
}

std::optional<Scalar> fromNumber(const QString &typed)
{
    if (auto whole = fromDigits(typed, 10))
        return whole;
    bool good = false;
    const double real = typed.toDouble(&good);
    return good && std::isfinite(real) ? std::optional<Scalar>(real) : std::nullopt;
}

QString expected(const Typing &t)
{
    if (t.place.format == Format::Bit)
        return QStringLiteral("takes 0, 1, on or off");
    if (t.hexadecimal)
        return QStringLiteral("takes hexadecimal digits, such as 1F");
    return QStringLiteral("takes a number, such as %1")
        .arg(t.real ? QStringLiteral("1.5") : QStringLiteral("15"));
}

std::optional<Scalar> scalarFromText(Typing &t, const QString &typed)
{
    std::optional<Scalar> scalar;
    if (t.place.format == Format::Bit)
        scalar = bitFromText(typed);
    if (!scalar && typed.startsWith(QLatin1String("0x"), Qt::CaseInsensitive))
        scalar = fromPrefixed(typed.mid(2));
    else if (!scalar)
        scalar = t.hexadecimal ? fromDigits(typed, 16) : fromNumber(typed);
    if (scalar && t.real && std::holds_alternative<qint64>(*scalar))
        return Scalar(double(std::get<qint64>(*scalar)));
    if (!scalar)
        t.problem = QStringLiteral("'%1' is not valid: %2 %3").arg(typed, t.place.name(), expected(t));
    return scalar;
}

QString hexadecimalText(const Place &place, qint64 number)
{
    const int digits = place.element == Element::DoubleWord ? 8 : 4;
    return QStringLiteral("%1").arg(number, digits, 16, QLatin1Char('0')).toUpper();
}

QString scalarText(const Place &place, const Scalar &scalar)
{
    if (const bool *bit = std::get_if<bool>(&scalar))
        return *bit ? QStringLiteral("1") : QStringLiteral("0");
    if (const qint64 *whole = std::get_if<qint64>(&scalar))
        return place.format == Format::Hex ? hexadecimalText(place, *whole) : QString::number(*whole);
    if (const double *real = std::get_if<double>(&scalar))
        return numberText(*real);
    const QString *text = std::get_if<QString>(&scalar);
    return text != nullptr ? *text : QString();
}

} // namespace

std::optional<Value> valueFromText(const Place &place, const QString &typed, double scale, double offset,
                                   QString &problem)
{
    if (place.format == Format::Text)
        return Value(typed);
    const bool scaled = isScaled(scale, offset);
    const bool real = place.format == Format::Float || (scaled && place.format != Format::Bit);
    Typing typing{place, place.format == Format::Hex && !scaled, real, {}};
    const QStringList texts = typed.split(QLatin1Char(','));
    std::vector<Scalar> scalars;
    for (const QString &text : texts) {
        const auto scalar = scalarFromText(typing, text.trimmed());
        if (!scalar) {
            problem = typing.problem;
            return std::nullopt;
        }
        scalars.push_back(*scalar);
    }
    if (scalars.size() != 1)
        return Value(std::move(scalars));
    return std::visit([](const auto &one) { return Value(one); }, scalars.front());
}

QString shown(const Place &place, const Value &value)
{
    if (const auto *list = std::get_if<std::vector<Scalar>>(&value)) {
        QStringList texts;
        for (const Scalar &scalar : *list)
            texts << scalarText(place, scalar);
        return texts.join(QLatin1Char(','));
    }
    if (const bool *bit = std::get_if<bool>(&value))
        return scalarText(place, *bit);
    if (const qint64 *whole = std::get_if<qint64>(&value))
        return scalarText(place, *whole);
    if (const double *real = std::get_if<double>(&value))
        return scalarText(place, *real);
    const QString *text = std::get_if<QString>(&value);
    return text != nullptr ? *text : QString();
}

} // namespace kvlink
