// The TCP port of the control connection: one command a line, one line of answer.
#pragma once

#include "address.h"
#include "control_desk.h"

#include <QTcpServer>
#include <QTcpSocket>

class ControlLine : public QObject
{
public:
    explicit ControlLine(kvsim::ControlDesk &desk);

    /// \return empty, or why the port cannot be had
    QString open(const Address &address);
    QString address() const;

private:
    void serve(QTcpSocket *socket);

    kvsim::ControlDesk &desk_;
    QTcpServer server_;
};
