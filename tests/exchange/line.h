// SPDX-License-Identifier: MIT
// The transport of a host, as small as it can be: one socket or terminal, answers up to their CR LF, every
// wait with a bound.
#pragma once

#include <QByteArray>
#include <QString>
#include <QtGlobal>

/// A descriptor connected to a port of this machine; -1 if that fails.
int connectedSocket(quint16 port);

/// A descriptor of a serial line; -1 if it cannot be opened.
int openedTerminal(const QString &path);

class Line
{
public:
    /// Takes the descriptor over and closes it in the end.
    explicit Line(int descriptor);
    ~Line();
    Line(const Line &) = delete;
    Line &operator=(const Line &) = delete;

    bool isOpen() const { return descriptor_ >= 0; }

    /// Drops what has come and was not asked for.
    void discard();

    void send(QByteArray bytes);

    /// One answer with its CR LF; what has come until then if the time runs out or the line is closed.
    /// \param awaited  so many bytes are waited for with all patience; the time runs from there on
    QByteArray receive(int timeoutMs, int awaited);

    /// Waits, with all patience, until so many bytes have come. \return false if they did not
    bool gather(int bytes);

    /// The next frame is sent with its last byte changed.
    void damageNext() { damagesNext_ = true; }

private:
    bool fill(int timeoutMs);

    int descriptor_;
    QByteArray held_;
    bool damagesNext_ = false;
};
