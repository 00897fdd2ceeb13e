// SPDX-License-Identifier: MIT
// An advisory lock of a PostgreSQL database, held by a session of its own. It ends with the
// session: when we close it, when we are gone, and when we were silent for too long.
#pragma once

#include "duty.h"
#include "duty_lock.h"

#include "outlets/pq_link.h"

namespace kvgateway
{

class PostgresqlLock : public DutyLock
{
public:
    /// \param shard gateways of one site and shard want the same lock; may be empty
    /// \param us    what others are told who stand by for us: "kv-gateway on gw1"
    PostgresqlLock(const PostgresqlConfig &config, const QString &shard, const QString &us,
                   const DutyTiming &timing);

    LockAnswer ask(QString &text) override;
    void close() override;
    void interrupt() override { m_link.interrupt(); }

    /// Of a site and a shard; always the same one.
    static qint64 keyOf(const QString &site, const QString &shard);

private:
    bool open(PqProblem &problem);
    std::optional<bool> isTrue(const char *sql, PqProblem &problem);
    QString holder(PqProblem &problem);
    LockAnswer lost(const PqProblem &problem, QString &text);

    const PostgresqlConfig m_config;
    const QByteArray m_key;
    const QByteArray m_us;
    const DutyTiming m_timing;
    PqLink m_link;
    bool m_isOpen = false;
    bool m_isOurs = false;
};

} // namespace kvgateway
