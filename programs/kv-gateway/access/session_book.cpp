// SPDX-License-Identifier: MIT
#include "session_book.h"

#include "store/codes.h"

#include <algorithm>

namespace kvgateway
{

namespace
{

// A request is noted in the database no more often, since each note waits for the disk. After a
// restart a session may end sooner by that much, but not within most of its idle time.
kvlink::Duration keepEvery(const AccessSettings &settings)
{
    constexpr kvlink::Duration seldom = std::chrono::minutes(10);
    constexpr int partOfIdle = 3;
    return std::min(seldom, settings.idle / partOfIdle);
}

} // namespace

SessionBook::SessionBook(const AccessSettings &settings, Database &database, const Clock &clock)
    : m_settings(settings), m_database(database), m_clock(clock)
{
    load();
}

// What the database cannot take now is in memory all the same: a full disk keeps nobody out.
void SessionBook::keep(const QByteArray &hash, const Session &session)
{
    Statement keep(
        m_database,
        "INSERT OR REPLACE INTO sessions(hash, user, generation, created, seen) VALUES(?, ?, ?, ?, ?)");
    keep.bindBytes(1, hash).bind(2, session.user).bind(3, session.generation);
    keep.bind(4, toMs(wallOf(session.created))).bind(5, toMs(wallOf(session.seen))).finish();
}

kvlink::WallTime SessionBook::wallOf(kvlink::SteadyTime time) const
{
    return m_clock.wall() - (m_clock.steady() - time);
}

// A time in the future is of a clock that was wrong: it counts as now.
kvlink::SteadyTime SessionBook::steadyOf(qint64 wallMs) const
{
    return m_clock.steady() - std::max(kvlink::Duration(0), m_clock.wall() - fromMs(wallMs));
}

void SessionBook::load()
{
    Statement rows(m_database, "SELECT hash, user, generation, created, seen FROM sessions");
    while (rows.step()) {
        const kvlink::SteadyTime seen = steadyOf(rows.integer(4));
        const Session session{rows.text(1), rows.integer(2), steadyOf(rows.integer(3)), seen, seen};
        if (!isOver(session))
            m_sessions.insert(rows.bytes(0), session);
    }
    rows.reset();
    Statement remove(m_database, "DELETE FROM sessions WHERE created < ?1 OR seen < ?2");
    remove.bind(1, toMs(m_clock.wall() - m_settings.longest))
        .bind(2, toMs(m_clock.wall() - m_settings.idle))
        .finish();
}

bool SessionBook::isOver(const Session &session) const
{
    const kvlink::SteadyTime now = m_clock.steady();
    return now - session.seen >= m_settings.idle || now - session.created >= m_settings.longest;
}

void SessionBook::add(const QByteArray &hash, const QString &user, qint64 generation)
{
    makeRoom(user);
    const kvlink::SteadyTime now = m_clock.steady();
    const Session session{user, generation, now, now, now};
    m_sessions.insert(hash, session);
    keep(hash, session);
}

std::optional<SessionBook::Session> SessionBook::find(const QByteArray &hash)
{
    const auto found = m_sessions.find(hash);
    if (found == m_sessions.end())
        return {};
    if (isOver(*found)) {
        remove(hash);
        return {};
    }
    found->seen = m_clock.steady();
    if (found->seen - found->kept >= keepEvery(m_settings)) {
        found->kept = found->seen;
        keep(hash, *found);
    }
    return *found;
}

void SessionBook::remove(const QByteArray &hash)
{
    m_sessions.remove(hash);
    Statement remove(m_database, "DELETE FROM sessions WHERE hash = ?");
    remove.bindBytes(1, hash).finish();
}

void SessionBook::removeOfUser(const QString &user)
{
    for (auto next = m_sessions.begin(); next != m_sessions.end();)
        next = next->user == user ? m_sessions.erase(next) : std::next(next);
    Statement remove(m_database, "DELETE FROM sessions WHERE user = ?");
    remove.bind(1, user).finish();
}

int SessionBook::count() const
{
    return int(std::count_if(m_sessions.begin(), m_sessions.end(),
                             [this](const Session &one) { return !isOver(one); }));
}

void SessionBook::makeRoom(const QString &user)
{
    std::vector<QByteArray> over;
    int ofUser = 0;
    for (auto next = m_sessions.cbegin(); next != m_sessions.cend(); ++next) {
        if (isOver(*next))
            over.push_back(next.key());
        else if (next->user == user)
            ++ofUser;
    }
    for (const QByteArray &hash : over)
        remove(hash);
    if (ofUser >= m_settings.mostSessionsOfUser)
        removeIdlest(user);
    if (m_sessions.size() >= m_settings.mostSessions)
        removeIdlest({});
}

// Of all users if none is named.
void SessionBook::removeIdlest(const QString &user)
{
    auto idlest = m_sessions.cend();
    for (auto next = m_sessions.cbegin(); next != m_sessions.cend(); ++next) {
        const bool isAsked = user.isEmpty() || next->user == user;
        if (isAsked && (idlest == m_sessions.cend() || next->seen < idlest->seen))
            idlest = next;
    }
    if (idlest != m_sessions.cend())
        remove(QByteArray(idlest.key()));
}

} // namespace kvgateway
