// SPDX-License-Identifier: MIT
// The drawings of a service: read, and their tags looked up among those of the PLCs.
#pragma once

#include "config.h"
#include "problem.h"

namespace kvgateway
{

/// Appends the drawings of a folder to \a config, whose PLCs have their tags already.
/// \param problems what is wrong with a drawing, with its line
/// \return false with a problem of the folder itself
bool readPages(Config &config, const QString &folder, Problems &problems, QString &problem);

} // namespace kvgateway
