// SPDX-License-Identifier: MIT
// A plain HTTP client for tests: says exactly what it is told to.
#pragma once

#include "sim_process.h"

#include <QByteArray>

namespace kvgateway
{

struct Answer {
    int status = 0;
    QByteArray head; ///< status line and headers
    QByteArray body;
};

inline Answer parsed(const std::string &bytes)
{
    const QByteArray all = QByteArray::fromStdString(bytes);
    const auto end = all.indexOf("\r\n\r\n");
    if (end < 0)
        return {0, all, {}};
    return {all.mid(9, 3).toInt(), all.left(end), all.mid(end + 4)};
}

/// One request on a connection of its own, as it is; read until the server closes.
inline Answer rawRequest(quint16 port, const std::string &request)
{
    Client client(port);
    client.send(request);
    return parsed(client.untilEnd());
}

/// \param headers whole lines: "Origin: http://x\r\n"
inline Answer request(quint16 port, const std::string &method, const std::string &target,
                      const std::string &body = {}, const std::string &headers = {})
{
    std::string text = method + " " + target + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) +
                       "\r\nConnection: close\r\n" + headers;
    if (method != "GET")
        text += "Content-Type: application/json\r\nContent-Length: " + std::to_string(body.size()) + "\r\n";
    return rawRequest(port, text + "\r\n" + body);
}

} // namespace kvgateway
