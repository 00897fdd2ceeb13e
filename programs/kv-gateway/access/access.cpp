// SPDX-License-Identifier: MIT
#include "access.h"

#include "account_book.h"
#include "secrets.h"
#include "session_book.h"

#include <QDir>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <sodium.h>

namespace kvgateway
{

namespace
{

constexpr int mostNameLength = 64;
constexpr int mostIdLength = 200; // what is longer is no id of ours, and not worth a hash
constexpr char tokenPrefix[] = "kvg_";
constexpr char csrfPurpose[] = "csrf";
constexpr kvlink::Duration busyWait = std::chrono::seconds(1);

bool isNameLetter(QChar letter)
{
    const ushort code = letter.unicode();
    return (code >= 'a' && code <= 'z') || (code >= 'A' && code <= 'Z') || (code >= '0' && code <= '9') ||
           QStringLiteral("._-@").contains(letter);
}

bool isName(const QString &name, QString &problem)
{
    if (!name.isEmpty() && name.size() <= mostNameLength &&
        std::all_of(name.begin(), name.end(), isNameLetter))
        return true;
    problem = QStringLiteral("'%1' cannot be a name: take 1 to %2 letters, digits and . _ - @")
                  .arg(name.left(mostNameLength))
                  .arg(mostNameLength);
    return false;
}

// Empty, with a problem: the password is too weak, or there is no memory to hash it.
QByteArray newHash(const PasswordHasher &hasher, const QString &name, const QString &password,
                   QString &problem)
{
    problem = passwordProblem(name, password);
    if (!problem.isEmpty())
        return {};
    QByteArray hash = hasher.hash(password);
    if (hash.isEmpty())
        problem = QStringLiteral("there is too little memory to hash a password");
    return hash;
}

} // namespace

struct Access::State {
    State(const AccessSettings &wanted, const Clock &givenClock, const PasswordHasher &givenHasher,
          std::unique_ptr<AccountBook> book)
        : settings(wanted), clock(givenClock), hasher(givenHasher), accounts(std::move(book)),
          sessions(wanted, accounts->database(), givenClock), userTries(wanted.userTries),
          addressTries(wanted.addressTries), tokenTries(wanted.addressTries)
    {
    }

    bool mayTry(const QString &name, const QString &address, Login &login);
    void noteTry(bool isRight, const QString &name, const QString &address);
    Login begin(const AccountBook::Account &account);

