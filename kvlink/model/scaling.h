// SPDX-License-Identifier: MIT
// What is shown against what the PLC holds.
#pragma once

namespace kvlink
{

/// shown = raw * scale + offset
inline bool isScaled(double scale, double offset)
{
    return scale != 1.0 || offset != 0.0;
}

} // namespace kvlink
