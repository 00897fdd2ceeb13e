// SPDX-License-Identifier: MIT
// The real program between a simulated PLC and a real broker: values, commands, kill -9.
#include "../outlets/broker.h"
#include "gateway_process.h"

#include <set>

namespace kvgateway
{
namespace
{

class GatewayMqttTest : public GatewayTest
{
protected:
    void writeMqtt(const QByteArray &more = {})
    {
        writeConfig("local = \"engineer\"", {},
                    "[[mqtt]]\nurl = \"mqtt://127.0.0.1:" + QByteArray::number(broker.port()) +
                        "\"\nsite = \"s\"\n" + more);
    }
    qint64 metric(const char *name) const
    {
        const std::string text = get("/metrics").body.toStdString();
        const std::string line = std::string("\n") + name + "{outlet=\"mqtt\"} ";
        const std::size_t at = text.find(line);
        return at == std::string::npos ? -1 : qint64(std::stod(text.substr(at + line.size())));
    }

    Broker broker;
};

std::string answerTo(Subscriber &commander, const char *topic, const std::string &payload,
                     bool isRetained = false)
{
    const std::string answers = std::string(topic) + "/answer";
    const std::size_t before = commander.arrivals().size();
    commander.publish(topic, payload, isRetained);
    std::string answer;
    EXPECT_TRUE(within(10'000, [&] {
        const auto all = commander.arrivals();
        for (std::size_t i = before; i < all.size(); ++i) {
            if (all[i].topic == answers)
                answer = all[i].payload;
        }
        return !answer.empty();
    })) << payload;
    return answer;
}

TEST_F(GatewayMqttTest, commandsObeyWhatTheApiObeys)
{
    broker.start();
    writeMqtt("commands = true\n");
    Subscriber commander(broker.port());
    commander.publish("kv/s/a/run/set", "true", true); // retained before the gateway is there
    ASSERT_TRUE(commander.waitFor("kv/s/a/run/set", "true"));
    ASSERT_TRUE(startAndRead());
    ASSERT_TRUE(commander.waitFor("kv/s/_status/a", "online"));
    EXPECT_TRUE(commander.waitFor("kv/s/a/run/set/answer", "retained")) << "refused, and said so";
    EXPECT_EQ(sim.control("get R500"), "0");

    const struct {
        const char *tag, *payload, *part;
    } rows[] = {
        {"speed", R"({"value":42,"correlation":"order-7"})", R"({"correlation":"order-7","outcome":"done")"},
        {"speed", "1501", "1501 is above the largest value"},
        {"fixed", "1", "read-only"},
        {"speed", "\"fast\"", "must be a number"},
        {"speed", R"({"value":43,"time":"2026-05-04T08:00:00Z"})", "the command has expired"},
    };
    for (const auto &row : rows) {
        const std::string answer =
            answerTo(commander, ("kv/s/a/" + std::string(row.tag) + "/set").c_str(), row.payload);
        EXPECT_NE(answer.find(row.part), std::string::npos) << answer;
    }
    EXPECT_EQ(sim.control("get DM100"), "00042");
    EXPECT_TRUE(commander.waitFor("kv/s/a/speed", "{\"value\":42,\"quality\":\"good\""))
        << "read back at once";
    QByteArray audit;
    EXPECT_TRUE(until([&] {
        audit = get("/api/v1/audit?correlation=order-7").body;
        return audit.contains("\"done\"");
    }));
    EXPECT_TRUE(audit.contains("\"mqtt:mqtt\"") && audit.contains("127.0.0.1:")) << audit.toStdString();
}

TEST_F(GatewayMqttTest, withoutCommandsNothingIsWritten)
{
    broker.start();
    writeMqtt();
    ASSERT_TRUE(startAndRead());
    Subscriber commander(broker.port());
    ASSERT_TRUE(commander.waitFor("kv/s/a/speed", "\"good\""));
    commander.publish("kv/s/a/speed/set", "7");
    ASSERT_TRUE(commander.waitFor("kv/s/a/speed/set", "7"));
    sim.control("set R500=1");
    ASSERT_TRUE(commander.waitFor("kv/s/a/run", "true")) << "what came after the command is through";
    EXPECT_EQ(sim.control("get DM100"), "00000");
}

TEST_F(GatewayMqttTest, killedWhileTheBrokerIsAwayItLosesNothing)
{
    broker.start();
    writeMqtt("drain = 100000\n");
    ASSERT_TRUE(startAndRead());
    ASSERT_TRUE(until([this] { return metric("kvgateway_outlet_up") == 1; }));
    // The broker keeps nothing on disk, so it is killed before anything that shall be counted.
    broker.kill();
    ASSERT_TRUE(until([this] { return metric("kvgateway_outlet_up") == 0; }));
    constexpr int changes = 50;
    for (int i = 1; i <= changes; ++i) {
        sim.control("set DM100=" + QByteArray::number(i));
        ASSERT_TRUE(until([&] { return json(get("/api/v1/values/a.speed"))["value"] == i; }));
    }
    const qint64 offered = metric("kvgateway_outlet_offered_rows_total");
    EXPECT_TRUE(until([&] {
        return metric("kvgateway_outlet_stored_rows") + metric("kvgateway_outlet_acknowledged_rows_total") >=
               offered;
    }));
    gateway.kill();
    gateway.waitForFinished();
    broker.start();
    const Subscriber subscriber(broker.port());
    ASSERT_TRUE(startAndRead());
    std::set<qint64> values, seqs;
    EXPECT_TRUE(within(10'000, [&] {
        values.clear();
        for (const Arrival &arrival : subscriber.arrivals()) {
            if (arrival.topic.rfind("kv/s/a/speed", 0) == 0) {
                values.insert(arrival.json()["value"].toInt());
                seqs.insert(qint64(arrival.json()["seq"].toDouble()));
            }
        }
        return values.size() >= changes;
    }));
    for (qint64 i = 1; i <= changes; ++i)
        EXPECT_EQ(values.count(i), 1U) << i;
    EXPECT_TRUE(until([this] { return metric("kvgateway_outlet_stored_rows") == 0; }));
    gateway.kill();
    gateway.waitForFinished();
    EXPECT_TRUE(subscriber.waitFor("kv/s/_status", "offline")) << "the broker's will";
}

TEST_F(GatewayMqttTest, aReloadBringsAnOutletAndTakesItAway)
{
    broker.start();
    writeConfig();
    ASSERT_TRUE(startAndRead());
    EXPECT_EQ(metric("kvgateway_outlet_up"), -1);
    writeMqtt();
    EXPECT_EQ(post("/api/v1/config/reload", "").status, 200);
    EXPECT_TRUE(until([this] { return metric("kvgateway_outlet_up") == 1; }));
    const Subscriber subscriber(broker.port());
    EXPECT_TRUE(subscriber.waitFor("kv/s/a/speed", "{\"value\":0,\"quality\":\"good\""))
        << "at once, not with the next change";
    sim.control("set DM100=5");
    EXPECT_TRUE(subscriber.waitFor("kv/s/a/speed", "{\"value\":5,"));
    EXPECT_TRUE(
        until([this] { return get("/api/v1/events?kind=outlet").body.contains("outlet mqtt: connected"); }));
    writeConfig();
    EXPECT_EQ(post("/api/v1/config/reload", "").status, 200);
    EXPECT_TRUE(subscriber.waitFor("kv/s/_status", "offline"));
    EXPECT_EQ(metric("kvgateway_outlet_up"), -1);
    EXPECT_LT(stop(), 2000);
}

} // namespace
} // namespace kvgateway
