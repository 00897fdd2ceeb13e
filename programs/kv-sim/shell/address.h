// SPDX-License-Identifier: MIT
// "127.0.0.1:8501", "[::1]:8501", "localhost:0": where to listen.
#pragma once

#include <QHostAddress>
#include <QString>

#include <optional>

namespace kvsim
{

struct Address {
    QHostAddress host;
    quint16 port = 0;
};

/// \param[out] problem  what is wrong with the text, if nothing is returned
std::optional<Address> addressFromText(const QString &text, QString &problem);

QString addressText(const QHostAddress &host, quint16 port);
QString addressText(const Address &address);

} // namespace kvsim
