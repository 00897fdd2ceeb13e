#include "digits.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

namespace kvsim
{
namespace
{

constexpr std::uint64_t largest32 = std::numeric_limits<std::uint32_t>::max();
constexpr std::uint64_t ceiling64 = std::uint64_t{1} << 60; // ten times this still fits into 64 bits

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

bool number(std::string_view text, int base, bool upperOnly, std::uint64_t &value)
{
    if (text.empty())
        return false;
    std::uint64_t sum = 0;
    for (const char c : text) {
        const int digit = digitOf(c, upperOnly);
        if (digit < 0 || digit >= base)
            return false;
        sum = std::min(sum, ceiling64 / static_cast<std::uint64_t>(base)) * static_cast<std::uint64_t>(base) +
              static_cast<std::uint64_t>(digit);
    }
    value = sum;
    return true;
}

bool number32(std::string_view text, int base, bool upperOnly, std::uint32_t &value)
{
    std::uint64_t wide = 0;
    if (!number(text, base, upperOnly, wide))
        return false;
    value = static_cast<std::uint32_t>(std::min(wide, largest32));
    return true;
}

} // namespace

bool decimal(std::string_view text, std::uint32_t &value)
{
    return number32(text, 10, true, value);
}

bool decimal(std::string_view text, std::uint64_t &value)
{
    return number(text, 10, true, value);
}

bool hexadecimal(std::string_view text, bool upperOnly, std::uint32_t &value)
{
    return number32(text, 16, upperOnly, value);
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
    const auto length = static_cast<std::size_t>(end - digits.data());
    text.append(width > length ? width - length : 0, '0').append(digits.data(), length);
}

} // namespace kvsim
