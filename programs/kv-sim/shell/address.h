// "127.0.0.1:8501", "[::1]:8501", "localhost:0": where to listen.
#pragma once

#include <QHostAddress>
#include <QString>

struct Address {
    QHostAddress host;
    quint16 port = 0;
};

/// \return empty, or what is wrong with the text
QString addressFromText(const QString &text, Address &address);

QString addressText(const QHostAddress &host, quint16 port);
