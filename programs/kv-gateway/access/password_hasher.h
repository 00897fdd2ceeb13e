// SPDX-License-Identifier: MIT
// Passwords, hashed so that a stolen database does not give them away.
#pragma once

#include <QByteArray>
#include <QString>

namespace kvgateway
{

/// Any thread.
class PasswordHasher
{
public:
    virtual ~PasswordHasher() = default;

    /// With a salt of its own: no two results are alike. \return empty if there is no memory for it
    virtual QByteArray hash(const QString &password) const = 0;
    virtual bool matches(const QByteArray &hash, const QString &password) const = 0;
};

/// argon2id with 32 MiB and three passes: about 0.1 s of one core. One at a time, so that many
/// logins at once take no more memory than one.
class Argon2idHasher : public PasswordHasher
{
public:
    QByteArray hash(const QString &password) const override;
    bool matches(const QByteArray &hash, const QString &password) const override;
};

/// \return empty if it may be used; else why not, and what to do. 8 characters at
/// least, 1,024 bytes
///   at most, not the name itself
QString passwordProblem(const QString &name, const QString &password);

} // namespace kvgateway
