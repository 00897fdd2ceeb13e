// SPDX-License-Identifier: MIT
// What goes to a broker and what comes from it, with a client that the test holds in its hands.
#include "outlets/home_assistant.h"
#include "outlets/mqtt_command.h"
#include "outlets/mqtt_outlet.h"

#include "store/fake_clock.h"

#include <gtest/gtest.h>

#include <cmath>

namespace kvgateway
{
namespace
{

using namespace std::chrono_literals;

class FakeClient : public MqttClient
{
public:
    void start(MqttClientEvents &to) override { events = &to; }
    void stop(const MqttMessage &goodbye) override { shown += "goodbye " + text(goodbye); }
    void publish(std::vector<MqttMessage> messages) override
    {
        for (const MqttMessage &message : messages) {
            shown += text(message);
            tokens.push_back(message.token);
            correlations.push_back(message.correlation);
        }
    }
    void subscribe(const QByteArray &filter, MqttQos qos) override
    {
        EXPECT_EQ(qos, MqttQos::AtMostOnce) << "a command must not come twice";
        shown += "subscribe " + filter.toStdString() + "\n";
    }
    void reconnect(const QString &why) override { shown += "reconnect: " + why.toStdString() + "\n"; }
    void leave(const QString & /*why*/, const MqttMessage & /*goodbye*/) override {}

    std::string take() { return std::exchange(shown, {}); }

    MqttClientEvents *events = nullptr;
    std::string shown;
    std::vector<quint64> tokens;
    std::vector<QByteArray> correlations;

private:
    static std::string text(const MqttMessage &message)
    {
        return message.topic.toStdString() + (message.isRetained ? " (kept) " : " ") +
               message.payload.toStdString() + "\n";
    }
};

struct Events : OutletEvents {
    void acknowledged(const std::vector<quint64> &seqs) override
    {
        all.insert(all.end(), seqs.begin(), seqs.end());
    }
    void refused(const std::vector<quint64> &seqs, const QString &why) override
    {
        refusedSeqs = seqs;
        reason = why;
    }
    void changed() override { ++changes; }

    std::vector<quint64> all, refusedSeqs;
    QString reason;
    int changes = 0;
};

TagConfig tag(const char *name, const char *group = "", const char *address = "DM100")
{
    TagConfig tag;
    tag.name = name;
    tag.group = group;
    tag.settings.address = address;
    return tag;
}

class MqttOutletTest : public testing::Test
{
protected:
    MqttOutletTest()
    {
        config.name = "cloud";
        config.host = "broker";
        config.port = 1883;
        config.site = "plant1";
        config.topic = "kv/{site}/{plc}/{tag}";
        config.storedTopic = "kv/{site}/{plc}/{tag}/stored";
        config.commands = true;
    }
    void start(bool hasSession = true)
    {
        client = std::make_shared<FakeClient>();
        outlet = std::make_unique<MqttOutlet>(
            config, client, clock,
            [this](const WriteOrder &order, const WriteEnd &end) {
                orders.push_back(order);
                ends.push_back(end);
            },
            [this](const WriteOrder & /*order*/, const QString &why) {
                refusals.push_back(why.toStdString());
            });
        outlet->setTags({tag("a.speed", "drive"), tag("a.count", "drive"), tag("a.run")});
        outlet->setLink("a", true);
        outlet->start(events);
        static_cast<FakeClient &>(*client).take();
        client->events->connected(hasSession);
    }
    std::size_t offer(OfferKind kind, std::vector<OutletRow> rows) { return outlet->offer(rows, kind); }
    void command(const QByteArray &payload, bool isRetained = false)
    {
        client->events->received({"kv/plant1/a/speed/set", payload, isRetained, "their-id", {}});
    }

