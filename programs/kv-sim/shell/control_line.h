// SPDX-License-Identifier: MIT
// The TCP port of the control connection: one command a line, one line of answer.
#pragma once

#include "desk/control_desk.h"
#include "shell/address.h"

#include <QTcpServer>
#include <QTcpSocket>

namespace kvsim
{

class ControlLine : public QObject
{
public:
    explicit ControlLine(ControlDesk &desk);

    /// \return empty, or why the port cannot be had
    QString open(const Address &address);
    QString address() const;

private:
    void serve(QTcpSocket *socket);

    ControlDesk &m_desk;
    QTcpServer m_server;
};

} // namespace kvsim
