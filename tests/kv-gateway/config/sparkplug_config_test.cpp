// SPDX-License-Identifier: MIT
// [[sparkplug]]: its keys, what they are without one, and each mistake with its place.
#include "config_folder.h"

#include "../outlets/conformance.h"

#include <QSysInfo>

#include <gtest/gtest.h>

namespace kvgateway
{
namespace
{

using namespace std::chrono_literals;

TEST(SparkplugConfig, smallestOneHasDefaults)
{
    const OutletFolder folder;
    const LoadedConfig loaded = folder.load("[[sparkplug]]\nurl = \"mqtt://broker\"\ngroup = \"plant1\"\n");
    ASSERT_TRUE(loaded.problems.empty()) << loaded.problems[0].shown().toStdString();
    const SparkplugConfig &sparkplug = loaded.config.sparkplug.at(0);
    EXPECT_EQ(sparkplug.name, "sparkplug");
    EXPECT_EQ(sparkplug.host, "broker");
    EXPECT_EQ(sparkplug.port, 1883);
    EXPECT_EQ(sparkplug.version, MqttVersion::V5);
    EXPECT_EQ(sparkplug.node, QSysInfo::machineHostName());
    EXPECT_EQ(sparkplug.client, "kv-gateway-plant1-" + QSysInfo::machineHostName());
    EXPECT_EQ(sparkplug.primaryHost, "");
    EXPECT_EQ(sparkplug.uint32, UInt32As::LongValue);
    EXPECT_FALSE(sparkplug.commands) << "nothing is written unless somebody says so";
    EXPECT_EQ(sparkplug.keep, 7 * 24h);
    EXPECT_EQ(sparkplug.size, 1'000'000'000);
    EXPECT_EQ(sparkplug.drainRate, 2000);
}

TEST(SparkplugConfig, everyKeyIsTaken)
{
    const OutletFolder folder;
    const LoadedConfig loaded = folder.load(R"(
[[sparkplug]]
name = "scada"
url = "mqtts://broker.example:8884"
version = "3.1.1"
client = "line-gateway"
group = "plant1"
node = "line 1"
primary_host = "host1"
uint32 = "int64"
user_file = "file"
password_file = "file"
ca = "file"
certificate = "file"
key = "file"
keepalive = "30s"
tags = ["line1.*"]
commands = true
drain = 500
keep = "forever"
size = "unlimited"
)");
    ASSERT_TRUE(loaded.problems.empty()) << loaded.problems[0].shown().toStdString();
    SparkplugConfig sparkplug;
    sparkplug.name = "scada";
    sparkplug.host = "broker.example";
    sparkplug.port = 8884;
    sparkplug.hasTls = true;
    sparkplug.version = MqttVersion::V311;
    sparkplug.client = "line-gateway";
    sparkplug.group = "plant1";
    sparkplug.node = "line 1";
    sparkplug.primaryHost = "host1";
    sparkplug.uint32 = UInt32As::Int64;
    sparkplug.userFile = sparkplug.passwordFile = sparkplug.ca = sparkplug.certificate = sparkplug.key =
        folder.path("file");
    sparkplug.keepalive = 30s;
    sparkplug.tags = QStringList{"line1.*"};
    sparkplug.commands = true;
    sparkplug.drainRate = 500;
    sparkplug.keep = 0s;
    sparkplug.size = 0;
    EXPECT_TRUE(loaded.config.sparkplug.at(0) == sparkplug);
}

struct BadRow {
    const char *row;
    const char *keys; // after [[sparkplug]], a good url and group, from line 8 on
    const char *problem;
};

class BadSparkplug : public testing::TestWithParam<BadRow>
{
};

TEST_P(BadSparkplug, isNamedWithItsPlace)
{
    conforms("I:group-id-string I:edge-node-id-string I:device-id-string I:group-id-chars "
             "I:edge-node-id-chars I:device-id-chars S:namespace-valid-group-id "
             "S:namespace-valid-edge-node-id S:namespace-valid-device-id I:edge-node-id-uniqueness "
             "S:namespace-unique-device-id S:namespace-unique-edge-node-descriptor "
             "P:nbirth-edge-node-descriptor K:sparkplug-ids "
             "K:metric-names");
    const OutletFolder folder;
    folder.write("likes.csv", "name,address\nspeed,DM200.S\nSpeed,DM202.S\n");
    EXPECT_EQ(folder.problems(QByteArray("[[sparkplug]]\nurl = \"mqtt://broker\"\ngroup = \"g\"\n") +
                              GetParam().keys + "\n"),
              GetParam().problem + std::string("\n"));
}

const BadRow badRows[] = {
    {"unknownKey", "grup = true",
     "gateway.toml:8:1: unknown key \"grup\" in [[sparkplug]]; did you mean \"group\"?"},
    {"keyOfMqtt", "retain = true", "gateway.toml:8:1: unknown key \"retain\" in [[sparkplug]]"},
    {"node", "node = \"a/b\"",
     "gateway.toml:8:8: node \"a/b\": it must not be empty, nor have '+', '#' or '/'"},
    {"emptyNode", "node = \"\"\nclient = \"c\"",
     "gateway.toml:8:8: node \"\": it must not be empty, nor have '+', '#' or '/'"},
    {"host", "primary_host = \"#\"",
     "gateway.toml:8:16: primary_host \"#\": it must not be empty, nor have '+', '#' or '/'"},
    {"emptyHost", "primary_host = \"\"",
     "gateway.toml:8:16: primary_host \"\": it must not be empty, nor have '+', '#' or '/'"},
    {"uint32", "uint32 = \"uint\"",
     "gateway.toml:8:10: uint32 must be one of \"long_value\", \"int_value\", \"int64\""},
    {"certificateWithoutTls", "ca = \"file\"",
     "gateway.toml:6:7: certificates need TLS: write mqtts:// in url"},
    {"passwordAlone", "password_file = \"file\"",
     "gateway.toml:8:17: a password needs a user: add user_file"},
    {"client", "client = \"\"", "gateway.toml:8:10: client must have 1 to 100 characters"},
    {"unknownTag", "tags = [\"line1.sped\"]", "gateway.toml:8:8: no tag is called \"line1.sped\""},
    {"keep", "keep = \"1s\"", "gateway.toml:8:8: keep must be from 1m to 3650d, and is 1s"},
    {"nameOfAnother", "name = \"mqtt\"\n[[mqtt]]\nurl = \"mqtt://other\"",
     "gateway.toml:8:8: two outlets are called \"mqtt\": give each a name of its own"},
    {"clientOfMqtt", "client = \"c\"\n[[mqtt]]\nurl = \"mqtt://broker\"\nclient = \"c\"",
     "gateway.toml:8:10: two outlets are the client \"c\" of one broker: they would throw each other out; "
     "set "
     "client"},
    {"oneNodeTwice",
     "node = \"n\"\n[[sparkplug]]\nname = \"b\"\nclient = \"b\"\nurl = \"mqtt://broker\"\ngroup = "
     "\"G\"\nnode "
     "= \"N\"",
     "gateway.toml:14:8: two [[sparkplug]] are the node \"N\" of the group \"G\" at one broker: set node"},
    {"metricsThatDifferByCase", "[[plc]]\nname = \"line2\"\nurl = \"tcp://127.0.0.2\"\ntags = \"likes.csv\"",
     "gateway.toml:5:1: \"line2.speed\" and \"line2.Speed\" differ by case alone, and hosts may take one for "
     "the "
     "other: rename one, or choose tags without it"},
    {"oneDeviceTwice", "[[plc]]\nname = \"line1\"\nurl = \"tcp://127.0.0.2\"\ntags = \"tags.csv\"",
     "gateway.toml:9:8: two PLCs are called \"line1\""},
    {"devicesThatDifferByCase", "[[plc]]\nname = \"LINE1\"\nurl = \"tcp://127.0.0.2\"\ntags = \"tags.csv\"",
     "gateway.toml:5:1: \"line1\" and \"LINE1\" differ by case alone, and hosts may take one for the other: "
     "rename one, or choose tags without it"},
};

INSTANTIATE_TEST_SUITE_P(Rows, BadSparkplug, testing::ValuesIn(badRows),
                         [](const auto &row) { return std::string(row.param.row); });

TEST(SparkplugConfig, brokerAndGroupMustBeThere)
{
    const OutletFolder folder;
    EXPECT_EQ(folder.problems("[[sparkplug]]\n"),
              "gateway.toml:5:1: a [[sparkplug]] has no group: add group = \"plant1\"\n"
              "gateway.toml:5:1: a [[sparkplug]] has no broker: add url = \"mqtt://broker\"\n");
    EXPECT_EQ(folder.problems("[[sparkplug]]\nurl = \"mqtt://broker\"\ngroup = \"STATE\"\n"),
              "gateway.toml:7:9: group \"STATE\" is the place of hosts: choose another\n");
}

TEST(SparkplugConfig, severalNodesMayShareABroker)
{
    conforms("S:namespace-duplicate-device-id-across-edge-node");
    const OutletFolder folder;
    EXPECT_EQ(folder.problems("[[sparkplug]]\nurl = \"mqtt://broker\"\ngroup = \"g\"\nnode = \"a\"\n"
                              "[[sparkplug]]\nurl = \"mqtt://broker\"\ngroup = \"g\"\nnode = \"b\"\n"
                              "name = \"second\"\n"),
              "");
}

} // namespace
} // namespace kvgateway
