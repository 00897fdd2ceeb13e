// SPDX-License-Identifier: MIT
// The edge node between its feeder and a client that the test holds in its hands:
// receipts, commands, leaving.
#include "outlets/sparkplug_outlet.h"

#include "conformance.h"
#include "sparkplug_text.h"

#include <QTemporaryDir>

namespace kvgateway
{
namespace
{

using namespace std::chrono_literals;

class FakeClient : public MqttClient
{
public:
    void start(MqttClientEvents &to) override { events = &to; }
    void stop(const MqttMessage &goodbye) override { shown += "stop with " + shownMessage(goodbye); }
    void publish(std::vector<MqttMessage> messages) override
    {
        for (const MqttMessage &message : messages) {
            shown += shownMessage(message);
            if (message.asksReceipt)
                tokens.push_back(message.token);
        }
    }
    void subscribe(const QByteArray &filter, MqttQos qos) override
    {
        shown += "subscribe " + filter.toStdString() + (qos == MqttQos::AtLeastOnce ? " (QoS 1)\n" : "\n");
    }
    void reconnect(const QString &why) override { shown += "reconnect: " + why.toStdString() + "\n"; }
    void leave(const QString &why, const MqttMessage &goodbye) override
    {
        shown += "leave: " + why.toStdString() + ", with " + shownMessage(goodbye);
    }
    std::string take() { return std::exchange(shown, {}); }

    MqttClientEvents *events = nullptr;
    std::string shown;
    std::vector<quint64> tokens;
};

struct Events : OutletEvents {
    void acknowledged(const std::vector<quint64> &seqs) override
    {
        all.insert(all.end(), seqs.begin(), seqs.end());
    }
    void refused(const std::vector<quint64> &seqs, const QString & /*why*/) override { refusedSeqs = seqs; }
    void postponed(const std::vector<quint64> &seqs) override { postponedSeqs = seqs; }
    void changed() override {}

    std::vector<quint64> all, refusedSeqs, postponedSeqs;
};

class SparkplugOutletTest : public testing::Test
{
protected:
    SparkplugOutletTest()
    {
        config.host = "broker";
        config.port = 1883;
        config.group = "plant1";
        config.node = "gw";
        config.commands = true;
    }
    void make()
    {
        client = std::make_shared<FakeClient>();
        outlet = std::make_unique<SparkplugOutlet>(
            config, folder.filePath("outlet.bdseq"), client, clock,
            [this](const WriteOrder &order, const WriteEnd &end) {
                orders.push_back(order);
                ends.push_back(end);
            },
            [this](const WriteOrder &order, const QString &why) {
                refusals.push_back((order.tag + ": " + why).toStdString());
            });
        TagConfig tag;
        tag.name = "a.speed";
        tag.settings.address = "DM100";
        outlet->setTags({tag});
        outlet->setLink("a", true);
        outlet->start(events);
    }
    void start()
    {
        make();
        client->events->will();
        client->events->connected(false);
        client->take();
    }
    OutletRow row(quint64 seq, qint64 value)
    {
        OutletRow row{seq, "a.speed", good(0, value)};
        outlet->note(row);
        return row;
    }
    void command(SparkplugValue value, const char *name = "speed", bool isRetained = false,
                 std::optional<quint32> expiry = {})
    {
        SparkplugMetric metric;
        metric.name = name;
        metric.value = std::move(value);
        client->events->received(
            {"spBv1.0/plant1/DCMD/gw/a", encodeSparkplug({{}, {metric}, {}}), isRetained, {}, expiry});
    }

