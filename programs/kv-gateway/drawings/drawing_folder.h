// SPDX-License-Identifier: MIT
// All drawings of a folder. Their files are read here and never again: a request names a drawing,
// not a file.
#pragma once

#include "drawing.h"

namespace kvgateway
{

struct FolderDrawing {
    QString file; ///< absolute path
    CheckedDrawing checked;
};

/// The drawings of "*.svg" in a folder, by name. A file that cannot be read, is too large or has a
/// name that does not fit an address comes back with that fault.
/// \param problem there is no such folder, or too many drawings are in it
std::vector<FolderDrawing> readDrawings(const QString &folder, QString &problem);

} // namespace kvgateway