    const AccessSettings settings;
    const Clock &clock;
    const PasswordHasher &hasher;
    std::mutex lock; // for all below; never held while a password is hashed
    std::unique_ptr<AccountBook> accounts;
    SessionBook sessions;
    TryLimit userTries;
    TryLimit addressTries;
    TryLimit tokenTries; // apart: a machine with a wrong token locks out no person
    QByteArray nobodysHash;
    int logins = 0; // under way
};

Access::Access(std::unique_ptr<State> state) : m_state(std::move(state)) {}
Access::~Access() = default;

std::unique_ptr<Access> Access::open(const AccessSettings &settings, const Clock &clock,
                                     const PasswordHasher &hasher, QString &problem)
{
    if (::sodium_init() < 0 || !QDir().mkpath(settings.folder)) {
        problem = QStringLiteral("the data folder %1 cannot be made: check its path and its rights")
                      .arg(settings.folder);
        return nullptr;
    }
    auto accounts = AccountBook::open(settings.folder, problem);
    if (!accounts)
        return nullptr;
    return std::unique_ptr<Access>(
        new Access(std::make_unique<State>(settings, clock, hasher, std::move(accounts))));
}

bool Access::addUser(const QString &name, const QString &password, Role role, QString &problem)
{
    if (!isName(name, problem))
        return false;
    const QByteArray hash = newHash(m_state->hasher, name, password, problem);
    if (hash.isEmpty())
        return false;
    const std::scoped_lock guard(m_state->lock);
    return m_state->accounts->add({name, role, m_state->clock.wall()}, hash, problem);
}

bool Access::removeUser(const QString &name, QString &problem)
{
    const std::scoped_lock guard(m_state->lock);
    m_state->sessions.removeOfUser(name);
    return m_state->accounts->remove(name, problem);
}

bool Access::setPassword(const QString &name, const QString &password, QString &problem)
{
    const QByteArray hash = newHash(m_state->hasher, name, password, problem);
    if (hash.isEmpty())
        return false;
    const std::scoped_lock guard(m_state->lock);
    m_state->sessions.removeOfUser(name);
    return m_state->accounts->setPasswordHash(name, hash, problem);
}

bool Access::setRole(const QString &name, Role role, QString &problem)
{
    const std::scoped_lock guard(m_state->lock);
    m_state->sessions.removeOfUser(name);
    return m_state->accounts->setRole(name, role, problem);
}

std::vector<User> Access::users() const
{
    const std::scoped_lock guard(m_state->lock);
    return m_state->accounts->users();
}

std::optional<QString> Access::addToken(const QString &name, Role role, kvlink::Duration validFor,
                                        QString &problem)
{
    if (!isName(name, problem))
        return {};
    const QString secret = QLatin1String(tokenPrefix) + randomId();
    const std::scoped_lock guard(m_state->lock);
    const kvlink::WallTime now = m_state->clock.wall();
    Token token{name, role, now, {}};
    if (validFor.count() != 0)
        token.expires = now + validFor;
    return m_state->accounts->addToken({token, hashOf(secret)}, problem) ? std::optional(secret)
                                                                         : std::nullopt;
}

bool Access::removeToken(const QString &name, QString &problem)
{
    const std::scoped_lock guard(m_state->lock);
    return m_state->accounts->removeToken(name, problem);
}

std::vector<Token> Access::tokens() const
{
    const std::scoped_lock guard(m_state->lock);
    return m_state->accounts->tokens();
}

// A token that is right is taken whatever the others at its address do: nobody guesses 256 bits.
TokenCheck Access::checkToken(const QString &token, const QString &address)
{
    const std::scoped_lock guard(m_state->lock);
    const kvlink::SteadyTime now = m_state->clock.steady();
    const auto found =
        token.size() <= mostIdLength ? m_state->accounts->tokenOf(hashOf(token)) : std::nullopt;
    if (found && (!found->expires || m_state->clock.wall() < *found->expires))
        return {Identity{found->name, found->role, true}, {}};
    const QString key = addressKey(address);
    const kvlink::Duration wait = m_state->tokenTries.waitOf(key, now);
    if (wait.count() == 0)
        m_state->tokenTries.failed(key, now);
    return {{}, wait};
}

bool Access::State::mayTry(const QString &name, const QString &address, Login &login)
{
    const kvlink::SteadyTime now = clock.steady();
    login.retryAfter = std::max(userTries.waitOf(name, now), addressTries.waitOf(addressKey(address), now));
    if (login.retryAfter.count() > 0) {
        login.outcome = LoginOutcome::TooMany;
        return false;
    }
    if (logins >= settings.mostLoginsAtOnce) {
        login.outcome = LoginOutcome::Busy;
        login.retryAfter = busyWait;
        return false;
    }
    return true;
}

void Access::State::noteTry(bool isRight, const QString &name, const QString &address)
{
    // The count of the address stays: somebody with an account of his own may guess
    // those of others.
    if (isRight) {
        userTries.succeeded(name);
        return;
    }
    const kvlink::SteadyTime now = clock.steady();
    userTries.failed(name, now);
    addressTries.failed(addressKey(address), now);
}

Login Access::State::begin(const AccountBook::Account &account)
{
    Login login;
    login.outcome = LoginOutcome::Done;
    login.session = randomId();
    login.csrf = csrfOf(login.session);
    login.identity = {account.user.name, account.user.role, false};
    sessions.add(hashOf(login.session), account.user.name, account.generation);
    return login;
}

Login Access::logIn(const QString &name, const QString &password, const QString &address)
{
    Login login;
    QString ignored;
    const QString key = isName(name, ignored) ? name : QString(); // no memory for what cannot be a name
    std::optional<AccountBook::Account> account;
    QByteArray nobodysHash;
    {
        const std::scoped_lock guard(m_state->lock);
        if (!m_state->mayTry(key, address, login))
            return login;
        account = m_state->accounts->account(key);
        nobodysHash = m_state->nobodysHash;
        ++m_state->logins;
    }
    // An unknown name takes as long as a wrong password.
    if (!account && nobodysHash.isEmpty())
        nobodysHash = m_state->hasher.hash(randomId());
    const bool isRight = m_state->hasher.matches(account ? account->passwordHash : nobodysHash, password) &&
                         account.has_value();
    const std::scoped_lock guard(m_state->lock);
    --m_state->logins;
    m_state->nobodysHash = nobodysHash;
    m_state->noteTry(isRight, key, address);
    return isRight ? m_state->begin(*account) : login;
}

std::optional<Identity> Access::checkSession(const QString &session)
{
    if (session.size() > mostIdLength)
        return {};
    const std::scoped_lock guard(m_state->lock);
    const QByteArray hash = hashOf(session);
    const auto found = m_state->sessions.find(hash);
    if (!found)
        return {};
    const auto account = m_state->accounts->account(found->user);
    if (account && account->generation == found->generation)
        return Identity{account->user.name, account->user.role, false};
    m_state->sessions.remove(hash);
    return {};
}

QString Access::csrfOf(const QString &session)
{
    return session.isEmpty() || session.size() > mostIdLength ? QString() : derivedFrom(session, csrfPurpose);
}

bool Access::isCsrfOf(const QString &session, const QString &csrf)
{
    const QString expected = csrfOf(session);
    return !expected.isEmpty() && isSame(expected.toLatin1(), csrf.toUtf8());
}

void Access::logOut(const QString &session)
{
    if (session.size() > mostIdLength)
        return;
    const std::scoped_lock guard(m_state->lock);
    m_state->sessions.remove(hashOf(session));
}

int Access::sessions() const
{
    const std::scoped_lock guard(m_state->lock);
    return m_state->sessions.count();
}

} // namespace kvgateway
