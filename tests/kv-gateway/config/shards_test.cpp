// SPDX-License-Identifier: MIT
// [[shard]]: which machine has which PLCs, each mistake with its place, and what is left for
// one of them.
#include "config_folder.h"

#include "config/shards.h"

#include <gtest/gtest.h>

namespace kvgateway
{
namespace
{

// Three PLCs in 12 lines: line1, line2, press1. What follows begins in line 13.
class ShardFolder : public ConfigFolder
{
public:
    ShardFolder() { write("tags.csv", "name,address\nspeed,DM200.S\n"); }
    LoadedConfig load(const QByteArray &more) const { return ConfigFolder::load(plcs() + more); }
    std::string problems(const QByteArray &more) const { return ConfigFolder::problems(plcs() + more); }

private:
    static QByteArray plcs()
    {
        QByteArray text;
        int number = 0;
        for (const char *name : {"line1", "line2", "press1"})
            text += "[[plc]]\nname = \"" + QByteArray(name) +
                    "\"\nurl = \"tcp://127.0.0.1:" + QByteArray::number(8501 + number++) +
                    "\"\ntags = \"tags.csv\"\n";
        return text;
    }
};

constexpr char twoShards[] = "[[shard]]\nname = \"a\"\nplcs = [\"line*\"]\n"
                             "[[shard]]\nname = \"b\"\nplcs = \"press1\"\n";

QStringList plcsOf(const Config &config)
{
    QStringList names;
    for (const PlcConfig &plc : config.plcs)
        names << plc.name;
    return names;
}

TEST(Shards, eachMachineHasThePlcsOfItsShardAndEverythingElse)
{
    const ShardFolder folder;
    const LoadedConfig loaded = folder.load(
        QByteArray(twoShards) + "[history]\nenabled = false\n[[mqtt]]\nurl = \"mqtt://broker\"\n"
                                "site = \"plant1\"\n[[postgresql]]\nurl = \"postgresql:///plant\"\n");
    ASSERT_TRUE(loaded.problems.empty()) << loaded.problems[0].shown().toStdString();
    EXPECT_EQ(plcsOf(loaded.config), (QStringList{"line1", "line2", "press1"}));

    Config a = loaded.config, b = loaded.config;
    QString problem;
    ASSERT_TRUE(chooseShard(a, "a", problem)) << problem.toStdString();
    ASSERT_TRUE(chooseShard(b, "b", problem)) << problem.toStdString();
    EXPECT_EQ(plcsOf(a), (QStringList{"line1", "line2"}));
    EXPECT_EQ(plcsOf(b), QStringList{"press1"});
    EXPECT_EQ(a.shard, "a");
    EXPECT_FALSE(b.history.isKept);
    EXPECT_TRUE(a.postgresql.at(0) == b.postgresql.at(0)) << "the tags of a site, whoever writes them";

    EXPECT_EQ(a.mqtt.at(0).client, "kv-gateway-plant1-a");
    EXPECT_EQ(b.mqtt.at(0).client, "kv-gateway-plant1-b");
    EXPECT_EQ(a.mqtt.at(0).statusTopic, "kv/{site}/_status/a");
    EXPECT_EQ(b.mqtt.at(0).statusTopic, "kv/{site}/_status/b");
    EXPECT_EQ(a.mqtt.at(0).topic, "kv/{site}/{plc}/{tag}") << "readers do not see which machine has a PLC";
}

TEST(Shards, namesOfTheBrokerAreFilledIn)
{
    const ShardFolder folder;
    LoadedConfig loaded = folder.load(QByteArray(twoShards) +
                                      "[[mqtt]]\nurl = \"mqtt://broker\"\nsite = \"plant1\"\n"
                                      "client = \"{shard}-gateway\"\nstatus_topic = \"state/{shard}\"\n");
    ASSERT_TRUE(loaded.problems.empty()) << loaded.problems[0].shown().toStdString();
    QString problem;
    ASSERT_TRUE(chooseShard(loaded.config, "b", problem));
    EXPECT_EQ(loaded.config.mqtt.at(0).client, "b-gateway");
    EXPECT_EQ(loaded.config.mqtt.at(0).statusTopic, "state/b");
}

TEST(Shards, eachIsAnEdgeNodeOfItsOwn)
{
    const ShardFolder folder;
    LoadedConfig loaded =
        folder.load(QByteArray(twoShards) + "[[sparkplug]]\nurl = \"mqtt://broker\"\ngroup = \"plant1\"\n"
                                            "node = \"hall-{shard}\"\n");
    ASSERT_TRUE(loaded.problems.empty()) << loaded.problems[0].shown().toStdString();
    QString problem;
    ASSERT_TRUE(chooseShard(loaded.config, "b", problem));
    EXPECT_EQ(loaded.config.sparkplug.at(0).node, "hall-b");
    EXPECT_EQ(loaded.config.sparkplug.at(0).client, "kv-gateway-plant1-hall-b");
}

TEST(Shards, aMachineMustSayWhichOneItIs)
{
    const ShardFolder folder;
    const struct {
        const char *shards, *name, *problem;
    } rows[] = {
        {twoShards, "a", ""},
        {twoShards, "",
         "FILE is for several machines: say which PLCs are for this one, by --shard with one of a, b"},
        {twoShards, "c", "FILE has no shard \"c\""},
        {twoShards, "hall-7", "FILE has no shard \"hall-7\""},
        {"", "", ""},
        {"", "a", "FILE has no [[shard]]: leave out the shard \"a\""},
    };
    for (const auto &row : rows) {
        LoadedConfig loaded = folder.load(row.shards);
        QString problem;
        EXPECT_EQ(chooseShard(loaded.config, row.name, problem), *row.problem == '\0') << row.name;
        EXPECT_EQ(problem.replace(folder.path("gateway.toml"), "FILE").toStdString(), row.problem);
        if (*row.problem != '\0') {
            EXPECT_EQ(loaded.config.plcs.size(), 3U) << "nothing was changed";
        }
    }
}

struct BadRow {
    const char *row;
    const char *keys; // from line 13 on
    const char *problem;
};

class BadShard : public testing::TestWithParam<BadRow>
{
};

TEST_P(BadShard, isNamedWithItsPlace)
{
    const ShardFolder folder;
    EXPECT_EQ(folder.problems(GetParam().keys), GetParam().problem + std::string("\n"));
}

const BadRow badRows[] = {
    {"lonePlc", "[[shard]]\nname = \"a\"\nplcs = [\"line*\"]",
     "gateway.toml:13:1: plc \"press1\" is in no shard: no machine would read it; add it to the plcs of a "
     "[[shard]]"},
    {"plcOfTwo", "[[shard]]\nname = \"a\"\nplcs = [\"line*\"]\n[[shard]]\nname = \"b\"\nplcs = [\"*1\"]",
     "gateway.toml:18:8: plc \"line1\" is in two shards, \"a\" and \"b\": two machines would write to it"},
    {"unknownPlc", "[[shard]]\nname = \"a\"\nplcs = [\"line*\", \"press1\", \"lime1\"]",
     "gateway.toml:15:8: no PLC is called \"lime1\"; did you mean \"line1\"?"},
    {"noPlcs", "[[shard]]\nname = \"a\"\nplcs = \"*\"\n[[shard]]\nname = \"b\"",
     "gateway.toml:16:1: the shard \"b\" has no PLCs: add plcs = [\"line1\", \"press*\"]"},
    {"noName", "[[shard]]\nplcs = \"*\"",
     "gateway.toml:13:1: a [[shard]] has no name: add name = \"hall-a\""},
    {"badName", "[[shard]]\nname = \"hall a\"\nplcs = \"*\"",
     "gateway.toml:14:8: the name \"hall a\" may have letters, digits, '-' and '_' only, and at most 40 of "
     "them"},
    {"twoOfOneName", "[[shard]]\nname = \"a\"\nplcs = \"line*\"\n[[shard]]\nname = \"a\"\nplcs = \"press*\"",
     "gateway.toml:17:8: two shards are called \"a\""},
    {"unknownKey", "[[shard]]\nname = \"a\"\nplc = \"*\"\nplcs = \"*\"",
     "gateway.toml:15:1: unknown key \"plc\" in [[shard]]; did you mean \"plcs\"?"},
    {"oneClientForAll",
     "[[shard]]\nname = \"a\"\nplcs = \"*\"\n[[mqtt]]\nurl = \"mqtt://broker\"\nclient = \"gateway\"",
     "gateway.toml:18:10: client \"gateway\": the gateways of all shards would have the same one; put "
     "{shard} "
     "into it"},
    {"oneStatusTopicForAll",
     "[[shard]]\nname = \"a\"\nplcs = \"*\"\n[[mqtt]]\nurl = \"mqtt://broker\"\nstatus_topic = \"up\"",
     "gateway.toml:18:16: status_topic \"up\": the gateways of all shards would have the same one; put "
     "{shard} into it"},
    {"oneNodeForAll",
     "[[shard]]\nname = \"a\"\nplcs = \"*\"\n[[sparkplug]]\nurl = \"mqtt://broker\"\ngroup = \"g\"\n"
     "node = \"n\"\nclient = \"c-{shard}\"",
     "gateway.toml:19:8: node \"n\": the gateways of all shards would have the same one; put {shard} into "
     "it"},
    {"shardOfNone", "[[mqtt]]\nurl = \"mqtt://broker\"\nclient = \"g-{shard}\"",
     "gateway.toml:15:10: client \"g-{shard}\": {shard} needs [[shard]]"},
};

INSTANTIATE_TEST_SUITE_P(Rows, BadShard, testing::ValuesIn(badRows),
                         [](const auto &row) { return std::string(row.param.row); });

TEST(Shards, eachHasRoomForAsManyPlcsAsOneService)
{
    const ConfigFolder folder;
    folder.write("tags.csv", "name,address\nspeed,DM200.S\n");
    QByteArray plcs;
    for (int i = 0; i < 257; ++i)
        plcs += "[[plc]]\nname = \"p" + QByteArray::number(i) +
                "\"\nurl = \"tcp://127.0.0.1:" + QByteArray::number(10'000 + i) + "\"\ntags = \"tags.csv\"\n";
    EXPECT_EQ(folder.problems(plcs),
              "gateway.toml:1:1: 257 PLCs are too many: 256 fit one service; split them by [[shard]]\n");
    EXPECT_EQ(folder.problems(plcs + "[[shard]]\nname = \"a\"\nplcs = \"p?\"\n"
                                     "[[shard]]\nname = \"b\"\nplcs = [\"p??\", \"p???\"]\n"),
              "");
    EXPECT_EQ(folder.problems(plcs + "[[shard]]\nname = \"a\"\nplcs = \"p*\"\n"),
              "gateway.toml:1031:8: 257 PLCs are too many for one shard: 256 fit one service\n");
}

} // namespace
} // namespace kvgateway
