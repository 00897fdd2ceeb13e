// SPDX-License-Identifier: MIT
// Real numbers as text.
#pragma once

#include <QString>

namespace kvlink
{

/// "1.5", "12345678", "1e+20": the fewest digits that bring a float back where \a number is one, 15 digits otherwise.
QString numberText(double number);

} // namespace kvlink
