// SPDX-License-Identifier: MIT
// Files that hold one user or one password.
#pragma once

#include <QByteArray>
#include <QString>

namespace kvgateway
{

/// Without its end; spaces belong to it. Empty if the file cannot be read.
QByteArray firstLine(const QString &path);

} // namespace kvgateway
