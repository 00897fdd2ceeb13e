// SPDX-License-Identifier: MIT
// The smallest transport of a host: one socket or terminal, answers that end with CR LF,
// every wait bounded.
#pragma once

#include <QByteArray>
#include <QString>
#include <QtGlobal>

/// A descriptor connected to a local port; -1 if that fails.
int connectedSocket(quint16 port);

/// A descriptor of a serial line; -1 if it cannot be opened.
int openedTerminal(const QString &path);

class Line
{
public:
    /// Takes ownership of the descriptor.
    explicit Line(int descriptor);
    ~Line();
    Line(const Line &) = delete;
    Line &operator=(const Line &) = delete;

    bool isOpen() const { return m_descriptor >= 0; }

    /// Discards the receive buffer.
    void discard();

    void send(QByteArray bytes);

    /// One answer with its CR LF; whatever has arrived, if the time runs out or the line closes.
    /// \param awaited  number of bytes to wait for first, for up to patienceMs
    QByteArray receive(int timeoutMs, int awaited);

    /// Waits, for up to patienceMs, until this many bytes have arrived. \return false if
    /// they did not
    bool gather(int bytes);

    /// The next frame is sent with its last byte changed.
    void damageNext() { m_damagesNext = true; }

private:
    bool fill(int timeoutMs);

    int m_descriptor;
    QByteArray m_held;
    bool m_damagesNext = false;
};
