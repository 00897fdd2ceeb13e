// SPDX-License-Identifier: MIT
// Which requests something applies to: by command word, by device range, or all of them.
#pragma once

#include "devices/device_span.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kvsim
{

/// What a request asks for, as far as filters look at it.
struct Asked {
    std::string_view word;
    std::optional<DeviceSpan> span;
};

struct RequestFilter {
    std::vector<std::string> words; // empty: all of them
    std::optional<DeviceSpan> span; // a request matches if any of its elements lies within

    bool isEmpty() const { return words.empty() && !span; }
    bool matches(const Asked &asked) const;
};

} // namespace kvsim
