// SPDX-License-Identifier: MIT
// Who may come in, and who may not: every rule from both sides, with clocks turned by hand.
#include "access/access.h"
#include "store/database.h"

#include "store/fake_clock.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <sys/mount.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

namespace kvgateway
{
namespace
{

using namespace std::chrono_literals;

// As the real one, but cheap; and it counts.
class CountingHasher : public PasswordHasher
{
public:
    QByteArray hash(const QString &password) const override { return "hashed:" + password.toUtf8(); }
    bool matches(const QByteArray &hash, const QString &password) const override
    {
        ++checks;
        return hash == "hashed:" + password.toUtf8();
    }
    mutable std::atomic<int> checks{0};
};

class AccessTest : public testing::Test
{
protected:
    void SetUp() override
    {
        settings.folder = folder.path();
        open();
        QString problem;
        ASSERT_TRUE(access->addUser("anna", "correct horse", Role::Operator, problem))
            << problem.toStdString();
    }
    void open()
    {
        access.reset();
        QString problem;
        access = Access::open(settings, clock, hasher, problem);
        ASSERT_NE(access, nullptr) << problem.toStdString();
    }
    Login logIn(const char *name = "anna", const char *password = "correct horse",
                const char *address = "10.0.0.7")
    {
        return access->logIn(QString::fromUtf8(name), QString::fromUtf8(password),
                             QString::fromLatin1(address));
    }
    bool isIn(const Login &login) { return access->checkSession(login.session).has_value(); }
    void wrong(int times, const char *name = "anna", const char *address = "10.0.0.7")
    {
        for (int i = 0; i < times; ++i)
            EXPECT_EQ(logIn(name, "wrong", address).outcome, LoginOutcome::Wrong) << i;
    }

