// SPDX-License-Identifier: MIT
// The life of the service: first files, check, reload, restart, end.
#include "gateway_process.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace kvgateway
{
namespace
{

TEST_F(GatewayTest, initMakesFilesThatAreFine)
{
    const QString plc = sim.url();
    const Ended made = command({"init", "--plc", plc});
    EXPECT_EQ(made.code, 0) << made.errors;
    EXPECT_NE(made.output.find("gateway.toml is made"), std::string::npos);
    const Ended checked = command({"check", "gateway.toml"});
    EXPECT_EQ(checked.output, "gateway.toml is fine: 1 PLC, 3 tags\n") << checked.errors;
    const Ended again = command({"init", "--plc", plc});
    EXPECT_EQ(again.code, 1);
    EXPECT_NE(again.errors.find("is there already; nothing was changed"), std::string::npos);
    EXPECT_EQ(command({"init", "--plc", "tcp://192.168.1", "."}).code, 1);
    EXPECT_EQ(command({"init", "--plc", plc, "site/gateway"}).code, 0);
    EXPECT_EQ(command({"check", "site/gateway/gateway.toml"}).code, 0);
    EXPECT_NE(command({"init", "--plc", plc, "gateway.toml/x"}).errors.find("gateway.toml/x cannot be made"),
              std::string::npos);
    EXPECT_NE(command({"init"}).errors.find("--plc tcp://192.168.0.10"), std::string::npos);
}

TEST_F(GatewayTest, checkNamesAllMistakes)
{
    writeConfig("locl = \"viewer\"", {}, "perod = \"1s\"");
    const Ended ended = command({"check", "gateway.toml"});
    EXPECT_EQ(ended.code, 1);
    EXPECT_NE(ended.errors.find("did you mean \"local\"?"), std::string::npos);
    EXPECT_NE(ended.errors.find("did you mean \"period\"?"), std::string::npos);
    EXPECT_NE(ended.errors.find("2 mistakes; nothing was changed"), std::string::npos);
    EXPECT_EQ(command({"run", "gateway.toml"}).code, 1);
}

TEST_F(GatewayTest, aShardRunsItsPlcsAndNoOthers)
{
    const SimulatedPlc other;
    writeConfig("local = \"engineer\"", {},
                "[[plc]]\nname = \"b\"\nurl = \"" + other.url().toUtf8() +
                    "\"\ntags = \"tags.csv\"\n[[shard]]\nname = \"hall-a\"\nplcs = \"a\"\n"
                    "[[shard]]\nname = \"hall-b\"\nplcs = \"b\"");
    EXPECT_EQ(
        command({"check", "gateway.toml"}).output,
        "gateway.toml is fine: 2 PLCs, 6 tags\nshard hall-a: 1 PLC, 3 tags\nshard hall-b: 1 PLC, 3 tags\n");
    EXPECT_EQ(command({"run", "gateway.toml"}).code, 1);
    const Ended unknown = command({"run", "gateway.toml", "--shard", "hal-b"});
    EXPECT_EQ(unknown.code, 1);
    EXPECT_NE(unknown.errors.find("has no shard \"hal-b\"; did you mean \"hall-b\"?"), std::string::npos)
        << unknown.errors;
    ASSERT_TRUE(start({"--shard", "hall-b"}));
    EXPECT_TRUE(until([this] { return get("/api/v1/values/b.speed").body.contains("\"good\""); }));
    EXPECT_EQ(get("/api/v1/values/a.speed").status, 404);
    EXPECT_EQ(json(get("/api/v1/config"))["shard"], "hall-b");
    hangUp();
    ASSERT_TRUE(says("reloaded: HUP"));
    EXPECT_EQ(get("/api/v1/values/a.speed").status, 404) << "nor after a reload";
    EXPECT_TRUE(sim.control("statistics").startsWith("commands=0 ")) << "never asked";
}

TEST_F(GatewayTest, aReloadTakesNewTagsAndKeepsTheLink)
{
    writeConfig();
    sim.control("set DM300=9");
    ASSERT_TRUE(startAndRead());
    EXPECT_TRUE(says("started: 1 PLC, 3 tags"));
    writeFile("tags.csv", QByteArray(tags) + "level,DM300,20ms,no,,,r\n");
    hangUp();
    ASSERT_TRUE(says("reloaded: HUP"));
    EXPECT_TRUE(until([this] { return json(get("/api/v1/values/a.level"))["value"] == 9; }));
    EXPECT_TRUE(get("/metrics").body.contains("kvlink_link_losses_total{plc=\"a\"} 0\n"));
    EXPECT_TRUE(until([this] { return get("/api/v1/events?kind=reload").body.contains("HUP"); }));
    EXPECT_EQ(get("/api/v1/events?kind=link").body.count("link ready"), 1) << "the link was not made again";
}

TEST_F(GatewayTest, aBadReloadLeavesTheOldConfigurationRunning)
{
    writeConfig();
    ASSERT_TRUE(startAndRead());
    writeFile("tags.csv", QByteArray(tags) + "level,Q5,20ms,no,,,r\n");
    const Answer refused = post("/api/v1/config/reload", "");
    EXPECT_EQ(refused.status, 422);
    EXPECT_TRUE(refused.body.contains("tags.csv:5: ")) << refused.body.toStdString();
    EXPECT_TRUE(get("/metrics").body.contains("kvgateway_config_last_reload_successful 0\n"));
    sim.control("set DM100=6");
    EXPECT_TRUE(until([this] { return json(get("/api/v1/values/a.speed"))["value"] == 6; }));
    writeFile("tags.csv", tags);
    writeConfig("local = \"engineer\"", "connections = 5");
    const Answer restart = post("/api/v1/config/reload", "");
    EXPECT_EQ(restart.status, 422);
    EXPECT_TRUE(restart.body.contains("needs a restart")) << restart.body.toStdString();
    writeConfig();
    EXPECT_EQ(post("/api/v1/config/reload", "").status, 200);
    EXPECT_TRUE(get("/metrics").body.contains("kvgateway_config_last_reload_successful 1\n"));
}

TEST_F(GatewayTest, itEndsSoonWhateverIsOpen)
{
    writeConfig();
    ASSERT_TRUE(startAndRead());
    Client stream(port);
    stream.send("GET /api/v1/stream HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n");
    EXPECT_FALSE(stream.line().empty());
    sim.sendSignal(SIGSTOP); // a PLC that hangs
    EXPECT_LT(stop(), 1000);
    sim.sendSignal(SIGCONT);
    EXPECT_TRUE(log.contains("stopped\n"));
}

TEST_F(GatewayTest, lastValuesComeBackAsStale)
{
    writeConfig();
    sim.control("set DM100=77");
    ASSERT_TRUE(startAndRead());
    const QString time = json(get("/api/v1/values/a.speed"))["time"].toString();
    stop();
    sim.stop();
    ASSERT_TRUE(start());
    const QJsonObject value = json(get("/api/v1/values/a.speed"));
    EXPECT_EQ(value["value"], 77);
    EXPECT_NE(value["quality"], "good");
    EXPECT_GE(value["time"].toString(), time);
    EXPECT_EQ(value["time"].toString().left(10), time.left(10));
}

TEST_F(GatewayTest, theManagerIsTold)
{
    const QByteArray socketPath = path("notify").toLocal8Bit();
    const int socketOfManager = socket(AF_UNIX, SOCK_DGRAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    ASSERT_LT(std::size_t(socketPath.size()), sizeof address.sun_path);
    std::copy(socketPath.begin(), socketPath.end(), address.sun_path);
    ASSERT_EQ(bind(socketOfManager, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    const timeval patience{10, 0};
    setsockopt(socketOfManager, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    const auto next = [socketOfManager] {
        char text[100] = "";
        const auto size = recv(socketOfManager, text, sizeof text, 0);
        return std::string(text, size < 0 ? 0 : std::size_t(size));
    };
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("NOTIFY_SOCKET", path("notify"));
    environment.insert("WATCHDOG_USEC", "200000");
    gateway.setProcessEnvironment(environment);
    writeConfig();
    ASSERT_TRUE(start());
    EXPECT_EQ(next(), "READY=1");
    EXPECT_EQ(next(), "WATCHDOG=1");
    stop();
    std::string last = next();
    while (last == "WATCHDOG=1")
        last = next();
    close(socketOfManager);
    EXPECT_EQ(last, "STOPPING=1");
}

} // namespace
} // namespace kvgateway
