// SPDX-License-Identifier: MIT
// The device and the number that an address begins with: "DM100" is DM and 100, "R1015" R and 175.
#pragma once

#include "model/device_table.h"

#include <optional>
#include <string_view>

namespace kvlink
{

struct DeviceNumber {
    const Device *device = nullptr;
    int number = 0; ///< in the device's own elements: bits of relays
};

/// \param problem a sentence without the address in front; empty if no device has this name: see
///        nearDeviceText
std::optional<DeviceNumber> deviceNumber(std::string_view text, QString &problem);

/// The number alone, in the notation of \a device.
std::optional<int> numberOf(const Device &device, std::string_view digits, QString &problem);

/// Digits and nothing else; the largest int for more than an int holds.
std::optional<int> plainNumber(std::string_view digits, int base = 10);

/// "DM100" for "D100" and "DN100": the text with the device that was probably meant, or nothing.
QString nearDeviceText(std::string_view text);

} // namespace kvlink
