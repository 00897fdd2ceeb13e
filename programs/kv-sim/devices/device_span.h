// SPDX-License-Identifier: MIT
// Consecutive elements of one device: "DM100-DM199", "R1000", or all of "T".
#pragma once

#include "devices/device_table.h"

#include <optional>
#include <string_view>

namespace kvsim
{

struct DeviceSpan {
    const Device *device = nullptr;
    std::uint32_t first = 0;
    std::uint32_t last = 0;
};

/// The elements that so many values take, from the first one on.
DeviceSpan spanOfValues(const Device &device, std::uint32_t first, std::uint32_t count, Format format);

bool overlap(const DeviceSpan &a, const DeviceSpan &b);

/// \return nothing if the text is not such a range, the range is backwards, or the family
/// does not have
///         all of it
std::optional<DeviceSpan> spanFromText(std::string_view text, Family family);

} // namespace kvsim
