// SPDX-License-Identifier: MIT
// What an edge node says, as transcripts: no broker, and a clock that the test turns.
#include "outlets/birth_count.h"
#include "outlets/sparkplug_session.h"

#include "conformance.h"
#include "sparkplug_text.h"

#include <QFile>
#include <QTemporaryDir>

namespace kvgateway
{
namespace
{

using namespace std::chrono_literals;

TagConfig tagOf(const char *name, const char *address)
{
    TagConfig tag;
    tag.name = name;
    tag.settings.address = address;
    QString problem;
    const auto parsed = kvlink::AddressInfo::parse(address, problem);
    EXPECT_TRUE(parsed) << address;
    tag.kind = parsed->kind();
    tag.count = parsed->values();
    return tag;
}

std::string shown(const std::vector<quint64> &seqs)
{
    std::string text;
    for (const quint64 seq : seqs)
        text += (text.empty() ? "" : " ") + std::to_string(seq);
    return text;
}

constexpr char nodeBirth[] = "NBIRTH/gw seq 0 at 0\n"
                             "  bdSeq #1 Int64 = 5 at 0\n"
                             "  Node Control/Rebirth Boolean = false at 0\n"
                             "  Properties/FW #2 String = the version at 0\n"
                             "  Commands/Last Failure #3 String = null at 0\n";
constexpr char birthOfA[] = "DBIRTH/gw/a seq 1 at 0\n"
                            "  speed #4 UInt16 = 7 at 0\n"
                            "  run #5 Boolean = null at 0, quality 0\n";

class SparkplugSessionTest : public testing::Test
{
protected:
    SparkplugSessionTest()
    {
        config.group = "plant1";
        config.node = "gw";
        config.commands = true;
        tags = {tagOf("a.speed", "DM100"), tagOf("a.run", "R500"), tagOf("b.level", "DM200.S")};
    }

    void make()
    {
        session = std::make_unique<SparkplugSession>(config, clock);
        session->setTags(tags);
        session->setLink("a", true);
        note("a.speed", qint64(7));
        EXPECT_EQ(said(), "") << "nothing before a connection";
    }
    void connect(quint8 bdSeq = 5)
    {
        session->begin(bdSeq);
        session->connected();
    }
    // Connected, and the births are out.
    void start()
    {
        make();
        connect();
        said();
    }
    OutletRow note(const char *tag, kvlink::Value value, kvlink::Quality quality = kvlink::Quality::Good)
    {
        OutletRow row{++lastSeq, tag, good(0, std::move(value))};
        row.sample.time = clock.wall();
        row.sample.quality = quality;
        session->note(row);
        return row;
    }
    std::string offer(const std::vector<OutletRow> &rows, OfferKind kind = OfferKind::Live)
    {
        const SparkplugTaken taken = session->offer(rows, rows.size(), kind);
        std::string text = said();
        if (!taken.postponed.empty())
            text += "postponed: " + shown(taken.postponed) + "\n";
        if (!taken.refused.empty())
            text += "refused: " + shown(taken.refused) + ": " + taken.why.toStdString() + "\n";
        return text;
    }
    std::string said()
    {
        std::string text;
        for (const MqttMessage &message : session->take())
            text += shownMessage(message);
        return text;
    }
    SparkplugOrders command(const char *topic, std::vector<SparkplugMetric> metrics, bool isRetained = false)
    {
        return session->takeCommand({QByteArray("spBv1.0/plant1/") + topic,
                                     encodeSparkplug({{}, std::move(metrics), {}}),
                                     isRetained,
                                     {},
                                     {}});
    }
    void askRebirth()
    {
        SparkplugMetric metric;
        metric.name = "Node Control/Rebirth";
        metric.type = SparkplugType::Boolean;
        metric.value = true;
        command("NCMD/gw", {metric});
    }
    static SparkplugMetric metric(const char *name, SparkplugValue value)
    {
        SparkplugMetric metric;
        metric.name = name;
        metric.value = std::move(value);
        return metric;
    }

