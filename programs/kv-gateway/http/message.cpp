// SPDX-License-Identifier: MIT
#include "message.h"

#include <QJsonDocument>

namespace kvgateway
{

QString Request::cookie(const QByteArray &name) const
{
    for (const QByteArray &pair : header("cookie").split(';')) {
        const auto equals = pair.indexOf('=');
        if (equals > 0 && pair.left(equals).trimmed() == name)
            return QString::fromLatin1(pair.mid(equals + 1).trimmed());
    }
    return {};
}

Response jsonResponse(const QJsonObject &object, int status)
{
    Response response;
    response.status = status;
    response.body = QJsonDocument(object).toJson(QJsonDocument::Compact);
    return response;
}

Response emptyResponse(int status)
{
    Response response;
    response.status = status;
    response.contentType.clear();
    return response;
}

Response problemResponse(int status, const QString &detail, const QJsonObject &more)
{
    QJsonObject problem = more;
    problem[QStringLiteral("type")] = QStringLiteral("about:blank");
    problem[QStringLiteral("title")] = statusTitle(status);
    problem[QStringLiteral("status")] = status;
    problem[QStringLiteral("detail")] = detail;
    Response response = jsonResponse(problem, status);
    response.contentType = "application/problem+json";
    return response;
}

QString statusTitle(int status)
{
    static const struct {
        int status;
        const char *title;
    } rows[] = {{400, "Bad Request"},
                {401, "Unauthorized"},
                {403, "Forbidden"},
                {404, "Not Found"},
                {405, "Method Not Allowed"},
                {409, "Conflict"},
                {410, "Gone"},
                {413, "Content Too Large"},
                {415, "Unsupported Media Type"},
                {421, "Misdirected Request"},
                {422, "Unprocessable Content"},
                {429, "Too Many Requests"},
                {500, "Internal Server Error"},
                {502, "Bad Gateway"},
                {503, "Service Unavailable"},
                {504, "Gateway Timeout"}};
    for (const auto &row : rows) {
        if (row.status == status)
            return QString::fromLatin1(row.title);
    }
    return {};
}

} // namespace kvgateway
