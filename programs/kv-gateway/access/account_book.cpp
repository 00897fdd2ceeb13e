// SPDX-License-Identifier: MIT
#include "account_book.h"

#include "store/codes.h"
#include "store/schema.h"

#include <QRandomGenerator>

#include <algorithm>

namespace kvgateway
{

namespace
{

constexpr unsigned ownerOnly = 0600;
constexpr int applicationId = 0x4b564741; // "KVGA"
constexpr char step1[] = R"(
CREATE TABLE users(
    name TEXT PRIMARY KEY,
    role TEXT NOT NULL,
    password TEXT NOT NULL,    -- argon2id
    created INTEGER NOT NULL,
    generation INTEGER NOT NULL
) WITHOUT ROWID;
CREATE TABLE tokens(
    name TEXT PRIMARY KEY,
    role TEXT NOT NULL,
    hash BLOB NOT NULL UNIQUE,
    created INTEGER NOT NULL,
    expires INTEGER            -- NULL: never
) WITHOUT ROWID;
CREATE TABLE sessions(
    hash BLOB PRIMARY KEY,
    user TEXT NOT NULL,
    generation INTEGER NOT NULL,
    created INTEGER NOT NULL,
    seen INTEGER NOT NULL
) WITHOUT ROWID;
)";

const Schema &accessSchema()
{
    static const Schema schema{applicationId, {step1}};
    return schema;
}

qint64 newGeneration()
{
    return qint64(QRandomGenerator::system()->generate64() >> 1);
}

bool byName(const User &one, const User &other)
{
    return one.name < other.name;
}

bool tokenByName(const Token &one, const Token &other)
{
    return one.name < other.name;
}

QString noUser(const QString &name)
{
    return QStringLiteral("there is no user '%1'").arg(name);
}

} // namespace

AccountBook::AccountBook(std::unique_ptr<Database> database)
    : m_database(std::move(database)), m_dataVersion(*m_database, "PRAGMA data_version")
{
}

std::unique_ptr<AccountBook> AccountBook::open(const QString &folder, QString &problem)
{
    OpenProblem found;
    auto database =
        Database::open(folder + QStringLiteral("/access.sqlite"), Database::Use::Accounts, ownerOnly, found);
    if (database && bringUpToDate(*database, accessSchema(), found))
        return std::unique_ptr<AccountBook>(new AccountBook(std::move(database)));
    problem = found.text;
    return nullptr;
}

// The number changes when another connection has changed the database. A read that fails changes
// nothing: a damaged or locked file sends nobody out who was in.
void AccountBook::refresh()
{
    const qint64 version = m_dataVersion.step() ? m_dataVersion.integer(0) : m_seenVersion;
    m_dataVersion.reset();
    if (version != m_seenVersion)
        m_seenVersion = load() ? version : neverSeen;
}

bool AccountBook::load()
{
    QHash<QString, Account> accounts;
    QHash<QByteArray, Token> known;
    Statement users(*m_database, "SELECT name, role, password, created, generation FROM users");
    while (users.step()) {
        const auto role = roleFromName(users.text(1));
        if (role)
            accounts.insert(users.text(0), {{users.text(0), *role, fromMs(users.integer(3))},
                                            users.text(2).toLatin1(),
                                            users.integer(4)});
    }
    Statement tokens(*m_database, "SELECT name, role, hash, created, expires FROM tokens");
    while (tokens.step()) {
        const auto role = roleFromName(tokens.text(1));
        if (!role)
            continue;
        Token token{tokens.text(0), *role, fromMs(tokens.integer(3)), {}};
        if (!tokens.isNull(4))
            token.expires = fromMs(tokens.integer(4));
        known.insert(tokens.bytes(2), token);
    }
    if (users.hasFailed() || tokens.hasFailed())
        return false;
    m_accounts = std::move(accounts);
    m_tokens = std::move(known);
    return true;
}

bool AccountBook::finish(Statement &statement, const QString &missing, QString &problem)
{
    const bool isDone = statement.finish();
    if (!isDone)
        problem = m_database->problem();
    else if (m_database->changes() == 0)
        problem = missing;
    const bool isChanged = isDone && m_database->changes() > 0;
    if (!load())
        m_seenVersion = neverSeen; // our own changes do not change the number
    return isChanged;
}

bool AccountBook::add(const User &user, const QByteArray &passwordHash, QString &problem)
{
    Statement add(
        *m_database,
        "INSERT OR IGNORE INTO users(name, role, password, created, generation) VALUES(?, ?, ?, ?, ?)");
    add.bind(1, user.name).bind(2, roleName(user.role)).bind(3, QString::fromLatin1(passwordHash));
    add.bind(4, toMs(user.created)).bind(5, newGeneration());
    return finish(
        add,
        QStringLiteral("there is a user '%1' already: remove it first, or set its password").arg(user.name),
        problem);
}

bool AccountBook::remove(const QString &name, QString &problem)
{
    Statement remove(*m_database, "DELETE FROM users WHERE name = ?");
    remove.bind(1, name);
    return finish(remove, noUser(name), problem);
}

bool AccountBook::setPasswordHash(const QString &name, const QByteArray &passwordHash, QString &problem)
{
    Statement set(*m_database, "UPDATE users SET password = ?, generation = ? WHERE name = ?");
    set.bind(1, QString::fromLatin1(passwordHash)).bind(2, newGeneration()).bind(3, name);
    return finish(set, noUser(name), problem);
}

bool AccountBook::setRole(const QString &name, Role role, QString &problem)
{
    Statement set(*m_database, "UPDATE users SET role = ?, generation = ? WHERE name = ?");
    set.bind(1, roleName(role)).bind(2, newGeneration()).bind(3, name);
    return finish(set, noUser(name), problem);
}

std::optional<AccountBook::Account> AccountBook::account(const QString &name)
{
    refresh();
    const auto found = m_accounts.constFind(name);
    return found == m_accounts.constEnd() ? std::nullopt : std::optional(found.value());
}

std::vector<User> AccountBook::users()
{
    refresh();
    std::vector<User> users;
    for (const Account &account : std::as_const(m_accounts))
        users.push_back(account.user);
    std::sort(users.begin(), users.end(), byName);
    return users;
}

bool AccountBook::addToken(const KeptToken &kept, QString &problem)
{
    Statement add(*m_database,
                  "INSERT OR IGNORE INTO tokens(name, role, hash, created, expires) VALUES(?, ?, ?, ?, ?)");
    const Token &token = kept.token;
    add.bind(1, token.name)
        .bind(2, roleName(token.role))
        .bindBytes(3, kept.hash)
        .bind(4, toMs(token.created));
    if (token.expires)
        add.bind(5, toMs(*token.expires));
    return finish(add, QStringLiteral("there is a token '%1' already: remove it first").arg(token.name),
                  problem);
}

bool AccountBook::removeToken(const QString &name, QString &problem)
{
    Statement remove(*m_database, "DELETE FROM tokens WHERE name = ?");
    remove.bind(1, name);
    return finish(remove, QStringLiteral("there is no token '%1'").arg(name), problem);
}

std::optional<Token> AccountBook::tokenOf(const QByteArray &hash)
{
    refresh();
    const auto found = m_tokens.constFind(hash);
    return found == m_tokens.constEnd() ? std::nullopt : std::optional(found.value());
}

std::vector<Token> AccountBook::tokens()
{
    refresh();
    std::vector<Token> tokens(m_tokens.cbegin(), m_tokens.cend());
    std::sort(tokens.begin(), tokens.end(), tokenByName);
    return tokens;
}

} // namespace kvgateway
