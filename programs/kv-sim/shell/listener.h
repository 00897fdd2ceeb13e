// SPDX-License-Identifier: MIT
// A TCP port that keeps accepting: also after a burst of connections, and after the process ran
// out of descriptors.
#pragma once

#include "shell/address.h"

#include <QSocketNotifier>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>

#include <functional>
#include <memory>

namespace kvsim
{

class Listener : public QObject
{
public:
    /// \param accepted  takes each new connection; the socket belongs to the listener's server
    explicit Listener(std::function<void(QTcpSocket *)> accepted);

    /// Port 0 takes a free port and keeps it from then on. \return empty, or why the port
    /// is not available
    QString open(const Address &address);
    /// Listens again on the same port; nothing if it does already. \return as open()
    QString reopen();
    void close();

    const Address &address() const { return m_address; }
    /// Connections that are open at the moment.
    QList<QTcpSocket *> sockets() const { return m_server.findChildren<QTcpSocket *>(); }

private:
    void acceptAll();
    void take(int descriptor);

    std::function<void(QTcpSocket *)> m_accepted;
    QTcpServer m_server;
    std::unique_ptr<QSocketNotifier> m_waiting; // for connections that wait to be accepted
    QTimer m_retry;
    Address m_address;
};

/// Sends the text, then the end of the connection, and discards what still comes: closing at once
/// would reset the connection, and the text could be lost.
void dismiss(QTcpSocket *socket, const std::string &text);

} // namespace kvsim
