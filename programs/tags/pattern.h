// SPDX-License-Identifier: MIT
// Names by a pattern, as a shell matches files.
#pragma once

#include <QString>

namespace kvtags
{

bool isPattern(const QString &word);

/// '*' is any number of characters, '?' one. Case counts.
bool matchesPattern(const QString &pattern, const QString &name);

} // namespace kvtags
