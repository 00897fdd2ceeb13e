// SPDX-License-Identifier: MIT
// A client on the UDP line.
#pragma once

#include "sim_process.h"

#include <QUdpSocket>

#include <string>

class UdpClient
{
public:
    /// \param from  its own address
    explicit UdpClient(quint16 port, const QHostAddress &from = QHostAddress(QHostAddress::LocalHost))
        : m_port(port)
    {
        m_socket.bind(from, 0);
    }

    void send(const std::string &bytes)
    {
        if (!bytes.empty())
            m_socket.writeDatagram(bytes.data(), qint64(bytes.size()), QHostAddress(QHostAddress::LocalHost),
                                   m_port);
    }

    std::string receive(std::size_t count)
    {
        std::string bytes;
        while (bytes.size() < count &&
               (m_socket.hasPendingDatagrams() || m_socket.waitForReadyRead(patienceMs))) {
            QByteArray datagram(int(m_socket.pendingDatagramSize()), '\0');
            m_socket.readDatagram(datagram.data(), datagram.size());
            bytes += datagram.toStdString();
        }
        return bytes;
    }

    /// One datagram; empty if none comes.
    std::string datagram()
    {
        if (!m_socket.hasPendingDatagrams() && !m_socket.waitForReadyRead(patienceMs))
            return {};
        QByteArray datagram(int(m_socket.pendingDatagramSize()), '\0');
        m_socket.readDatagram(datagram.data(), datagram.size());
        return datagram.toStdString();
    }

private:
    QUdpSocket m_socket;
    quint16 m_port;
};
