// SPDX-License-Identifier: MIT
// Two real gateways of one configuration with a real PostgreSQL: one is on duty, and when it is
// killed, frozen or cut off the other one is. The PLC itself says who asked and wrote what.
#include "../outlets/cluster.h"
#include "gateway_process.h"

#include <QHash>
#include <QTcpSocket>

#include <map>

namespace kvgateway
{
namespace
{

// A second process with a folder of its own.
class OtherGateway : public GatewayTest
{
public:
    using GatewayTest::gateway;
    using GatewayTest::get;
    using GatewayTest::json;
    using GatewayTest::port;
    using GatewayTest::post;
    using GatewayTest::start;
    using GatewayTest::writeFile;
    void TestBody() override {}
};

class StandbyTest : public testing::Test
{
protected:
    static constexpr int pollMs = 20;

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
    StandbyTest() : plc({"--record", folder.filePath("plc.jsonl")})
    {
        if (!shared->isUp())
            shared->start();
        const QByteArray config =
            "data = \"data\"\n[listen]\nport = 0\n[access]\nlocal = \"engineer\"\n"
            "[[plc]]\nname = \"a\"\nurl = \"" +
            plc.url().toUtf8() +
            "\"\ntags = \"tags.csv\"\n[[postgresql]]\nurl = \"postgresql://postgres@127.0.0.1:" +
            QByteArray::number(shared->port()) + "/postgres\"\nsite = \"plant1\"\nstandby = true\n";
        first.writeFile("gateway.toml", config);
        second.writeFile("gateway.toml", config);
    }

    static bool isOnDuty(const OtherGateway &one) { return one.get("/readyz").status == 200; }
    // On a machine that is too busy the kernel may have ended a gateway that could not keep its
    // time; systemd starts it again, and so do we.
    static bool keepsUp(OtherGateway &one)
    {
        one.gateway.waitForFinished(pollMs);
        return one.gateway.state() != QProcess::NotRunning || one.start();
    }
    static bool waitForDuty(OtherGateway &one)
    {
        return eventually([&] {
            return keepsUp(one) && isOnDuty(one) &&
                   one.get("/api/v1/values/a.speed").body.contains("\"good\"");
        });
    }
    template <typename Condition>
    static bool eventually(const Condition &isThere)
    {
        const QDeadlineTimer end(patienceMs);
        while (!end.hasExpired()) {
            if (isThere())
                return true;
        }
        return false;
    }
    // \return whether the PLC has confirmed it
    bool write(OtherGateway &to, int value)
    {
        const Answer answer =
            to.post("/api/v1/writes", "{\"tag\":\"a.speed\",\"value\":" + std::to_string(value) + "}");
        if (answer.status == 200)
            confirmed << value;
        return answer.status == 200;
    }
    // What went to the PLC, by its own record.
    void checkAccount()
    {
        std::map<int, std::pair<qint64, qint64>> spans; // of each connection: its first and last request
        QHash<int, int> writes;                         // how often each value came
        QFile file(folder.filePath("plc.jsonl"));
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        while (!file.atEnd()) {
            const QJsonObject line = QJsonDocument::fromJson(file.readLine()).object();
            if (line["event"] != QLatin1String("in"))
                continue;
            const int connection = line["connection"].toInt();
            const qint64 ms = line["ms"].toInt();
            spans.emplace(connection, std::pair(ms, ms)).first->second.second = ms;
            const QStringList words = line["text"].toString().split(' ', Qt::SkipEmptyParts);
            if (words.first().startsWith("WR"))
                ++writes[words.last().toInt()];
        }
        for (auto one = writes.constBegin(); one != writes.constEnd(); ++one)
            EXPECT_EQ(one.value(), 1) << "the value " << one.key() << " was written more than once";
        for (const int value : confirmed)
            EXPECT_EQ(writes.value(value), 1) << value;
        EXPECT_FALSE(confirmed.isEmpty());
        qint64 end = -1;
        for (const auto &[connection, span] : spans) {
            EXPECT_GT(span.first, end) << "connection " << connection << " began before another had ended";
            end = std::max(end, span.second);
        }
        EXPECT_GE(spans.size(), 2U);
    }