    SparkplugConfig config;
    FakeClock clock;
    std::vector<TagConfig> tags;
    std::unique_ptr<SparkplugSession> session;
    quint64 lastSeq = 100;
};

TEST_F(SparkplugSessionTest, theWillIsADeathWithTheNumberOfTheConnection)
{
    conforms("B:will-message P:ndeath-will-message B:will-message-payload B:will-message-topic "
             "T:ndeath-topic B:will-message-qos P:ndeath-will-message-qos B:will-message-will-retained "
             "P:ndeath-will-message-retain T:ndeath-payload T:ndeath-seq P:ndeath-seq P:ndeath-bdseq");
    make();
    const MqttMessage will = session->begin(255);
    EXPECT_EQ(will.topic, "spBv1.0/plant1/NDEATH/gw");
    EXPECT_EQ(shownMessage(will), "NDEATH/gw (QoS 1)\n  bdSeq Int64 = 255\n");
    EXPECT_EQ(session->death().payload, will.payload) << "what is said before leaving is the same";
    EXPECT_EQ(session->begin(0).payload.toHex(), "120b0a056264536571200458"
                                                 "00")
        << "0 is written";
}

TEST_F(SparkplugSessionTest, birthsComeFirstAndTellEverything)
{
    conforms("S:namespace-a T:nbirth-topic B:nbirth-topic B:nbirth-payload T:nbirth-mqtt P:nbirth-qos "
             "P:nbirth-retain B:nbirth-qos B:nbirth-retained T:nbirth-seq-num P:nbirth-seq "
             "P:sequence-num-zero-nbirth B:nbirth-payload-seq T:nbirth-timestamp P:nbirth-timestamp "
             "T:nbirth-metric-reqs U:nbirth T:nbirth-metrics U:nbirth-values T:nbirth-rebirth-metric "
             "P:nbirth-rebirth-req C:rebirth-name C:rebirth-datatype C:rebirth-value C:rebirth-name-aliases "
             "P:nbirth-bdseq P:nbirth-bdseq-repeat T:nbirth-bdseq-included T:nbirth-bdseq-matching "
             "B:nbirth-payload-bdSeq B:connect R:birth-certificates-order");
    conforms("D:birth-publish-nbirth-wait P:dbirth-order T:dbirth-topic D:birth-publish-dbirth-topic "
             "D:birth-publish-dbirth-match-edge-node-topic D:birth-publish-dbirth-payload T:dbirth-mqtt "
             "P:dbirth-qos P:dbirth-retain D:birth-publish-dbirth-qos D:birth-publish-dbirth-retained "
             "T:dbirth-seq P:dbirth-seq P:dbirth-seq-inc D:birth-publish-dbirth-payload-seq "
             "T:dbirth-timestamp P:dbirth-timestamp T:dbirth-metric-reqs U:dbirth T:dbirth-metrics "
             "U:dbirth-values P:metric-datatype-req P:name-birth-data-requirement P:metric-timestamp-in-UTC "
             "P:timestamp-in-UTC P:name-requirement P:alias-birth-requirement");
    make();
    session->begin(5);
    EXPECT_EQ(said(), "");
    session->connected();
    EXPECT_EQ(said(), std::string(nodeBirth) + birthOfA) << "b does not answer, and so has no birth";
    session->setLink("b", true);
    EXPECT_EQ(said(), "DBIRTH/gw/b seq 2 at 0\n  level #6 Int16 = null at 0, quality 0\n");
}

TEST_F(SparkplugSessionTest, onlyItsOwnCommandsAreSubscribedTo)
{
    conforms(
        "N:ncmd-subscribe D:dcmd-subscribe T:ncmd-topic T:dcmd-topic C:ncmd-verb C:dcmd-verb M:state-subs");
    const std::vector<QByteArray> none{"spBv1.0/plant1/NCMD/gw"};
    const std::vector<QByteArray> all{"spBv1.0/plant1/NCMD/gw", "spBv1.0/plant1/DCMD/gw/+",
                                      "spBv1.0/STATE/scada"};
    config.primaryHost = "scada";
    make();
    EXPECT_EQ(session->filters(), all);
    config.primaryHost.clear();
    config.commands = false;
    make();
    EXPECT_EQ(session->filters(), none);
}

TEST_F(SparkplugSessionTest, aChangeGoesByItsAliasAlone)
{
    conforms("T:ddata-topic T:ddata-mqtt P:ddata-qos P:ddata-retain T:ddata-seq-num P:ddata-seq "
             "P:ddata-seq-inc T:ddata-timestamp P:ddata-timestamp T:ddata-payload U:dbirth-change "
             "R:rbe-recommended P:alias-data-cmd-requirement P:metric-datatype-not-req P:ddata-order "
             "P:sequence-num-always-included P:sequence-num-incrementing");
    start();
    clock.advance(5ms);
    const OutletRow row = note("a.speed", qint64(8));
    clock.advance(2ms);
    EXPECT_EQ(offer({row}), "DDATA/gw/a seq 2 at 7\n  #4 = 8 at 5\n");
    EXPECT_EQ(offer({}), "") << "on change, not by the clock";
}

TEST_F(SparkplugSessionTest, theNumberComesAfter255Again)
{
    conforms("P:dbirth-seq P:ddata-seq");
    start();
    for (int i = 2; i <= 255; ++i)
        offer({note("a.speed", qint64(i))});
    EXPECT_EQ(offer({note("a.speed", qint64(1))}), "DDATA/gw/a seq 0 at 0\n  #4 = 1 at 0\n");
}

TEST_F(SparkplugSessionTest, qualityIsSaidWhereItIsNotGood)
{
    start();
    clock.advance(9ms);
    using kvlink::Quality;
    EXPECT_EQ(offer({note("a.speed", qint64(7), Quality::Bad)}),
              "DDATA/gw/a seq 2 at 9\n  #4 = 7 at 9, quality 0\n")
        << "with the present time: the value of that time was good";
    EXPECT_EQ(offer({note("a.run", true, Quality::Stale)}),
              "DDATA/gw/a seq 3 at 9\n  #5 = true at 9, quality 500\n");
    EXPECT_EQ(offer({note("a.run", true, Quality::Pending)}),
              "DDATA/gw/a seq 4 at 9\n  #5 = true at 9, quality 500\n");
}

TEST_F(SparkplugSessionTest, liveValuesOfAMessageAreInTheOrderOfTheirTimes)
{
    conforms("U:dbirth-order U:nbirth-order");
    start();
    OutletRow late = note("a.run", true), early = note("a.speed", qint64(1)), again = note("a.run", false);
    late.sample.time = at(20);
    early.sample.time = at(10);
    again.sample.time = at(30);
    EXPECT_EQ(offer({late, early, again}), "DDATA/gw/a seq 2 at 0\n  #5 = true at 20\n"
                                           "DDATA/gw/a seq 3 at 0\n  #4 = 1 at 10\n  #5 = false at 30\n");
}

TEST_F(SparkplugSessionTest, twoValuesOfOneMillisecondBothArrive)
{
    start();
    EXPECT_EQ(offer({note("a.speed", qint64(1)), note("a.speed", qint64(2))}),
              "DDATA/gw/a seq 2 at 0\n  #4 = 1 at 0\n"
              "DDATA/gw/a seq 3 at 0\n  #4 = 2 at 0\n");
}

TEST_F(SparkplugSessionTest, storedValuesAreHistoricalAndApart)
{
    start();
    OutletRow old = note("a.speed", qint64(1));
    old.seq = 50;
    old.sample.time = at(-60'000);
    EXPECT_EQ(offer({old}, OfferKind::Stored), "DDATA/gw/a seq 2 at 0\n  #4 = 1 at -60000, historical\n");
    EXPECT_EQ(offer({old}), "DDATA/gw/a seq 3 at 0\n  #4 = 1 at -60000, historical\n")
        << "what an earlier run left never becomes the live value";
}

// A row is offered as live again when its connection broke before it was acknowledged.
TEST_F(SparkplugSessionTest, whatABirthToldIsNotToldAgain)
{
    make();
    const OutletRow older = note("a.speed", qint64(8)), newest = note("a.speed", qint64(9));
    connect();
    EXPECT_NE(said().find("speed #4 UInt16 = 9"), std::string::npos);
    const SparkplugTaken taken = session->offer({older, newest}, 2, OfferKind::Live);
    EXPECT_EQ(shown(taken.sent), "102 103") << "both are done with the next receipt";
    EXPECT_EQ(said(), "DDATA/gw/a seq 2 at 0\n  #4 = 8 at 0, historical\n");
}

TEST_F(SparkplugSessionTest, aLostPlcDiesAndItsRowsWait)
{
    conforms("O:device-ddeath T:ddeath-topic T:ddeath-mqtt T:ddeath-seq-num P:ddeath-seq P:ddeath-seq-inc "
             "P:ddeath-seq-number P:ddeath-timestamp");
    start();
    const OutletRow row = note("a.speed", qint64(8));
    clock.advance(3ms);
    session->setLink("a", false);
    EXPECT_EQ(said(), "DDEATH/gw/a seq 2 at 3\n");
    session->setLink("a", false);
    EXPECT_EQ(said(), "") << "once";
    EXPECT_EQ(offer({row, note("b.level", qint64(-1))}), "postponed: 102 103\n");
    session->setLink("a", true);
    EXPECT_EQ(said(), "DBIRTH/gw/a seq 3 at 3\n"
                      "  speed #4 UInt16 = 8 at 0\n"
                      "  run #5 Boolean = null at 3, quality 0\n");
    EXPECT_EQ(offer({row}, OfferKind::Stored), "") << "the birth has told it";
}

TEST_F(SparkplugSessionTest, aRebirthTellsEverythingInTheSameConnection)
{
    conforms("C:rebirth-action-1 C:rebirth-action-2 C:rebirth-action-3 C:ncmd-rebirth-verb "
             "C:ncmd-rebirth-name C:ncmd-rebirth-value");
    start();
    offer({note("a.speed", qint64(7))});
    askRebirth();
    EXPECT_EQ(said(), std::string(nodeBirth) + birthOfA) << "the same bdSeq, and the numbers begin again";
    clock.advance(1s);
    askRebirth();
    askRebirth();
    EXPECT_EQ(said(), "") << "not at once again";
    session->tick();
    EXPECT_EQ(said(), "");
    clock.advance(SparkplugSession::rebirthEvery);
    session->tick();
    EXPECT_EQ(said().substr(0, 20), "NBIRTH/gw seq 0 at 6") << "and not forgotten";
    clock.advance(1min);
    session->tick();
    EXPECT_EQ(said(), "") << "once for both";
    command("NCMD/gw", {metric("Node Control/Rebirth", false)});
    EXPECT_EQ(said(), "");
}

TEST_F(SparkplugSessionTest, otherTagsAreAnotherDevice)
{
    conforms("P:alias-uniqueness");
    start();
    session->setLink("b", true);
    said();
    tags.insert(tags.begin() + 1, tagOf("a.count", "DM102.D"));
    session->setTags(tags);
    EXPECT_EQ(said(), "DDEATH/gw/a seq 3 at 0\n"
                      "DBIRTH/gw/a seq 4 at 0\n"
                      "  speed #7 UInt16 = 7 at 0\n"
                      "  count #8 UInt32 = null at 0, quality 0\n"
                      "  run #9 Boolean = null at 0, quality 0\n")
        << "b stays as it is; no alias changes its meaning";
    session->setTags(tags);
    EXPECT_EQ(said(), "") << "a reload without a change";
    tags.pop_back();
    session->setTags(tags);
    EXPECT_EQ(said(), "DDEATH/gw/b seq 5 at 0\n");
    EXPECT_EQ(offer({{150, "b.level", good(0, qint64(1))}}, OfferKind::Stored),
              "refused: 150: b.level is not in the births any more, or of another type\n");
    tags[0] = tagOf("a.speed", "DM100.F");
    session->setTags(tags);
    EXPECT_EQ(said(), "DDEATH/gw/a seq 6 at 0\n"
                      "DBIRTH/gw/a seq 7 at 0\n"
                      "  speed #10 Float = null at 0, quality 0\n"
                      "  count #11 UInt32 = null at 0, quality 0\n"
                      "  run #12 Boolean = null at 0, quality 0\n");
    session->removeLink("a");
    EXPECT_EQ(said(), "DDEATH/gw/a seq 8 at 0\n");
}

TEST_F(SparkplugSessionTest, withAPrimaryHostBirthsWaitForIt)
{
    conforms("B:phid-wait B:phid-wait-id B:phid-wait-online B:phid-wait-timestamp "
             "O:edge-node-birth-sequence-wait M:state M:single-server");
    config.primaryHost = "scada";
    make();
    connect();
    EXPECT_EQ(said(), "");
    EXPECT_TRUE(session->isWaiting());
    EXPECT_TRUE(session->isHostState("spBv1.0/STATE/scada"));
    EXPECT_FALSE(session->isHostState("spBv1.0/STATE/other"));
    for (const char *other : {R"({"online":false,"timestamp":5})", "ONLINE", R"({"online":true})",
                              R"({"online":"true","timestamp":9})"}) {
        EXPECT_TRUE(session->takeHostState(other));
        EXPECT_EQ(said(), "") << other;
    }
    EXPECT_TRUE(session->takeHostState(R"({"online":true,"timestamp":1000})"));
    EXPECT_EQ(said(), std::string(nodeBirth) + birthOfA);
    EXPECT_TRUE(session->takeHostState(R"({"online":true,"timestamp":1001})"));
    EXPECT_EQ(said(), "") << "it is online already";
}

TEST_F(SparkplugSessionTest, aHostThatGoesEndsTheConnection)
{
    conforms(
        "B:phid-offline O:edge-node-termination-host-offline O:edge-node-termination-host-offline-reconnect "
        "O:edge-node-termination-host-offline-timestamp");
    config.primaryHost = "scada";
    make();
    connect();
    session->takeHostState(R"({"online":true,"timestamp":1000})");
    EXPECT_TRUE(session->takeHostState(R"({"online":false,"timestamp":999})")) << "older than online";
    EXPECT_FALSE(session->takeHostState(R"({"online":false,"timestamp":1000})"));
    session->disconnected();
    connect(6);
    said();
    EXPECT_TRUE(session->takeHostState(R"({"online":false,"timestamp":1000})")) << "retained; still waiting";
    EXPECT_TRUE(session->takeHostState(R"({"online":true,"timestamp":999})"));
    EXPECT_FALSE(session->isBorn()) << "older than the last one that counted";
    session->takeHostState(R"({"online":true,"timestamp":2000})");
    EXPECT_NE(said().find("bdSeq #1 Int64 = 6"), std::string::npos);
}

TEST_F(SparkplugSessionTest, commandsAreTakenByNameAndByAlias)
{
    conforms("T:ncmd-payload T:dcmd-payload C:ncmd-metric-name C:dcmd-metric-name P:name-cmd-requirement "
             "T:ncmd-mqtt P:ncmd-qos P:ncmd-retain T:dcmd-mqtt P:dcmd-qos P:dcmd-retain T:ncmd-timestamp "
             "P:ncmd-timestamp T:dcmd-timestamp P:dcmd-timestamp P:ncmd-seq P:dcmd-seq");
    start();
    SparkplugMetric byAlias = metric("", true);
    byAlias.alias = 5;
    SparkplugOrders orders = command("DCMD/gw/a", {metric("speed", quint32(9)), byAlias});
    ASSERT_EQ(orders.writes.size(), 2U) << "without time and number, with either";
    EXPECT_EQ(orders.writes[0].tag, "a.speed");
    EXPECT_EQ(orders.writes[0].value, kvlink::Value(qint64(9)));
    EXPECT_EQ(orders.writes[1].tag, "a.run");
    orders = command("DCMD/gw/a", {metric("Speed", quint32(9)), metric("run", quint32(1))});
    EXPECT_TRUE(orders.writes.empty());
    ASSERT_EQ(orders.refusals.size(), 2U);
    EXPECT_EQ(orders.refusals[0].tag, "a.Speed") << "case counts";
    EXPECT_EQ(orders.refusals[1].why, "1 does not fit Boolean");
    orders = command("DCMD/gw/a", {metric("speed", quint32(9))}, true);
    EXPECT_TRUE(orders.writes.empty() && orders.refusals.size() == 1) << "retained";
    EXPECT_TRUE(command("DCMD/other/a", {metric("speed", quint32(9))}).writes.empty());
    EXPECT_EQ(command("NCMD/gw", {metric("speed", quint32(9))}).refusals.size(), 1U);
    orders = session->takeCommand({"spBv1.0/plant1/DCMD/gw/a", "{}", false, {}, {}});
    EXPECT_EQ(orders.refusals.at(0).why, "that is not a payload of Sparkplug B");
    orders = session->takeCommand({"spBv1.0/plant1/DCMD/gw/a", {}, true, {}, {}});
    EXPECT_TRUE(orders.refusals.empty()) << "it only clears what was retained";
    EXPECT_EQ(said(), "");
}

TEST_F(SparkplugSessionTest, aRefusedWriteShowsTheUnchangedValue)
{
    conforms("T:ndata-topic T:ndata-mqtt P:ndata-qos P:ndata-retain T:ndata-seq-num P:ndata-seq "
             "P:ndata-seq-inc T:ndata-timestamp P:ndata-timestamp T:ndata-payload P:ndata-order "
             "U:nbirth-change");
    make();
    session->tellFailure("a.speed", "before any birth");
    EXPECT_EQ(said(), "");
    connect();
    said();
    clock.advance(50ms);
    session->tellFailure("a.speed", "a.speed: too large");
    EXPECT_EQ(said(), "NDATA/gw seq 2 at 50\n  #3 = \"a.speed: too large\" at 50\n"
                      "DDATA/gw/a seq 3 at 50\n  #4 = 7 at 50\n");
    session->tellFailure("b.level", "b.level: no link");
    EXPECT_EQ(said(), "NDATA/gw seq 4 at 50\n  #3 = \"b.level: no link\" at 50\n") << "b has no birth";
    askRebirth();
    EXPECT_NE(said().find("Commands/Last Failure #3 String = \"b.level: no link\" at 50"), std::string::npos);
}

TEST_F(SparkplugSessionTest, idsOfAllMessagesHaveTheirLevels)
{
    conforms("S:namespace-device-id-associated-message-types "
             "S:namespace-device-id-non-associated-message-types");
    make();
    EXPECT_EQ(session->begin(0).topic.count('/'), 3);
    session->connected();
    session->setLink("a", false);
    for (const MqttMessage &message : session->take()) {
        const bool isOfDevice = message.topic.contains("/D");
        EXPECT_EQ(message.topic.count('/'), isOfDevice ? 4 : 3) << message.topic.constData();
        EXPECT_TRUE(message.topic.startsWith("spBv1.0/plant1/"));
    }
}

TEST(BirthCountTest, countsOverRestartsAndFrom255To0)
{
    conforms("B:will-message-payload-bdSeq T:nbirth-bdseq-increment");
    const QTemporaryDir folder;
    const QString path = folder.filePath("outlet.bdseq");
    {
        BirthCount count(path);
        EXPECT_EQ(count.next(), 0);
        EXPECT_EQ(count.next(), 1);
        count.giveBack();
    }
    BirthCount again(path);
    EXPECT_EQ(again.next(), 1) << "the one that no broker heard of";
    for (int i = 2; i <= 255; ++i)
        EXPECT_EQ(again.next(), i);
    EXPECT_EQ(again.next(), 0);
    EXPECT_EQ(again.problem(), "");
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write("many\n") > 0);
    file.close();
    EXPECT_EQ(BirthCount(path).next(), 0) << "a file that holds no number";
    BirthCount nowhere(folder.filePath("no/such/folder"));
    EXPECT_EQ(nowhere.next(), 0);
    EXPECT_EQ(nowhere.next(), 1);
    EXPECT_TRUE(nowhere.problem().contains("see to the disk")) << nowhere.problem().toStdString();
}

} // namespace
} // namespace kvgateway
