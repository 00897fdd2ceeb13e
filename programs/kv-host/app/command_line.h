// SPDX-License-Identifier: MIT
// The options as CLI11 takes them: texts still, to be turned into Options.
#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace kvhost
{

struct RawOptions {
    std::vector<std::string> plcs, words;
    bool isSimulated = false, isQuiet = false, isReadOnly = false;
    int retries = 3, maxBlock = 128, verbosity = 0;
    std::string driver, tagFile, output, sqlite;
    std::string timeout = "1s", gap = "0", every = "500ms", duration = "0", measured = "5s", rotate = "0",
                keep = "0", pulse;
    std::string order = "low", format = "text", open = "cr", text = "utf-8", encoding = "utf-8",
                layout = "long";
    std::string separator;
    bool isConfirmed = false, isDryRun = false, isForced = false, isUnverified = false;
    bool isOnChange = false, hasDecimalComma = false, hasLocalTime = false;
};

/// All options and commands of the program, filled into \a raw.
void describeCommandLine(CLI::App &app, RawOptions &raw);

} // namespace kvhost
