#include "value_text.h"

#include "digits.h"

namespace kvsim
{
namespace
{

void appendSigned(std::string &text, std::int64_t value, std::size_t digits)
{
    text += value < 0 ? '-' : '+';
    appendPadded(text, static_cast<std::uint64_t>(value < 0 ? -value : value), digits);
}

void appendHexadecimal(std::string &text, std::uint32_t value)
{
    const std::string digits = toHexadecimal(value);
    text.append(digits.size() < 4 ? 4 - digits.size() : 0, '0').append(digits);
}

std::int64_t signExtended(std::uint32_t value, bool wide)
{
    return wide ? std::int64_t{static_cast<std::int32_t>(value)}
                : std::int64_t{static_cast<std::int16_t>(static_cast<std::uint16_t>(value))};
}

bool signedFromText(std::string_view text, bool wide, std::uint32_t &value)
{
    const bool minus = text.substr(0, 1) == "-";
    if (minus || text.substr(0, 1) == "+")
        text.remove_prefix(1);
    std::uint64_t magnitude = 0;
    if (!decimal(text, magnitude))
        return false;
    const std::uint64_t half = wide ? 0x80000000U : 0x8000U;
    if (magnitude > (minus ? half : half - 1))
        return false;
    const auto bits = static_cast<std::uint32_t>(magnitude);
    const std::uint32_t mask = wide ? 0xFFFFFFFFU : 0xFFFFU;
    value = (minus ? 0U - bits : bits) & mask;
    return true;
}

bool unsignedFromText(std::string_view text, bool wide, bool negativeWraps, std::uint32_t &value)
{
    if (negativeWraps && text.substr(0, 1) == "-")
        return signedFromText(text, wide, value);
    std::uint64_t number = 0;
    if (!decimal(text, number) || number > (wide ? 0xFFFFFFFFU : 0xFFFFU))
        return false;
    value = static_cast<std::uint32_t>(number);
    return true;
}

bool hexFromText(std::string_view text, bool upperOnly, std::uint32_t &value)
{
    return hexadecimal(text, upperOnly, value) && value <= 0xFFFFU;
}

bool bitFromText(std::string_view text, std::uint32_t &value)
{
    value = text == "1" ? 1 : 0;
    return text == "1" || text == "0";
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

void appendTimer(std::string &text, const TimerCells &timer, bool blanks)
{
    const char between = blanks ? ' ' : ',';
    text += timer.contact ? '1' : '0';
    text += between;
    appendPadded(text, timer.current, 10);
    text += between;
    appendPadded(text, timer.set, 10);
}

bool valueFromText(std::string_view text, Format format, const Rules &rules, std::uint32_t &value)
{
    switch (format) {
    case Format::Bit:
        return bitFromText(text, value);
    case Format::U:
    case Format::D:
        return unsignedFromText(text, format == Format::D, rules.negativeWraps, value);
    case Format::S:
    case Format::L:
        return signedFromText(text, format == Format::L, value);
    case Format::H:
        return hexFromText(text, rules.upperOnly, value);
    }
    return false;
}

bool formatFromLetter(char letter, Format &format)
{
    switch (letter) {
    case 'U':
        format = Format::U;
        return true;
    case 'S':
        format = Format::S;
        return true;
    case 'D':
        format = Format::D;
        return true;
    case 'L':
        format = Format::L;
        return true;
    case 'H':
        format = Format::H;
        return true;
    default:
        return false;
    }
}

} // namespace kvsim
