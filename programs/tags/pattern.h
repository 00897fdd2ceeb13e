// SPDX-License-Identifier: MIT
// Names by a pattern, as a shell matches files.
#pragma once

#include <QStringList>

namespace kvtags
{

bool isPattern(const QString &word);

/// '*' is any number of characters, '?' one. Case counts.
bool matchesPattern(const QString &pattern, const QString &name);

/// By one of them. An empty list chooses every name.
bool matchesAny(const QStringList &patterns, const QString &name);

} // namespace kvtags
