// SPDX-License-Identifier: MIT
#include "gate.h"

#include <QHostAddress>
#include <QUrl>

namespace kvgateway
{

namespace
{

constexpr char bearer[] = "Bearer ";

bool changesSomething(const Request &request)
{
    return request.method != "GET" && request.method != "HEAD";
}

// The name in a Host header: "panel:8480" -> "panel", "[::1]:8480" -> "::1".
QString hostName(const QByteArray &host)
{
    const QUrl url(QStringLiteral("http://") + QString::fromLatin1(host), QUrl::StrictMode);
    return url.isValid() ? url.host() : QString();
}

// A proxy on this machine speaks for others.
bool isForwarded(const Request &request)
{
    for (const char *name : {"forwarded", "x-forwarded-for", "x-real-ip", "via"}) {
        if (request.headers.contains(name))
            return true;
    }
    return false;
}

Response loginNeeded(const QString &detail)
{
    Response response = problemResponse(401, detail);
    response.headers.emplace_back("WWW-Authenticate", "Bearer realm=\"kv-gateway\"");
    return response;
}

} // namespace

Response tooManyTries(kvlink::Duration retryAfter, const QString &detail)
{
    Response response = problemResponse(429, detail);
    const auto seconds = std::chrono::ceil<std::chrono::seconds>(retryAfter).count();
    response.headers.emplace_back("Retry-After", QByteArray::number(qint64(seconds)));
    return response;
}

void Gate::set(const GateSettings &settings)
{
    const std::lock_guard lock(m_mutex);
    m_settings = settings;
}

GateSettings Gate::settings() const
{
    const std::lock_guard lock(m_mutex);
    return m_settings;
}

// An address as a name cannot be made to point elsewhere; a name can, by whoever owns it.
std::optional<Response> Gate::refuseForeign(const Request &request) const
{
    const QByteArray host = request.header("host");
    const QString name = hostName(host);
    const bool isOurs = name == QLatin1String("localhost") || !QHostAddress(name).isNull() ||
                        settings().hosts.contains(name, Qt::CaseInsensitive);
    if (!isOurs)
        return problemResponse(
            421, QStringLiteral("this gateway is not called \"%1\": use its address, or add the "
                                "name to hosts in [listen]")
                     .arg(name));
    const QByteArray scheme = request.isTls ? "https://" : "http://";
    const bool isForeignOrigin =
        request.headers.contains("origin") && request.header("origin").toLower() != scheme + host.toLower();
    const QByteArray site = request.header("sec-fetch-site");
    const bool isForeignSite = !site.isEmpty() && site != "same-origin" && site != "none";
    if (isForeignOrigin || isForeignSite)
        return problemResponse(403, QStringLiteral("a page of another site may not use this gateway"));
    if (changesSomething(request) && !request.body.isEmpty() &&
        request.header("content-type").split(';').first().trimmed().toLower() != "application/json")
        return problemResponse(415,
                               QStringLiteral("send JSON, with the header Content-Type: application/json"));
    return std::nullopt;
}

std::optional<Caller> Gate::identify(const Request &request, Response &refusal) const
{
    if (request.headers.contains("authorization"))
        return byToken(request, refusal);
    if (!request.cookie(sessionCookie).isEmpty()) {
        auto caller = bySession(request, refusal);
        if (caller || refusal.status != 401)
            return caller;
    }
    const auto local = settings().local;
    if (local && request.isLoopback && !isForwarded(request))
        return Caller{QStringLiteral("local"), *local, {}};
    refusal = loginNeeded(
        QStringLiteral("log in with POST /api/v1/login, or send a token: Authorization: Bearer kvg_..."));
    return std::nullopt;
}

std::optional<Caller> Gate::byToken(const Request &request, Response &refusal) const
{
    const QByteArray header = request.header("authorization");
    if (!header.startsWith(bearer)) {
        refusal = loginNeeded(QStringLiteral("the header must be \"Authorization: Bearer\" and a token"));
        return std::nullopt;
    }
    const QString token = QString::fromLatin1(header.mid(int(sizeof bearer) - 1).trimmed());
    const TokenCheck check = m_access.checkToken(token, request.peer);
    if (check.identity)
        return Caller{check.identity->name, check.identity->role, {}};
    if (check.retryAfter > kvlink::Duration(0))
        refusal =
            tooManyTries(check.retryAfter, QStringLiteral("too many wrong tokens from this address: wait"));
    else
        refusal = loginNeeded(
            QStringLiteral("this token is not known, or has expired: make one with kv-gateway token add"));
    return std::nullopt;
}

std::optional<Caller> Gate::bySession(const Request &request, Response &refusal) const
{
    const QString session = request.cookie(sessionCookie);
    const auto identity = m_access.checkSession(session);
    if (!identity) {
        refusal = loginNeeded(QStringLiteral("the session has ended: log in again"));
        return std::nullopt;
    }
    if (changesSomething(request) &&
        !Access::isCsrfOf(session, QString::fromLatin1(request.header("x-csrf-token")))) {
        refusal = problemResponse(
            403, QStringLiteral("the header X-CSRF-Token is missing or wrong: send the one that "
                                "/api/v1/login and /api/v1/me name"));
        return std::nullopt;
    }
    return Caller{identity->name, identity->role, session};
}

} // namespace kvgateway
