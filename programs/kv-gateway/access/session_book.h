// SPDX-License-Identifier: MIT
// Sessions: in memory, by the hash of their id, and in access.sqlite, so that a restart of the
// service sends nobody back to the login. Ages are counted by the clock that only goes forward.
#pragma once

#include "access.h"

#include "store/database.h"

#include <QHash>

namespace kvgateway
{

/// One thread at a time.
class SessionBook
{
public:
    struct Session {
        QString user;
        qint64 generation = 0; ///< of the user's account when the session began
        kvlink::SteadyTime created{};
        kvlink::SteadyTime seen{};
        kvlink::SteadyTime kept{}; ///< `seen` as the database has it
    };

    /// \param database, clock outlive the book
    SessionBook(const AccessSettings &settings, Database &database, const Clock &clock);

    void add(const QByteArray &hash, const QString &user, qint64 generation);
    /// Counts as a request. \return none: there is none, or it has ended
    std::optional<Session> find(const QByteArray &hash);
    void remove(const QByteArray &hash);
    void removeOfUser(const QString &user);
    int count() const;

private:
    bool isOver(const Session &session) const;
    void load();
    void keep(const QByteArray &hash, const Session &session);
    void makeRoom(const QString &user);
    void removeIdlest(const QString &user);
    kvlink::WallTime wallOf(kvlink::SteadyTime time) const;
    kvlink::SteadyTime steadyOf(qint64 wallMs) const;

    const AccessSettings m_settings;
    Database &m_database;
    const Clock &m_clock;
    QHash<QByteArray, Session> m_sessions;
};

} // namespace kvgateway
