// SPDX-License-Identifier: MIT
// Routes, and the way of a request to its handler.
#include "api.h"

#include <QMetaObject>

namespace kvgateway
{

struct Api::Route {
    const char *method;
    const char *path;          // a last part in braces takes the rest of the path
    std::optional<Role> least; // none: open to everybody
    Handler handler;
};

const std::vector<Api::Route> &Api::table()
{
    // clang-format off
    static const std::vector<Route> rows{
        {"GET",    "/api/v1/tags",                   Role::Viewer,   &Api::getTags},
        {"GET",    "/api/v1/values",                 Role::Viewer,   &Api::getValues},
        {"GET",    "/api/v1/values/{tag}",           Role::Viewer,   &Api::getValue},
        {"GET",    "/api/v1/stream",                 Role::Viewer,   &Api::getStream},
        {"POST",   "/api/v1/writes",                 Role::Operator, &Api::postWrite},
        {"POST",   "/api/v1/buttons",                Role::Operator, &Api::postButton},
        {"PUT",    "/api/v1/buttons/{button}",       Role::Operator, &Api::renewButton},
        {"DELETE", "/api/v1/buttons/{button}",       Role::Operator, &Api::releaseButton},
        {"GET",    "/api/v1/history",                Role::Viewer,   &Api::getHistory},
        {"GET",    "/api/v1/history.csv",            Role::Viewer,   &Api::getHistoryCsv},
        {"GET",    "/api/v1/events",                 Role::Viewer,   &Api::getEvents},
        {"GET",    "/api/v1/audit",                  Role::Engineer, &Api::getAudit},
        {"GET",    "/api/v1/pages",                  Role::Viewer,   &Api::getPages},
        {"GET",    "/api/v1/pages/{page}",           Role::Viewer,   &Api::getPage},
        {"GET",    "/api/v1/plcs",                   Role::Viewer,   &Api::getPlcs},
        {"GET",    "/api/v1/config",                 Role::Engineer, &Api::getConfig},
        {"POST",   "/api/v1/config/reload",          Role::Engineer, &Api::postReload},
        {"POST",   "/api/v1/login",                  std::nullopt,   &Api::postLogin},
        {"POST",   "/api/v1/logout",                 Role::Viewer,   &Api::postLogout},
        {"GET",    "/api/v1/me",                     Role::Viewer,   &Api::getMe},
        {"GET",    "/api/v1/openapi.json",           std::nullopt,   &Api::getDescription},
        {"GET",    "/metrics",                       Role::Viewer,   &Api::getMetrics},
        {"GET",    "/healthz",                       std::nullopt,   &Api::getHealth},
        {"GET",    "/readyz",                        std::nullopt,   &Api::getReady},
    };
    // clang-format on
    return rows;
}

Api::Api(ApiParts parts) : m_parts(std::move(parts)) {}

std::vector<RouteName> Api::routes()
{
    std::vector<RouteName> names;
    for (const Route &route : table())
        names.push_back({route.method, QString::fromLatin1(route.path)});
    return names;
}

const Api::Route *Api::find(const Request &request, QString &rest, QStringList &otherMethods)
{
    for (const Route &route : table()) {
        const QString path = QString::fromLatin1(route.path);
        const auto brace = path.indexOf('{');
        const bool isHere = brace < 0
                                ? request.path == path
                                : request.path.startsWith(path.left(brace)) && request.path.size() > brace;
        if (!isHere)
            continue;
        if (request.method == route.method) {
            rest = brace < 0 ? QString() : request.path.mid(brace);
            return &route;
        }
        otherMethods << QString::fromLatin1(route.method);
    }
    return nullptr;
}

void Api::handle(const Request &request, const std::shared_ptr<Reply> &reply)
{
    if (answerPanel(request, reply))
        return;
    if (auto refusal = m_parts.gate.refuseForeign(request))
        return reply->send(std::move(*refusal));
    QString rest;
    QStringList otherMethods;
    const Route *route = find(request, rest, otherMethods);
    if (route == nullptr && otherMethods.isEmpty())
        return reply->send(
            problemResponse(404, QStringLiteral("there is nothing at %1; /api/v1/openapi.json says what "
                                                "there is")
                                     .arg(request.path)));
    if (route == nullptr) {
        const QString methods = otherMethods.join(QLatin1String(", "));
        Response refusal = problemResponse(405, QStringLiteral("%1 takes %2").arg(request.path, methods));
        refusal.headers.emplace_back("Allow", methods.toLatin1());
        return reply->send(std::move(refusal));
    }
    auto call = std::make_shared<Call>(Call{request, {}, reply, rest});
    if (route->least) {
        Response refusal;
        const auto caller = m_parts.gate.identify(request, refusal);
        if (!caller)
            return reply->send(std::move(refusal));
        if (!isAtLeast(caller->role, *route->least))
            return reply->send(problemResponse(
                403, QStringLiteral("this needs the role %1, and %2 is %3")
                         .arg(roleName(*route->least), caller->name, roleName(caller->role))));
        call->caller = *caller;
    }
    (this->*route->handler)(call);
}

void Api::onPlant(std::function<void()> task)
{
    QMetaObject::invokeMethod(&m_parts.plant, std::move(task), Qt::QueuedConnection);
}

void Api::onWorker(const CallPtr &call, std::function<void()> task)
{
    if (!m_worker.post(std::move(task)))
        call->reply->send(
            problemResponse(503, QStringLiteral("too many requests of this kind wait: try again in a "
                                                "moment")));
}

} // namespace kvgateway
