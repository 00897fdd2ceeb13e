// SPDX-License-Identifier: MIT
// Real numbers as text.
#pragma once

#include <QString>

namespace kvlink
{

/// "1.5", "12345678", "1e+20": if \a number is a float, the fewest digits that bring it back;
/// otherwise 15 digits.
QString numberText(double number);

} // namespace kvlink
