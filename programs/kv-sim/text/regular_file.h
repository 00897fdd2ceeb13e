// SPDX-License-Identifier: MIT
// Files that are read whole: regular ones, up to a size.
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace kvsim
{

/// \param[out] problem  why it cannot be read, if nothing is returned
std::optional<QByteArray> readRegularFile(const QString &path, qint64 mostBytes, QString &problem);

} // namespace kvsim
