// SPDX-License-Identifier: MIT
#include "password_hasher.h"

#include <QVector>

#include <mutex>
#include <sodium.h>

namespace kvgateway
{

namespace
{

constexpr unsigned long long passes = 3;
constexpr std::size_t memory = 32 * 1024 * 1024;
constexpr int leastCharacters = 8;
constexpr int mostBytes = 1024;

// The same letters typed on two keyboards are the same password.
QByteArray bytesOf(const QString &password)
{
    return password.normalized(QString::NormalizationForm_C).toUtf8();
}

std::mutex &oneAtATime()
{
    static std::mutex lock;
    return lock;
}

} // namespace

QByteArray Argon2idHasher::hash(const QString &password) const
{
    const std::scoped_lock lock(oneAtATime());
    const QByteArray bytes = bytesOf(password);
    QByteArray hash(int(crypto_pwhash_STRBYTES), '\0');
    if (::sodium_init() < 0 ||
        crypto_pwhash_str_alg(hash.data(), bytes.constData(), std::size_t(bytes.size()), passes, memory,
                              crypto_pwhash_ALG_ARGON2ID13) != 0)
        return {};
    hash.truncate(int(qstrlen(hash.constData())));
    return hash;
}

bool Argon2idHasher::matches(const QByteArray &hash, const QString &password) const
{
    const std::scoped_lock lock(oneAtATime());
    const QByteArray bytes = bytesOf(password);
    return ::sodium_init() >= 0 &&
           crypto_pwhash_str_verify(hash.constData(), bytes.constData(), std::size_t(bytes.size())) == 0;
}

QString passwordProblem(const QString &name, const QString &password)
{
    if (password.toUcs4().size() < leastCharacters)
        return QStringLiteral("the password is too short: take %1 characters or more").arg(leastCharacters);
    if (bytesOf(password).size() > mostBytes)
        return QStringLiteral("the password is too long: take at most %1 bytes").arg(mostBytes);
    if (password.compare(name, Qt::CaseInsensitive) == 0)
        return QStringLiteral("the password is the name: take another one");
    return {};
}

} // namespace kvgateway
