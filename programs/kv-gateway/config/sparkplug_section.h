// SPDX-License-Identifier: MIT
// Reads one [[sparkplug]] of the configuration, and checks each of its keys.
#pragma once

#include "config.h"
#include "toml_section.h"

#include <QDir>

namespace kvgateway
{

/// \param base paths are relative to it
/// \param sofar what was read before: the PLCs, and others whose names and ids must differ
SparkplugConfig readSparkplug(TomlSection from, const QDir &base, const Config &sofar);

} // namespace kvgateway
