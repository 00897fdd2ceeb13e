// SPDX-License-Identifier: MIT
// Users, sessions and tokens: who may come in, and as what. Kept in access.sqlite of the data
// folder, which `kv-gateway user` changes beside a running service; that sees each change at once.
//
// A password, a session id or a token is never kept, only its hash.
#pragma once

#include "password_hasher.h"
#include "role.h"
#include "try_limit.h"

#include "store/clock.h"

#include <memory>
#include <vector>

namespace kvgateway
{

struct AccessSettings {
    QString folder;
    kvlink::Duration idle = std::chrono::minutes(30);  ///< a session without a request for so long ends
    kvlink::Duration longest = std::chrono::hours(12); ///< and each one after so long
    int mostSessions = 1000;                           ///< beyond, the one that was idle longest ends
    int mostSessionsOfUser = 20;                       ///< the same for each user
    int mostLoginsAtOnce = 8; ///< that check a password or wait for it; more are refused
    TryRules userTries{5, std::chrono::seconds(1),
                       std::chrono::minutes(1)}; ///< short: others lock nobody out
    TryRules addressTries{20};
};

struct User {
    QString name;
    Role role = Role::Viewer;
    kvlink::WallTime created{};
};

struct Token {
    QString name;
    Role role = Role::Viewer;
    kvlink::WallTime created{};
    std::optional<kvlink::WallTime> expires;
};

enum class LoginOutcome : quint8 {
    Done,
    Wrong,   ///< name or password; which of the two is not said
    TooMany, ///< tries of this user or from this address; see retryAfter
    Busy,    ///< too many logins at once
};

struct Login {
    LoginOutcome outcome = LoginOutcome::Wrong;
    kvlink::Duration retryAfter{}; ///< with TooMany and Busy: wait at least so long
    QString session;               ///< with Done: for the cookie; 43 characters of A-Z a-z 0-9 - _
    QString csrf;                  ///< with Done: for the header of each request that changes something
    Identity identity;             ///< with Done
};

struct TokenCheck {
    std::optional<Identity> identity; ///< none: unknown or expired
    kvlink::Duration retryAfter{};    ///< above 0: too many wrong ones from this address; say so, not more
};

/// Every call from any thread. Only logIn(), addUser() and setPassword() take long (a password is
/// hashed); they hold up no other call.
class Access
{
public:
    /// Opens or makes access.sqlite, readable by its owner only.
    /// \param clock, hasher outlive the result
    /// \return nullptr with what is wrong and what to do
    static std::unique_ptr<Access> open(const AccessSettings &settings, const Clock &clock,
                                        const PasswordHasher &hasher, QString &problem);
    ~Access();
    Access(const Access &) = delete;
    Access &operator=(const Access &) = delete;

    // Users; names of 1 to 64 letters, digits and . _ - @

    bool addUser(const QString &name, const QString &password, Role role, QString &problem);
    /// Ends the sessions of the user; so do the two below.
    bool removeUser(const QString &name, QString &problem);
    bool setPassword(const QString &name, const QString &password, QString &problem);
    bool setRole(const QString &name, Role role, QString &problem);
    std::vector<User> users() const; ///< by name

    // Tokens for machines

    /// \param validFor 0: forever
    /// \return the token, to be shown this once: "kvg_" and 43 characters
    std::optional<QString> addToken(const QString &name, Role role, kvlink::Duration validFor,
                                    QString &problem);
    bool removeToken(const QString &name, QString &problem);
    std::vector<Token> tokens() const; ///< by name
    TokenCheck checkToken(const QString &token, const QString &address);

    // Sessions

    Login logIn(const QString &name, const QString &password, const QString &address);
    /// Counts as a request of the session. The role is that of the user now. \return none: no such
    /// session, or it has ended
    std::optional<Identity> checkSession(const QString &session);
    /// Whether \a csrf belongs to \a session; compared in constant time. Does not look whether the
    /// session is still there.
    static bool isCsrfOf(const QString &session, const QString &csrf);
    /// The CSRF token of a session, for a page that lost it: "" for what is no session id.
    static QString csrfOf(const QString &session);
    void logOut(const QString &session);
    int sessions() const;

private:
    struct State;
    explicit Access(std::unique_ptr<State> state);
    std::unique_ptr<State> m_state;
};

} // namespace kvgateway
