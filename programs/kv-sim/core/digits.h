// Plain digits to numbers and back. No blanks, no signs; a number that does not fit is cut to the largest one
// (so that a range check refuses it) instead of wrapping round.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kvsim
{

/// \return false if the text is empty or holds anything but digits
bool decimal(std::string_view text, std::uint32_t &value);
bool decimal(std::string_view text, std::uint64_t &value);
bool hexadecimal(std::string_view text, bool upperOnly, std::uint32_t &value);

std::string toHexadecimal(std::uint32_t value);

/// Digits filled with zeros on the left up to the width.
std::string padded(std::uint64_t value, std::size_t width);
void appendPadded(std::string &text, std::uint64_t value, std::size_t width);

} // namespace kvsim
