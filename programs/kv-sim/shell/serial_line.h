// SPDX-License-Identifier: MIT
// A serial line: a pseudo-terminal that clients open under a path of our own.
#pragma once

#include "shell/conversation.h"

#include <QSocketNotifier>
#include <QString>

#include <memory>

namespace kvsim
{

class SerialLine : public QObject
{
public:
    SerialLine(LineContext &context, std::uint32_t baud);
    ~SerialLine() override;

    /// Makes the pseudo-terminal and a symbolic link to it at the path. A symbolic link that
    /// is there already is replaced, anything else is left alone. \return empty, or why it
    /// cannot be made
    QString open(const QString &path);
    QString path() const { return m_path; }

private:
    QString makeTerminal();
    QString linkTo(const QString &terminal);
    void readAll();
    void readWhileWelcome();
    void send(const QByteArray &bytes);
    void sendWaiting();

    LineContext &m_context;
    std::uint32_t m_baud;
    QString m_path;
    bool m_linked = false;
    QByteArray m_terminal;
    int m_master = -1;
    int m_slave = -1; // kept open: the line stays up while no client has it open
    std::unique_ptr<QSocketNotifier> m_readable;
    std::unique_ptr<QSocketNotifier> m_writable;
    QByteArray m_unsent; // what the terminal has not taken yet
    std::unique_ptr<Conversation> m_conversation;
};

} // namespace kvsim
