// SPDX-License-Identifier: MIT
// Values as text, in both directions.
#include "text/value_text.h"

#include "text/digits.h"

namespace kvsim
{
namespace
{

constexpr std::uint32_t largest16 = 0xFFFFU;
constexpr std::uint32_t largest32 = 0xFFFFFFFFU;

void appendSigned(std::string &text, std::int64_t value, std::size_t digits)
{
    text += value < 0 ? '-' : '+';
    appendPadded(text, std::uint64_t(value < 0 ? -value : value), digits);
}

void appendHexadecimal(std::string &text, std::uint32_t value)
{
    const std::string digits = toHexadecimal(value);
    text.append(digits.size() < 4 ? 4 - digits.size() : 0, '0').append(digits);
}

std::int64_t signExtended(std::uint32_t value, bool wide)
{
    return wide ? std::int64_t{std::int32_t(value)} : std::int64_t{std::int16_t(std::uint16_t(value))};
}

std::optional<std::uint32_t> signedFromText(std::string_view text, bool wide)
{
    const bool minus = text.substr(0, 1) == "-";
    if (minus || text.substr(0, 1) == "+")
        text.remove_prefix(1);
    const std::uint64_t half = wide ? 0x80000000U : 0x8000U;
    const auto magnitude = numberWithin(text, 0, minus ? half : half - 1);
    if (!magnitude)
        return std::nullopt;
    const auto bits = std::uint32_t(*magnitude);
    return (minus ? 0U - bits : bits) & (wide ? largest32 : largest16);
}

std::optional<std::uint32_t> unsignedFromText(std::string_view text, bool wide, bool negativeWraps)
{
    if (negativeWraps && text.substr(0, 1) == "-")
        return signedFromText(text, wide);
    const auto value = numberWithin(text, 0, wide ? largest32 : largest16);
    if (!value)
        return std::nullopt;
    return std::uint32_t(*value);
}

std::optional<std::uint32_t> hexFromText(std::string_view text, bool upperOnly)
{
    const auto value = hexadecimal(text, upperOnly);
    return value && *value <= largest16 ? value : std::nullopt;
}

std::optional<std::uint32_t> bitFromText(std::string_view text)
{
    if (text != "0" && text != "1")
        return std::nullopt;
    return text == "1" ? 1U : 0U;
}

} // namespace

void appendValue(std::string &text, std::uint32_t value, Format format)
{
    switch (format) {
    case Format::Bit:
        text += value != 0 ? '1' : '0';
        return;
    case Format::U:
        return appendPadded(text, value, 5);
    case Format::S:
        return appendSigned(text, signExtended(value, false), 5);
    case Format::D:
        return appendPadded(text, value, 10);
    case Format::L:
        return appendSigned(text, signExtended(value, true), 10);
    case Format::H:
        return appendHexadecimal(text, value);
    }
}

std::optional<std::uint32_t> valueFromText(std::string_view text, Format format, const ValueRules &rules)
{
    switch (format) {
    case Format::Bit:
        return bitFromText(text);
    case Format::U:
    case Format::D:
        return unsignedFromText(text, is32Bit(format), rules.negativeWraps);
    case Format::S:
    case Format::L:
        return signedFromText(text, is32Bit(format));
    case Format::H:
        return hexFromText(text, rules.upperOnly);
    }
    return std::nullopt;
}

std::optional<Format> formatFromLetter(char letter)
{
    switch (letter) {
    case 'U':
        return Format::U;
    case 'S':
        return Format::S;
    case 'D':
        return Format::D;
    case 'L':
        return Format::L;
    case 'H':
        return Format::H;
    default:
        return std::nullopt;
    }
}

bool is32Bit(Format format)
{
    return format == Format::D || format == Format::L;
}

} // namespace kvsim