    MqttConfig config;
    FakeClock clock;
    Events events;
    std::shared_ptr<FakeClient> client;
    std::unique_ptr<MqttOutlet> outlet;
    std::vector<WriteOrder> orders;
    std::vector<WriteEnd> ends;
    std::vector<std::string> refusals;
};

TEST_F(MqttOutletTest, saysThatItIsThereBeforeAnythingElse)
{
    start();
    EXPECT_EQ(client->take(), "subscribe kv/plant1/+/+/set\n"
                              "kv/plant1/_status (kept) online\n"
                              "kv/plant1/_status/a (kept) online\n");
    EXPECT_TRUE(outlet->state().isReady());
    outlet->setLink("a", false);
    outlet->setLink("a", false);
    EXPECT_EQ(client->take(), "kv/plant1/_status/a (kept) offline\n") << "said once";
    outlet->stop();
    EXPECT_EQ(client->take(), "goodbye kv/plant1/_status (kept) offline\n");
}

TEST_F(MqttOutletTest, aBrokerThatRefusesTheCommandsIsSaidUntilItTakesThem)
{
    start();
    EXPECT_EQ(outlet->state().warning, "");
    client->events->subscribed("kv/plant1/+/+/set", "Not authorized");
    const QString warning = outlet->state().warning;
    EXPECT_EQ(warning,
              "the broker refuses the subscription to kv/plant1/+/+/set (Not authorized), so no command "
              "arrives: allow it there for this client, or remove commands = true");
    EXPECT_TRUE(outlet->state().isReady());
    client->events->disconnected("gone");
    client->events->connected(true);
    EXPECT_EQ(outlet->state().warning, warning);
    client->events->subscribed("kv/plant1/+/+/set", {});
    EXPECT_EQ(outlet->state().warning, "");
}

TEST_F(MqttOutletTest, aValueHasQualityTimeAndNumber)
{
    start();
    client->take();
    EXPECT_EQ(offer(OfferKind::Live, {{7, "a.speed", good(123, qint64(1480))},
                                      {8, "a.speed", bad(456, kvlink::Reason::NoLink)},
                                      {9, "a.run", good(500, std::nan(""))}}),
              3U);
    EXPECT_EQ(client->take(),
              "kv/plant1/a/speed (kept) "
              R"({"value":1480,"quality":"good","time":"2026-05-04T08:00:00.123Z","seq":7})"
              "\nkv/plant1/a/speed (kept) "
              R"({"value":null,"quality":"bad","reason":"no link","time":"2026-05-04T08:00:00.456Z","seq":8})"
              "\nkv/plant1/a/run (kept) "
              R"({"value":null,"quality":"good","time":"2026-05-04T08:00:00.500Z","seq":9})"
              "\n");
    offer(OfferKind::Stored, {{3, "a.speed", good(0, true)}});
    EXPECT_EQ(client->take(), "kv/plant1/a/speed/stored "
                              R"({"value":true,"quality":"good","time":"2026-05-04T08:00:00.000Z","seq":3})"
                              "\n")
        << "a late value is never retained";
}

TEST_F(MqttOutletTest, aGroupIsOneMessage)
{
    config.layout = MqttLayout::Group;
    config.topic = "kv/{site}/{plc}/{group}";
    config.storedTopic = config.topic + "/stored";
    config.retain = false;
    config.commands = false;
    start(false);
    EXPECT_FALSE(outlet->state().wantsAll) << "nothing is retained, so nothing was forgotten";
    client->take();
    EXPECT_EQ(offer(OfferKind::Live, {{1, "a.speed", good(0, qint64(5))},
                                      {2, "a.run", good(0, true)},
                                      {3, "a.count", good(0, qint64(6))},
                                      {4, "a.speed", good(1, qint64(7))}}),
              4U);
    EXPECT_EQ(client->take(),
              "kv/plant1/a/drive {\"values\":{"
              R"("speed":{"value":5,"quality":"good","time":"2026-05-04T08:00:00.000Z","seq":1},)"
              R"("count":{"value":6,"quality":"good","time":"2026-05-04T08:00:00.000Z","seq":3}}})"
              "\nkv/plant1/a/other {\"values\":{"
              R"("run":{"value":true,"quality":"good","time":"2026-05-04T08:00:00.000Z","seq":2}}})"
              "\nkv/plant1/a/drive {\"values\":{"
              R"("speed":{"value":7,"quality":"good","time":"2026-05-04T08:00:00.001Z","seq":4}}})"
              "\n");
    client->events->acknowledged(client->tokens[client->tokens.size() - 3]);
    EXPECT_EQ(events.all, (std::vector<quint64>{1, 3}));
}

TEST_F(MqttOutletTest, onlyTheBrokersAcknowledgementCounts)
{
    start();
    offer(OfferKind::Live, {{7, "a.speed", good(0, true)}, {8, "a.run", good(0, true)}});
    EXPECT_TRUE(events.all.empty());
    const quint64 first = client->tokens[client->tokens.size() - 2], second = client->tokens.back();
    client->events->acknowledged(second);
    client->events->acknowledged(second);
    EXPECT_EQ(events.all, (std::vector<quint64>{8}));
    client->events->refused(first, "not authorised");
    EXPECT_EQ(events.refusedSeqs, (std::vector<quint64>{7}));
    EXPECT_EQ(events.reason, "not authorised");
}

TEST_F(MqttOutletTest, takesNoMoreThanItsWindowAndLeavesHalfOfItToLiveRows)
{
    start();
    std::vector<OutletRow> rows(2000, {1, "a.speed", good(0, true)});
    EXPECT_EQ(offer(OfferKind::Stored, rows), MqttOutlet::window / 2);
    EXPECT_EQ(offer(OfferKind::Stored, rows), 0U);
    EXPECT_EQ(offer(OfferKind::Live, rows), MqttOutlet::window / 2);
    EXPECT_EQ(offer(OfferKind::Live, rows), 0U);
    client->events->acknowledged(client->tokens.back());
    EXPECT_EQ(offer(OfferKind::Live, rows), 1U);
}

TEST_F(MqttOutletTest, withoutAConnectionNothingIsTaken)
{
    start();
    client->events->disconnected("connecting: Connection refused");
    EXPECT_EQ(offer(OfferKind::Live, {{1, "a.speed", good(0, true)}}), 0U);
    EXPECT_EQ(outlet->state().problem, "connecting: Connection refused");
    EXPECT_EQ(outlet->state().session, 0U);
    client->events->connected(true);
    EXPECT_EQ(outlet->state().session, 2U);
    EXPECT_EQ(offer(OfferKind::Live, {{1, "a.speed", good(0, true)}}), 1U);
}

TEST_F(MqttOutletTest, aBrokerThatForgotUsWantsAll)
{
    start(false);
    EXPECT_TRUE(outlet->state().wantsAll);
    client->events->connected(true);
    EXPECT_FALSE(outlet->state().wantsAll);
}

TEST_F(MqttOutletTest, aBrokerThatAcknowledgesNothingIsGivenUp)
{
    start();
    offer(OfferKind::Live, {{1, "a.speed", good(0, true)}, {2, "a.speed", good(0, true)}});
    client->take();
    clock.advance(MqttOutlet::longestSilence);
    outlet->tick();
    EXPECT_EQ(client->take(), "");
    clock.advance(1ms);
    outlet->tick();
    outlet->tick();
    EXPECT_EQ(client->take(), "reconnect: the broker is connected and acknowledges nothing\n");
}

TEST_F(MqttOutletTest, noSingleMessageIsWaitedForForever)
{
    start();
    offer(OfferKind::Live, {{1, "a.speed", good(0, true)}});
    client->take();
    for (int i = 0; i < 13; ++i) { // others are acknowledged all the time
        offer(OfferKind::Live, {{quint64(i) + 2, "a.speed", good(0, true)}});
        client->take();
        client->events->acknowledged(client->tokens.back());
        outlet->tick();
        EXPECT_EQ(client->take(), "");
        clock.advance(MqttOutlet::longestAnswer / 13 + 1ms);
    }
    outlet->tick();
    EXPECT_NE(client->take(), "");
}

TEST_F(MqttOutletTest, whatWasRetainedOfATagThatIsGoneIsTakenBack)
{
    start();
    client->take();
    outlet->setTags({tag("a.speed", "drive")});
    EXPECT_EQ(client->take(), "kv/plant1/a/count (kept) \nkv/plant1/a/run (kept) \n");
}

TEST_F(MqttOutletTest, whatIsGoneWithoutAConnectionIsTakenBackWithTheNextOne)
{
    start();
    client->take();
    client->events->disconnected("gone");
    outlet->setTags({tag("a.speed", "drive"), tag("a.count", "drive")});
    outlet->setTags({tag("a.speed", "drive")});
    outlet->removeLink("a");
    EXPECT_EQ(client->take(), "");
    const std::string greeting = "subscribe kv/plant1/+/+/set\nkv/plant1/_status (kept) online\n";
    const std::string takenBack = "kv/plant1/_status/a (kept) \nkv/plant1/a/count (kept) \n"
                                  "kv/plant1/a/run (kept) \n";
    client->events->connected(true);
    EXPECT_EQ(client->take(), greeting + takenBack);
    client->events->disconnected("gone");
    client->events->connected(true);
    EXPECT_EQ(client->take(), greeting + takenBack) << "the broker did not acknowledge it";
    for (std::size_t i = client->tokens.size() - 3; i < client->tokens.size(); ++i)
        client->events->acknowledged(client->tokens[i]);
    client->events->disconnected("gone");
    client->events->connected(true);
    EXPECT_EQ(client->take(), greeting);
    EXPECT_TRUE(events.all.empty());
}

TEST_F(MqttOutletTest, whatIsBackIsNotTakenBack)
{
    start();
    client->events->disconnected("gone");
    outlet->setTags({});
    outlet->removeLink("a");
    outlet->setTags({tag("a.speed", "drive")});
    outlet->setLink("a", false);
    client->take();
    client->events->connected(true);
    EXPECT_EQ(client->take(), "subscribe kv/plant1/+/+/set\n"
                              "kv/plant1/_status (kept) online\n"
                              "kv/plant1/_status/a (kept) offline\n"
                              "kv/plant1/a/count (kept) \nkv/plant1/a/run (kept) \n");
}

TEST_F(MqttOutletTest, aPlcThatIsGoneHasNoStatus)
{
    start();
    client->take();
    outlet->removeLink("a");
    outlet->removeLink("never-there");
    EXPECT_EQ(client->take(), "kv/plant1/_status/a (kept) \n");
    client->events->acknowledged(client->tokens.back());
    client->events->connected(true);
    EXPECT_EQ(client->take().find("_status/a"), std::string::npos);
}

TEST_F(MqttOutletTest, theNewestValueOfATagThatIsGoneIsALateOne)
{
    start();
    outlet->setTags({tag("a.speed", "drive")});
    client->take();
    EXPECT_TRUE(outlet->wantsNewest("a.speed"));
    EXPECT_FALSE(outlet->wantsNewest("a.run"));
    EXPECT_EQ(offer(OfferKind::Live, {{9, "a.run", good(500, true)}}), 1U);
    EXPECT_EQ(client->take(), "kv/plant1/a/run/stored "
                              R"({"value":true,"quality":"good","time":"2026-05-04T08:00:00.500Z","seq":9})"
                              "\n")
        << "retained, it would look alive forever";
}

TEST_F(MqttOutletTest, aCommandGoesToThePlantAndItsAnswerBack)
{
    start();
    client->take();
    command(R"({"value":1200,"correlation":"order-7","expires":2})");
    ASSERT_EQ(orders.size(), 1U);
    EXPECT_EQ(orders[0].tag, "a.speed");
    EXPECT_EQ(orders[0].value, kvlink::Value(qint64(1200)));
    EXPECT_EQ(orders[0].expires, 2s);
    EXPECT_EQ(orders[0].who, "mqtt:cloud");
    EXPECT_EQ(orders[0].from, "broker:1883");
    WriteReport report;
    report.order = orders[0];
    report.outcome = kvlink::Outcome::Done;
    report.text = "confirmed by the PLC";
    report.time = at(99);
    ends[0](report);
    EXPECT_EQ(client->take(),
              "kv/plant1/a/speed/set/answer "
              R"({"correlation":"order-7","outcome":"done","tag":"a.speed","text":"confirmed by the PLC",)"
              R"("time":"2026-05-04T08:00:00.099Z"})"
              "\n");
    EXPECT_EQ(client->correlations.back(), "their-id");
    client->take();
    outlet.reset();
    client.reset();
    ends[0](report); // the outlet is gone: nobody is told, and nothing breaks
}

TEST_F(MqttOutletTest, aRetainedCommandIsRefused)
{
    start();
    client->take();
    command(R"({"value":1200,"correlation":"order-7"})", true);
    EXPECT_TRUE(orders.empty());
    EXPECT_EQ(
        client->take(),
        "kv/plant1/a/speed/set/answer "
        R"({"correlation":"order-7","outcome":"not sent",)"
        R"("tag":"a.speed","text":"a retained command would be carried out again with each connection: )"
        R"(send it without retain; nothing was sent","time":"2026-05-04T08:00:00.000Z"})"
        "\n");
    EXPECT_EQ(refusals.size(), 1U);
    command("", true);
    EXPECT_EQ(client->take(), "") << "that only clears what the broker kept";
}

