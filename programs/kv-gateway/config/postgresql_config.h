// SPDX-License-Identifier: MIT
// A PostgreSQL database that gets the values: one [[postgresql]] of the configuration.
#pragma once

#include <kvlink/times.h>

#include <QString>
#include <QStringList>

namespace kvgateway
{

/// What of the server's certificate is checked, as the client library of PostgreSQL has it.
enum class SslMode : quint8 { Disable, Prefer, Require, VerifyCa, VerifyFull };

/// "disable", "prefer", "require", "verify-ca", "verify-full".
const char *sslModeName(SslMode mode);

struct PostgresqlConfig {
    QString name = QStringLiteral("postgresql"); ///< also of its file in the data folder
    QString host;                                ///< empty: the Unix socket of this machine
    quint16 port = 0;
    QString socket = QStringLiteral("/run/postgresql"); ///< folder of the Unix socket
    QString database;                                   ///< "plant"
    QString user;                                       ///< empty: the user whom the program runs as
    QString passwordFile; ///< absolute path; its first line is the password. Empty: none
    SslMode sslMode = SslMode::Prefer;
    QString ca;          ///< PEM: who signed the server's certificate
    QString certificate; ///< PEM: our own; empty: none
    QString key;
    QString schema = QStringLiteral("kv");              ///< in the database; needs no quotes in SQL
    QString site;                                       ///< tells the tags of several gateways apart
    bool standby = false;                               ///< it says which of several gateways is on duty
    QStringList tags;                                   ///< names and patterns; empty: all
    int drainRate = 10'000;                             ///< stored rows a second
    kvlink::Duration keep = std::chrono::hours(7 * 24); ///< of a stored row; 0: forever
    qint64 size = 1'000'000'000;                        ///< of the file in the data folder; 0: no limit

    bool operator==(const PostgresqlConfig &other) const = default;

    /// For people: "postgresql://db.example:5432/plant", "postgresql:///plant (/tmp/db)".
    QString place() const;
};

} // namespace kvgateway
