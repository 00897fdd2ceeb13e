// SPDX-License-Identifier: MIT
// The TCP port of the control connection: one command a line, one line of answer.
//
// A client that does not read its answers is not served further; the commands of a client that
// sends many take turns with everything else.
#pragma once

#include "shell/listener.h"

#include <string>
#include <string_view>

namespace kvsim
{

class ControlLine : public QObject
{
public:
    /// \param run  carries out a command and returns its answer, both without line end
    explicit ControlLine(std::function<std::string(std::string_view)> run);

    /// \return empty, or why the port is not available
    QString open(const Address &address);
    QString address() const { return addressText(m_listener.address()); }

private:
    void accept(QTcpSocket *socket);
    void serve(QTcpSocket *socket);
    void refuse(QTcpSocket *socket, const std::string &reason);

    std::function<std::string(std::string_view)> m_run;
    Listener m_listener;
    int m_connections = 0;
};

} // namespace kvsim
