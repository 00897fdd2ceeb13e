// SPDX-License-Identifier: MIT
// The real program as an edge node between a simulated PLC and a real broker, heard by a host that
// reads protobuf by itself.
#include "../outlets/broker.h"
#include "../outlets/conformance.h"
#include "gateway_process.h"

#include "sparkplug_b.pb.h"

#include <algorithm>
#include <iterator>
#include <map>

namespace kvgateway
{
namespace
{

struct Heard {
    std::string type;   // "NBIRTH"
    std::string device; // empty: of the node
    wire::Payload payload;
};

// A host: it subscribes to everything, and says itself whether it is online.
class Host
{
public:
    explicit Host(quint16 port) : m_subscriber(port) {}

    void say(bool isOnline, qint64 timestamp)
    {
        m_subscriber.publish("spBv1.0/STATE/scada",
                             std::string(R"({"online":)") + (isOnline ? "true" : "false") +
                                 R"(,"timestamp":)" + std::to_string(timestamp) + "}",
                             true);
    }
    // After an outage of the broker, which forgets everybody.
    bool isBack()
    {
        int probe = 0;
        return within(30'000, [&] {
            const std::string topic = "probe/" + std::to_string(++probe);
            m_subscriber.publish(topic.c_str(), "x");
            return within(500, [&] { return !m_subscriber.newest(topic).empty(); });
        });
    }
    void command(const char *topic, const char *name, bool isBit, std::uint32_t value)
    {
        wire::Payload payload;
        wire::Metric &metric = *payload.add_metrics();
        metric.set_name(name);
        if (isBit)
            metric.set_boolean_value(value != 0);
        else
            metric.set_int_value(value);
        const auto before = arrivedUnder(topic);
        m_subscriber.publish(topic, payload.SerializeAsString());
        // Whoever starts after this is after the command at the broker, too.
        EXPECT_TRUE(within(30'000, [&] { return arrivedUnder(topic) > before; }));
    }
    std::vector<Heard> heard() const
    {
        const std::string own = "spBv1.0/plant1/";
        std::vector<Heard> all;
        for (const Arrival &arrival : m_subscriber.arrivals()) {
            if (arrival.topic.rfind(own, 0) != 0 || arrival.topic.find("CMD/") != std::string::npos)
                continue;
            Heard one;
            const QStringList levels = QString::fromStdString(arrival.topic).split('/');
            one.type = levels.at(2).toStdString();
            EXPECT_EQ(levels.at(3), "gw");
            one.device = levels.value(4).toStdString();
            EXPECT_TRUE(one.payload.ParseFromString(arrival.payload)) << arrival.topic;
            EXPECT_FALSE(arrival.isRetained) << arrival.topic;
            all.push_back(std::move(one));
        }
        return all;
    }
    int count(const std::string &type) const
    {
        int found = 0;
        for (const Heard &one : heard())
            found += one.type == type;
        return found;
    }
    bool hears(const std::string &type, int times) const
    {
        return within(30'000, [&] { return count(type) >= times; });
    }

private:
    std::ptrdiff_t arrivedUnder(const std::string &topic) const
    {
        const std::vector<Arrival> all = m_subscriber.arrivals();
        return std::count_if(all.begin(), all.end(),
                             [&topic](const Arrival &arrival) { return arrival.topic == topic; });
    }

    Subscriber m_subscriber;
};

// What a host knows of the metrics of device a: names by alias, live values, stored ones.
struct Picture {
    std::map<std::uint64_t, std::string> names;
    std::map<std::string, std::string> live;
    std::vector<std::uint32_t> stored;    // of "speed", in the order of their arrival, each value once
    std::vector<std::uint64_t> goodTimes; // of those that are good
    std::string failure;
    std::uint64_t bdSeq = 0;
    std::uint64_t next = 0; // number of the next message
    bool isNodeAlive = false, isAlive = false;
    std::string wrong; // what a host would complain of

    static std::string valueOf(const wire::Metric &metric)
    {
        std::string value = "?";
        if (metric.is_null())
            value = "null";
        else if (metric.has_int_value())
            value = std::to_string(std::int32_t(metric.int_value()));
        else if (metric.has_boolean_value())
            value = metric.boolean_value() ? "true" : "false";
        else if (metric.has_string_value())
            value = metric.string_value();
        const bool isGood = metric.properties().keys_size() == 0;
        return isGood ? value
                      : value + " (" + std::to_string(metric.properties().values(0).int_value()) + ")";
    }
    void bear(const Heard &one)
    {
        for (const wire::Metric &metric : one.payload.metrics()) {
            if (!metric.has_name() || !metric.has_datatype() || metric.is_historical())
                wrong += " a birth metric without name or type, or a historical one;";
            if (metric.has_alias() && !one.device.empty())
                names[metric.alias()] = metric.name();
            if (metric.name() == "bdSeq")
                bdSeq = metric.long_value();
            live[metric.name()] = valueOf(metric);
        }
    }
    void take(const wire::Metric &metric)
    {
        const std::string name = names.count(metric.alias()) == 0 ? "unknown" : names[metric.alias()];
        if (metric.has_name() || metric.has_datatype() || !metric.has_timestamp())
            wrong += " data with a name or type, or without a time;";
        const bool isGood = metric.properties().keys_size() == 0;
        if (metric.is_historical() && name == "speed" && metric.has_int_value()) {
            if (stored.empty() || stored.back() != metric.int_value())
                stored.push_back(metric.int_value());
            if (isGood)
                goodTimes.push_back(metric.timestamp());
        } else if (!metric.is_historical()) {
            live[name] = valueOf(metric);
        }
    }
    void take(const Heard &one)
    {
        if (one.type == "NDEATH") {
            wrong += one.payload.has_seq() ? " a death of the node with a number;" : "";
            isNodeAlive = isAlive = isNodeAlive && one.payload.metrics(0).long_value() != bdSeq;
            return;
        }
        next = one.type == "NBIRTH" ? 0 : next;
        if (!one.payload.has_seq() || one.payload.seq() != next || !one.payload.has_timestamp())
            wrong += " " + one.type + " with another number than " + std::to_string(next) + ";";
        next = (one.payload.seq() + 1) % 256;
        if (one.type == "NBIRTH" || one.type == "DBIRTH")
            bear(one);
        else if (one.type == "NDATA")
            failure = valueOf(one.payload.metrics(0));
        else if (!isNodeAlive || !isAlive)
            wrong += " " + one.type + " without a birth;";
        if (one.type == "DDATA") {
            for (const wire::Metric &metric : one.payload.metrics())
                take(metric);
        }
        isNodeAlive = isNodeAlive || one.type == "NBIRTH";
        isAlive = one.type == "DBIRTH" || (isAlive && one.type != "DDEATH" && one.type != "NBIRTH");
    }
    static Picture of(const std::vector<Heard> &all)
    {
        Picture picture;
        for (const Heard &one : all)
            picture.take(one);
        return picture;
    }
};

class GatewaySparkplugTest : public GatewayTest
{
protected:
    void writeSparkplug(const QByteArray &more = {})
    {
        writeConfig("local = \"engineer\"", {},
                    "[[sparkplug]]\nurl = \"mqtt://127.0.0.1:" + QByteArray::number(broker.port()) +
                        "\"\ngroup = \"plant1\"\nnode = \"gw\"\ncommands = true\ndrain = 100000\n" + more);
    }
    qint64 metric(const char *name) const
    {
        const std::string text = get("/metrics").body.toStdString();
        const std::string line = std::string("\n") + name + "{outlet=\"sparkplug\"} ";
        const std::size_t at = text.find(line);
        return at == std::string::npos ? -1 : qint64(std::stod(text.substr(at + line.size())));
    }
    static testing::AssertionResult shows(const Host &host, const char *name, const std::string &value)
    {
        if (within(30'000, [&] { return Picture::of(host.heard()).live[name] == value; }))
            return testing::AssertionSuccess();
        return testing::AssertionFailure() << name << " is " << Picture::of(host.heard()).live[name];
    }
    // Sends a command that nobody takes, starts the gateway, and sees another one through.
    void commandAndStart(Host &host)
    {
        const int births = host.count("NBIRTH");
        host.command("spBv1.0/plant1/DCMD/gw/a", "speed", false, 7);
        ASSERT_TRUE(startAndRead());
        ASSERT_TRUE(host.hears("NBIRTH", births + 1));
        EXPECT_EQ(Picture::of(host.heard()).bdSeq, 1U) << "counted over restarts";
        host.command("spBv1.0/plant1/DCMD/gw/a", "run", true, 1);
        EXPECT_TRUE(shows(host, "run", "true"));
    }

    Broker broker;
};

TEST_F(GatewaySparkplugTest, aHostSeesThePlantAndWritesToIt)
{
    conforms("P:ndeath-will-message-publisher-disconnect-mqtt50 R:persistence-clean-session-50");
    broker.start();
    writeSparkplug();
    Host host(broker.port());
    ASSERT_TRUE(startAndRead());
    ASSERT_TRUE(host.hears("DBIRTH", 1));
    EXPECT_TRUE(shows(host, "speed", "0"));
    EXPECT_TRUE(shows(host, "run", "false"));
    EXPECT_EQ(Picture::of(host.heard()).bdSeq, 0U);
    sim.control("set DM100=65534");
    EXPECT_TRUE(shows(host, "speed", "-2"));
    EXPECT_TRUE(until([this] {
        return metric("kvgateway_outlet_acknowledged_rows_total") > 0 &&
               metric("kvgateway_outlet_in_flight_rows") == 0;
    })) << "the broker's receipts";

    host.command("spBv1.0/plant1/DCMD/gw/a", "speed", false, 42);
    EXPECT_TRUE(shows(host, "speed", "42"));
    EXPECT_EQ(sim.control("get DM100"), "00042");
    EXPECT_TRUE(until([this] { return get("/api/v1/audit").body.contains("\"sparkplug:sparkplug\""); }));
    const struct {
        const char *tag;
        std::uint32_t value;
        const char *part;
    } refused[] = {{"speed", 1501, "a.speed: 1501 is above the largest value"},
                   {"speed", 70000, "a.speed: 70000 does not fit Int16"},
                   {"fixed", 1, "a.fixed: a.fixed is read-only"},
                   {"sped", 1, "a.sped: there is no such metric"}};
    for (const auto &row : refused) {
        const int before = host.count("NDATA");
        host.command("spBv1.0/plant1/DCMD/gw/a", row.tag, false, row.value);
        EXPECT_TRUE(host.hears("NDATA", before + 1));
        EXPECT_EQ(Picture::of(host.heard()).failure.rfind(row.part, 0), 0U)
            << Picture::of(host.heard()).failure;
    }
    EXPECT_TRUE(shows(host, "speed", "42"));
    EXPECT_EQ(sim.control("get DM100"), "00042");

    host.command("spBv1.0/plant1/NCMD/gw", "Node Control/Rebirth", true, 1);
    EXPECT_TRUE(host.hears("NBIRTH", 2));
    EXPECT_TRUE(host.hears("DBIRTH", 2));
    EXPECT_EQ(Picture::of(host.heard()).bdSeq, 0U) << "the same connection";
    EXPECT_TRUE(shows(host, "speed", "42"));
    stop();
    EXPECT_TRUE(host.hears("NDEATH", 2)) << "its own, and that of the broker";
    EXPECT_FALSE(Picture::of(host.heard()).isNodeAlive);
    commandAndStart(host);
    EXPECT_EQ(sim.control("get DM100"), "00042") << "the broker kept no command for the gateway";
    EXPECT_EQ(Picture::of(host.heard()).wrong, "");
}

TEST_F(GatewaySparkplugTest, aPlcThatIsLostAndBackDiesAndIsBorn)
{
    conforms("P:ndeath-will-message-publisher-disconnect-mqtt311 R:persistence-clean-session-311");
    broker.start();
    writeSparkplug("version = \"3.1.1\"\n");
    Host host(broker.port());
    ASSERT_TRUE(startAndRead());
    ASSERT_TRUE(host.hears("DBIRTH", 1));
    ASSERT_TRUE(shows(host, "speed", "0"));
    sim.stop();
    ASSERT_TRUE(host.hears("DDEATH", 1));
    EXPECT_TRUE(Picture::of(host.heard()).isNodeAlive);
    sim.startAgain();
    ASSERT_TRUE(host.hears("DBIRTH", 2));
    sim.control("set DM100=9");
    EXPECT_TRUE(shows(host, "speed", "9"));
    EXPECT_TRUE(until([this] { return metric("kvgateway_outlet_stored_rows") == 0; }))
        << "what could not go while it was away";
    stop();
    EXPECT_TRUE(host.hears("NDEATH", 1));
    commandAndStart(host);
    EXPECT_EQ(sim.control("get DM100"), "00009") << "the broker kept no command for the gateway";
    EXPECT_EQ(Picture::of(host.heard()).wrong, "");
}

TEST_F(GatewaySparkplugTest, whatABrokerMissedComesAsHistoryInItsOrder)
{
    broker.start();
    writeSparkplug("primary_host = \"scada\"\n");
    Host host(broker.port());
    host.say(false, 1000);
    ASSERT_TRUE(startAndRead());
    ASSERT_TRUE(until([this] { return get("/api/v1/events?kind=outlet").body.contains("waits for"); }));
    EXPECT_TRUE(host.heard().empty()) << "nothing before the host is online";
    host.say(true, 2000);
    ASSERT_TRUE(shows(host, "speed", "0"));
    ASSERT_TRUE(until([this] {
        return metric("kvgateway_outlet_in_flight_rows") == 0 &&
               metric("kvgateway_outlet_stored_rows") == 0 && metric("kvgateway_outlet_queued_rows") == 0;
    }));
    broker.kill();
    ASSERT_TRUE(until([this] { return metric("kvgateway_outlet_up") == 0; }));
    constexpr std::uint32_t changes = 20;
    for (std::uint32_t i = 1; i <= changes; ++i) {
        sim.control("set DM100=" + QByteArray::number(i));
        ASSERT_TRUE(until([&] { return json(get("/api/v1/values/a.speed"))["value"] == int(i); }));
    }
    broker.start();
    ASSERT_TRUE(host.isBack());
    host.say(true, 3000);
    ASSERT_TRUE(host.hears("NBIRTH", 2));
    EXPECT_TRUE(within(30'000, [&] {
        const Picture now = Picture::of(host.heard());
        return std::count(now.stored.begin(), now.stored.end(), changes - 1) > 0;
    }));
    EXPECT_TRUE(shows(host, "speed", "20"));
    EXPECT_TRUE(until([this] { return metric("kvgateway_outlet_stored_rows") == 0; }));
    const Picture picture = Picture::of(host.heard());
    // On a slow machine a value may be stale for a moment, and so come before the first change, or
    // after the last one, once more.
    std::vector<std::uint32_t> wanted, stored;
    for (std::uint32_t i = 1; i < changes; ++i)
        wanted.push_back(i);
    std::copy_if(picture.stored.begin(), picture.stored.end(), std::back_inserter(stored),
                 [](std::uint32_t value) { return value > 0 && value < changes; });
    EXPECT_EQ(stored, wanted) << "the last one was told by the birth";
    EXPECT_TRUE(std::is_sorted(picture.goodTimes.begin(), picture.goodTimes.end()));
    EXPECT_EQ(picture.bdSeq, 1U);
    EXPECT_EQ(picture.wrong, "");
    host.say(false, 4000);
    EXPECT_TRUE(host.hears("NDEATH", 1)) << "nobody is there to listen";
}

} // namespace
} // namespace kvgateway
