// SPDX-License-Identifier: MIT
// Reads the TOML file of a service and the tag files that it names, and checks both.
#pragma once

#include "config.h"
#include "problem.h"

namespace kvgateway
{

struct LoadedConfig {
    Config config;     ///< to be used only without problems
    Problems problems; ///< in the order in which they were found; empty: all is well
};

/// Paths in the file are relative to its folder. Nothing is changed and nothing is sent.
/// \param driver path of the driver library for all PLCs; empty: where it was installed
LoadedConfig loadConfig(const QString &path, const QString &driver = {});

/// The same of a file that was read already. \param path names it, and tells its folder
LoadedConfig parseConfig(const QByteArray &bytes, const QString &path, const QString &driver = {});

} // namespace kvgateway
