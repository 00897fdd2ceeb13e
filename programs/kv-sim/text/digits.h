// SPDX-License-Identifier: MIT
// Plain digits to numbers and back: no spaces, no signs.
//
// The readers of commands clamp a number that does not fit to the largest one, so that a range
// check refuses it. `numberWithin` is for everything that a person configures: it refuses such
// a number itself.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kvsim
{

/// \return nothing if the text is empty or has anything but digits; 4294967295 for larger numbers
std::optional<std::uint32_t> decimal(std::string_view text);

/// The same for hexadecimal digits.
/// \param upperOnly  refuses 'a' to 'f'
std::optional<std::uint32_t> hexadecimal(std::string_view text, bool upperOnly);

/// \return nothing if the text is not digits, or the number is not within least and most
std::optional<std::uint64_t> numberWithin(std::string_view text, std::uint64_t least, std::uint64_t most);

/// 431 is "1AF".
std::string toHexadecimal(std::uint32_t value);

/// Digits with leading zeros up to the width: 5 with width 3 is "005".
std::string padded(std::uint64_t value, std::size_t width);
void appendPadded(std::string &text, std::uint64_t value, std::size_t width);

} // namespace kvsim
