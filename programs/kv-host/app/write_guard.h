// SPDX-License-Identifier: MIT
// What must not be written by accident, or cannot be written at all. Pure.
#pragma once

#include "tags/variable.h"

#include <vector>

namespace kvhost
{

/// Devices that are written with --force only: AT, CR, CM.
bool isGuarded(const QString &device);

/// Why the variable is not written; empty: go ahead.
/// \param tags     of the tag file: what it calls read-only is guarded also where its address is
///   typed
/// \param isForced --force
QString guardedBecause(const kvtags::Variable &variable, const std::vector<kvtags::Variable> &tags,
                       bool isForced);

} // namespace kvhost
