// SPDX-License-Identifier: MIT
// Conversions of a sample's value.
#include "model/number_text.h"

#include <kvlink/sample.h>

#include <QStringList>
#include <QVariantList>

#include <cmath>
#include <limits>

namespace kvlink
{

namespace
{

Scalar firstOf(const Value &value)
{
    if (const auto *list = std::get_if<std::vector<Scalar>>(&value))
        return list->empty() ? Scalar() : list->front();
    if (const bool *bit = std::get_if<bool>(&value))
        return *bit;
    if (const qint64 *whole = std::get_if<qint64>(&value))
        return *whole;
    if (const double *real = std::get_if<double>(&value))
        return *real;
    if (const QString *text = std::get_if<QString>(&value))
        return *text;
    return {};
}

// NaN for what is not a number; a text counts as the number that it spells.
double numberOf(const Scalar &scalar)
{
    if (const bool *bit = std::get_if<bool>(&scalar))
        return *bit ? 1.0 : 0.0;
    if (const qint64 *whole = std::get_if<qint64>(&scalar))
        return double(*whole);
    if (const double *real = std::get_if<double>(&scalar))
        return *real;
    const QString *text = std::get_if<QString>(&scalar);
    bool good = false;
    const double number = text != nullptr ? text->toDouble(&good) : 0.0;
    return good ? number : std::numeric_limits<double>::quiet_NaN();
}

// To the nearest; what no qint64 holds becomes the nearest that it does.
qint64 nearestWhole(double number)
{
    constexpr double limit = 9223372036854775808.0; // 2^63
    if (std::isnan(number))
        return 0;
    if (number >= limit)
        return std::numeric_limits<qint64>::max();
    if (number < -limit)
        return std::numeric_limits<qint64>::min();
    return qint64(std::round(number));
}

QString scalarText(const Scalar &scalar)
{
    if (const bool *bit = std::get_if<bool>(&scalar))
        return *bit ? QStringLiteral("1") : QStringLiteral("0");
    if (const qint64 *whole = std::get_if<qint64>(&scalar))
        return QString::number(*whole);
    if (const double *real = std::get_if<double>(&scalar))
        return numberText(*real);
    const QString *text = std::get_if<QString>(&scalar);
    return text != nullptr ? *text : QString();
}

QVariant scalarVariant(const Scalar &scalar)
{
    if (const bool *bit = std::get_if<bool>(&scalar))
        return *bit;
    if (const qint64 *whole = std::get_if<qint64>(&scalar))
        return qlonglong(*whole);
    if (const double *real = std::get_if<double>(&scalar))
        return *real;
    const QString *text = std::get_if<QString>(&scalar);
    return text != nullptr ? QVariant(*text) : QVariant();
}

} // namespace

bool Sample::toBool() const
{
    const double number = toDouble();
    return !std::isnan(number) && number != 0.0;
}

qint64 Sample::toInt() const
{
    const Scalar first = firstOf(value);
    if (const qint64 *whole = std::get_if<qint64>(&first))
        return *whole;
    return nearestWhole(numberOf(first));
}

double Sample::toDouble() const
{
    return numberOf(firstOf(value));
}

QString Sample::toText() const
{
    const auto *list = std::get_if<std::vector<Scalar>>(&value);
    if (list == nullptr)
        return scalarText(firstOf(value));
    QStringList texts;
    for (const Scalar &scalar : *list)
        texts << scalarText(scalar);
    return texts.join(QLatin1Char(','));
}

QVariant Sample::toVariant() const
{
    const auto *list = std::get_if<std::vector<Scalar>>(&value);
    if (list == nullptr)
        return scalarVariant(firstOf(value));
    QVariantList variants;
    for (const Scalar &scalar : *list)
        variants << scalarVariant(scalar);
    return variants;
}

QString Sample::reasonText() const
{
    if (quality != Quality::Bad)
        return {};
    if (reason == Reason::PlcError)
        return QStringLiteral("the PLC answered E%1").arg(plcError);
    return kvlink::reasonText(reason);
}

} // namespace kvlink
