// SPDX-License-Identifier: MIT
// Ranges of what a place can hold, and of what the driver can send.
#include "model/value_bits.h"

#include "model/number_text.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

namespace kvlink
{

namespace
{

constexpr quint32 topBit = 0x80000000U;
constexpr double largestHexadecimal = 0x1p53; // up to here a double holds every whole number

struct Span {
    double lowest, highest;
};

// What the raw value of a whole-number format may be.
Span spanOf(const Place &place)
{
    const bool wide = place.element == Element::DoubleWord || place.elementsPerValue() == 2;
    switch (place.format) {
    case Format::Signed:
        return {double(INT16_MIN), double(INT16_MAX)};
    case Format::Long:
        return {double(INT32_MIN), double(INT32_MAX)};
    default:
        return {0.0, wide ? double(UINT32_MAX) : double(UINT16_MAX)};
    }
}

// As it is typed into this place.
QString typedText(const Writing &w, double number)
{
    const bool hexadecimal = w.place.format == Format::Hex && !w.isScaled();
    if (hexadecimal && number >= 0.0 && number <= largestHexadecimal)
        return QString::number(qint64(number), 16).toUpper();
    return numberText(number);
}

QString rangeText(const Writing &w)
{
    const Span raw = spanOf(w.place);
    const double one = raw.lowest * w.scale + w.offset;
    const double other = raw.highest * w.scale + w.offset;
    return QStringLiteral("%1 to %2")
        .arg(typedText(w, std::min(one, other)), typedText(w, std::max(one, other)));
}

std::optional<quint32> bitsOfBit(Writing &w, const QString &name, double number)
{
    if (number == 0.0 || number == 1.0)
        return quint32(number);
    return fail(w, QStringLiteral("%1 is neither 0 nor 1, and %2 is a bit").arg(numberText(number), name));
}

std::optional<quint32> bitsOfWhole(Writing &w, const QString &name, double number, double raw)
{
    const double step = std::round(raw);
    if (step != raw && !w.isScaled()) {
        return fail(w, QStringLiteral("%1 is not a whole number, and %2 takes one (%3)")
                           .arg(numberText(number), name, rangeText(w)));
    }
    const Span span = spanOf(w.place);
    if (step >= span.lowest && step <= span.highest)
        return quint32(qint64(step));
    const bool large = (step > span.highest) == (w.scale > 0);
    return fail(w, QStringLiteral("%1 is too %2 for %3 (%4)")
                       .arg(typedText(w, number), large ? QStringLiteral("large") : QStringLiteral("small"),
                            name, rangeText(w)));
}

std::optional<quint32> bitsOfFloat(Writing &w, const QString &name, double number, double raw)
{
    // Half a step above the largest float: "3.4028235e+38", as that float is shown, is
    // a little above it.
    constexpr double beyond = 0x1.ffffffp127;
    constexpr auto largest = double(std::numeric_limits<float>::max());
    if (std::abs(raw) < beyond)
        return std::bit_cast<quint32>(float(std::clamp(raw, -largest, largest)));
    return fail(w,
                QStringLiteral("%1 is beyond what the 32-bit float %2 holds").arg(numberText(number), name));
}

} // namespace

std::optional<quint32> bitsOfNumber(Writing &w, const QString &name, double number)
{
    if (!std::isfinite(number))
        return fail(w, QStringLiteral("%1 takes finite numbers only").arg(name));
    if (w.place.format == Format::Bit)
        return bitsOfBit(w, name, number);
    if (w.scale == 0.0)
        return fail(w, QStringLiteral("%1 has the scale 0: no number can be written with it").arg(name));
    const double raw = (number - w.offset) / w.scale;
    const auto bits = w.place.format == Format::Float ? bitsOfFloat(w, name, number, raw)
                                                      : bitsOfWhole(w, name, number, raw);
    // The driver writes double words as signed numbers, and a PLC refuses a minus sign after .D.
    if (bits && w.place.element == Element::DoubleWord && (*bits & topBit) != 0) {
        return fail(w, QStringLiteral(
                           "%1 cannot be written to %2: the driver sends 32-bit numbers from 0 to 2147483647 "
                           "only, others would get a minus sign")
                           .arg(typedText(w, number), name));
    }
    return bits;
}

} // namespace kvlink
