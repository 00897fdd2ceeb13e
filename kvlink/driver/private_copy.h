// SPDX-License-Identifier: MIT
// Loading a shared library as a private copy: its own code, its own variables, whatever else has
// loaded the same file.
//
// The driver keeps its state in process-wide variables, and the system loads a file only once. A
// copy under a name of its own is another file to the system. It lives in memory; where that is
// refused, in a temporary file.
#pragma once

#include <QByteArray>
#include <QString>

#include <functional>
#include <optional>
#include <vector>

namespace kvlink
{

/// Where the bytes of a copy are, for dlopen.
struct CopyPlace {
    QByteArray path;
    int descriptor =
        -1; ///< stays open as long as the copy is loaded: while it is, its number names no other copy
    bool isTemporary = false; ///< a file, removed once it is loaded
};

/// Puts the bytes where dlopen finds them. Nothing, and a problem, where the system refuses.
using CopyMaker = std::function<std::optional<CopyPlace>(const QByteArray &bytes, QString &problem)>;

std::optional<CopyPlace> copyToMemory(const QByteArray &bytes, QString &problem);
std::optional<CopyPlace> copyToTemporaryFile(const QByteArray &bytes, QString &problem);

/// What of a shared library is needed to load it: all but its debug information, which is most of
/// an unstripped file.
/// \param problem why the file cannot be a library of this machine; set on failure only
std::optional<QByteArray> loadablePart(const QString &file, QString &problem);

/// Loads a copy of the file by the first maker that succeeds. It stays loaded until the process
/// ends.
/// \return handle for dlsym; null with a problem
void *loadPrivateCopy(const QString &file, const std::vector<CopyMaker> &makers, QString &problem);

} // namespace kvlink
