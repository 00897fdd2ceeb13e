// SPDX-License-Identifier: MIT
// Logging in and out. A password takes 0.1 s to check, so the worker does it.
#include "api.h"
#include "arguments.h"

namespace kvgateway
{

namespace
{

QByteArray cookieText(const QString &session, bool isTls, bool isOver)
{
    QByteArray text =
        QByteArray(sessionCookie) + "=" + session.toLatin1() + "; Path=/; HttpOnly; SameSite=Strict";
    if (isTls)
        text += "; Secure";
    return isOver ? text + "; Max-Age=0" : text;
}

Response refusedLogin(const Login &login)
{
    if (login.outcome == LoginOutcome::Wrong)
        return problemResponse(401, QStringLiteral("the name or the password is wrong"));
    return tooManyTries(login.retryAfter, login.outcome == LoginOutcome::Busy
                                              ? QStringLiteral("many people log in at this moment: try again")
                                              : QStringLiteral("too many tries: wait before the next one"));
}

} // namespace

void Api::postLogin(const CallPtr &call)
{
    Response refusal;
    const auto body = objectBody(call->request, {"name", "password"}, refusal);
    if (!body)
        return call->reply->send(std::move(refusal));
    const QString name = body->value(QStringLiteral("name")).toString();
    const QString password = body->value(QStringLiteral("password")).toString();
    onWorker(call, [this, call, name, password] {
        const Login login = m_parts.access.logIn(name, password, call->request.peer);
        EventRow event;
        event.kind = EventKind::Access;
        event.text =
            login.outcome == LoginOutcome::Done ? QStringLiteral("login") : QStringLiteral("login refused");
        event.cause = QStringLiteral("%1 from %2").arg(name.left(64), call->request.peer);
        m_parts.store.addEvent(event);
        if (login.outcome != LoginOutcome::Done)
            return call->reply->send(refusedLogin(login));
        Response response = jsonResponse({{QStringLiteral("name"), login.identity.name},
                                          {QStringLiteral("role"), roleName(login.identity.role)},
                                          {QStringLiteral("csrf"), login.csrf}});
        response.headers.emplace_back("Set-Cookie", cookieText(login.session, call->request.isTls, false));
        call->reply->send(std::move(response));
    });
}

void Api::postLogout(const CallPtr &call)
{
    m_parts.access.logOut(call->caller.session);
    Response response = emptyResponse();
    response.headers.emplace_back("Set-Cookie", cookieText({}, call->request.isTls, true));
    call->reply->send(std::move(response));
}

void Api::getMe(const CallPtr &call)
{
    QJsonObject me{{QStringLiteral("name"), call->caller.name},
                   {QStringLiteral("role"), roleName(call->caller.role)}};
    if (!call->caller.session.isEmpty())
        me[QStringLiteral("csrf")] = Access::csrfOf(call->caller.session);
    const DutyStatus duty = m_parts.duty();
    if (!duty.isOnDuty())
        me[QStringLiteral("standby")] = duty.text();
    call->reply->send(jsonResponse(me));
}

} // namespace kvgateway
