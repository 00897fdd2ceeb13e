// SPDX-License-Identifier: MIT
// Numbers in the replies of the PLC.
#pragma once

#include <QtGlobal>

#include <limits>
#include <utility>

/// Value of a decimal field, exactly as QByteArray::toInt converts it, with spaces around it and
/// signs; 0 for what does not convert, such as "0x1", "" or "4294967295".
/// Example: "   12" is 12, "-0001" is -1.
int decimalField(const char *text, int length);

/// 0..9 for a digit, more for any other character.
constexpr unsigned digitOf(char character)
{
    return static_cast<unsigned char>(character) - unsigned('0');
}

constexpr qint64 tenToThe(int power)
{
    qint64 value = 1;
    for (int i = 0; i < power; ++i)
        value *= 10;
    return value;
}

/// The fast path is for fields of digits alone, and nearly all are.
template <int... at>
bool digitsAlone(const char *text, std::integer_sequence<int, at...> /*positions*/)
{
    return ((digitOf(text[at]) <= 9) && ...);
}

/// The value of digits. Each digit has its own weight, so that none waits for the one before it.
template <int... at>
qint64 valueOfDigits(const char *text, std::integer_sequence<int, at...> /*positions*/)
{
    constexpr int last = int(sizeof...(at)) - 1;
    return ((digitOf(text[at]) * tenToThe(last - at)) + ...);
}

/// Value of a field whose width is known beforehand. qint64 holds any digits of that width.
template <int width>
int decimalField(const char *text) requires(width <= 18)
{
    constexpr auto positions = std::make_integer_sequence<int, width>();
    if (!digitsAlone(text, positions))
        return decimalField(text, width);
    const qint64 value = valueOfDigits(text, positions);
    return value <= std::numeric_limits<int>::max() ? int(value) : 0;
}
