// SPDX-License-Identifier: MIT
// The real program while the clock of its machine jumps. Only the time of day does; what measures
// ages and time-outs goes on.
#include "gateway_process.h"

#include <QJsonArray>

#include <cstdlib>

namespace kvgateway
{
namespace
{

constexpr qint64 aMinute = 60; // longer than a step of the test takes
constexpr qint64 twoDays = 2 * 24 * 3600;

class ClockTest : public GatewayTest
{
protected:
    // "+2h": the clock of the gateway is ahead by that from now on.
    void jump(const QByteArray &offset) const { writeFile("clock", offset + "\n"); }
    bool startWithClock()
    {
        jump("+0s");
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("LD_PRELOAD", KV_FAKETIME);
        environment.insert("FAKETIME_TIMESTAMP_FILE", path("clock"));
        environment.insert("FAKETIME_NO_CACHE", "1");
        environment.insert("FAKETIME_DONT_FAKE_MONOTONIC", "1");
        gateway.setProcessEnvironment(environment);
        writeConfig();
        return startAndRead();
    }
    QJsonArray clockEvents() const { return json(get("/api/v1/events?kind=clock"))["events"].toArray(); }
    // Its cause is "from TIME to TIME", of the clock as it was and as it is.
    static void expectJump(const QJsonValue &event, const char *text, const QDateTime &from, qint64 seconds)
    {
        EXPECT_EQ(event["text"].toString(), text);
        const QStringList words = event["cause"].toString().split(' ');
        ASSERT_EQ(words.size(), 4) << event["cause"].toString().toStdString();
        const QDateTime was = QDateTime::fromString(words[1], Qt::ISODateWithMs);
        const QDateTime is = QDateTime::fromString(words[3], Qt::ISODateWithMs);
        EXPECT_LT(std::abs(from.secsTo(was)), aMinute) << words[1].toStdString();
        EXPECT_LT(std::abs(was.secsTo(is) - seconds), aMinute) << words[3].toStdString();
    }
    void expectReading(int value)
    {
        sim.control("set DM100=" + QByteArray::number(value));
        EXPECT_TRUE(until([&] { return json(get("/api/v1/values/a.speed"))["value"] == value; }));
        EXPECT_TRUE(get("/api/v1/values/a.speed").body.contains("\"good\""));
    }
    QDateTime timeOfValue() const
    {
        return QDateTime::fromString(json(get("/api/v1/values/a.speed"))["time"].toString(),
                                     Qt::ISODateWithMs);
    }
};

TEST_F(ClockTest, jumpsAreSeenAndReadingGoesOn)
{
    if (QByteArray(KV_FAKETIME).isEmpty())
        GTEST_SKIP() << "libfaketime is not installed, or a sanitizer has its place";
    ASSERT_TRUE(startWithClock());
    expectReading(1);
    const QDateTime before = timeOfValue();

    jump("+2d");
    EXPECT_TRUE(until([this] { return clockEvents().size() == 1; }));
    expectJump(clockEvents()[0], "the clock was set forward by 172800 s", before, twoDays);
    expectReading(2);
    EXPECT_GT(before.secsTo(timeOfValue()), 47 * 3600) << "values have the time of the clock";

    jump("+0s");
    EXPECT_TRUE(until([this] { return clockEvents().size() == 2; })) << "the newest comes first";
    expectJump(clockEvents()[0], "the clock was set back by 172800 s", before.addSecs(twoDays), -twoDays);
    expectReading(3);
    EXPECT_LT(before.secsTo(timeOfValue()), 3600);

    EXPECT_EQ(post("/api/v1/writes", R"({"tag":"a.speed","value":4})").status, 200);
    const QByteArray metrics = get("/metrics").body;
    EXPECT_TRUE(metrics.contains("kvlink_link_losses_total{plc=\"a\"} 0\n")) << "no link was lost by it";
    EXPECT_TRUE(metrics.contains("kvgateway_history_up 1\n"));
    EXPECT_TRUE(until([this] {
        const QByteArray rows = get("/api/v1/history.csv?tags=a.speed&to=2100-01-01").body;
        return rows.contains(",a.speed,good,,1\r\n") && rows.contains(",a.speed,good,,2\r\n") &&
               rows.contains(",a.speed,good,,3\r\n");
    })) << "all rows are kept, under the times that they had";
    EXPECT_LT(stop(), patienceMs);
}

} // namespace
} // namespace kvgateway
