// SPDX-License-Identifier: MIT
// A request and what is answered, apart from the library that moves them.
#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QMap>
#include <QString>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace kvgateway
{

struct Request {
    QByteArray method; ///< "GET"
    QString path;      ///< decoded: "/api/v1/values"
    QMap<QString, QString> query;
    QMap<QByteArray, QByteArray> headers; ///< names in lower case
    QByteArray body;
    QString peer; ///< "192.168.0.7"
    bool isLoopback = false;
    bool isTls = false;

    QByteArray header(const char *name) const { return headers.value(name); }
    /// Of a cookie; empty if there is none.
    QString cookie(const QByteArray &name) const;
};

/// An answer without an end, or too long to be held.
class StreamSource
{
public:
    enum class State : quint8 {
        Data, ///< something was appended
        Wait, ///< nothing now; asked again after HttpServer::wakeStreams()
        End,
    };
    virtual ~StreamSource() = default;

    /// Whether the reader still may. Called before each read, in the thread of the server; it may
    /// look into a database.
    virtual bool mayGoOn() { return true; }
    /// Appends what there is, some hundred kB at most. In the thread of the server; never waits.
    virtual State read(QByteArray &out) = 0;
};

struct Response {
    int status = 200;
    QByteArray contentType = "application/json";
    QByteArray body;
    std::vector<std::pair<QByteArray, QByteArray>> headers;
    std::unique_ptr<StreamSource> stream; ///< in place of a body
};

Response jsonResponse(const QJsonObject &object, int status = 200);
/// Without a body.
Response emptyResponse(int status = 204);

/// A problem as RFC 9457 has it: {"type":"about:blank","title":"Not
/// Found","status":404,"detail":...}
/// \param detail what was wrong and what to do
/// \param more   further members
Response problemResponse(int status, const QString &detail, const QJsonObject &more = {});

/// "Not Found"; empty for a status that is never sent.
QString statusTitle(int status);

} // namespace kvgateway
