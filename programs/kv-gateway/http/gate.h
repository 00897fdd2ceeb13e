// SPDX-License-Identifier: MIT
// Who may come in: where a request claims to go and to come from, and who sends it.
#pragma once

#include "message.h"

#include "access/access.h"

#include <mutex>

namespace kvgateway
{

/// Name of the cookie that holds a session.
constexpr char sessionCookie[] = "kvgateway_session";

struct Caller {
    QString name; ///< "anna"; "local" for somebody on this machine without a login
    Role role = Role::Viewer;
    QString session; ///< empty: came with a token, or without a login
};

struct GateSettings {
    QStringList hosts;         ///< names by which browsers may reach the gateway
    std::optional<Role> local; ///< of somebody on this machine without a login; none: nobody
};

/// Any thread.
class Gate
{
public:
    /// \param access outlives the gate
    explicit Gate(Access &access) : m_access(access) {}

    void set(const GateSettings &settings);

    /// The Host is one of ours, and a page of somebody else does not send the request.
    /// \return the refusal; none: all is well
    std::optional<Response> refuseForeign(const Request &request) const;

    /// By token, session, or because the request comes from this machine.
    /// \return none with a refusal
    std::optional<Caller> identify(const Request &request, Response &refusal) const;

private:
    GateSettings settings() const;
    std::optional<Caller> byToken(const Request &request, Response &refusal) const;
    std::optional<Caller> bySession(const Request &request, Response &refusal) const;

    Access &m_access;
    mutable std::mutex m_mutex;
    GateSettings m_settings;
};

/// "Retry-After" in whole seconds, rounded up.
Response tooManyTries(kvlink::Duration retryAfter, const QString &detail);

} // namespace kvgateway
