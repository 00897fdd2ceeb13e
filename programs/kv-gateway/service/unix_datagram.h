// SPDX-License-Identifier: MIT
// Datagrams to a socket in the file system, as systemd and its journal take them.
#pragma once

#include <QByteArray>

namespace kvgateway
{

enum class IfFull : quint8 { Wait, GiveUp };

/// \param path with '@' in front: an abstract name
/// \return false: nobody listens there, or it does not take so much
bool sendDatagram(const QByteArray &path, const QByteArray &bytes, IfFull ifFull);

} // namespace kvgateway
