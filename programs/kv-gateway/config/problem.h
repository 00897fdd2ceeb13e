// SPDX-License-Identifier: MIT
// What is wrong with a configuration, and where.
#pragma once

#include <QString>

#include <vector>

namespace kvgateway
{

struct Problem {
    QString file;
    int line = 0;   ///< 0: the file as a whole
    int column = 0; ///< 0: the line as a whole
    QString text;   ///< what is wrong and what to do

    /// "gateway.toml:14:3: unknown key "perod" in [[plc]]; did you mean "period"?"
    QString shown() const;
};

using Problems = std::vector<Problem>;

} // namespace kvgateway
