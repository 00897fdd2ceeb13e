// SPDX-License-Identifier: MIT
// The lock in a real PostgreSQL: one has it, and who is gone or silent has it no longer.
#include "standby/postgresql_lock.h"

#include "outlets/cluster.h"

#include <gtest/gtest.h>

namespace kvgateway
{
namespace
{

using namespace std::chrono_literals;

class PostgresqlLockTest : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        shared = new Cluster;
        shared->start();
    }
    static void TearDownTestSuite()
    {
        delete shared;
        shared = nullptr;
    }
    // Nobody is silent for an hour, however busy this machine is.
    static DutyTiming patient()
    {
        DutyTiming timing;
        timing.session = 1h;
        timing.answer = 20s;
        return timing;
    }
    PostgresqlLock lock(const QString &shard = {}, const QString &us = "kv-gateway on gw1") const
    {
        return {shared->config(), shard, us, patient()};
    }

    static Cluster *shared;
    QString text;
};

Cluster *PostgresqlLockTest::shared = nullptr;

TEST_F(PostgresqlLockTest, oneOfTwoHasItUntilItGivesItBack)
{
    PostgresqlLock first(lock()), second(lock({}, "kv-gateway on gw2"));
    EXPECT_EQ(first.ask(text), LockAnswer::Held) << text.toStdString();
    EXPECT_EQ(second.ask(text), LockAnswer::Taken);
    EXPECT_EQ(text, "kv-gateway on gw1 (127.0.0.1)");
    EXPECT_EQ(first.ask(text), LockAnswer::Held);
    first.close();
    EXPECT_TRUE(within(20'000, [&] { return second.ask(text) == LockAnswer::Held; }));
    EXPECT_EQ(first.ask(text), LockAnswer::Taken);
    EXPECT_EQ(text, "kv-gateway on gw2 (127.0.0.1)");
}

TEST_F(PostgresqlLockTest, shardsAndSitesHaveTheirOwn)
{
    PostgresqlLock a(lock("a")), b(lock("b")), again(lock("a"));
    EXPECT_EQ(a.ask(text), LockAnswer::Held);
    EXPECT_EQ(b.ask(text), LockAnswer::Held);
    EXPECT_EQ(again.ask(text), LockAnswer::Taken);
    // Worked out with sha256sum: gateways of different versions must want the same lock.
    EXPECT_EQ(PostgresqlLock::keyOf("plant1", ""), 5940956108857698244);
    EXPECT_EQ(PostgresqlLock::keyOf("plant1", "hall-a"), 5119274879587740660);
}

TEST_F(PostgresqlLockTest, whoseSessionIsEndedHasLostIt)
{
    PostgresqlLock first(lock()), second(lock());
    ASSERT_EQ(first.ask(text), LockAnswer::Held);
    ASSERT_EQ(second.ask(text), LockAnswer::Taken);
    shared->sql(
        "SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE application_name LIKE 'kv-gateway%'");
    EXPECT_EQ(first.ask(text), LockAnswer::Lost);
    EXPECT_FALSE(text.isEmpty());
    EXPECT_EQ(second.ask(text), LockAnswer::Lost);
    EXPECT_TRUE(within(20'000, [&] { return second.ask(text) == LockAnswer::Held; })) << text.toStdString();
    EXPECT_EQ(first.ask(text), LockAnswer::Taken) << "connected again by itself";
}

TEST_F(PostgresqlLockTest, whoSaysNothingLosesItToo)
{
    DutyTiming timing = patient();
    timing.session = 100ms;
    PostgresqlLock silent(shared->config(), {}, "silent", timing), other(lock());
    ASSERT_EQ(silent.ask(text), LockAnswer::Held);
    EXPECT_TRUE(within(20'000, [&] { return other.ask(text) == LockAnswer::Held; }))
        << "as if it were frozen";
    EXPECT_EQ(silent.ask(text), LockAnswer::Lost);
}

TEST_F(PostgresqlLockTest, saysWhyThereIsNoAnswer)
{
    PostgresqlConfig nowhere = shared->config();
    QTcpServer free;
    ASSERT_TRUE(free.listen(QHostAddress::LocalHost));
    nowhere.port = free.serverPort();
    free.close();
    PostgresqlLock lock(nowhere, {}, "us", patient());
    EXPECT_EQ(lock.ask(text), LockAnswer::Lost);
    EXPECT_TRUE(text.endsWith("failed: Connection refused")) << text.toStdString();
}

} // namespace
} // namespace kvgateway
