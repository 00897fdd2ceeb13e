// SPDX-License-Identifier: MIT
// The fast path of the address parser: nearly all addresses are just a few digits.
#pragma once

#include <QChar>

/// 0..15 for a hexadecimal digit, 16 for any other character.
inline int hexDigitOf(QChar character)
{
    const int code = character.unicode();
    if (code >= '0' && code <= '9')
        return code - '0';
    const int lowerCase = code | 0x20;
    return lowerCase >= 'a' && lowerCase <= 'f' ? lowerCase - 'a' + 10 : 16;
}

constexpr int notPlain = -1;

/// The value of one to seven digits of this base (10 or 16); notPlain if there is anything else in
/// [begin, end), or nothing.
/// Example: "1f3" is 499 in base 16, and notPlain in base 10.
inline int plainNumber(const QChar *begin, const QChar *end, int base)
{
    constexpr int mostDigits = 7; // they fit an int in either base
    if (begin == end || end - begin > mostDigits)
        return notPlain;
    int value = 0;
    for (const QChar *at = begin; at != end; ++at) {
        const int digit = hexDigitOf(*at);
        if (digit >= base)
            return notPlain;
        value = value * base + digit;
    }
    return value;
}
