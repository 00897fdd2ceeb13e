// SPDX-License-Identifier: MIT
// Control commands, assignments, statistics and the memory file.
#include "bench.h"
#include "desk/control_desk.h"
#include "devices/memory_file.h"

#include <gtest/gtest.h>

namespace
{

class Desk : public testing::Test
{
protected:
    Desk() : desk(bench.simulator, hooks()) { bench.opened(); }

    kvsim::ControlHooks hooks()
    {
        kvsim::ControlHooks all;
        all.save = [this](const std::string &path) { return note("save " + path); };
        all.load = [this](const std::string &path) { return note("load " + path); };
        all.program = [this](const std::string &path) { return note("program " + path); };
        all.setScan = [this](std::uint32_t ms) { note("scan " + std::to_string(ms)); };
        all.restart = [this](std::uint32_t ms) { return note("restart " + std::to_string(ms)); };
        all.listen = [this](bool on) { return note(on ? "listen on" : "listen off"); };
        all.disconnect = [this] { note("disconnect"); };
        all.stop = [this] { note("stop"); };
        return all;
    }

    std::string note(const std::string &what)
    {
        done += what + ";";
        return problem;
    }

    Bench bench;
    std::string done;
    std::string problem;
    kvsim::ControlDesk desk;
};

TEST_F(Desk, setsAndGetsDevices)
{
    EXPECT_EQ(desk.run("set DM100=1,2,65535"), "ok");
    EXPECT_EQ(desk.run("get DM100 3"), "ok 00001 00002 65535");
    EXPECT_EQ(desk.run("get DM100"), "ok 00001");
    EXPECT_EQ(bench.send("RDS DM100 3\r"), "00001 00002 65535\r\n");
}

struct SetRow {
    const char *name;
    const char *set;
    const char *get;
    const char *got;
};

class DeskSet : public Desk, public testing::WithParamInterface<SetRow>
{
};

TEST_P(DeskSet, takesEveryKind)
{
    EXPECT_EQ(desk.run(std::string("set ") + GetParam().set), "ok");
    EXPECT_EQ(desk.run(std::string("get ") + GetParam().get), std::string("ok ") + GetParam().got);
}

INSTANTIATE_TEST_SUITE_P(Rows, DeskSet,
                         testing::Values(SetRow{"relays", "R1000=1,0,1", "R1000 4", "1 0 1 0"},
                                         SetRow{"unaligned", "R1005.U=3", "R1004 4", "0 1 1 0"},
                                         SetRow{"signedWord", "DM0.S=-2", "DM0", "65534"},
                                         SetRow{"double", "DM0.D=3000000000", "DM0.D", "3000000000"},
                                         SetRow{"hex", "W1a.H=ff", "W1A", "00255"},
                                         SetRow{"AT", "AT0=3000000000", "AT0", "3000000000"},
                                         SetRow{"timer", "T0=5", "T0", "0,0000000005,0000000000"},
                                         SetRow{"setValue", "TS0=7", "TS0", "0000000007"},
                                         SetRow{"Z", "Z1.D=9", "Z1.D", "0000000009"}),
                         [](const auto &row) { return std::string(row.param.name); });

struct WrongRow {
    const char *name;
    const char *command;
    const char *answer; // how it begins
};

class DeskWrong : public Desk, public testing::WithParamInterface<WrongRow>
{
};

TEST_P(DeskWrong, saysWhatIsWrong)
{
    const std::string answer = desk.run(GetParam().command);
    EXPECT_EQ(answer.rfind(GetParam().answer, 0), 0U) << answer;
    EXPECT_EQ(answer.find('\n'), std::string::npos);
    EXPECT_EQ(done, "");
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Rows, DeskWrong, testing::Values(
    WrongRow{ "unknown",       "hello",            "error: no command is called 'hello'" },
    WrongRow{ "empty",         "",                 "error: no command is called ''" },
    WrongRow{ "setNoEquals",   "set DM100",        "error: 'DM100' has no '='" },
    WrongRow{ "setNoDevice",   "set QQ1=1",        "error: 'QQ1' is not a device of this model" },
    WrongRow{ "setNoValue",    "set DM1=",         "error: '' is not a value for 'DM1'" },
    WrongRow{ "setTooLarge",   "set DM1=65536",    "error: '65536' is not a value for 'DM1'" },
    WrongRow{ "setSecondBad",  "set DM1=1,x",      "error: 'x' is not a value for 'DM1'" },
    WrongRow{ "setPastEnd",    "set DM65534=1,2",  "error: 2 value(s) from 'DM65534' on do not lie within" },
    WrongRow{ "setZ0",         "set Z0=1",         "error: 1 value(s) from 'Z0' on do not lie within" },
    WrongRow{ "getNothing",    "get",              "error: '' is not a device" },
    WrongRow{ "getCount0",     "get DM0 0",        "error: 0 value(s) from 'DM0' on" },
    WrongRow{ "getCountText",  "get DM0 x",        "error: expected get DEVICE [COUNT]" },
    WrongRow{ "faultUnknown",  "fault hello",      "error: no fault is called 'hello'" },
    WrongRow{ "clearUnknown",  "clear 7",          "error: no fault has the number '7'" },
    WrongRow{ "clearText",     "clear x",          "error: no fault has the number 'x'" },
    WrongRow{ "resetWhat",     "reset dm",         "error: expected reset" },
    WrongRow{ "scanText",      "scan fast",        "error: expected scan MS" },
    WrongRow{ "scanLong",      "scan 3600001",     "error: expected scan MS, MS from 0 (no scans) to 3600000" },
    WrongRow{ "programNothing", "program",         "error: expected program FILE" },
    WrongRow{ "modeWhat",      "mode stop",        "error: expected mode run|program" },
    WrongRow{ "cpuErrorLarge", "cpu-error 1000",   "error: expected cpu-error N" },
    WrongRow{ "listenWhat",    "listen",           "error: expected listen on|off" },
    WrongRow{ "delayText",     "delay soon",       "error: 'soon' is not a delay (like 10, 10:5, guess, tail:8:60" },
    WrongRow{ "protectWhat",   "write-protect",    "error: expected write-protect on|off" },
    WrongRow{ "programWhere",  "cpu-program gone", "error: expected cpu-program present|missing" },
    WrongRow{ "restartZero",   "restart 0",        "error: expected restart [MS], MS from 1 to 3600000" },
    WrongRow{ "restartLong",   "restart 3600001",  "error: expected restart [MS], MS from 1 to 3600000" },
    WrongRow{ "loadNothing",   "load",             "error: expected load FILE" }),
    [](const auto &row) { return std::string(row.param.name); });
// clang-format on

TEST_F(Desk, setsNothingWhenOneValueIsWrong)
{
    desk.run("set DM1=1,2,x");
    EXPECT_EQ(desk.run("get DM1 3"), "ok 00000 00000 00000");
}

TEST_F(Desk, switchesFaultsOnAndOff)
{
    EXPECT_EQ(desk.run("faults"), "ok none");
    EXPECT_EQ(desk.run("fault silent next 2"), "ok 1 silent next 2");
    EXPECT_EQ(desk.run("fault error:E5 every 3 cmd RDS dev DM0-DM9"),
              "ok 2 error:E5 every 3 cmd RDS dev DM0-DM9");
    bench.send("?K\r?K\r?K\r");
    EXPECT_EQ(desk.run("faults"),
              "ok 1 silent next 2, done 2, expired; 2 error:E5 every 3 cmd RDS dev DM0-DM9, done 0");
    EXPECT_EQ(desk.run("clear 1"), "ok");
    EXPECT_EQ(desk.run("faults"), "ok 2 error:E5 every 3 cmd RDS dev DM0-DM9, done 0");
    EXPECT_EQ(desk.run("clear"), "ok");
    EXPECT_EQ(desk.run("faults"), "ok none");
}

TEST_F(Desk, counts)
{
    bench.fault("silent next 1 cmd ?K");
    bench.send("?K\rRD DM0\rRD DM0\rRD QQ\rHELLO\rWRS DM0 1 x\r");
    bench.simulator.statistics().countIn(50);
    bench.simulator.statistics().countOut(40);
    bench.simulator.connectionOpened(false);
    EXPECT_EQ(desk.run("statistics"),
              "ok commands=6 ?K=1 RD=3 WRS=1 other=1 errors=3 E0=1 E1=2 faults=1 silent=1 bytes_in=50 "
              "bytes_out=40 connections=1");
    EXPECT_EQ(desk.run("reset statistics"), "ok");
    EXPECT_EQ(desk.run("statistics"), "ok commands=0 errors=0 faults=0 bytes_in=0 bytes_out=0 connections=0");
}

TEST_F(Desk, resetsOneThingOrAll)
{
    desk.run("set DM0=5");
    desk.run("cpu-error 7");
    desk.run("mode program");
    desk.run("fault late:5");
    EXPECT_EQ(desk.run("reset faults"), "ok");
    EXPECT_EQ(desk.run("faults"), "ok none");
    EXPECT_EQ(desk.run("get DM0"), "ok 00005");
    EXPECT_EQ(desk.run("reset memory"), "ok");
    EXPECT_EQ(desk.run("get DM0"), "ok 00000");
    EXPECT_EQ(bench.send("?E\r?M\r"), "000\r\n1\r\n");
    desk.run("set DM0=5");
    desk.run("fault late:5");
    EXPECT_EQ(desk.run("reset"), "ok");
    EXPECT_EQ(desk.run("get DM0"), "ok 00000");
    EXPECT_EQ(desk.run("faults"), "ok none");
}

TEST_F(Desk, setsModeAndError)
{
    EXPECT_EQ(desk.run("cpu-error 42"), "ok");
    EXPECT_EQ(desk.run("mode program"), "ok");
    EXPECT_EQ(bench.send("?E\r?M\r"), "042\r\n0\r\n");
    EXPECT_EQ(desk.run("mode run"), "ok");
    EXPECT_EQ(bench.send("?M\r"), "1\r\n");
    EXPECT_EQ(desk.run("cpu-error 999"), "ok");
    EXPECT_EQ(bench.send("?E\r"), "999\r\n");
}

TEST_F(Desk, protectsFromWrites)
{
    EXPECT_EQ(desk.run("write-protect on"), "ok");
    EXPECT_EQ(bench.send("WR DM0 5\rWRS DM0 1 5\rST R0\rRSS R0 2\rWR DM0 x\rRD DM0\rRD R0\r"),
              "E4\r\nE4\r\nE4\r\nE4\r\nE1\r\n00000\r\n0\r\n");
    EXPECT_EQ(desk.run("set DM0=7"), "ok"); // by hand it still works
    EXPECT_EQ(desk.run("write-protect off"), "ok");
    EXPECT_EQ(bench.send("RD DM0\rWR DM0 5\r"), "00007\r\nOK\r\n");
}

TEST_F(Desk, takesTheCpuItsProgram)
{
    EXPECT_EQ(bench.send("?M\r"), "1\r\n");
    EXPECT_EQ(desk.run("cpu-program missing"), "ok");
    EXPECT_EQ(bench.send("?M\rM1\r?M\rM0\r"), "0\r\nE2\r\n0\r\nOK\r\n");
    EXPECT_EQ(desk.run("reset memory"), "ok");
    EXPECT_EQ(bench.send("?M\r"), "0\r\n"); // nothing brings a missing program back
    EXPECT_EQ(desk.run("cpu-program present"), "ok");
    EXPECT_EQ(bench.send("M1\r?M\r"), "OK\r\n1\r\n");
}

TEST_F(Desk, keepsTheCpuFromRunningUntilItsErrorIsCleared)
{
    EXPECT_EQ(desk.run("cpu-error 42"), "ok");
    EXPECT_EQ(bench.send("M0\rM1\rRD DM0\rER\rM1\r"), "OK\r\nE5\r\n00000\r\nOK\r\nOK\r\n");
}

TEST_F(Desk, changesTheDelay)
{
    EXPECT_EQ(desk.run("delay 15"), "ok");
    EXPECT_EQ(bench.deliver("?K").steps, (std::vector<kvsim::Step>{{15, "57\r\n"}}));
    EXPECT_EQ(desk.run("delay tail:8:60:7"), "ok seed 7");
    EXPECT_EQ(desk.run("delay 0"), "ok");
    EXPECT_EQ(bench.deliver("?K").steps, (std::vector<kvsim::Step>{{0, "57\r\n"}}));
}

TEST_F(Desk, handsTheRestOn)
{
    for (const char *command : {"save", "save a b.json", "load c.json", "program d.txt", "program none",
                                "scan 50", "scan 0", "listen off", "listen on", "restart", "restart 1",
                                "restart 3600000", "scan 3600000", "disconnect", "stop"})
        EXPECT_EQ(desk.run(command), "ok") << command;
    EXPECT_EQ(done, "save ;save a b.json;load c.json;program d.txt;program ;scan 50;scan 0;listen off;listen "
                    "on;restart 1000;restart 1;restart 3600000;scan 3600000;disconnect;stop;");
}

TEST_F(Desk, passesProblemsOn)
{
    problem = "the disk\nis full";
    EXPECT_EQ(desk.run("save x"), "error: the disk is full");
}

TEST_F(Desk, listsItsCommands)
{
    const std::string help = desk.run("help");
    for (const char *word : {"fault FAULT", "faults", "clear", "get", "set", "statistics", "save", "load",
                             "reset", "scan", "mode", "cpu-error", "listen", "disconnect", "stop"})
        EXPECT_NE(help.find(word), std::string::npos) << word;
}

TEST_F(Desk, ignoresExtraSpacesAndCR)
{
    EXPECT_EQ(desk.run("  get   DM0   2 \r"), "ok 00000 00000");
}

// -------------------------------------------------------------------------------------------------
// Memory as JSON
// -------------------------------------------------------------------------------------------------

using kvsim::DeviceMemory;
using kvsim::Family;

TEST(MemoryFile, holdsWhatIsNotZero)
{
    Bench bench;
    bench.opened().send("ST R1002\rWR DM100 5\rWR W1F 6\rWR Z1.D 4294967295\rST T0\rWR TS0 9\rST B1F\r");
    const QByteArray json =
        kvsim::memoryToJson(bench.simulator.plc().memory(), "KV-8000").simplified().replace(" ", "");
    EXPECT_EQ(
        json.toStdString(),
        R"({"devices":{"B":{"10":32768},"DM":{"100":5},"R":{"1000":4},"T":{"0":{"contact":1,"current":0,"set":9}},)"
        R"("W":{"1F":6},"Z":{"1":4294967295}},"model":"KV-8000"})");
}

TEST(MemoryFile, comesBackWhole)
{
    Bench bench;
    bench.opened().send(
        "ST R199915\rSTS VB100 16\rWR DM65534 5\rWR ZF524287 6\rWRS Z1.D 2 1 2\rWR C3999 7\rST CTC3\r");
    for (int i = 0; i < 77; ++i)
        bench.simulator.plc().scan();
    QString problem;
    const auto loaded = kvsim::memoryFromJson(kvsim::memoryToJson(bench.simulator.plc().memory(), "x"),
                                              Family::Kv8000, problem);
    ASSERT_TRUE(loaded.has_value()) << problem.toStdString();
    EXPECT_TRUE(*loaded == bench.simulator.plc().memory());
}

struct JsonRow {
    const char *name;
    const char *json;
    const char *wrong; // part of the message
};

class WrongJson : public testing::TestWithParam<JsonRow>
{
};

TEST_P(WrongJson, isRefusedWithAReason)
{
    QString problem;
    EXPECT_FALSE(kvsim::memoryFromJson(GetParam().json, Family::Kv8000, problem).has_value());
    EXPECT_NE(problem.toStdString().find(GetParam().wrong), std::string::npos) << problem.toStdString();
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Rows, WrongJson, testing::Values(
    JsonRow{ "empty",         "",                                                      "not JSON" },
    JsonRow{ "cut",           R"({"devices": {"DM": )",                                "not JSON" },
    JsonRow{ "noDevices",     R"({"model": "KV-8000"})",                               "no \"devices\" object" },
    JsonRow{ "array",         "[1]",                                                   "no \"devices\" object" },
    JsonRow{ "unknownDevice", R"({"devices": {"QQ": {"0": 1}}})",                      "\"QQ\" is not a device" },
    JsonRow{ "setValueName",  R"({"devices": {"TS": {"0": 1}}})",                      "\"TS\" is not a device" },
    JsonRow{ "noObject",      R"({"devices": {"DM": 5}})",                             "\"DM\" is not an object" },
    JsonRow{ "badNumber",     R"({"devices": {"DM": {"1A": 1}}})",                     "\"1A\" is not a number of DM" },
    JsonRow{ "outOfRange",    R"({"devices": {"DM": {"65535": 1}}})",                  "\"65535\" is not a number of DM" },
    JsonRow{ "Z0",            R"({"devices": {"Z": {"0": 1}}})",                       "\"0\" is not a number of Z" },
    JsonRow{ "unaligned",     R"({"devices": {"R": {"1001": 1}}})",                    "\"1001\" is not a number of R" },
    JsonRow{ "tooLarge",      R"({"devices": {"DM": {"0": 65536}}})",                  "the value of DM0 does not fit" },
    JsonRow{ "negative",      R"({"devices": {"DM": {"0": -1}}})",                     "the value of DM0 does not fit" },
    JsonRow{ "fraction",      R"({"devices": {"DM": {"0": 1.5}}})",                    "the value of DM0 does not fit" },
    JsonRow{ "text",          R"({"devices": {"DM": {"0": "1"}}})",                    "the value of DM0 does not fit" },
    JsonRow{ "timerNumber",   R"({"devices": {"T": {"0": 1}}})",                       "the value of T0 does not fit" },
    JsonRow{ "timerContact2", R"({"devices": {"T": {"0": {"contact": 2, "current": 0, "set": 0}}}})", "the value of T0 does not fit" },
    JsonRow{ "secondBad",     R"({"devices": {"DM": {"0": 1, "1": -1}}})",             "the value of DM1 does not fit" }),
    [](const auto &row) { return std::string(row.param.name); });
// clang-format on

TEST(MemoryFile, saysWhichFileCannotBeReadOrWritten)
{
    DeviceMemory memory(Family::Kv8000);
    EXPECT_EQ(kvsim::loadMemory("/nonexistent/x.json", memory)
                  .toStdString()
                  .rfind("cannot load /nonexistent/x.json: ", 0),
              0U);
    EXPECT_EQ(kvsim::saveMemory("/nonexistent/x.json", memory, "x")
                  .toStdString()
                  .rfind("cannot save to /nonexistent/x.json: ", 0),
              0U);
}

} // namespace
