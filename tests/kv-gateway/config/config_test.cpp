// SPDX-License-Identifier: MIT
// Configurations: each mistake is named with its place, all of them at once.
#include "config_folder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <algorithm>

namespace kvgateway
{
namespace
{

using namespace std::chrono_literals;

constexpr char onePlc[] = "[[plc]]\nname = \"line1\"\nurl = \"tcp://127.0.0.1\"\ntags = \"tags.csv\"\n";
constexpr char tags[] = "name,address\nspeed,DM200.S\n";

TEST(ConfigFile, smallestOneHasDefaults)
{
    const ConfigFolder folder;
    folder.write("tags.csv", tags);
    const LoadedConfig loaded = loadConfig(folder.write("gateway.toml", onePlc));
    ASSERT_TRUE(loaded.problems.empty()) << loaded.problems[0].shown().toStdString();
    const Config &config = loaded.config;
    EXPECT_EQ(config.listen.address, "127.0.0.1");
    EXPECT_EQ(config.listen.port, 8480);
    EXPECT_TRUE(config.listen.isLocal());
    EXPECT_FALSE(config.listen.hasTls());
    EXPECT_EQ(config.folder, "/var/lib/kv-gateway");
    EXPECT_EQ(config.access.local, LocalAccess::Viewer);
    ASSERT_EQ(config.plcs.size(), 1u);
    ASSERT_EQ(config.tagCount(), 1);
    const TagConfig &tag = config.plcs[0].tags[0];
    EXPECT_EQ(tag.name, "line1.speed");
    EXPECT_EQ(tag.settings.address, "DM200.S");
    EXPECT_EQ(tag.settings.period, 1s);
    EXPECT_FALSE(tag.history);
    EXPECT_FALSE(tag.settings.everySample);
}

TEST(ConfigFile, everyKeyIsTaken)
{
    const ConfigFolder folder;
    folder.write("tags.csv", "name,address,period,group,history,min,max,on_change,rw,confirm,button\n"
                             "speed,DM200.S:2,200ms,drive,yes,-10,1500,no,rw,yes,\n"
                             "jog,R500,,,,,,,rw,no,yes\n");
    folder.write("pages/belt.svg", "<svg xmlns=\"http://www.w3.org/2000/svg\"><title>Belt</title></svg>");
    folder.write("cert.pem", "x");
    folder.write("key.pem", "x");
    const LoadedConfig loaded = loadConfig(folder.write("gateway.toml", R"(
data = "data"
pages = "pages"
[listen]
address = "0.0.0.0"
port = 0
certificate = "cert.pem"
key = "key.pem"
hosts = ["panel", "panel.local"]
connections = 50
[history]
enabled = false
rows = "7d"
minutes = "forever"
hours = "forever"
events = "30d"
audit = "365d"
size = "2GB"
[access]
local = "operator"
idle = "10m"
longest = "1h"
[[plc]]
name = "line1"
url = "udp://127.0.0.1:8501"
tags = ["tags.csv"]
encoding = "shift-jis"
period = "2s"
open = "none"
timeout = "500ms"
gap = "10ms"
max_block = 64
word_order = "high"
text_encoding = "shift-jis"
)"));
    ASSERT_TRUE(loaded.problems.empty()) << loaded.problems[0].shown().toStdString();
    const Config &config = loaded.config;
    EXPECT_EQ(config.folder, folder.path("data"));
    ASSERT_EQ(config.pages.size(), 1u);
    EXPECT_EQ(config.pages[0].name, "belt");
    EXPECT_EQ(config.pages[0].title, "Belt");
    EXPECT_FALSE(config.listen.isLocal());
    EXPECT_EQ(config.listen.port, 0);
    EXPECT_EQ(config.listen.key, folder.path("key.pem"));
    EXPECT_EQ(config.listen.hosts, QStringList({"panel", "panel.local"}));
    EXPECT_EQ(config.listen.connections, 50);
    EXPECT_FALSE(config.history.isKept);
    EXPECT_EQ(config.history.rows, 7 * 24h);
    EXPECT_EQ(config.history.minutes, 0s);
    EXPECT_EQ(config.history.size, 2'000'000'000);
    EXPECT_EQ(config.access.local, LocalAccess::Operator);
    EXPECT_EQ(config.access.idle, 10min);
    EXPECT_EQ(config.access.longest, 1h);
    const PlcConfig &plc = config.plcs.at(0);
    EXPECT_EQ(plc.link.url, "udp://127.0.0.1:8501");
    EXPECT_EQ(plc.link.open, kvlink::Open::None);
    EXPECT_EQ(plc.link.timeout, 500ms);
    EXPECT_EQ(plc.link.gap, 10ms);
    EXPECT_EQ(plc.link.maxBlock, 64);
    EXPECT_EQ(plc.link.wordOrder, kvlink::WordOrder::HighFirst);
    EXPECT_EQ(plc.link.textEncoding, kvlink::TextEncoding::ShiftJis);
    const TagConfig &tag = plc.tags.at(0);
    EXPECT_EQ(tag.settings.period, 200ms);
    EXPECT_EQ(tag.group, "drive");
    EXPECT_TRUE(tag.history);
    EXPECT_EQ(tag.min, -10.0);
    EXPECT_EQ(tag.max, 1500.0);
    EXPECT_TRUE(tag.settings.everySample);
    EXPECT_EQ(tag.kind, kvlink::ValueKind::Whole);
    EXPECT_EQ(tag.count, 2);
    EXPECT_TRUE(tag.confirm);
    EXPECT_FALSE(tag.button);
    const TagConfig &jog = plc.tags.at(1);
    EXPECT_EQ(jog.kind, kvlink::ValueKind::Bit);
    EXPECT_FALSE(jog.confirm);
    EXPECT_TRUE(jog.button);
}

TEST(ConfigFile, aHexadecimalTagIsOfTheKindThatIsShown)
{
    const ConfigFolder folder;
    folder.write("tags.csv", "name,address,scale,offset\nmask,DM120.H,,\nwide,Z1.H,,\ntenths,DM121.H,0.1,\n"
                             "shifted,DM122.H,,-40\n");
    const LoadedConfig loaded = loadConfig(folder.write("gateway.toml", onePlc));
    ASSERT_TRUE(loaded.problems.empty()) << loaded.problems[0].shown().toStdString();
    const std::vector<TagConfig> &found = loaded.config.plcs[0].tags;
    ASSERT_EQ(found.size(), 4u);
    EXPECT_EQ(found[0].kind, kvlink::ValueKind::Hex);
    EXPECT_EQ(found[0].digits, 4);
    EXPECT_EQ(found[1].kind, kvlink::ValueKind::Hex);
    EXPECT_EQ(found[1].digits, 8);
    EXPECT_EQ(found[2].kind, kvlink::ValueKind::Real);
    EXPECT_EQ(found[2].digits, 0);
    EXPECT_EQ(found[3].kind, kvlink::ValueKind::Real);
}

TEST(ConfigFile, whatNobodyCanWriteIsReadOnly)
{
    const ConfigFolder folder;
    folder.write("tags.csv", "name,address\ncontact,T5\nset,TS5\n");
    const LoadedConfig loaded = loadConfig(folder.write("gateway.toml", onePlc));
    ASSERT_TRUE(loaded.problems.empty()) << loaded.problems[0].shown().toStdString();
    const std::vector<TagConfig> &found = loaded.config.plcs[0].tags;
    EXPECT_EQ(found[0].settings.access, kvlink::Access::ReadOnly);
    EXPECT_EQ(found[1].settings.access, kvlink::Access::ReadWrite);
}

TEST(ConfigFile, allMistakesAreSaidAtOnce)
{
    const ConfigFolder folder;
    folder.write("tags.csv", "name,address,period\nspeed,DM200.S,1\nrun,R1016,\n");
    EXPECT_EQ(folder.problems("[listen]\nport = \"80\"\n[[plc]]\nname = \"line1\"\nperod = \"1s\"\n"
                              "url = \"tcp://127.0.0.1\"\ntags = \"tags.csv\"\n"),
              "gateway.toml:2:8: port must be a whole number from 0 to 65535, without quotes\n"
              "tags.csv:2: period: '1' has no unit: write 1ms or 1s\n"
              "tags.csv:3: R1016: the last two digits are the bit, 00 to 15; after R1015 comes R1100\n"
              "gateway.toml:5:1: unknown key \"perod\" in [[plc]]; did you mean \"period\"?\n");
}

struct BadRow {
    const char *row;
    QByteArray toml;
    const char *problem;
};

class BadConfig : public testing::TestWithParam<BadRow>
{
};

TEST_P(BadConfig, isNamedWithItsPlace)
{
    const ConfigFolder folder;
    folder.write("tags.csv", tags);
    EXPECT_EQ(folder.problems(GetParam().toml), GetParam().problem + std::string("\n"));
}

QByteArray with(const char *plcLine)
{
    return QByteArray(onePlc) + plcLine + "\n";
}

const BadRow badRows[] = {
    {"unknownSection", QByteArray(onePlc) + "[lisen]\nport = 1\n",
     "gateway.toml:5:2: unknown key \"lisen\"; did you mean \"listen\"?"},
    {"unknownKeyFarFromAll", with("colour = 5"), "gateway.toml:5:1: unknown key \"colour\" in [[plc]]"},
    {"sectionAsKey", QByteArray("listen = 5\n") + onePlc,
     "gateway.toml:1:10: listen is a section: write [listen] on a line of its own, and its keys below"},
    {"onePairOfBrackets", "[plc]\nname = \"line1\"\n",
     "gateway.toml:1:1: write [[plc]], with two brackets, on a line of its own for each plc"},
    {"address", QByteArray("[listen]\naddress = \"everywhere\"\n") + onePlc,
     "gateway.toml:2:11: \"everywhere\" is not an address: write 127.0.0.1, 0.0.0.0, ::1 or ::"},
    {"portTooLarge", QByteArray("[listen]\nport = 65536\n") + onePlc,
     "gateway.toml:2:8: port must be a whole number from 0 to 65535, without quotes"},
    {"certificateAlone", QByteArray("[listen]\ncertificate = \"tags.csv\"\n") + onePlc,
     "gateway.toml:2:15: TLS needs both: certificate and key"},
    {"tagFileWithoutAName", QByteArray(onePlc).replace("tags.csv", ""),
     "gateway.toml:4:8: the name of a tag file is empty"},
    {"yesInQuotes", QByteArray("[history]\nenabled = \"yes\"\n") + onePlc,
     "gateway.toml:2:11: enabled must be true or false, without quotes"},
    {"durationWithoutQuotes", QByteArray("[history]\nrows = 30\n") + onePlc,
     "gateway.toml:2:8: rows must be a time in quotes, as in \"500ms\""},
    {"durationWithoutUnit", QByteArray("[history]\nrows = \"30\"\n") + onePlc,
     "gateway.toml:2:8: rows: '30' has no unit: write 30ms or 30s"},
    {"durationTooShort", QByteArray("[history]\nrows = \"1s\"\n") + onePlc,
     "gateway.toml:2:8: rows must be from 1h to 36500d, and is 1s"},
    {"periodForever", with("period = \"forever\""),
     "gateway.toml:5:10: period: 'forever' is not a time: write 500ms, 2s, 1.5m, 1h or 30d"},
    {"size", QByteArray("[history]\nsize = \"2 gigs\"\n") + onePlc,
     "gateway.toml:2:8: size must be a size in quotes, as in \"500MB\" or \"2GB\", or \"unlimited\""},
    {"choice", with("word_order = \"hihg\""),
     "gateway.toml:5:14: word_order must be one of \"low\", \"high\"; did you mean \"high\"?"},
    {"noPlc", "data = \"x\"\n", "gateway.toml:1:1: there is no PLC: add [[plc]] with a name, a url and tags"},
    {"noName", "[[plc]]\nurl = \"tcp://127.0.0.1\"\ntags = \"tags.csv\"\n",
     "gateway.toml:1:1: a [[plc]] has no name: add name = \"line1\""},
    {"nameWithDot", "[[plc]]\nname = \"a.b\"\nurl = \"tcp://127.0.0.1\"\ntags = \"tags.csv\"\n",
     "gateway.toml:2:8: the name \"a.b\" may have letters, digits, '-' and '_' only, and at most 40 of them"},
    {"noUrl", "[[plc]]\nname = \"a\"\ntags = \"tags.csv\"\n",
     "gateway.toml:1:1: the PLC \"a\" has no address: add url = \"tcp://192.168.0.10\""},
    {"noTags", "[[plc]]\nname = \"a\"\nurl = \"tcp://127.0.0.1\"\n",
     "gateway.toml:1:1: the PLC \"a\" has no tags: add tags = \"FILE.csv\""},
    {"twoNames",
     QByteArray(onePlc) + "[[plc]]\nname = \"line1\"\nurl = \"tcp://127.0.0.2\"\ntags = \"tags.csv\"\n",
     "gateway.toml:6:8: two PLCs are called \"line1\""},
    {"twoUrls",
     QByteArray(onePlc) + "[[plc]]\nname = \"line2\"\nurl = \"tcp://127.0.0.1\"\ntags = \"tags.csv\"\n",
     "gateway.toml:7:7: plc \"line2\" has the address of plc \"line1\" (tcp://127.0.0.1)"},
    {"tagFileTwice",
     "[[plc]]\nname = \"a\"\nurl = \"tcp://127.0.0.1\"\ntags = [\"tags.csv\", \"tags.csv\"]\n",
     "gateway.toml:4:8: the tag \"a.speed\" is in two of the files"},
    {"numberAmongTexts", "[[plc]]\nname = \"a\"\nurl = \"tcp://127.0.0.1\"\ntags = [\"tags.csv\", 5]\n",
     "gateway.toml:4:21: tags must be a list of texts in quotes"},
};

INSTANTIATE_TEST_SUITE_P(Rows, BadConfig, testing::ValuesIn(badRows),
                         [](const auto &row) { return std::string(row.param.row); });

struct BadTagRow {
    const char *row;
    QByteArray file;
    const char *problem;
};

class BadGatewayTag : public testing::TestWithParam<BadTagRow>
{
};

TEST_P(BadGatewayTag, isNamedWithItsLine)
{
    const ConfigFolder folder;
    folder.write("tags.csv", GetParam().file);
    EXPECT_EQ(folder.problems(onePlc), GetParam().problem + std::string("\n"));
}

const BadTagRow badTagRows[] = {
    {"misspeltColumn", "name,address,histroy\na,DM1,yes\n",
     "tags.csv:1: the column 'histroy' is not known; did you mean 'history'?; the columns are name, address, "
     "type, "
     "station, scale, offset, unit, rw, deadband, comment, command, period, group, history, min, max, "
     "on_change, confirm, button"},
    {"station", "name,address\na,2/DM1\n",
     "tags.csv:2: 'a' has a station: a tag file belongs to one PLC; leave the station out"},
    {"comma", "name,address\n\"a,b\",DM1\n",
     "tags.csv:2: the name 'a,b' has a comma, '*', '?' or a character that cannot be seen"},
    {"star", "name,address\na*,DM1\n",
     "tags.csv:2: the name 'a*' has a comma, '*', '?' or a character that cannot be seen"},
    {"periodTooLong", "name,address,period\na,DM1,2d\n",
     "tags.csv:2: period '2d': from 1ms to 24h is possible"},
    {"history", "name,address,history\na,DM1,perhaps\n",
     "tags.csv:2: history 'perhaps': yes or no is expected"},
    {"min", "name,address,min\na,DM1,low\n", "tags.csv:2: min 'low' is not a number"},
    {"limitOfABit", "name,address,max\na,R5,1\n",
     "tags.csv:2: max has no meaning for R5, which is not a number: leave it empty"},
    {"minAboveMax", "name,address,min,max\na,DM1,6,5\n", "tags.csv:2: min 6 is above max 5"},
    {"deadbandOfEverySample", "name,address,deadband,on_change\na,DM1,2,no\n",
     "tags.csv:2: on_change 'no' reports every answer, and a deadband leaves answers out: take one of them"},
    {"confirm", "name,address,confirm\na,DM1,ask\n", "tags.csv:2: confirm 'ask': yes or no is expected"},
    {"contactThatIsWritten", "name,address,rw\na,T5,rw\n",
     "tags.csv:2: rw: T5 is a contact, which follows its timer or counter and cannot be written; say r, or "
     "leave the cell empty"},
    {"contactOfACounter", "name,address,rw\na,CTH0.C,rw\n",
     "tags.csv:2: rw: CTH0.C is a contact, which follows its timer or counter and cannot be written; say r, "
     "or leave the cell empty"},
    {"buttonOfAWord", "name,address,rw,button\na,DM1,rw,yes\n",
     "tags.csv:2: button: DM1 is not a single bit, so it cannot be on while it is held"},
    {"buttonThatIsRead", "name,address,rw,button\na,R5,r,yes\n",
     "tags.csv:2: button: a is read-only; say rw, or leave the column empty"},
    {"buttonThatAsks", "name,address,rw,confirm,button\na,R5,rw,yes,yes\n",
     "tags.csv:2: a button acts as long as it is held, and cannot ask first: take confirm or button"},
};

INSTANTIATE_TEST_SUITE_P(Rows, BadGatewayTag, testing::ValuesIn(badTagRows),
                         [](const auto &row) { return std::string(row.param.row); });

TEST(ConfigFile, syntaxIsNamedWithItsPlace)
{
    const ConfigFolder folder;
    const std::string problems = folder.problems("[listen\nport = 1\n");
    EXPECT_EQ(problems.rfind("gateway.toml:1:8: ", 0), 0u) << problems;
}

TEST(ConfigFile, wrongUrlIsNamed)
{
    const ConfigFolder folder;
    folder.write("tags.csv", tags);
    const std::string problems =
        folder.problems("[[plc]]\nname = \"a\"\nurl = \"tcp://192.168.1\"\ntags = \"tags.csv\"\n");
    EXPECT_EQ(problems.rfind("gateway.toml:3:7: ", 0), 0u) << problems;
    EXPECT_NE(problems.find("192.168.1"), std::string::npos);
}

// Qt takes a name with a colon in front for one of its own resources.
TEST(ConfigFile, aColonInFrontOfANameMeansNothing)
{
    const ConfigFolder folder;
    const QString file = folder.write("gateway.toml", QByteArray(onePlc).replace("tags.csv", ":tags.csv"));
    EXPECT_TRUE(
        QFile::copy(folder.write("tags.csv", tags), QString(file).replace("gateway.toml", ":tags.csv")));
    const LoadedConfig loaded = loadConfig(file);
    EXPECT_TRUE(loaded.problems.empty()) << loaded.problems.at(0).shown().toStdString();
    EXPECT_EQ(loaded.config.tagCount(), 1);
}

TEST(ConfigFile, missingFilesAreNamed)
{
    const ConfigFolder folder;
    EXPECT_NE(loadConfig(folder.path("none.toml")).problems.at(0).shown().indexOf("cannot be read"), -1);
    const std::string problems = folder.problems(onePlc);
    EXPECT_EQ(problems.rfind("tags.csv: the tag file ", 0), 0u) << problems;
    EXPECT_NE(folder.problems(QByteArray("[listen]\ncertificate = \"c.pem\"\nkey = \"tags.csv\"\n") + onePlc)
                  .find("gateway.toml:2:15: certificate: "),
              std::string::npos);
}

TEST(ConfigFile, drawingsAreCheckedWithTheirTags)
{
    const ConfigFolder folder;
    folder.write("tags.csv", "name,address,rw\nspeed,DM200.S,r\ncount,DM201,rw\njog,R500,rw\n");
    folder.write("pages/belt.svg", "<svg xmlns=\"http://www.w3.org/2000/svg\">\n"
                                   "<text data-tag=\"line1.sped\"/>\n"
                                   "<text data-tag=\"line1.speed\" data-format=\"rpm\"/>\n"
                                   "<g data-tag=\"line1.speed\" data-button=\"press\"/>\n"
                                   "<script/>\n"
                                   "<g data-tag=\"line1.count\" data-button=\"press\"/>\n"
                                   "<g data-tag=\"line1.count\" data-button=\"ask\"/>\n"
                                   "<g data-tag=\"line1.jog\" data-button=\"press\"/>\n"
                                   "</svg>\n");
    EXPECT_EQ(
        folder.problems(QByteArray("pages = \"pages\"\n") + onePlc),
        "pages/belt.svg:2: there is no tag \"line1.sped\"; did you mean \"line1.speed\"?\n"
        "pages/belt.svg:3: data-format=\"rpm\" is not understood: write \"0.0 %\" or \"0=closed|1=open\"\n"
        "pages/belt.svg:4: <g data-tag=\"line1.speed\" data-button=\"press\">: the tag is read-only; say rw "
        "in "
        "its tag file, or take data-button out\n"
        "pages/belt.svg:5: <script> cannot be shown: draw it with shapes, paths and texts, or remove it\n"
        "pages/belt.svg:6: <g data-tag=\"line1.count\" data-button=\"press\">: only a relay or a bit of a "
        "word "
        "can be pressed; write \"set\" with a value, or \"ask\"\n");
    EXPECT_EQ(folder.problems(QByteArray("pages = \"none\"\n") + onePlc),
              "gateway.toml:1:9: pages: the folder none is not there\n");
}

struct BitRow {
    const char *address;
    bool isBit;
};

TEST(TagConfig, onlyOneRelayOrBitOfAWordIsABit)
{
    const BitRow rows[] = {{"R500", true},     {"MR15", true}, {"DM100.5", true}, {"R500:2", false},
                           {"DM0.5:2", false}, {"T5", false},  {"R500.U", false}, {"DM100", false}};
    for (const BitRow &row : rows) {
        TagConfig tag;
        tag.settings.address = row.address;
        EXPECT_EQ(tag.isBit(), row.isBit) << row.address;
    }
}

// A drawing may name 80,000 tags that are not there, in a service of 100,000.
TEST(ConfigFile, drawingsOfAnotherPlantAreRefusedAtOnce)
{
    const ConfigFolder folder;
    QByteArray file = "name,address\n", uses;
    for (int i = 0; i < 5000; ++i)
        file += "tag" + QByteArray::number(i) + ",DM" + QByteArray::number(i) + "\n";
    for (int i = 0; i < 100; ++i)
        uses += "<g data-tag=\"line1.tak" + QByteArray::number(i) + "\"/>\n";
    folder.write("tags.csv", file);
    folder.write("pages/belt.svg", "<svg xmlns=\"http://www.w3.org/2000/svg\">\n" + uses + "</svg>\n");
    const QByteArray toml = QByteArray("pages = \"pages\"\n") + onePlc;
    const std::string few = folder.problems(toml);
    EXPECT_EQ(std::count(few.begin(), few.end(), '\n'), 20) << few;
    EXPECT_EQ(few.substr(0, few.find('\n')),
              "pages/belt.svg:2: there is no tag \"line1.tak0\"; did you mean \"line1.tag0\"?");
    folder.write("tags.csv", file + "last,DM5000\n");
    const std::string many = folder.problems(toml);
    EXPECT_EQ(many.substr(0, many.find('\n')), "pages/belt.svg:2: there is no tag \"line1.tak0\"");
}

struct ButtonRow {
    const char *tag;
    const char *button;
    const char *problem; // after the element; empty: the tag can do it
};

// clang-format off
const ButtonRow buttonRows[] = {
    {"run", "press", ""}, {"run", "ask", ""}, {"run", "set on", ""}, {"run", "set  off", ""}, {"run", "set 1", ""}, {"run", "set 0", ""},
    {"bit", "press", ""}, {"bit", "set on", ""}, {"bit", "set 0", ""},
    {"run", "set 5", "the tag is a bit; write \"set on\" or \"set off\""},
    {"run", "set -1", "the tag is a bit; write \"set on\" or \"set off\""},
    {"run", "set 1.0", "the tag is a bit; write \"set on\" or \"set off\""},
    {"run", "set 01", "the tag is a bit; write \"set on\" or \"set off\""},
    {"valve", "set on", ""},
    {"valve", "press", "the tag wants a confirmation, and a press cannot ask; write \"set on\" or \"ask\""},
    {"count", "set 65535", ""}, {"count", "set 0", ""}, {"count", "ask", ""},
    {"count", "set on", "'on' is not valid: DM201 takes a number, such as 15"},
    {"count", "set -1", "-1 is too small for DM201 (0 to 65535)"},
    {"count", "set 65536", "65536 is too large for DM201 (0 to 65535)"},
    {"count", "set 0.5", "0.5 is not a whole number, and DM201 takes one (0 to 65535)"},
    {"level", "set 40", ""}, {"level", "set 95.0", ""},
    {"level", "set 39.9", "39.9 is below the least value of line1.level, 40"},
    {"level", "set 95.1", "95.1 is above the largest value of line1.level, 95"},
    {"real", "set -2.5", ""},
    {"hex", "set 10", ""},
    {"hex", "set -1", "-1 is too small for DM206.H (0 to FFFF)"},
    {"order", "ask", ""},
    {"order", "set 5", "the tag is a text; write \"ask\""},
    {"list", "ask", ""},
    {"list", "set 5", "the tag has 4 values; write \"ask\""},
    {"bits", "set on", "the tag has 2 values; write \"ask\""},
    {"bits", "press", "only a relay or a bit of a word can be pressed; write \"set\" with a value, or \"ask\""},
    {"shown", "set 5", "the tag is read-only; say rw in its tag file, or take data-button out"},
    {"contact", "ask", "nobody can write T5; take data-button out"},
};
// clang-format on

TEST(ConfigFile, aButtonOfADrawingWritesWhatItsTagCanHold)
{
    const ConfigFolder folder;
    folder.write("tags.csv",
                 "name,address,rw,scale,min,max,confirm\nrun,R500,rw\nbit,DM200.3,rw\nvalve,R501,rw,,,,yes\n"
                 "count,DM201,rw\nlevel,DM202,rw,0.1,40,95\nreal,DM204.F,rw\nhex,DM206.H,rw\n"
                 "order,DM210.STR:16,rw\nlist,DM220:4,rw\nbits,R600:2,rw\nshown,DM230,r\ncontact,T5,r\n");
    for (const ButtonRow &row : buttonRows) {
        const std::string tag =
            std::string("<g data-tag=\"line1.") + row.tag + "\" data-button=\"" + row.button + "\"";
        folder.write("pages/belt.svg", "<svg xmlns=\"http://www.w3.org/2000/svg\">\n" +
                                           QByteArray::fromStdString(tag) + "/></svg>\n");
        const std::string expected = "pages/belt.svg:2: " + tag + ">: " + row.problem + "\n";
        EXPECT_EQ(folder.problems(QByteArray("pages = \"pages\"\n") + onePlc),
                  row.problem[0] == '\0' ? "" : expected);
    }
}

TEST(Config, forgottenTagsTakeNoMemory)
{
    Config config;
    config.plcs.resize(1);
    config.plcs[0].tags.resize(1000);
    config.forgetTags();
    EXPECT_EQ(config.plcs[0].tags.size(), 0u);
    EXPECT_EQ(config.plcs[0].tags.capacity(), 0u);
}

TEST(ConfigFile, aLinkIsTheSameWhateverItsTagsAre)
{
    PlcConfig one, other;
    one.name = other.name = "line1";
    one.link.url = other.link.url = "tcp://127.0.0.1";
    other.tags.resize(2);
    EXPECT_TRUE(one.hasLinkOf(other));
    other.link.timeout = 2s;
    EXPECT_FALSE(one.hasLinkOf(other));
}

} // namespace
} // namespace kvgateway
