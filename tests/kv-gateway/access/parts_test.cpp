// SPDX-License-Identifier: MIT
// Hashes, tries and the prompt for a password, each by itself.
#include "access/password_hasher.h"
#include "access/read_password.h"
#include "access/secrets.h"
#include "access/try_limit.h"

#include "store/fake_clock.h"

#include <gtest/gtest.h>

#include <pty.h>
#include <termios.h>
#include <thread>
#include <unistd.h>

namespace kvgateway
{
namespace
{

using namespace std::chrono_literals;

TEST(PasswordHasher, IsArgon2idWithASaltOfItsOwn)
{
    const Argon2idHasher hasher;
    const QByteArray one = hasher.hash(QStringLiteral("correct horse"));
    const QByteArray other = hasher.hash(QStringLiteral("correct horse"));
    EXPECT_TRUE(one.startsWith("$argon2id$v=19$m=32768,t=3,p=1$")) << one.toStdString();
    EXPECT_NE(one, other);
    EXPECT_TRUE(hasher.matches(one, QStringLiteral("correct horse")));
    EXPECT_TRUE(hasher.matches(other, QStringLiteral("correct horse")));
    for (const char *wrong : {"", "correct hors", "correct horse ", "Correct horse"})
        EXPECT_FALSE(hasher.matches(one, QString::fromLatin1(wrong))) << wrong;
    for (const char *broken : {"", "correct horse", "$argon2id$v=19$m=32768,t=3,p=1$"})
        EXPECT_FALSE(hasher.matches(broken, QStringLiteral("correct horse"))) << broken;
}

TEST(PasswordHasher, TheSameLettersAreTheSamePassword)
{
    const Argon2idHasher hasher;
    // An "ü" in one piece, and one of "u" and two dots.
    const QByteArray hash = hasher.hash(QString::fromUtf8("gr\xc3\xbc\xc3\x9f"
                                                          "e"));
    EXPECT_TRUE(hasher.matches(hash, QString::fromUtf8("gru\xcc\x88\xc3\x9f"
                                                       "e")));
}

TEST(Secrets, IdsAreRandomAndComparedWhole)
{
    const QString id = randomId();
    EXPECT_EQ(id.size(), 43);
    EXPECT_NE(id, randomId());
    EXPECT_EQ(hashOf(id).size(), 32);
    EXPECT_EQ(hashOf(id), hashOf(id));
    EXPECT_NE(hashOf(id), hashOf(id + 'A'));
    EXPECT_NE(derivedFrom(id, "one"), derivedFrom(id, "other"));
    EXPECT_TRUE(isSame("abc", "abc"));
    EXPECT_TRUE(isSame("", ""));
    for (const char *other : {"abd", "xbc", "ab", "abcd", ""})
        EXPECT_FALSE(isSame("abc", other)) << other;
    // BLAKE2b-256 of "abc", from b2sum -l 256
    EXPECT_EQ(hashOf(QStringLiteral("abc")).toHex(),
              QByteArray("bddd813c634239723171ef3fee98579b94964e3bb1cb3e427262c8c068d52319"));
}

TEST(TryLimit, WaitsDoubleUpToTheLongest)
{
    const kvlink::SteadyTime start{1h};
    TryLimit limit({2, 1s, 10s, 1h, 100});
    struct {
        kvlink::Duration wait; // after one more failure
    } const rows[] = {{0s}, {0s}, {1s}, {2s}, {4s}, {8s}, {10s}, {10s}};
    for (const auto &row : rows) {
        limit.failed("a", start);
        EXPECT_EQ(limit.waitOf("a", start), row.wait);
    }
    EXPECT_EQ(limit.waitOf("a", start + 4s), 6s);
    EXPECT_EQ(limit.waitOf("a", start + 10s), 0s);
    EXPECT_EQ(limit.waitOf("b", start), 0s);
    for (int i = 0; i < 1000; ++i)
        limit.failed("a", start);
    EXPECT_EQ(limit.waitOf("a", start), 10s);
    limit.succeeded("a");
    EXPECT_EQ(limit.waitOf("a", start), 0s);
    EXPECT_EQ(limit.keys(), 0);
}

TEST(TryLimit, ForgetsAfterAWhile)
{
    const kvlink::SteadyTime start{1h};
    for (const auto &[later, wait] : {std::pair{1h - 1us, 1s}, std::pair{kvlink::Duration(1h), 0s}}) {
        TryLimit limit({1, 1s, 10s, 1h, 100});
        limit.failed("a", start);
        limit.failed("a", start + later);
        EXPECT_EQ(limit.waitOf("a", start + later), wait);
    }
}

TEST(TryLimit, RemembersABoundedNumberOfKeys)
{
    const kvlink::SteadyTime start{1h};
    TryLimit limit({0, 10s, 10s, 1h, 3});
    const char *const keys[] = {"a", "b", "c", "d"};
    for (int i = 0; i < 4; ++i)
        limit.failed(QString::fromLatin1(keys[i]), start + i * 1s);
    EXPECT_EQ(limit.keys(), 3);
    EXPECT_EQ(limit.waitOf("a", start + 3s), 0s); // the oldest
    EXPECT_EQ(limit.waitOf("b", start + 3s), 8s);
    limit.failed("b", start + 4s); // known: nothing is forgotten
    EXPECT_EQ(limit.waitOf("c", start + 4s), 8s);
}

TEST(TryLimit, AddressesAreThoseOfOnePerson)
{
    struct {
        const char *address, *key;
    } const rows[] = {
        {"10.0.0.7", "10.0.0.7"},
        {"::ffff:10.0.0.7", "10.0.0.7"},
        {"2001:db8::17", "2001:db8::/64"},
        {"2001:db8:0:0:ffff:ffff:ffff:ffff", "2001:db8::/64"},
        {"2001:db8:0:1::17", "2001:db8:0:1::/64"},
        {"::1", "::/64"},
        {"", ""},
        {"unix", "unix"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(addressKey(QString::fromLatin1(row.address)), QString::fromLatin1(row.key));
}

struct Asked {
    std::optional<QString> password;
    QString problem;
};

Asked fromPipe(const QByteArray &bytes)
{
    int pipe[2];
    EXPECT_EQ(::pipe(pipe), 0);
    EXPECT_EQ(::write(pipe[1], bytes.constData(), std::size_t(bytes.size())), bytes.size());
    ::close(pipe[1]);
    Asked asked;
    asked.password = readPassword(pipe[0], -1, QStringLiteral("Password"), asked.problem);
    ::close(pipe[0]);
    return asked;
}

TEST(ReadPassword, TakesTheFirstLineOfAPipe)
{
    struct {
        QByteArray bytes;
        const char *password; // nullptr: none
        const char *problem;
    } const rows[] = {
        {"secret phrase\n", "secret phrase", ""},
        {"secret phrase", "secret phrase", ""},
        {"secret phrase\r\nmore\n", "secret phrase", ""},
        {" leading and trailing \n", " leading and trailing ", ""},
        {"\n", "", ""},
        {"ctrl\003letters\n", "ctrl\003letters", ""},
        {QByteArray(1024, 'x') + '\n', nullptr, nullptr},
        {"", nullptr, "no password came; nothing was changed"},
        {QByteArray(1025, 'x') + '\n', nullptr, "the password is too long: take at most 1024 bytes"},
        {"gr\xfc\xdf\n", nullptr, "the password is not UTF-8 text"},
    };
    for (const auto &row : rows) {
        const Asked asked = fromPipe(row.bytes);
        if (row.problem == nullptr) { // the longest
            ASSERT_TRUE(asked.password);
            EXPECT_EQ(asked.password->size(), 1024);
            continue;
        }
        EXPECT_EQ(asked.password.has_value(), row.password != nullptr);
        EXPECT_EQ(asked.password.value_or(QString()), QString::fromLatin1(row.password));
        EXPECT_EQ(asked.problem, QString::fromLatin1(row.problem));
    }
}

// What is shown by a terminal on which \a keys are typed, one line after each prompt.
Asked fromTerminal(const std::vector<QByteArray> &keys, QByteArray &shown)
{
    int person = -1;
    int terminal = -1;
    EXPECT_EQ(::openpty(&person, &terminal, nullptr, nullptr, nullptr), 0);
    termios before{};
    EXPECT_EQ(::tcgetattr(terminal, &before), 0);
    std::thread typist([&] {
        for (const QByteArray &line : keys) {
            QByteArray prompt;
            char letter = 0;
            while (!prompt.endsWith(": ") && ::read(person, &letter, 1) == 1)
                prompt += letter;
            shown += prompt;
            EXPECT_EQ(::write(person, line.constData(), std::size_t(line.size())), line.size());
        }
    });
    Asked asked;
    asked.password = readPassword(terminal, terminal, QStringLiteral("Password for anna"), asked.problem);
    typist.join();
    termios after{};
    EXPECT_EQ(::tcgetattr(terminal, &after), 0);
    EXPECT_EQ(after.c_lflag, before.c_lflag);
    ::close(terminal);
    char letter = 0;
    while (::read(person, &letter, 1) == 1)
        shown += letter;
    ::close(person);
    return asked;
}

TEST(ReadPassword, AsksTwiceAtATerminalAndShowsNothing)
{
    struct {
        std::vector<QByteArray> keys;
        const char *password; // nullptr: none
        const char *problem;
    } const rows[] = {
        {{"secret phrase\r", "secret phrase\r"}, "secret phrase", ""},
        {{"secret pharse\177\177\177\177\177hrase\r", "secret phrase\r"}, "secret phrase", ""},
        {{"wrong\025secret phrase\r", "secret phrase\r"}, "secret phrase", ""},
        {{"secret phras\xc3\xa4\177e\r", "secret phrase\r"}, "secret phrase", ""},
        {{"secret phrase\r", "secret phrases\r"}, nullptr, "the two passwords differ; nothing was changed"},
        {{"secret\003"}, nullptr, "no password came; nothing was changed"},
        {{"\004"}, nullptr, "no password came; nothing was changed"},
    };
    for (const auto &row : rows) {
        QByteArray shown;
        const Asked asked = fromTerminal(row.keys, shown);
        EXPECT_EQ(asked.password.has_value(), row.password != nullptr);
        EXPECT_EQ(asked.password.value_or(QString()), QString::fromLatin1(row.password));
        EXPECT_EQ(asked.problem, QString::fromLatin1(row.problem));
        const QByteArray all =
            row.keys.size() == 2 ? "Password for anna: \r\nOnce more: \r\n" : "Password for anna: \r\n";
        EXPECT_EQ(shown.toStdString(), all.toStdString());
    }
}

} // namespace
} // namespace kvgateway
