// SPDX-License-Identifier: MIT
// Users and tokens in access.sqlite, with a copy in memory that is read again when another process
// has changed them.
#pragma once

#include "access.h"

#include "store/database.h"

#include <QHash>

namespace kvgateway
{

/// One thread at a time.
class AccountBook
{
public:
    struct Account {
        User user;
        QByteArray passwordHash;
        qint64 generation = 0; ///< another one after each change: sessions of an older one have ended
    };
    struct KeptToken {
        Token token;
        QByteArray hash;
    };

    /// \return nullptr with what is wrong and what to do
    static std::unique_ptr<AccountBook> open(const QString &folder, QString &problem);

    bool add(const User &user, const QByteArray &passwordHash, QString &problem);
    bool remove(const QString &name, QString &problem);
    bool setPasswordHash(const QString &name, const QByteArray &passwordHash, QString &problem);
    bool setRole(const QString &name, Role role, QString &problem);
    std::optional<Account> account(const QString &name);
    std::vector<User> users();

    bool addToken(const KeptToken &kept, QString &problem);
    bool removeToken(const QString &name, QString &problem);
    std::optional<Token> tokenOf(const QByteArray &hash);
    std::vector<Token> tokens();

    Database &database() { return *m_database; }

private:
    static constexpr qint64 neverSeen = -1;

    explicit AccountBook(std::unique_ptr<Database> database);
    void refresh();
    /// \return false: it could not be read, and the copy stays as it was
    bool load();
    bool finish(Statement &statement, const QString &missing, QString &problem);

    std::unique_ptr<Database> m_database;
    Statement m_dataVersion;
    qint64 m_seenVersion = neverSeen;
    QHash<QString, Account> m_accounts;
    QHash<QByteArray, Token> m_tokens; ///< by their hash
};

} // namespace kvgateway
