// SPDX-License-Identifier: MIT
// A password from a person at a terminal, without echo, or from a pipe.
#pragma once

#include <QString>

#include <optional>

namespace kvgateway
{

/// Terminal: asks twice on \a errorFd, shows nothing that is typed, and puts the terminal back on
/// Ctrl-C too. Pipe: the first line, without its end.
/// \param prompt "Password for anna"
/// \return none with what is wrong: nothing came, the two differ, more than 1,024 bytes, no UTF-8
std::optional<QString> readPassword(int inputFd, int errorFd, const QString &prompt, QString &problem);

} // namespace kvgateway
