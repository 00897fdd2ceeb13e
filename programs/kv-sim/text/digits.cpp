// SPDX-License-Identifier: MIT
// Plain digits to numbers and back.
#include "text/digits.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

namespace kvsim
{
namespace
{

constexpr std::uint64_t largest32 = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint64_t ceiling = std::uint64_t{1} << 59; // 16 times this still fits into 64 bits

int digitOf(char c, bool upperOnly)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    if (!upperOnly && c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return -1;
}

// Clamped to somewhere above `ceiling`.
std::optional<std::uint64_t> number(std::string_view text, unsigned base, bool upperOnly)
{
    if (text.empty())
        return std::nullopt;
    std::uint64_t sum = 0;
    for (const char c : text) {
        const int digit = digitOf(c, upperOnly);
        if (digit < 0 || unsigned(digit) >= base)
            return std::nullopt;
        sum = std::min(sum * base + unsigned(digit), ceiling);
    }
    return sum;
}

std::optional<std::uint32_t> number32(std::string_view text, unsigned base, bool upperOnly)
{
    const auto wide = number(text, base, upperOnly);
    if (!wide)
        return std::nullopt;
    return std::uint32_t(std::min(*wide, largest32));
}

} // namespace

std::optional<std::uint32_t> decimal(std::string_view text)
{
    return number32(text, 10, true);
}

std::optional<std::uint32_t> hexadecimal(std::string_view text, bool upperOnly)
{
    return number32(text, 16, upperOnly);
}

std::optional<std::uint64_t> numberWithin(std::string_view text, std::uint64_t least, std::uint64_t most)
{
    const auto value = number(text, 10, true);
    return value && *value >= least && *value <= most ? value : std::nullopt;
}

std::string toHexadecimal(std::uint32_t value)
{
    std::string text;
    do {
        text.insert(text.begin(), "0123456789ABCDEF"[value % 16]);
        value /= 16;
    } while (value != 0);
    return text;
}

std::string padded(std::uint64_t value, std::size_t width)
{
    std::string text;
    appendPadded(text, value, width);
    return text;
}

void appendPadded(std::string &text, std::uint64_t value, std::size_t width)
{
    std::array<char, std::numeric_limits<std::uint64_t>::digits10 + 1> digits;
    const char *const end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    const auto length = std::size_t(end - digits.data());
    text.append(width > length ? width - length : 0, '0').append(digits.data(), length);
}

} // namespace kvsim
