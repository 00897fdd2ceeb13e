// SPDX-License-Identifier: MIT
// Digits of real numbers.
#include "model/number_text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <limits>

namespace kvlink
{

namespace
{

// Between these a number is written without an exponent. As a float: 0.0001F is less than 0.0001.
constexpr double smallestPlain = double(1e-4F);
constexpr double largestPlain = 1e15;

// Scaled values are exact to 15 digits: 3 * 0.1 is 0.3 for people.
constexpr int digitsOfReal = 15;

bool isFloat(double number)
{
    return std::isfinite(number) && std::abs(number) <= double(std::numeric_limits<float>::max()) &&
           double(float(number)) == number;
}

} // namespace

QString numberText(double number)
{
    std::array<char, 64> text{};
    const double size = std::abs(number);
    const bool plain = number == 0.0 || (size >= smallestPlain && size < largestPlain);
    const auto format = plain ? std::chars_format::fixed : std::chars_format::scientific;
    char *end = text.data() + text.size();
    const auto written =
        isFloat(number) ? std::to_chars(text.data(), end, float(number), format)
                        : std::to_chars(text.data(), end, number, std::chars_format::general, digitsOfReal);
    return QString::fromLatin1(text.data(), int(written.ptr - text.data()));
}

} // namespace kvlink