    static Cluster *shared;
    QTemporaryDir folder;
    SimulatedPlc plc;
    OtherGateway first, second;
    QList<int> confirmed;
};

Cluster *StandbyTest::shared = nullptr;

TEST_F(StandbyTest, killedTheOtherOneTakesOver)
{
    ASSERT_TRUE(first.start());
    ASSERT_TRUE(waitForDuty(first));
    ASSERT_TRUE(second.start());
    EXPECT_TRUE(eventually([&] { return second.get("/readyz").body.contains("stands by for"); }));

    // In its place it says so, and does nothing.
    EXPECT_EQ(second.get("/readyz").status, 503);
    EXPECT_EQ(second.get("/healthz").status, 200);
    EXPECT_TRUE(second.get("/api/v1/me").body.contains("stands by for kv-gateway on "));
    EXPECT_TRUE(second.get("/metrics").body.contains("kvgateway_on_duty 0\n"));
    const Answer refused = second.post("/api/v1/writes", "{\"tag\":\"a.speed\",\"value\":1}");
    EXPECT_EQ(refused.status, 503);
    EXPECT_TRUE(refused.body.contains("which reads and writes the PLCs: ask there; nothing was sent"))
        << refused.body.toStdString();
    EXPECT_EQ(second.post("/api/v1/buttons", "{\"tag\":\"a.run\"}").status, 503);
    EXPECT_TRUE(second.get("/api/v1/plcs").body.contains("\"plcs\":[]"));

    for (int value = 1; value <= 20; ++value)
        write(first, value);
    QElapsedTimer clock;
    clock.start();
    first.gateway.kill();
    first.gateway.waitForFinished();
    ASSERT_TRUE(waitForDuty(second));
    EXPECT_TRUE(eventually([&] { return second.get("/api/v1/values/a.speed").body.contains("\"good\""); }));
    RecordProperty("takeover_ms", int(clock.elapsed()));
    for (int value = 21; value <= 40; ++value)
        write(second, value);
    EXPECT_TRUE(eventually([&] {
        const QByteArray events = second.get("/api/v1/events?kind=service").body;
        return events.contains("\"takes over\"") && events.contains("on duty: reads and writes the PLCs");
    }));

    ASSERT_TRUE(first.start());
    EXPECT_TRUE(eventually([&] { return first.get("/readyz").body.contains("stands by for"); }));
    EXPECT_TRUE(isOnDuty(second));
    checkAccount();
}

class FrozenTest : public StandbyTest, public testing::WithParamInterface<bool>
{
};

// What a stopped process holds in its hands must not leave it once another one is on duty.
TEST_P(FrozenTest, nothingOfAFrozenOneReachesThePlcAfterwards)
{
    ASSERT_TRUE(first.start());
    ASSERT_TRUE(waitForDuty(first));
    ASSERT_TRUE(second.start());
    EXPECT_TRUE(write(first, 1));
    const auto pid = pid_t(first.gateway.processId());
    ::kill(pid, SIGSTOP);
    QTcpSocket waiting; // taken by its kernel, and read when it goes on
    waiting.connectToHost(QHostAddress::LocalHost, first.port);
    EXPECT_TRUE(waiting.waitForConnected());
    const QByteArray body = "{\"tag\":\"a.speed\",\"value\":1000}";
    waiting.write("POST /api/v1/writes HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: application/json\r\n"
                  "Content-Length: " +
                  QByteArray::number(body.size()) + "\r\n\r\n" + body);
    EXPECT_TRUE(waiting.waitForBytesWritten());
    if (GetParam())
        shared->sql("SELECT pg_terminate_backend(pid) FROM pg_stat_activity "
                    "WHERE application_name LIKE 'kv-gateway on%'");
    ASSERT_TRUE(waitForDuty(second));
    EXPECT_TRUE(write(second, 2));
    ::kill(pid, SIGCONT);
    EXPECT_TRUE(first.gateway.waitForFinished(patienceMs)) << "ended by the kernel";
    EXPECT_EQ(first.gateway.exitStatus(), QProcess::CrashExit);
    EXPECT_TRUE(write(second, 3));
    EXPECT_EQ(plc.control("get DM100"), "00003");
    checkAccount();
}

INSTANTIATE_TEST_SUITE_P(Rows, FrozenTest, testing::Values(false, true), [](const auto &row) {
    return std::string(row.param ? "itsSessionIsEnded" : "itsSessionGoesOn");
});

TEST_F(StandbyTest, withoutTheDatabaseNoneReads)
{
    ASSERT_TRUE(first.start());
    ASSERT_TRUE(waitForDuty(first));
    EXPECT_TRUE(write(first, 1));
    shared->kill();
    EXPECT_TRUE(eventually(
        [&] { return keepsUp(first) && first.get("/readyz").body.contains("does not answer: "); }));
    EXPECT_TRUE(eventually([&] { return first.get("/api/v1/plcs").body.contains("\"plcs\":[]"); }));
    EXPECT_EQ(first.get("/healthz").status, 200);
    EXPECT_FALSE(write(first, 2));
    shared->start();
    ASSERT_TRUE(waitForDuty(first));
    EXPECT_TRUE(eventually([&] { return first.get("/api/v1/values/a.speed").body.contains("\"good\""); }));
    EXPECT_TRUE(write(first, 3));
    EXPECT_TRUE(eventually([&] {
        return first.get("/api/v1/events?kind=service").body.contains("off duty: the lock in the database");
    }));
    checkAccount();
}

TEST_F(StandbyTest, aReloadWhileItStandsByCountsWhenItIsOnDuty)
{
    ASSERT_TRUE(first.start());
    ASSERT_TRUE(waitForDuty(first));
    ASSERT_TRUE(second.start());
    second.writeFile("tags.csv", "name,address,period,rw\nlevel,DM300,20ms,rw\n");
    EXPECT_EQ(second.post("/api/v1/config/reload", "").status, 200);
    EXPECT_EQ(second.get("/api/v1/values/a.level").status, 404);
    first.gateway.terminate();
    EXPECT_TRUE(first.gateway.waitForFinished(patienceMs));
    EXPECT_TRUE(eventually([&] { return second.get("/api/v1/values/a.level").body.contains("\"good\""); }));
}

} // namespace
} // namespace kvgateway
