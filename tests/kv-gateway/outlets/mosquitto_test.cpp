// SPDX-License-Identifier: MIT
// An outlet against a real broker: stopped, killed, frozen; what was offered against what arrived.
#include "outlets/mosquitto_client.h"
#include "outlets/mqtt_outlet.h"
#include "outlets/outlet_runner.h"
#include "outlets/outlets.h"

#include "broker.h"

#include <atomic>
#include <map>
#include <set>
#include <tuple>

namespace kvgateway
{
namespace
{

using namespace std::chrono_literals;

kvlink::Sample sampleOf(qint64 value)
{
    kvlink::Sample sample;
    sample.value = value;
    sample.quality = kvlink::Quality::Good;
    sample.time = MachineClock().wall();
    return sample;
}

// Rows that came twice although no connection broke in between: neither that of the gateway,
// which says first that it is there, nor that of the subscriber.
int doubledRows(const std::vector<Arrival> &arrivals)
{
    int online = 0, doubled = 0;
    std::set<std::tuple<int, int, qint64>> seen;
    for (const Arrival &arrival : arrivals) {
        online += arrival.topic == "kv/s/_status" && arrival.payload == "online";
        const QJsonObject json = arrival.json();
        if (arrival.isRetained || !json.contains("seq"))
            continue;
        const auto seq = qint64(json["seq"].toDouble());
        doubled += !seen.insert({online, arrival.connection, seq}).second;
    }
    return doubled;
}

TEST(Ledger, countsRowsThatCameTwice)
{
    const std::string live = "kv/s/a/x", stored = live + "/stored", status = "kv/s/_status";
    const std::string one = R"({"value":5,"seq":1})", two = R"({"value":5,"seq":2})";
    EXPECT_EQ(doubledRows({{live, one}, {live, two}}), 0) << "the same value, and another row";
    EXPECT_EQ(doubledRows({{live, one}, {stored, two}, {stored, one}, {live, one}}), 2);
    EXPECT_EQ(doubledRows({{live, one}, {status, "online"}, {live, one}}), 0) << "the gateway came back";
    EXPECT_EQ(doubledRows({{live, one}, {live, one, false, 1}}), 0) << "the subscriber came back";
    EXPECT_EQ(doubledRows({{live, one}, {live, one, true}}), 0) << "what the broker kept";
}

class MosquittoTest : public testing::Test
{
protected:
    MosquittoTest()
    {
        config.host = "127.0.0.1";
        config.port = broker.port();
        config.site = "s";
        config.client = "gateway";
        config.topic = "kv/{site}/{plc}/{tag}";
        config.storedTopic = "kv/{site}/{plc}/{tag}/stored";
        config.drainRate = 100'000;
        tag.name = "a.x";
        other.name = "a.y";
    }
    ~MosquittoTest() override { broker.thaw(); }