    QTemporaryDir folder;
    AccessSettings settings;
    FakeClock clock;
    CountingHasher hasher;
    std::unique_ptr<Access> access;
};

TEST(Role, EachMayDoWhatThoseBeforeMay)
{
    const Role roles[] = {Role::Viewer, Role::Operator, Role::Engineer};
    const char *const names[] = {"viewer", "operator", "engineer"};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(roleName(roles[i]), QString::fromLatin1(names[i]));
        EXPECT_EQ(roleFromName(QString::fromLatin1(names[i])), roles[i]);
        for (int k = 0; k < 3; ++k)
            EXPECT_EQ(isAtLeast(roles[i], roles[k]), i >= k);
    }
    EXPECT_EQ(roleFromName("Engineer"), std::nullopt);
    EXPECT_EQ(roleFromName(""), std::nullopt);
}

TEST_F(AccessTest, LogsInWithNameAndPassword)
{
    const Login login = logIn();
    EXPECT_EQ(login.outcome, LoginOutcome::Done);
    EXPECT_EQ(login.session.size(), 43);
    EXPECT_EQ(login.csrf.size(), 43);
    EXPECT_NE(login.csrf, login.session);
    EXPECT_EQ(login.identity.name, QStringLiteral("anna"));
    EXPECT_EQ(login.identity.role, Role::Operator);
    EXPECT_FALSE(login.identity.isToken);
    const auto identity = access->checkSession(login.session);
    ASSERT_TRUE(identity);
    EXPECT_EQ(identity->name, QStringLiteral("anna"));
    EXPECT_EQ(identity->role, Role::Operator);
    EXPECT_NE(logIn().session, login.session);
    EXPECT_EQ(access->sessions(), 2);
}

TEST_F(AccessTest, RefusesEverythingElseAlike)
{
    struct {
        const char *name, *password;
    } const rows[] = {
        {"anna", ""},
        {"anna", "wrong"},
        {"anna", "Correct horse"},
        {"anna", "correct horse "},
        {"Anna", "correct horse"},
        {"bert", "correct horse"},
        {"", ""},
        {"anna' OR '1'='1", "x"},
    };
    for (const auto &row : rows) {
        const int before = hasher.checks;
        const Login login = logIn(row.name, row.password);
        EXPECT_EQ(login.outcome, LoginOutcome::Wrong) << row.name << ' ' << row.password;
        EXPECT_TRUE(login.session.isEmpty());
        EXPECT_EQ(hasher.checks, before + 1) << "an unknown name must cost as much as a wrong password";
        clock.advance(2min);
    }
    EXPECT_EQ(access->sessions(), 0);
}

TEST_F(AccessTest, ForeignSessionsAreRefused)
{
    const Login login = logIn();
    QString changed = login.session;
    changed[0] = changed.at(0) == 'A' ? 'B' : 'A';
    const QString rows[] = {
        changed, {}, login.session + 'A', login.session.left(42), login.csrf, QString(100'000, 'A')};
    for (const QString &row : rows)
        EXPECT_FALSE(access->checkSession(row)) << row.left(50).toStdString();
    EXPECT_TRUE(isIn(login));
}

TEST_F(AccessTest, SessionsEndWhenIdle)
{
    const Login used = logIn();
    const Login idle = logIn();
    clock.advance(29min + 59s);
    EXPECT_TRUE(isIn(used));
    clock.advance(1s);
    EXPECT_FALSE(isIn(idle)); // 30 minutes
    EXPECT_TRUE(isIn(used));
    clock.advance(30min);
    EXPECT_EQ(access->sessions(), 0);
    EXPECT_FALSE(isIn(used));
}

TEST_F(AccessTest, SessionsEndAfterTheirLongestTime)
{
    const Login login = logIn();
    for (int i = 0; i < 12 * 3 - 1; ++i) {
        clock.advance(20min);
        EXPECT_TRUE(isIn(login));
    }
    clock.advance(19min + 59s);
    EXPECT_TRUE(isIn(login));
    clock.advance(1s); // 12 hours, and never idle
    EXPECT_FALSE(isIn(login));
}

TEST_F(AccessTest, AClockThatJumpsEndsNoSession)
{
    const Login login = logIn();
    clock.jump(std::chrono::hours(1000));
    EXPECT_TRUE(isIn(login));
    clock.jump(-std::chrono::hours(2000));
    EXPECT_TRUE(isIn(login));
    clock.advance(30min);
    EXPECT_FALSE(isIn(login));
}

TEST_F(AccessTest, LogOutEndsOneSession)
{
    const Login one = logIn();
    const Login other = logIn();
    access->logOut(one.session);
    access->logOut("nonsense");
    EXPECT_FALSE(isIn(one));
    EXPECT_TRUE(isIn(other));
}

TEST_F(AccessTest, SessionsOutliveARestart)
{
    const Login login = logIn();
    const Login loggedOut = logIn();
    access->logOut(loggedOut.session);
    clock.advance(10min);
    EXPECT_TRUE(isIn(login));
    clock.advance(29min);
    open();
    EXPECT_FALSE(isIn(loggedOut));
    EXPECT_TRUE(isIn(login));
    clock.advance(30min);
    open();
    EXPECT_FALSE(isIn(login)); // idle time is counted over the restart
    EXPECT_EQ(access->sessions(), 0);
}

struct NoteRow {
    kvlink::Duration idle, every;
};

// Each note waits for the disk.
TEST_F(AccessTest, RequestsAreNotedSeldom)
{
    for (const NoteRow &row : {NoteRow{30min, 10min}, {2h, 10min}, {3min, 1min}}) {
        settings.idle = row.idle;
        open();
        const Login login = logIn();
        OpenProblem problem;
        const auto watcher =
            Database::open(folder.path() + "/access.sqlite", Database::Use::Read, 0600, problem);
        ASSERT_NE(watcher, nullptr) << problem.text.toStdString();
        const qint64 before = watcher->number("PRAGMA data_version");
        clock.advance(row.every - 1us);
        EXPECT_TRUE(isIn(login));
        EXPECT_EQ(watcher->number("PRAGMA data_version"), before) << row.idle.count();
        clock.advance(1us);
        EXPECT_TRUE(isIn(login));
        EXPECT_NE(watcher->number("PRAGMA data_version"), before) << row.idle.count();
    }
}

TEST_F(AccessTest, NoSecretIsInTheFile)
{
    const Login login = logIn();
    QString problem;
    const auto token = access->addToken("grafana", Role::Viewer, {}, problem);
    ASSERT_TRUE(token) << problem.toStdString();
    QByteArray all;
    for (const QFileInfo &info : QDir(folder.path()).entryInfoList(QDir::Files)) {
        QFile file(info.filePath());
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        all += file.readAll();
        EXPECT_EQ(int(info.permissions() & QFileDevice::Permissions(0x0077)), 0)
            << info.fileName().toStdString() << ": others may read it";
    }
    EXPECT_TRUE(all.contains("grafana"));
    EXPECT_FALSE(all.contains(login.session.toLatin1()));
    EXPECT_FALSE(all.contains(login.csrf.toLatin1()));
    EXPECT_FALSE(all.contains(token->toLatin1()));
    EXPECT_FALSE(all.contains(token->mid(4).toLatin1()));
}

TEST_F(AccessTest, SessionsAreBounded)
{
    settings.mostSessionsOfUser = 2;
    settings.mostSessions = 3;
    open();
    QString problem;
    ASSERT_TRUE(access->addUser("bert", "password!", Role::Viewer, problem)) << problem.toStdString();
    const auto next = [this](const char *name, const char *password) {
        clock.advance(1s);
        return logIn(name, password);
    };
    const Login first = next("anna", "correct horse");
    const Login second = next("anna", "correct horse");
    clock.advance(1s);
    EXPECT_TRUE(isIn(first)); // now `second` is the one that was idle longest
    const Login third = next("anna", "correct horse");
    EXPECT_TRUE(isIn(first));
    EXPECT_FALSE(isIn(second));
    clock.advance(1s);
    EXPECT_TRUE(isIn(third));
    const Login fourth = next("bert", "password!");
    EXPECT_EQ(access->sessions(), 3);
    const Login fifth = next("bert", "password!"); // of all, `first` was idle longest
    EXPECT_EQ(access->sessions(), 3);
    EXPECT_FALSE(isIn(first));
    EXPECT_TRUE(isIn(third));
    EXPECT_TRUE(isIn(fourth));
    EXPECT_TRUE(isIn(fifth));
}

TEST_F(AccessTest, CsrfTokensBelongToOneSession)
{
    const Login one = logIn();
    const Login other = logIn();
    EXPECT_TRUE(Access::isCsrfOf(one.session, one.csrf));
    EXPECT_EQ(Access::csrfOf(one.session), one.csrf);
    struct {
        QString session, csrf;
    } const rows[] = {{one.session, other.csrf},
                      {other.session, one.csrf},
                      {one.session, {}},
                      {{}, one.csrf},
                      {{}, {}},
                      {one.session, one.session},
                      {one.session, one.csrf + 'A'},
                      {one.session, one.csrf.left(42)},
                      {QString(1000, 'A'), one.csrf}};
    for (const auto &row : rows)
        EXPECT_FALSE(Access::isCsrfOf(row.session, row.csrf));
}

TEST_F(AccessTest, ChangesOfAUserEndItsSessions)
{
    const auto isEnded = [this](auto change) {
        const Login login = logIn();
        EXPECT_TRUE(isIn(login));
        QString problem;
        EXPECT_TRUE(change(problem)) << problem.toStdString();
        return !isIn(login);
    };
    EXPECT_TRUE(
        isEnded([this](QString &problem) { return access->setRole("anna", Role::Engineer, problem); }));
    EXPECT_EQ(logIn().identity.role, Role::Engineer);
    EXPECT_TRUE(
        isEnded([this](QString &problem) { return access->setPassword("anna", "correct horse", problem); }));
    EXPECT_TRUE(isEnded([this](QString &problem) { return access->removeUser("anna", problem); }));
    EXPECT_EQ(logIn().outcome, LoginOutcome::Wrong);
}

// `kv-gateway user` works beside the service.
TEST_F(AccessTest, ChangesOfAnotherProcessAreSeenAtOnce)
{
    QString problem;
    const auto shell = Access::open(settings, clock, hasher, problem);
    ASSERT_NE(shell, nullptr) << problem.toStdString();
    const Login login = logIn();
    EXPECT_TRUE(isIn(login));
    ASSERT_TRUE(shell->addUser("bert", "password!", Role::Viewer, problem));
    EXPECT_EQ(logIn("bert", "password!").outcome, LoginOutcome::Done);
    EXPECT_EQ(access->users().size(), 2U);
    ASSERT_TRUE(shell->setPassword("anna", "another one", problem));
    EXPECT_FALSE(isIn(login));
    EXPECT_EQ(logIn().outcome, LoginOutcome::Wrong);
    const Login again = logIn("anna", "another one");
    ASSERT_TRUE(shell->removeUser("anna", problem));
    ASSERT_TRUE(shell->addUser("anna", "another one", Role::Viewer, problem));
    EXPECT_FALSE(isIn(again)); // the same name, another user
    const auto token = shell->addToken("line", Role::Viewer, {}, problem);
    EXPECT_TRUE(access->checkToken(*token, "10.0.0.7").identity);
    ASSERT_TRUE(shell->removeToken("line", problem));
    EXPECT_FALSE(access->checkToken(*token, "10.0.0.7").identity);
}

TEST_F(AccessTest, UsersAreListedByName)
{
    QString problem;
    clock.advance(1min);
    ASSERT_TRUE(access->addUser("Zoe", "password!", Role::Engineer, problem));
    ASSERT_TRUE(access->addUser("b.m_x-1@line", "password!", Role::Viewer, problem));
    const std::vector<User> users = access->users();
    ASSERT_EQ(users.size(), 3U);
    EXPECT_EQ(users[0].name, QStringLiteral("Zoe"));
    EXPECT_EQ(users[0].role, Role::Engineer);
    EXPECT_EQ(users[0].created, at(60'000));
    EXPECT_EQ(users[1].name, QStringLiteral("anna"));
    EXPECT_EQ(users[1].created, at(0));
    EXPECT_EQ(users[2].name, QStringLiteral("b.m_x-1@line"));
}

TEST_F(AccessTest, BadNamesAndPasswordsAreRefusedWithAReason)
{
    const QString longest(64, 'n');
    struct {
        QString name, password, problem;
    } const rows[] = {
        {"", "password!", "'' cannot be a name: take 1 to 64 letters, digits and . _ - @"},
        {"a b", "password!", "'a b' cannot be a name: take 1 to 64 letters, digits and . _ - @"},
        {QString::fromUtf8("jürgen"), "password!",
         QString::fromUtf8("'jürgen' cannot be a name: take 1 to 64 letters, digits and . _ - @")},
        {longest + 'n', "password!",
         "'" + longest + "' cannot be a name: take 1 to 64 letters, digits and . _ - @"},
        {"bert", "1234567", "the password is too short: take 8 characters or more"},
        {"bert", QString::fromUtf8("äöüßäöü"), "the password is too short: take 8 characters or more"},
        {"bert", QString(1025, 'x'), "the password is too long: take at most 1024 bytes"},
        {"bertbert", "BertBert", "the password is the name: take another one"},
        {"anna", "password!", "there is a user 'anna' already: remove it first, or set its password"},
    };
    for (const auto &row : rows) {
        QString problem;
        EXPECT_FALSE(access->addUser(row.name, row.password, Role::Viewer, problem));
        EXPECT_EQ(problem, row.problem);
    }
    QString problem;
    EXPECT_TRUE(access->addUser(longest, QString(1024, 'x'), Role::Viewer, problem)) << problem.toStdString();
    EXPECT_TRUE(access->addUser("bert", QString::fromUtf8("äöüßäöüß"), Role::Viewer, problem))
        << problem.toStdString();
    EXPECT_FALSE(access->setPassword("anna", "short", problem));
    EXPECT_EQ(problem, QStringLiteral("the password is too short: take 8 characters or more"));
    for (const bool isDone :
         {access->removeUser("nobody", problem), access->setRole("nobody", Role::Viewer, problem),
          access->setPassword("nobody", "password!", problem)})
        EXPECT_FALSE(isDone);
    EXPECT_EQ(problem, QStringLiteral("there is no user 'nobody'"));
}

TEST_F(AccessTest, TokensComeInUntilTheyExpireOrAreRemoved)
{
    QString problem;
    const auto unlimited = access->addToken("grafana", Role::Viewer, {}, problem);
    const auto day = access->addToken("mes", Role::Operator, 24h, problem);
    ASSERT_TRUE(unlimited && day) << problem.toStdString();
    EXPECT_TRUE(unlimited->startsWith("kvg_"));
    EXPECT_EQ(unlimited->size(), 47);
    const auto identity = access->checkToken(*day, "10.0.0.7").identity;
    ASSERT_TRUE(identity);
    EXPECT_EQ(identity->name, QStringLiteral("mes"));
    EXPECT_EQ(identity->role, Role::Operator);
    EXPECT_TRUE(identity->isToken);
    clock.advance(24h - 1s);
    EXPECT_TRUE(access->checkToken(*day, "10.0.0.7").identity);
    clock.advance(1s);
    EXPECT_FALSE(access->checkToken(*day, "10.0.0.7").identity);
    EXPECT_TRUE(access->checkToken(*unlimited, "10.0.0.7").identity);
    const std::vector<Token> tokens = access->tokens();
    ASSERT_EQ(tokens.size(), 2U);
    EXPECT_EQ(tokens[0].name, QStringLiteral("grafana"));
    EXPECT_EQ(tokens[0].expires, std::nullopt);
    EXPECT_EQ(tokens[1].expires, at(24 * 3'600'000));
    ASSERT_TRUE(access->removeToken("grafana", problem)) << problem.toStdString();
    EXPECT_FALSE(access->checkToken(*unlimited, "10.0.0.7").identity);
    EXPECT_FALSE(access->removeToken("grafana", problem));
    EXPECT_EQ(problem, QStringLiteral("there is no token 'grafana'"));
    EXPECT_FALSE(access->addToken("mes", Role::Viewer, {}, problem));
    EXPECT_EQ(problem, QStringLiteral("there is a token 'mes' already: remove it first"));
    EXPECT_FALSE(access->addToken("a b", Role::Viewer, {}, problem));
}

TEST_F(AccessTest, WrongTokensAreCountedAndNeverStopARightOne)
{
    QString problem;
    const auto token = access->addToken("grafana", Role::Viewer, {}, problem);
    for (int i = 0; i < 21; ++i)
        EXPECT_EQ(access->checkToken("kvg_wrong", "10.0.0.7").retryAfter, 0s) << i;
    EXPECT_EQ(access->checkToken("kvg_wrong", "10.0.0.7").retryAfter, 1s);
    EXPECT_EQ(access->checkToken("kvg_wrong", "10.0.0.8").retryAfter, 0s);
    EXPECT_TRUE(access->checkToken(*token, "10.0.0.7").identity);
    EXPECT_EQ(logIn().outcome, LoginOutcome::Done); // people at that address are not concerned
}

TEST_F(AccessTest, AUserHasFiveTriesAndThenWaits)
{
    wrong(6);
    struct {
        kvlink::Duration wait;
    } const rows[] = {{1s}, {2s}, {4s}, {8s}, {16s}, {32s}, {60s}, {60s}}; // a minute at most
    for (const auto &row : rows) {
        const int before = hasher.checks;
        const Login refused = logIn(); // even with the right password
        EXPECT_EQ(refused.outcome, LoginOutcome::TooMany);
        EXPECT_EQ(refused.retryAfter, row.wait);
        EXPECT_EQ(hasher.checks, before);
        clock.advance(row.wait - 1us);
        EXPECT_EQ(logIn().outcome, LoginOutcome::TooMany);
        clock.advance(1us);
        wrong(1, "anna", "10.0.0.8"); // another address is the same user
    }
    clock.advance(60s);
    EXPECT_EQ(logIn("anna", "correct horse", "10.0.0.9").outcome, LoginOutcome::Done);
    wrong(5, "anna", "10.0.0.9"); // counted from 0 again
    EXPECT_EQ(logIn("anna", "correct horse", "10.0.0.9").outcome, LoginOutcome::Done);
}

TEST_F(AccessTest, AnAddressHasTwentyTriesForAllUsers)
{
    for (int i = 0; i < 21; ++i)
        wrong(1, ("user" + std::to_string(i)).c_str());
    EXPECT_EQ(logIn().outcome, LoginOutcome::TooMany);
    EXPECT_EQ(logIn("anna", "correct horse", "::ffff:10.0.0.7").outcome,
              LoginOutcome::TooMany); // the same one
    EXPECT_EQ(logIn("anna", "correct horse", "10.0.0.8").outcome, LoginOutcome::Done);
    clock.advance(1s);
    EXPECT_EQ(logIn().outcome, LoginOutcome::Done);
    wrong(1); // a success does not clear the address
    EXPECT_EQ(logIn().retryAfter, 2s);
}

// Holds each check until it is let go.
class SlowHasher : public CountingHasher
{
public:
    bool matches(const QByteArray &hash, const QString &password) const override
    {
        std::unique_lock guard(lock);
        ++waiting;
        changed.notify_all();
        changed.wait(guard, [this] { return isOpen; });
        return CountingHasher::matches(hash, password);
    }
    mutable std::mutex lock;
    mutable std::condition_variable changed;
    mutable int waiting = 0;
    bool isOpen = false;
};

TEST_F(AccessTest, ManyLoginsAtOnceAreRefusedAndHoldUpNobody)
{
    const Login before = logIn();
    const SlowHasher slow;
    settings.mostLoginsAtOnce = 2;
    QString problem;
    access = Access::open(settings, clock, slow, problem);
    ASSERT_NE(access, nullptr) << problem.toStdString();
    std::vector<std::thread> threads;
    std::atomic<int> done{0};
    for (int i = 0; i < 2; ++i)
        threads.emplace_back([&] { done += logIn().outcome == LoginOutcome::Done ? 1 : 0; });
    {
        std::unique_lock guard(slow.lock);
        slow.changed.wait(guard, [&] { return slow.waiting == 2; });
    }
    const Login third = logIn();
    EXPECT_EQ(third.outcome, LoginOutcome::Busy);
    EXPECT_EQ(third.retryAfter, 1s);
    EXPECT_TRUE(isIn(before)); // while two passwords are checked
    {
        const std::scoped_lock guard(slow.lock);
        const_cast<SlowHasher &>(slow).isOpen = true;
    }
    slow.changed.notify_all();
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(done, 2);
    EXPECT_EQ(logIn().outcome, LoginOutcome::Done);
}

TEST_F(AccessTest, AFullDiskKeepsNobodyOut)
{
    const QTemporaryDir mountPoint;
    const QByteArray disk = mountPoint.path().toLocal8Bit();
    if (::mount("tmpfs", disk.constData(), "tmpfs", 0, "size=200k") != 0)
        GTEST_SKIP() << "only root may mount a small disk";
    settings.folder = mountPoint.path();
    open();
    QString problem;
    EXPECT_TRUE(access->addUser("anna", "correct horse", Role::Operator, problem)) << problem.toStdString();
    {
        QFile ballast(mountPoint.path() + "/ballast");
        ASSERT_TRUE(ballast.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
        const QByteArray page(4096, 'x');
        while (ballast.write(page) == page.size()) {
        }
    }
    open(); // the service starts while the disk is full
    const Login login = logIn();
    EXPECT_EQ(login.outcome, LoginOutcome::Done);
    EXPECT_TRUE(isIn(login));
    EXPECT_FALSE(access->addUser("bert", "password!", Role::Viewer, problem));
    EXPECT_TRUE(problem.endsWith("database or disk is full")) << problem.toStdString();
    access.reset();
    ::umount2(disk.constData(), MNT_DETACH);
}

TEST_F(AccessTest, ANewerDatabaseIsRefused)
{
    access.reset();
    {
        OpenProblem problem;
        const auto database =
            Database::open(folder.path() + "/access.sqlite", Database::Use::Journal, 0600, problem);
        ASSERT_TRUE(database->run("PRAGMA user_version=2"));
    }
    QString problem;
    EXPECT_EQ(Access::open(settings, clock, hasher, problem), nullptr);
    EXPECT_TRUE(problem.contains("has version 2, and this kv-gateway knows versions up to 1"))
        << problem.toStdString();
}

} // namespace
} // namespace kvgateway
