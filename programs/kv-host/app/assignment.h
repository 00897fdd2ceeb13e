// SPDX-License-Identifier: MIT
// One word of `write`: DM100=5, R1015=on, or with --pulse R500.
#pragma once

#include "app.h"

namespace kvhost
{

struct Assignment {
    kvtags::Variable variable;
    QString typed;        ///< after the '='
    kvlink::Value wanted; ///< what the PLC is to hold then
};

/// \param problem set on failure only
std::optional<Assignment> parseAssignment(App &app, const QString &word, QString &problem);

} // namespace kvhost