TEST_F(MqttOutletTest, commandsThatNobodyAllowedAreNotHeard)
{
    config.commands = false;
    start();
    EXPECT_EQ(client->take().find("subscribe"), std::string::npos);
    command("1200"); // of an earlier session that the broker remembers
    EXPECT_TRUE(orders.empty());
    EXPECT_EQ(client->take(), "");
}

TEST_F(MqttOutletTest, othersTopicsAreNotHeard)
{
    start();
    client->events->received({"kv/plant1/a/nothing/set", "1", false, {}, {}});
    client->events->received({"kv/plant1/a/speed/set/answer", "1", false, {}, {}});
    EXPECT_TRUE(orders.empty());
}

struct CommandRow {
    const char *payload;
    std::optional<quint32> expiry;
    const char *problem; // empty: accepted
    qint64 expiresMs;
};

TEST(MqttCommand, rows)
{
    // It is 2026-05-04T08:00:10Z.
    const CommandRow rows[] = {
        {"1200", {}, "", 5000},
        {"true", {}, "", 5000},
        {"\"text\"", {}, "", 5000},
        {"[1,2]", {}, "", 5000},
        {"1200", 2, "", 2000},
        {"1200", 60, "", 5000},
        {"1200", 0, "has expired", 0},
        {R"({"value":1,"expires":60})", {}, "", 60'000},
        {R"({"value":1,"expires":60})", 30, "", 30'000},
        {R"({"value":1,"time":"2026-05-04T08:00:08Z"})", {}, "", 3000},
        {R"({"value":1,"time":"2026-05-04T10:00:08+02:00"})", {}, "", 3000},
        {R"({"value":1,"time":"2026-05-04T08:00:05Z"})", {}, "the command has expired: it is 5s old", 0},
        {R"({"value":1,"time":"2026-05-04T07:00:00Z","expires":3600})", {}, "has expired", 0},
        {R"({"value":1,"time":"2026-05-04T08:00:11Z"})", {}, "", 5000},
        {R"({"value":1,"time":"2026-05-04T08:00:20Z"})", {}, "compare the clocks", 0},
        {R"({"value":1,"time":"now"})", {}, "time: 'now' is not a time", 0},
        {R"({"value":1,"expires":0})", {}, "expires must be above 0", 0},
        {R"({"value":1,"expires":"5"})", {}, "expires must be above 0", 0},
        {R"({"value":1,"expires":3601})", {}, "expires must be above 0", 0},
        {R"({"valeu":1})", {}, "the value must be", 0},
        {R"({"value":1,"valeu":1})", {}, "did you mean \"value\"", 0},
        {R"({"value":{"a":1}})", {}, "the value must be", 0},
        {R"({"value":1,"correlation":"a b"})", {}, "correlation must have", 0},
        {"ON", {}, "not JSON", 0},
        {"1,2", {}, "not JSON", 0},
        {"1] [2", {}, "not JSON", 0},
        {"", {}, "not JSON", 0},
        {"null", {}, "the value must be", 0},
        {"\xff\xfe", {}, "not JSON", 0},
    };
    for (const CommandRow &row : rows) {
        const MqttCommand command =
            readCommand({"topic", row.payload, false, {}, row.expiry}, "a.speed", at(10'000));
        EXPECT_FALSE(command.order.correlation.isEmpty());
        if (*row.problem != '\0') {
            EXPECT_TRUE(command.problem.contains(row.problem))
                << row.payload << ": " << command.problem.toStdString();
            continue;
        }
        EXPECT_EQ(command.problem, "") << row.payload;
        EXPECT_EQ(command.order.expires, std::chrono::milliseconds(row.expiresMs)) << row.payload;
    }
    EXPECT_TRUE(readCommand({"topic", QByteArray(65'537, '1'), false, {}, {}}, "a.speed", at(0))
                    .problem.contains("at most 64 KiB"));
}

TEST(MqttTopics, namesAreLevels)
{
    const struct {
        const char *name, *level;
    } rows[] = {{"speed", "speed"},
                {"a/b", "a%2Fb"},
                {"+#", "%2B%23"},
                {"50%", "50%25"},
                {"caf\xc3\xa9", "caf\xc3\xa9"},
                {"$x", "%24x"}};
    for (const auto &row : rows)
        EXPECT_EQ(topicLevel(row.name), row.level);
    EXPECT_EQ(filledTopic("f/{plc}-{tag}/{group}", "s", "a", "x", ""), "f/a-x/other");
}

TEST(MqttTopics, aCommandTopicIsFoundAgain)
{
    MqttConfig config;
    config.site = "s";
    config.topic = "f/{plc}-{tag}/now";
    config.commands = true;
    const MqttTopics topics(config, {tag("a.x/y")});
    EXPECT_EQ(topics.commandFilter(), "f/+/now/set");
    ASSERT_NE(topics.commandTag("f/a-x%2Fy/now/set"), nullptr);
    EXPECT_EQ(topics.commandTag("f/a-x%2Fy/now/set")->name, "a.x/y");
    EXPECT_EQ(topics.commandTag("f/a-x%2Fy/now"), nullptr);
}

TEST_F(MqttOutletTest, homeAssistantLearnsOfEachTag)
{
    config.homeAssistant = "homeassistant";
    start();
    TagConfig number = tag("a.speed");
    number.min = 0;
    number.max = 1500;
    number.settings.unit = "rpm";
    TagConfig fixed = tag("a.in", "", "R500");
    fixed.settings.access = kvlink::Access::ReadOnly;
    client->take();
    outlet->setTags({number, tag("a.run", "", "R501"), fixed});
    EXPECT_EQ(
        client->take(),
        "homeassistant/number/kv-plant1/a_2e_speed/config (kept) "
        R"({"availability":[{"topic":"kv/plant1/_status"},{"topic":"kv/plant1/_status/a"}],)"
        R"("availability_mode":"all","command_topic":"kv/plant1/a/speed/set",)"
        R"("device":{"identifiers":["kv-plant1-a"],"name":"plant1 a"},"max":1500,"min":0,"name":"speed",)"
        R"("state_topic":"kv/plant1/a/speed","unique_id":"kv-plant1-a_2e_speed","unit_of_measurement":"rpm",)"
        R"("value_template":"{{ value_json.value }}"})"
        "\nhomeassistant/switch/kv-plant1/a_2e_run/config (kept) "
        R"({"availability":[{"topic":"kv/plant1/_status"},{"topic":"kv/plant1/_status/a"}],)"
        R"("availability_mode":"all","command_topic":"kv/plant1/a/run/set",)"
        R"("device":{"identifiers":["kv-plant1-a"],"name":"plant1 a"},"name":"run","payload_off":"false",)"
        R"("payload_on":"true","state_topic":"kv/plant1/a/run","unique_id":"kv-plant1-a_2e_run",)"
        R"("value_template":"{{ 'true' if value_json.value else 'false' }}"})"
        "\nhomeassistant/binary_sensor/kv-plant1/a_2e_in/config (kept) "
        R"({"availability":[{"topic":"kv/plant1/_status"},{"topic":"kv/plant1/_status/a"}],)"
        R"("availability_mode":"all",)"
        R"("device":{"identifiers":["kv-plant1-a"],"name":"plant1 a"},"name":"in","payload_off":"false",)"
        R"("payload_on":"true","state_topic":"kv/plant1/a/in","unique_id":"kv-plant1-a_2e_in",)"
        R"("value_template":"{{ 'true' if value_json.value else 'false' }}"})"
        "\nhomeassistant/sensor/kv-plant1/a_2e_speed/config (kept) \n"
        "homeassistant/sensor/kv-plant1/a_2e_count/config (kept) \n"
        "homeassistant/sensor/kv-plant1/a_2e_run/config (kept) \n"
        "kv/plant1/a/count (kept) \n");
}

} // namespace
} // namespace kvgateway
