#include "value_text.h"

#include "digits.h"

namespace kvsim
{
namespace
{

std::string signedText(std::int64_t value, std::size_t digits)
{
    const auto magnitude = static_cast<std::uint64_t>(value < 0 ? -value : value);
    return (value < 0 ? "-" : "+") + padded(magnitude, digits);
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

std::string valueText(std::uint32_t value, Format format)
{
    switch (format) {
    case Format::Bit:
        return value != 0 ? "1" : "0";
    case Format::U:
        return padded(value, 5);
    case Format::S:
        return signedText(signExtended(value, false), 5);
    case Format::D:
        return padded(value, 10);
    case Format::L:
        return signedText(signExtended(value, true), 10);
    case Format::H: {
        const std::string digits = toHexadecimal(value);
        return std::string(digits.size() < 4 ? 4 - digits.size() : 0, '0') + digits;
    }
    }
    return {};
}

std::string timerText(const TimerCells &timer, bool blanks)
{
    const char between = blanks ? ' ' : ',';
    return (timer.contact ? "1" : "0") + std::string(1, between) + padded(timer.current, 10) + between +
           padded(timer.set, 10);
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