    void start()
    {
        auto client = std::make_shared<MosquittoClient>(config, MosquittoOptions{config.commands, false});
        auto made = std::make_unique<MqttOutlet>(
            config, client, clock,
            [this](const WriteOrder &order, const WriteEnd & /*end*/) {
                const std::lock_guard lock(mutex);
                orders << order.correlation;
            },
            [](const WriteOrder & /*order*/, const QString & /*why*/) {});
        made->setTags({tag, other});
        runner = std::make_unique<OutletRunner>(
            "mqtt", FeederSettings{folder.filePath("outlet.sqlite"), {}, config.drainRate}, std::move(made),
            clock, [this](const QString &text, const QString &cause) {
                const std::lock_guard lock(mutex);
                notices << text + ": " + cause;
            });
        runner->start();
    }
    bool isConnected() const { return runner->status().state.isReady(); }
    bool connects() const
    {
        return within(15'000, [this] { return isConnected(); });
    }
    bool failsWith(const char *text) const
    {
        return within(15'000, [&] { return runner->status().state.problem.contains(text); });
    }
    void offer(int count)
    {
        for (int i = 0; i < count; ++i) {
            runner->offer("a.x", sampleOf(++offered));
            if (i % 10 == 9)
                std::this_thread::sleep_for(1ms);
        }
    }
    static OutletSinks silentSinks()
    {
        return {[](const WriteOrder & /*order*/, const WriteEnd & /*end*/) {},
                [](const QString & /*text*/, const QString & /*cause*/) {}};
    }
    // The correlations of the commands that came to the plant, "a,b".
    std::string ordered()
    {
        const std::lock_guard lock(mutex);
        return orders.join(',').toStdString();
    }
    bool isAllAcknowledged() const
    {
        return within(20'000, [this] { return runner->status().counts.acknowledged >= quint64(offered); });
    }

    // Each value that was offered has arrived, and none of them twice; what comes late comes in
    // order and under its own topic, and the live topic never goes back.
    void expectLedgerIsEmpty(const Subscriber &subscriber)
    {
        EXPECT_TRUE(isAllAcknowledged()) << runner->status().counts.acknowledged << " of " << offered;
        std::map<qint64, std::set<std::pair<qint64, std::string>>> seqs; // by value
        qint64 lastLive = 0, lastStored = 0;
        const auto all = [&] {
            seqs.clear();
            lastLive = lastStored = 0;
            for (const Arrival &arrival : subscriber.arrivals()) {
                const QJsonObject json = arrival.json();
                if (!json.contains("seq"))
                    continue;
                const qint64 value = json["value"].toInt();
                const bool isNew = seqs.count(value) == 0;
                seqs[value].insert({qint64(json["seq"].toDouble()), json["time"].toString().toStdString()});
                qint64 &last = arrival.topic == "kv/s/a/x" ? lastLive : lastStored;
                // One that went twice, since its acknowledgement was lost, has its place already.
                EXPECT_TRUE(!isNew || value >= last) << arrival.topic << " " << value << " after " << last;
                last = std::max(last, value);
            }
            return qint64(seqs.size()) == offered;
        };
        EXPECT_TRUE(within(10'000, all)) << seqs.size() << " of " << offered << " arrived";
        EXPECT_EQ(lastLive, offered) << "the newest value is the live one";
        EXPECT_EQ(doubledRows(subscriber.arrivals()), 0);
        for (const auto &[value, ids] : seqs)
            EXPECT_EQ(ids.size(), 1U) << value << " has two numbers or two times";
    }

    Broker broker;
    QTemporaryDir folder;
    MachineClock clock;
    MqttConfig config;
    TagConfig tag, other;
    std::mutex mutex;
    QStringList notices;
    QStringList orders;
    std::unique_ptr<OutletRunner> runner;
    qint64 offered = 0;
};

TEST_F(MosquittoTest, theBrokerKeepsTheNewestValueAndWhetherWeAreThere)
{
    broker.start();
    for (const MqttVersion version : {MqttVersion::V5, MqttVersion::V311}) {
        config.version = version;
        start();
        ASSERT_TRUE(connects()) << runner->status().state.problem.toStdString();
        runner->offer("a.x", sampleOf(41));
        runner->offer("a.x", sampleOf(42));
        ASSERT_TRUE(within(5000, [&] { return runner->status().counts.acknowledged == 2; }));
        const Subscriber late(broker.port());
        EXPECT_TRUE(late.waitFor("kv/s/_status", "online"));
        EXPECT_TRUE(late.waitFor("kv/s/a/x", "{\"value\":42,\"quality\":\"good\",\"time\":\"2"));
        for (const Arrival &arrival : late.arrivals())
            EXPECT_TRUE(arrival.isRetained) << arrival.topic;
        runner->stop();
        EXPECT_TRUE(late.waitFor("kv/s/_status", "offline")) << "an orderly end says so by itself";
        EXPECT_EQ(runner->status().counts.stored, 0);
        runner.reset();
    }
}

TEST_F(MosquittoTest, afterOutagesOfTheBrokerTheLedgerIsEmpty)
{
    // It keeps on disk what it acknowledged, and for the subscriber what comes while that is away.
    Broker keeper("allow_anonymous true\npersistence true\npersistence_location ./\n");
    keeper.start();
    config.port = keeper.port();
    start();
    ASSERT_TRUE(connects());
    const Subscriber subscriber(keeper.port(), "ledger");
    offer(500);
    keeper.stop();
    offer(2000);
    EXPECT_TRUE(within(5000, [this] { return runner->status().counts.stored >= 2000; }));
    EXPECT_FALSE(isConnected());
    keeper.start();
    ASSERT_TRUE(connects());
    offer(20);
    keeper.stop(); // in the middle of the drain
    offer(500);
    keeper.start();
    ASSERT_TRUE(connects());
    offer(500);
    expectLedgerIsEmpty(subscriber);
    EXPECT_TRUE(within(5000, [this] { return runner->status().counts.stored == 0; }));
    EXPECT_EQ(runner->status().lost + runner->status().counts.dropped, 0U);
}

TEST_F(MosquittoTest, afterARestartOfTheGatewayTheLedgerIsEmpty)
{
    broker.start();
    const Subscriber subscriber(broker.port());
    config.port = 1; // the broker cannot be reached
    start();
    offer(2000);
    EXPECT_TRUE(within(5000, [this] { return runner->status().counts.stored == 2000; }));
    runner.reset();
    config.port = broker.port();
    start();
    expectLedgerIsEmpty(subscriber);
    EXPECT_EQ(runner->status().counts.acknowledged, quint64(offered)) << "none went twice";
}

TEST_F(MosquittoTest, aFrozenBrokerGetsEverythingWhenItGoesOn)
{
    broker.start();
    start();
    ASSERT_TRUE(connects());
    const Subscriber subscriber(broker.port());
    offer(300);
    broker.freeze();
    offer(3000);
    EXPECT_TRUE(within(5000, [this] { return runner->status().counts.stored >= 3000; }))
        << "handed to the system is not taken by the broker";
    broker.thaw();
    offer(300);
    expectLedgerIsEmpty(subscriber);
    EXPECT_EQ(runner->status().counts.acknowledged, quint64(offered)) << "none went twice";
}

TEST_F(MosquittoTest, aBrokerThatForgotGetsTheNewestValueAgain)
{
    broker.start();
    start();
    ASSERT_TRUE(connects());
    offer(3);
    ASSERT_TRUE(isAllAcknowledged());
    broker.kill(); // it keeps nothing on disk
    ASSERT_TRUE(within(5000, [this] { return !isConnected(); }));
    broker.start();
    ASSERT_TRUE(connects());
    ASSERT_TRUE(within(5000, [this] { return runner->status().counts.acknowledged == 4; }));
    const Subscriber late(broker.port());
    EXPECT_TRUE(late.waitFor("kv/s/a/x", "{\"value\":3,"));
}

TEST_F(MosquittoTest, startsWithTheBrokerAway)
{
    start();
    EXPECT_TRUE(failsWith("Connection refused"));
    offer(10);
    EXPECT_TRUE(within(5000, [this] { return runner->status().counts.stored == 10; }));
    QElapsedTimer time;
    time.start();
    runner->stop();
    EXPECT_LT(time.elapsed(), 1500);
    const std::lock_guard lock(mutex);
    EXPECT_EQ(notices.size(), 1) << "attempts that fail alike are said once: "
                                 << notices.join("; ").toStdString();
}

TEST_F(MosquittoTest, aRefusedTopicIsCountedAndHoldsUpNothing)
{
    Broker strict("allow_anonymous true\nacl_file acl\n");
    strict.writeFile("acl", "topic readwrite kv/s/a/y\ntopic readwrite kv/s/_status\n");
    strict.start();
    config.port = strict.port();
    start();
    ASSERT_TRUE(connects());
    // This broker ends the connection as well when it refuses a message of MQTT 5.
    runner->offer("a.x", sampleOf(1));
    EXPECT_TRUE(within(10'000, [this] { return runner->status().counts.refused == 1; }));
    runner->offer("a.y", sampleOf(1));
    EXPECT_TRUE(within(10'000, [this] { return runner->status().counts.acknowledged == 1; }));
    runner->stop();
    EXPECT_EQ(runner->status().counts.stored, 0);
    const std::lock_guard lock(mutex);
    EXPECT_TRUE(notices.join(';').contains("refused and are dropped")) << notices.join(';').toStdString();
}

TEST_F(MosquittoTest, userAndPasswordComeFromFiles)
{
    Broker strict("allow_anonymous false\npassword_file users\n");
    // "anna" with the password "secret", as mosquitto_passwd writes it.
    QProcess::execute("mosquitto_passwd", {"-c", "-b", strict.path("users"), "anna", "secret"});
    strict.start();
    config.port = strict.port();
    strict.writeFile("user", "anna\n");
    strict.writeFile("password", "wrong\n");
    config.userFile = strict.path("user");
    config.passwordFile = strict.path("password");
    for (const MqttVersion version : {MqttVersion::V5, MqttVersion::V311}) {
        config.version = version;
        strict.writeFile("password", "wrong\n");
        start();
        EXPECT_TRUE(failsWith("refuses us: ")) << runner->status().state.problem.toStdString();
        strict.writeFile("password", "secret\n");
        EXPECT_TRUE(connects()) << "the files are read with each attempt";
        runner.reset();
    }
}

TEST_F(MosquittoTest, aCommandFromWhileWeWereAwayIsNotCarriedOut)
{
    // Some brokers keep messages of QoS 0, too, for a client that they know.
    Broker hoarder("allow_anonymous true\nqueue_qos0_messages true\n");
    hoarder.start();
    config.port = hoarder.port();
    config.commands = true;
    Subscriber commander(hoarder.port());
    for (const MqttVersion version : {MqttVersion::V5, MqttVersion::V311}) {
        config.version = version;
        orders.clear();
        start();
        ASSERT_TRUE(connects());
        ASSERT_TRUE(within(5000, [&] {
            commander.publish("kv/s/a/x/set", R"({"value":1,"correlation":"here"})");
            std::this_thread::sleep_for(20ms);
            return !ordered().empty();
        })) << "it is subscribed";
        runner.reset();
        commander.publish("kv/s/a/x/set", R"({"value":2,"correlation":"away"})");
        ASSERT_TRUE(commander.waitFor("kv/s/a/x/set", "away")) << "the broker has it";
        start();
        ASSERT_TRUE(within(5000, [&] {
            commander.publish("kv/s/a/x/set", R"({"value":3,"correlation":"back"})");
            std::this_thread::sleep_for(20ms);
            return ordered().find("back") != std::string::npos;
        }));
        EXPECT_EQ(ordered().find("away"), std::string::npos) << ordered();
        runner.reset();
    }
}

TEST_F(MosquittoTest, aRetainedCommandIsRefusedTheFirstTimeToo)
{
    broker.start();
    config.commands = true;
    start();
    ASSERT_TRUE(connects());
    Subscriber commander(broker.port());
    commander.publish("kv/s/a/x/set", R"({"value":2,"correlation":"kept"})", true);
    EXPECT_TRUE(commander.waitFor("kv/s/a/x/set/answer", "send it without retain"));
    commander.publish("kv/s/a/x/set", R"({"value":1,"correlation":"plain"})");
    EXPECT_TRUE(within(5000, [&] { return ordered() == "plain"; })) << ordered();
}

TEST_F(MosquittoTest, commandsThatTheBrokerDoesNotLetThroughAreSaid)
{
    Broker strict("allow_anonymous true\nplugin " KV_MOSQUITTO_SECURITY "\n"
                  "plugin_opt_config_file security.json\n");
    strict.writeFile("security.json",
                     R"({"defaultACLAccess":{"publishClientSend":true,)"
                     R"("publishClientReceive":true,"subscribe":false,"unsubscribe":true}})");
    strict.start();
    config.port = strict.port();
    config.commands = true;
    for (const MqttVersion version : {MqttVersion::V5, MqttVersion::V311}) {
        config.version = version;
        start();
        EXPECT_TRUE(within(10'000, [this] { return !runner->status().state.warning.isEmpty(); }));
        const QString warning = runner->status().state.warning;
        EXPECT_TRUE(warning.startsWith("the broker refuses the subscription to kv/s/+/+/set"))
            << warning.toStdString();
        EXPECT_TRUE(isConnected()) << "values go out all the same";
        offer(1);
        EXPECT_TRUE(isAllAcknowledged());
        offered = 0;
        runner.reset();
    }
    EXPECT_EQ(notices.filter("not all of it works").size(), 2) << notices.join("; ").toStdString();
}

TEST_F(MosquittoTest, whatIsStoredSurvivesAReloadOfTheSettings)
{
    broker.start();
    const Subscriber subscriber(broker.port());
    Outlets outlets(folder.path(), clock, silentSinks());
    Config plant;
    config.port = 1; // a mistake: the broker cannot be reached
    plant.mqtt = {config};
    plant.plcs.resize(1);
    plant.plcs[0].name = "a";
    plant.plcs[0].tags = {tag};
    outlets.apply(plant);
    for (offered = 0; offered < 5;)
        outlets.offer("a.x", sampleOf(++offered));
    ASSERT_TRUE(within(5000, [&] { return outlets.status()[0].counts.stored == 5; }));
    plant.mqtt[0].port = broker.port();
    outlets.apply(plant);
    EXPECT_TRUE(subscriber.waitFor("kv/s/a/x", "{\"value\":5,"));
    EXPECT_TRUE(subscriber.waitFor("kv/s/a/x/stored", "{\"value\":4,"));
    EXPECT_TRUE(within(5000, [&] { return outlets.status()[0].counts.acknowledged == 5; }));
    EXPECT_EQ(doubledRows(subscriber.arrivals()), 0);
}

// Sparkplug goes with QoS 0: that the system took the bytes says nothing.
TEST_F(MosquittoTest, whatABrokerHasNotReadHasNoReceipt)
{
    broker.start();
    Config plant;
    SparkplugConfig node;
    static_cast<BrokerConfig &>(node) = config;
    node.group = "plant1";
    node.node = "gw";
    plant.sparkplug = {node};
    plant.plcs.resize(1);
    tag.settings.address = "DM100";
    plant.plcs[0].tags = {tag};
    Outlets outlets(folder.path(), clock, silentSinks());
    const auto counts = [&outlets] { return outlets.status()[0].counts; };
    outlets.apply(plant);
    outlets.setLink("a", true);
    outlets.offer("a.x", sampleOf(1));
    ASSERT_TRUE(within(20'000, [&] { return counts().acknowledged == 1; }));
    broker.freeze();
    outlets.offer("a.x", sampleOf(2));
    outlets.offer("a.x", sampleOf(3));
    ASSERT_TRUE(within(20'000, [&] { return counts().stored == 2 && counts().inFlight == 2; }));
    EXPECT_EQ(counts().acknowledged, 1U);
    broker.kill();
    broker.start();
    EXPECT_TRUE(within(30'000, [&] { return counts().acknowledged == 3 && counts().stored == 0; }));
    EXPECT_EQ(counts().dropped + counts().refused, 0U);
}

// Publishes when it is connected, and counts what comes back.
struct Publisher : MqttClientEvents {
    MqttMessage will() override { return MqttOutlet::will({}); }
    void connected(bool /*hasSession*/) override { client->publish(std::move(messages)); }
    void disconnected(const QString &problem) override { ADD_FAILURE() << problem.toStdString(); }
    void subscribed(const QByteArray & /*filter*/, const QString & /*problem*/) override {}
    void acknowledged(quint64 token) override
    {
        inOrder = inOrder && token == count + 1;
        ++count;
    }
    void refused(quint64 /*token*/, const QString &why) override { ADD_FAILURE() << why.toStdString(); }
    void received(const MqttReceived & /*message*/) override {}

    MosquittoClient *client = nullptr;
    std::vector<MqttMessage> messages;
    std::atomic<quint64> count = 0;
    std::atomic<bool> inOrder = true;
};

TEST_F(MosquittoTest, moreMessagesThanThereAreNumbersAreAcknowledgedOneByOne)
{
    broker.start();
    Publisher publisher;
    MosquittoClient client(config, {});
    publisher.client = &client;
    // What a plant of that many tags announces at once; MQTT has 65,535 numbers.
    constexpr quint64 many = 66'000;
    for (quint64 token = 1; token <= many; ++token)
        publisher.messages.push_back({"kv/s/a/x", "1", false, token, {}});
    client.start(publisher);
    EXPECT_TRUE(within(60'000, [&] { return publisher.count == many; })) << publisher.count;
    EXPECT_TRUE(publisher.inOrder);
    client.stop({});
}

TEST_F(MosquittoTest, whatAReloadTakesAwayIsNotRetainedAnyMore)
{
    broker.start();
    Outlets outlets(folder.path(), clock, silentSinks());
    Config plant;
    plant.mqtt = {config};
    plant.plcs.resize(2);
    plant.plcs[0].name = "a";
    plant.plcs[0].tags = {tag, other};
    plant.plcs[1].name = "b";
    outlets.apply(plant);
    for (const char *plc : {"a", "b"})
        outlets.setLink(plc, true);
    for (const char *name : {"a.x", "a.y"})
        outlets.offer(name, sampleOf(1));
    ASSERT_TRUE(within(10'000, [&] { return outlets.status()[0].counts.acknowledged == 2; }));
    plant.plcs.pop_back();
    plant.plcs[0].tags.pop_back();
    outlets.apply(plant);
    const auto kept = [this] {
        Subscriber late(broker.port());
        late.publish("end", "1"); // comes after what is retained
        EXPECT_TRUE(late.waitFor("end", "1"));
        std::set<std::string> topics;
        for (const Arrival &arrival : late.arrivals()) {
            if (arrival.isRetained)
                topics.insert(arrival.topic);
        }
        return topics;
    };
    const std::set<std::string> left{"kv/s/_status", "kv/s/_status/a", "kv/s/a/x"};
    EXPECT_TRUE(within(5000, [&] { return kept() == left; })) << testing::PrintToString(kept());
}

// Certificates of an authority of the test's own.
class Authority
{
public:
    explicit Authority(const Broker &broker) : m_folder(broker.path("")) { sign("ca", {}, {}); }

    // \param days from now; below 0: it is over
    void sign(const QString &name, const QString &subject, const QString &extension, int days = 2)
    {
        QString command =
            QStringLiteral("cd %1 && openssl req -x509 -newkey ec -pkeyopt "
                           "ec_paramgen_curve:prime256v1 -nodes -keyout %2.key -out %2.pem -subj "
                           "'/CN=%3' -days 2 2>>openssl.log")
                .arg(m_folder, name, subject.isEmpty() ? name : subject);
        if (!extension.isEmpty())
            command =
                QStringLiteral("cd %1 && openssl req -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 "
                               "-nodes -keyout %2.key -out %2.csr -subj '/CN=%3' 2>>openssl.log && printf "
                               "'%4' > %2.ext && openssl x509 -req -in %2.csr -CA ca.pem -CAkey ca.key "
                               "-CAcreateserial -extfile %2.ext -days %5 -out %2.pem 2>>openssl.log")
                    .arg(m_folder, name, subject, extension)
                    .arg(days);
        EXPECT_EQ(QProcess::execute("sh", {"-c", command}), 0) << command.toStdString();
    }

private:
    QString m_folder;
};

TEST_F(MosquittoTest, tlsKnowsWhomItTalksTo)
{
    Broker secure("allow_anonymous true\ncafile ca.pem\ncertfile broker.pem\nkeyfile broker.key\n"
                  "require_certificate true\n");
    Authority authority(secure);
    authority.sign("broker", "broker", "subjectAltName=IP:127.0.0.1");
    authority.sign("gateway", "gateway", "basicConstraints=CA:false");
    secure.start();
    config.port = secure.port();
    config.hasTls = true;
    config.ca = secure.path("ca.pem");
    start();
    EXPECT_FALSE(within(1500, [this] { return isConnected(); })) << "without a certificate of our own";
    runner.reset();
    config.certificate = secure.path("gateway.pem");
    config.key = secure.path("gateway.key");
    start();
    EXPECT_TRUE(connects()) << runner->status().state.problem.toStdString();
    offer(500);
    EXPECT_TRUE(isAllAcknowledged());
    runner.reset();
    secure.writeFile("other.pem", "");
    authority.sign("other", "other", {});
    config.ca = secure.path("other.pem");
    start();
    EXPECT_TRUE(failsWith("certificate verify failed")) << runner->status().state.problem.toStdString();
}

TEST_F(MosquittoTest, aCertificateThatIsOverIsSaid)
{
    Broker secure("allow_anonymous true\ncafile ca.pem\ncertfile broker.pem\nkeyfile broker.key\n");
    Authority authority(secure);
    authority.sign("broker", "broker", "subjectAltName=IP:127.0.0.1", -1);
    secure.start();
    config.port = secure.port();
    config.hasTls = true;
    config.ca = secure.path("ca.pem");
    start();
    EXPECT_TRUE(failsWith("certificate")) << runner->status().state.problem.toStdString();
    offer(10);
    EXPECT_TRUE(within(5000, [this] { return runner->status().counts.stored == 10; }))
        << "nothing is lost meanwhile";
}

} // namespace
} // namespace kvgateway
