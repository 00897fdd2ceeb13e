// SPDX-License-Identifier: MIT
// Consecutive elements of one device.
#include "devices/device_span.h"

#include <algorithm>
#include <limits>

namespace kvsim
{
namespace
{

constexpr std::uint32_t largestElement = std::numeric_limits<std::uint32_t>::max();

// The number after a device name; the name may be left out where the device is already known.
std::optional<std::uint32_t> elementOfDevice(std::string_view text, const Device &device)
{
    if (const Device *named = deviceAtStartOf(text)) {
        if (named != &device)
            return std::nullopt;
        text.remove_prefix(std::string_view(named->name).size());
    }
    const ElementNumber number = elementFromText(device.notation, text);
    return number.error == NumberError::None ? std::optional(number.element) : std::nullopt;
}

} // namespace

DeviceSpan spanOfValues(const Device &device, std::uint32_t first, std::uint32_t count, Format format)
{
    const std::uint64_t elements = std::uint64_t{count} * elementsPerValue(device, format);
    return {&device, first, std::uint32_t(std::min<std::uint64_t>(first + elements - 1, largestElement))};
}

bool overlap(const DeviceSpan &a, const DeviceSpan &b)
{
    return a.device == b.device && a.first <= b.last && b.first <= a.last;
}

std::optional<DeviceSpan> spanFromText(std::string_view text, Family family)
{
    const Device *device = deviceAtStartOf(text);
    const auto range = device ? rangeOf(*device, family) : std::nullopt;
    if (!range)
        return std::nullopt;
    if (text == device->name)
        return DeviceSpan{device, range->first, range->last};
    const std::size_t dash = text.find('-');
    const auto first = elementOfDevice(text.substr(0, dash), *device);
    const auto last =
        dash == std::string_view::npos ? first : elementOfDevice(text.substr(dash + 1), *device);
    if (!first || !last || *first > *last || *first < range->first || *last > range->last)
        return std::nullopt;
    return DeviceSpan{device, *first, *last};
}

} // namespace kvsim
