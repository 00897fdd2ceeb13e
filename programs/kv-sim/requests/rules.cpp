// SPDX-License-Identifier: MIT
// Which count is the largest.
#include "requests/rules.h"

namespace kvsim
{

std::uint32_t Rules::mostValues(const Device &device, Format format) const
{
    for (const char *key : {device.name, ""})
        if (const auto found = mostByDevice.find(key); found != mostByDevice.end())
            return found->second;
    return is32Bit(format) ? device.most32 : device.most16;
}

} // namespace kvsim