    const QTemporaryDir folder;
    SparkplugConfig config;
    FakeClock clock;
    Events events;
    std::shared_ptr<FakeClient> client;
    std::unique_ptr<SparkplugOutlet> outlet;
    std::vector<WriteOrder> orders;
    std::vector<WriteEnd> ends;
    std::vector<std::string> refusals;
};

using Seqs = std::vector<quint64>;

TEST_F(SparkplugOutletTest, subscribesThenIsBorn)
{
    conforms("N:ncmd-subscribe D:dcmd-subscribe");
    make();
    EXPECT_EQ(shownMessage(client->events->will()), "NDEATH/gw (QoS 1)\n  bdSeq Int64 = 0\n");
    EXPECT_FALSE(outlet->state().isReady());
    client->events->connected(false);
    const std::string said = client->take();
    EXPECT_EQ(said.rfind("subscribe spBv1.0/plant1/NCMD/gw (QoS 1)\n"
                         "subscribe spBv1.0/plant1/DCMD/gw/+ (QoS 1)\n"
                         "NBIRTH/gw seq 0",
                         0),
              0U)
        << said;
    EXPECT_NE(said.find("DBIRTH/gw/a seq 1"), std::string::npos) << said;
    EXPECT_TRUE(outlet->state().isReady());
}

TEST_F(SparkplugOutletTest, rowsAreDoneWithTheReceiptAndNotBefore)
{
    start();
    EXPECT_EQ(outlet->offer({row(1, 7), row(2, 8)}, OfferKind::Live), 2U);
    EXPECT_EQ(client->take(), "DDATA/gw/a seq 2 at 0\n  #4 = 7 at 0\n"
                              "DDATA/gw/a seq 3 at 0\n  #4 = 8 at 0\n"
                              "receipt\n");
    EXPECT_TRUE(events.all.empty());
    client->events->acknowledged(client->tokens.at(0));
    EXPECT_EQ(events.all, (Seqs{1, 2}));
    client->events->acknowledged(client->tokens.at(0));
    EXPECT_EQ(events.all.size(), 2U) << "once";
}

TEST_F(SparkplugOutletTest, aReceiptOfAnEarlierConnectionCountsForNothing)
{
    start();
    outlet->offer({row(1, 7)}, OfferKind::Live);
    const quint64 session = outlet->state().session;
    client->events->disconnected("gone");
    EXPECT_EQ(outlet->offer({row(2, 8)}, OfferKind::Live), 0U);
    client->events->will();
    client->events->connected(false);
    EXPECT_NE(outlet->state().session, session);
    client->events->acknowledged(client->tokens.at(0));
    EXPECT_TRUE(events.all.empty());
}

TEST_F(SparkplugOutletTest, eachConnectionHasAnotherNumber)
{
    conforms("P:nbirth-bdseq-repeat T:nbirth-bdseq-matching");
    start();
    client->events->disconnected("gone");
    EXPECT_NE(shownMessage(client->events->will()).find("= 1\n"), std::string::npos);
    client->events->unheard();
    client->events->disconnected("no route");
    EXPECT_NE(shownMessage(client->events->will()).find("= 1\n"), std::string::npos)
        << "no broker heard of it";
    client->events->connected(false);
    EXPECT_NE(client->take().find("bdSeq #1 Int64 = 1"), std::string::npos);
    outlet.reset();
    make();
    EXPECT_NE(shownMessage(client->events->will()).find("= 2\n"), std::string::npos) << "after a restart";
}

TEST_F(SparkplugOutletTest, takesWhatThereIsRoomForAndKeepsHalfForLiveRows)
{
    start();
    std::vector<OutletRow> many;
    for (quint64 seq = 1; seq <= SparkplugOutlet::window + 10; ++seq)
        many.push_back(row(seq, qint64(seq % 1000)));
    EXPECT_EQ(outlet->offer(many, OfferKind::Stored), SparkplugOutlet::window / 2);
    EXPECT_EQ(outlet->offer(many, OfferKind::Stored), 0U);
    EXPECT_EQ(outlet->offer(many, OfferKind::Live), SparkplugOutlet::window / 2);
    for (const quint64 token : client->tokens)
        client->events->acknowledged(token);
    EXPECT_EQ(outlet->offer(many, OfferKind::Live), SparkplugOutlet::window);
}

TEST_F(SparkplugOutletTest, rowsOfAPlcThatIsAwayArePostponed)
{
    start();
    outlet->setLink("a", false);
    const quint64 round = outlet->state().round;
    client->take();
    EXPECT_EQ(outlet->offer({row(1, 7)}, OfferKind::Live), 1U);
    EXPECT_EQ(client->take(), "") << "no message, no receipt";
    EXPECT_EQ(events.postponedSeqs, (Seqs{1}));
    outlet->setLink("a", true);
    EXPECT_NE(outlet->state().round, round) << "now they may be offered again";
    OutletRow gone = row(2, 1);
    gone.tag = "a.gone";
    outlet->offer({gone}, OfferKind::Stored);
    EXPECT_EQ(events.refusedSeqs, (Seqs{2}));
}

TEST_F(SparkplugOutletTest, aBrokerThatAnswersNothingIsLeft)
{
    start();
    outlet->offer({row(1, 7)}, OfferKind::Live);
    client->take();
    clock.advance(SparkplugOutlet::longestSilence);
    outlet->tick();
    EXPECT_EQ(client->take(), "");
    clock.advance(1s);
    outlet->tick();
    EXPECT_EQ(client->take(), "reconnect: the broker is connected and answers nothing\n");
}

TEST_F(SparkplugOutletTest, itsOwnDeathComesBeforeTheEnd)
{
    conforms("O:edge-node-intentional-disconnect-ndeath P:ndeath-will-message-publisher "
             "O:edge-node-intentional-disconnect-packet P:ndeath-will-message-publisher-disconnect-mqtt311");
    start();
    outlet->stop();
    EXPECT_EQ(client->take(), "stop with NDEATH/gw (QoS 1)\n  bdSeq Int64 = 0\n");
    EXPECT_FALSE(outlet->state().isReady());
    outlet->setLink("a", false);
    EXPECT_EQ(client->take(), "") << "nothing after it";
}

TEST_F(SparkplugOutletTest, thePrimaryHostIsWaitedForAndFollowed)
{
    conforms("B:phid-wait B:phid-offline O:edge-node-termination-host-offline");
    config.primaryHost = "scada";
    make();
    client->events->will();
    client->events->connected(false);
    EXPECT_EQ(client->take(), "subscribe spBv1.0/plant1/NCMD/gw (QoS 1)\n"
                              "subscribe spBv1.0/plant1/DCMD/gw/+ (QoS 1)\n"
                              "subscribe spBv1.0/STATE/scada (QoS 1)\n");
    EXPECT_FALSE(outlet->state().isReady());
    EXPECT_TRUE(outlet->state().problem.contains("\"scada\""));
    const QByteArray topic = "spBv1.0/STATE/scada";
    client->events->received({topic, R"({"online":true,"timestamp":1})", true, {}, {}});
    EXPECT_TRUE(outlet->state().isReady());
    EXPECT_EQ(outlet->state().problem, "");
    client->take();
    client->events->received({topic, R"({"online":false,"timestamp":2})", false, {}, {}});
    EXPECT_FALSE(outlet->state().isReady());
    EXPECT_EQ(client->take(), "leave: the primary host \"scada\" has gone offline, with NDEATH/gw (QoS 1)\n"
                              "  bdSeq Int64 = 0\n");
}

TEST_F(SparkplugOutletTest, aCommandGoesTheWayOfAllWrites)
{
    start();
    command(quint32(9));
    ASSERT_EQ(orders.size(), 1U);
    EXPECT_EQ(orders[0].tag, "a.speed");
    EXPECT_EQ(orders[0].value, kvlink::Value(qint64(9)));
    EXPECT_EQ(orders[0].who, "sparkplug:sparkplug");
    EXPECT_EQ(orders[0].from, "broker:1883");
    EXPECT_EQ(orders[0].expires, 5s);
    EXPECT_FALSE(orders[0].correlation.isEmpty());
    command(quint32(9), "speed", false, 2);
    EXPECT_EQ(orders.at(1).expires, 2s) << "the expiry of MQTT 5 counts";
    command(quint32(9), "speed", false, 0);
    command(quint32(70000));
    command(quint32(9), "sped");
    command(quint32(9), "speed", true);
    EXPECT_EQ(orders.size(), 2U);
    EXPECT_EQ(refusals,
              (std::vector<std::string>{
                  "a.speed: the command has expired", "a.speed: 70000 does not fit UInt16",
                  "a.sped: there is no such metric",
                  "spBv1.0/plant1/DCMD/gw/a: a retained command would be carried out again with each "
                  "connection: send it without retain"}));
}

TEST_F(SparkplugOutletTest, aWriteThatDidNotEndAsDoneIsShown)
{
    start();
    row(1, 7);
    command(quint32(9));
    client->take();
    WriteReport report;
    report.order = orders.at(0);
    report.outcome = kvlink::Outcome::Done;
    ends[0](report);
    EXPECT_EQ(client->take(), "") << "it is read back";
    report.outcome = kvlink::Outcome::Refused;
    report.text = "the PLC answered E1";
    ends[0](report);
    EXPECT_EQ(client->take(), "NDATA/gw seq 2 at 0\n  #3 = \"a.speed: the PLC answered E1\" at 0\n"
                              "DDATA/gw/a seq 3 at 0\n  #4 = 7 at 0\n");
    outlet.reset();
    ends[0](report); // the outlet is gone
    EXPECT_EQ(client->take(), "");
}

TEST_F(SparkplugOutletTest, aBrokerThatRefusesASubscriptionIsSaid)
{
    start();
    client->events->subscribed("spBv1.0/plant1/NCMD/gw", "not authorized");
    client->events->subscribed("spBv1.0/plant1/DCMD/gw/+", "");
    EXPECT_TRUE(outlet->state().warning.contains("NCMD/gw (not authorized)"))
        << outlet->state().warning.toStdString();
    client->events->subscribed("spBv1.0/plant1/NCMD/gw", "");
    EXPECT_EQ(outlet->state().warning, "");
}

} // namespace
} // namespace kvgateway
