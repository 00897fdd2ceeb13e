// SPDX-License-Identifier: MIT
// kv-sim as a program: options, messages, exit codes, control connection, files, signals, trace.
#include "sim_process.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTcpServer>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <csignal>

namespace
{

struct UsageRow {
    const char *name;
    QStringList arguments;
    int code;
    const char *message; // part of it
};

class Usage : public testing::TestWithParam<UsageRow>
{
};

TEST_P(Usage, endsWithAMessage)
{
    SimProcess sim(GetParam().arguments);
    EXPECT_FALSE(sim.isReady());
    EXPECT_EQ(sim.exitCode(), GetParam().code);
    EXPECT_NE(sim.errors().find(GetParam().message), std::string::npos) << sim.errors();
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Rows, Usage, testing::Values(
    UsageRow{ "unknownOption",  {"--bogus"},                                        2, "--bogus" },
    UsageRow{ "noPort",         {"--tcp", "127.0.0.1"},                             2, "--tcp: '127.0.0.1' is not ADDR:PORT" },
    UsageRow{ "badPort",        {"--tcp", "127.0.0.1:65536"},                       2, "--tcp: '65536' is not a port" },
    UsageRow{ "badAddress",     {"--udp", "nowhere:0"},                             2, "--udp: 'nowhere' is not a numeric address" },
    UsageRow{ "bareIpv6",       {"--remote", "::1:0"},                              2, "--remote: '::1:0' is not ADDR:PORT" },
    UsageRow{ "badControl",     {"--control", ":80"},                               2, "--control: ':80' is not ADDR:PORT" },
    UsageRow{ "badModel",       {"--model", "KV-9"},                                2, "--model: KV-9 not in" },
    UsageRow{ "badOpen",        {"--open", "maybe"},                                2, "--open: maybe not in" },
    UsageRow{ "badDelay",       {"--delay", "soon"},                                2, "--delay: 'soon' is not a delay" },
    UsageRow{ "badJitter",      {"--delay", "5:"},                                  2, "--delay: '5:' is not a delay" },
    UsageRow{ "badTail",        {"--delay", "tail:8:7"},                            2, "--delay: 'tail:8:7' is not a delay" },
    UsageRow{ "noClients",      {"--max-clients", "0"},                             2, "--max-clients: '0' is not a limit" },
    UsageRow{ "manyClients",    {"--max-clients", "10001"},                         2, "--max-clients: '10001' is not a limit" },
    UsageRow{ "whichClient",    {"--max-clients", "4:any"},                         2, "--max-clients: '4:any' is not a limit" },
    UsageRow{ "idleZero",       {"--idle-close", "0"},                              2, "--idle-close" },
    UsageRow{ "badCpuProgram",  {"--cpu-program", "gone"},                          2, "--cpu-program: gone not in" },
    UsageRow{ "badCount",       {"--max-count", "QQ=5"},                            2, "--max-count: 'QQ=5' is neither N nor DEVICE=N" },
    UsageRow{ "zeroCount",      {"--max-count", "0"},                               2, "--max-count: '0' is neither N nor DEVICE=N" },
    UsageRow{ "hugeCount",      {"--max-count", "4294967296"},                      2, "--max-count: '4294967296' is neither N nor DEVICE=N" },
    UsageRow{ "manyPlcs",       {"--plcs", "257"},                                  2, "--plcs: Value 257 not in range 1 to 256" },
    UsageRow{ "lowBaud",        {"--baud", "109"},                                  2, "--baud: Value 109 not in range 110 to 4000000" },
    UsageRow{ "highBaud",       {"--baud", "4000001"},                              2, "--baud: Value 4000001 not in range 110 to 4000000" },
    UsageRow{ "noSilence",      {"--remote-silence", "0"},                          2, "--remote-silence: Value 0 not in range 1 to 60000" },
    UsageRow{ "longSilence",    {"--remote-silence", "60001"},                      2, "--remote-silence: Value 60001 not in range 1 to 60000" },
    UsageRow{ "longIdle",       {"--idle-close", "86400001"},                       2, "--idle-close: Value 86400001 not in range 1 to 86400000" },
    UsageRow{ "longScan",       {"--scan", "3600001"},                              2, "--scan: Value 3600001 not in range 1 to 3600000" },
    UsageRow{ "noCode",         {"--model-code", "0"},                              2, "--model-code: Value 0 not in range 1 to 99999" },
    UsageRow{ "longCode",       {"--model-code", "100000"},                         2, "--model-code: Value 100000 not in range 1 to 99999" },
    UsageRow{ "noDigits",       {"--error-digits", "0"},                            2, "--error-digits: Value 0 not in range 1 to 5" },
    UsageRow{ "manyDigits",     {"--error-digits", "6"},                            2, "--error-digits: Value 6 not in range 1 to 5" },
    UsageRow{ "largeError",     {"--cpu-error", "1000"},                            2, "--cpu-error: Value 1000 not in range 0 to 999" },
    UsageRow{ "badScan",        {"--scan", "0"},                                    2, "--scan" },
    UsageRow{ "badSet",         {"--tcp", "127.0.0.1:0", "--set", "DM1=x"},         2, "--set: 'x' is not a value for 'DM1'" },
    UsageRow{ "noSuchPlc",      {"--plcs", "2", "--set", "2/DM1=5"},                2, "--set: '2' is not a PLC (0 to 1)" },
    UsageRow{ "namelessPlc",    {"--set", "/DM1=5"},                                2, "--set: '' is not a PLC (0 to 0)" },
    UsageRow{ "noPlcs",         {"--plcs", "0"},                                    2, "--plcs" },
    UsageRow{ "plcsOnOneLine",  {"--plcs", "2", "--serial", "/tmp/plc"},            2, "--plcs cannot be combined with --serial or --save" },
    UsageRow{ "plcsInOneFile",  {"--plcs", "2", "--save", "/tmp/plc.json"},         2, "--plcs cannot be combined with --serial or --save" },
    UsageRow{ "plcsPastPorts",  {"--plcs", "3", "--tcp", "127.0.0.1:65534"},        2, "there are not that many ports from 65534 on" },
    UsageRow{ "badFault",       {"--tcp", "127.0.0.1:0", "--fault", "hello"},       2, "--fault: no fault is called 'hello'" },
    UsageRow{ "badLoad",        {"--tcp", "127.0.0.1:0", "--load", "/nonexistent"}, 3, "cannot load /nonexistent" },
    UsageRow{ "badSerial",      {"--serial", "/nonexistent/plc"},                   3, "cannot make a serial line at /nonexistent/plc" },
    UsageRow{ "foreignAddress", {"--tcp", "192.0.2.1:0"},                           3, "cannot listen on tcp 192.0.2.1:0" }),
    [](const auto &row) { return std::string(row.param.name); });
// clang-format on

TEST(Options, takeTheirSmallestAndLargestValues)
{
    const QTemporaryDir folder;
    const QString serial = folder.filePath("plc");
    SimProcess smallest({"--tcp",        "127.0.0.1:0", "--serial",         serial,
                         "--baud",       "110",         "--remote-silence", "1",
                         "--idle-close", "1",           "--scan",           "1",
                         "--model-code", "1",           "--error-digits",   "1",
                         "--cpu-error",  "0",           "--max-clients",    "1",
                         "--max-count",  "1",           "--plcs",           "1"});
    EXPECT_TRUE(smallest.isReady()) << smallest.errors();
    smallest.closeStdin();
    EXPECT_EQ(smallest.exitCode(), 0);
    SimProcess largest({"--tcp",       "127.0.0.1:0",      "--serial",     serial,          "--baud",
                        "4000000",     "--remote-silence", "60000",        "--idle-close",  "86400000",
                        "--scan",      "3600000",          "--model-code", "99999",         "--error-digits",
                        "5",           "--cpu-error",      "999",          "--max-clients", "10000",
                        "--max-count", "4294967295"});
    ASSERT_TRUE(largest.isReady()) << largest.errors();
    Client line(largest.port("tcp"));
    EXPECT_EQ(line.ask("CR"), "CC");
    EXPECT_EQ(line.ask("?K"), "99999");
    EXPECT_EQ(line.ask("?E"), "00999");
}

TEST(BusyPort, givesExitCode3)
{
    QTcpServer taken;
    ASSERT_TRUE(taken.listen(QHostAddress(QHostAddress::LocalHost), 0));
    const QString address = QString("127.0.0.1:%1").arg(taken.serverPort());
    for (const char *line : {"--tcp", "--remote", "--control"}) {
        SimProcess sim({line, address});
        EXPECT_EQ(sim.exitCode(), 3) << line;
        EXPECT_NE(sim.errors().find("cannot listen on"), std::string::npos) << sim.errors();
        EXPECT_NE(sim.errors().find(address.toStdString()), std::string::npos) << sim.errors();
    }
}

TEST(Help, saysWhatIsUnverified)
{
    SimProcess sim({"--help"});
    EXPECT_EQ(sim.exitCode(), 0);
    const std::string help = sim.output();
    for (const char *part : {"unverified", "--serial", "blackhole", "nc -C", "Exit codes"})
        EXPECT_NE(help.find(part), std::string::npos) << part;
}

TEST(Version, isPrinted)
{
    SimProcess sim({"--version"});
    EXPECT_EQ(sim.exitCode(), 0);
    EXPECT_EQ(sim.output().rfind("kv-sim 0.", 0), 0U) << sim.output();
}

TEST(End, bySignalIsCleanAndPrintsStatistics)
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        SimProcess sim({"--tcp", "127.0.0.1:0"});
        Client line(sim.port("tcp"));
        EXPECT_EQ(line.ask("CR"), "CC");
        EXPECT_EQ(line.ask("RDX"), "E1");
        sim.sendSignal(signal);
        EXPECT_EQ(sim.exitCode(), 0);
        EXPECT_EQ(
            sim.statistics(),
            "statistics commands=2 CR=1 other=1 errors=1 E1=1 faults=0 bytes_in=9 bytes_out=8 connections=1");
    }
}

TEST(End, byEndOfStdin)
{
    SimProcess sim({"--tcp", "127.0.0.1:0"});
    ASSERT_TRUE(sim.isReady());
    sim.closeStdin();
    EXPECT_EQ(sim.exitCode(), 0);
}

TEST(End, byControlCommandIsStillAnswered)
{
    SimProcess sim({"--control", "127.0.0.1:0", "--tcp", "127.0.0.1:0"});
    Client control(sim.port("control"));
    EXPECT_EQ(control.ask("stop"), "ok");
    EXPECT_EQ(sim.exitCode(), 0);
}

TEST(Plcs, haveMemoriesAndLinesOfTheirOwn)
{
    SimProcess sim(
        {"--plcs", "3", "--tcp", "127.0.0.1:0", "--set", "DM0=5", "--set", "1/DM0=6", "--set", "2/DM1=1,2"});
    ASSERT_TRUE(sim.isReady());
    Client first(sim.port("tcp", 0));
    Client second(sim.port("tcp", 1));
    Client third(sim.port("tcp", 2));
    EXPECT_EQ(first.ask("CR"), "CC");
    EXPECT_EQ(second.ask("RDS DM0 3"), "E1") << "another PLC's link has been opened, not this one";
    EXPECT_EQ(second.ask("CR"), "CC");
    EXPECT_EQ(third.ask("CR"), "CC");
    EXPECT_EQ(first.ask("WR DM2 7"), "OK");
    EXPECT_EQ(first.ask("RDS DM0 3"), "00005 00000 00007");
    EXPECT_EQ(second.ask("RDS DM0 3"), "00006 00000 00000");
    EXPECT_EQ(third.ask("RDS DM0 3"), "00005 00001 00002");
}

TEST(Control, setsGetsAndCounts)
{
    SimProcess sim(
        {"--control", "127.0.0.1:0", "--tcp", "127.0.0.1:0", "--set", "DM100=1,2,3", "--set", "R1000=1"});
    Client control(sim.port("control"));
    Client line(sim.port("tcp"));
    EXPECT_EQ(control.ask("get DM100 3"), "ok 00001 00002 00003");
    EXPECT_EQ(control.ask("set DM101=9"), "ok");
    EXPECT_EQ(line.ask("CR"), "CC");
    EXPECT_EQ(line.ask("RDS DM100 3"), "00001 00009 00003");
    EXPECT_EQ(line.ask("RD R1000"), "1");
    EXPECT_EQ(control.ask("statistics"),
              "ok commands=3 CR=1 RD=1 RDS=1 errors=0 faults=0 bytes_in=27 bytes_out=26 connections=1");
    EXPECT_EQ(control.ask("what"), "error: no command is called 'what'; 'help' lists them");
}

TEST(Control, endsALineThatIsTooLong)
{
    SimProcess sim({"--control", "127.0.0.1:0", "--tcp", "127.0.0.1:0"});
    Client control(sim.port("control"));
    control.send(std::string(70000, 'x'));
    EXPECT_EQ(control.line(), "error: this line is too long (65536 bytes at most)");
}

TEST(Control, refusesAndTakesConnectionsAgainOnTheSamePort)
{
    SimProcess sim({"--control", "127.0.0.1:0", "--tcp", "127.0.0.1:0"});
    Client control(sim.port("control"));
    Client line(sim.port("tcp"));
    EXPECT_EQ(line.ask("CR"), "CC");
    EXPECT_EQ(control.ask("listen off"), "ok");
    EXPECT_FALSE(RawClient(sim.port("tcp")).isConnected());
    EXPECT_EQ(line.ask("RD DM0"), "00000"); // what is connected stays
    EXPECT_EQ(control.ask("listen on"), "ok");
    EXPECT_TRUE(RawClient(sim.port("tcp")).isConnected());
}

TEST(Control, disconnectsEverybody)
{
    SimProcess sim({"--control", "127.0.0.1:0", "--tcp", "127.0.0.1:0"});
    Client control(sim.port("control"));
    RawClient raw(sim.port("tcp"));
    EXPECT_EQ(control.ask("get DM0"), "ok 00000");
    EXPECT_EQ(control.ask("disconnect"), "ok");
    int error = -1;
    EXPECT_EQ(raw.untilEnd(error), "");
    EXPECT_EQ(error, 0);
}

TEST(Files, keepTheMemoryFromOneRunToTheNext)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("plc.json");
    {
        SimProcess sim({"--tcp", "127.0.0.1:0", "--save", path});
        Client line(sim.port("tcp"));
        EXPECT_EQ(line.ask("CR"), "CC");
        EXPECT_EQ(line.ask("WRS DM100 2 5 6"), "OK");
        EXPECT_EQ(line.ask("ST T3"), "OK");
        sim.sendSignal(SIGTERM);
        EXPECT_EQ(sim.exitCode(), 0);
    }
    SimProcess sim({"--tcp", "127.0.0.1:0", "--load", path, "--set", "DM101=7"});
    Client line(sim.port("tcp"));
    EXPECT_EQ(line.ask("CR"), "CC");
    EXPECT_EQ(line.ask("RDS DM100 2"), "00005 00007");
    EXPECT_EQ(line.ask("RD T3"), "1,0000000000,0000000000");
}

TEST(Files, areWrittenAndReadOnDemand)
{
    const QTemporaryDir folder;
    const std::string path = folder.filePath("plc.json").toStdString();
    SimProcess sim({"--control", "127.0.0.1:0", "--tcp", "127.0.0.1:0", "--set", "DM0=5"});
    Client control(sim.port("control"));
    EXPECT_EQ(control.ask("save"), "error: no file is named, and kv-sim was started without --save");
    EXPECT_EQ(control.ask("save " + path), "ok");
    EXPECT_EQ(control.ask("set DM0=6"), "ok");
    EXPECT_EQ(control.ask("load " + path), "ok");
    EXPECT_EQ(control.ask("get DM0"), "ok 00005");
    EXPECT_EQ(control.ask("load /nonexistent").rfind("error: cannot load /nonexistent", 0), 0U);
    EXPECT_EQ(control.ask("save /nonexistent/x").rfind("error: cannot save to /nonexistent/x", 0), 0U);
}

TEST(Files, thatCannotBeSavedOnExitGiveExitCode3)
{
    SimProcess sim({"--tcp", "127.0.0.1:0", "--save", "/nonexistent/x"});
    sim.sendSignal(SIGTERM);
    EXPECT_EQ(sim.exitCode(), 3);
    EXPECT_NE(sim.errors().find("cannot save to /nonexistent/x"), std::string::npos) << sim.errors();
}

TEST(Scan, movesValues)
{
    SimProcess sim({"--tcp", "127.0.0.1:0", "--scan", "1"});
    Client line(sim.port("tcp"));
    EXPECT_EQ(line.ask("CR"), "CC");
    const std::string first = line.ask("RD DM0");
    std::string later = first;
    for (int i = 0; i < 10000 && later == first; ++i)
        later = line.ask("RD DM0");
    EXPECT_NE(later, first);
    EXPECT_EQ(line.ask("M0"), "OK");
    const std::string stopped = line.ask("RD DM0");
    for (int i = 0; i < 50; ++i)
        EXPECT_EQ(line.ask("RD DM0"), stopped);
}

TEST(Delay, comesBeforeEveryAnswer)
{
    SimProcess sim({"--tcp", "127.0.0.1:0", "--delay", "50:10"});
    Client line(sim.port("tcp"));
    QElapsedTimer clock;
    clock.start();
    EXPECT_EQ(line.ask("CR"), "CC");
    EXPECT_GE(clock.elapsed(), 49);
}

TEST(LineEnds, maySpareTheCR)
{
    SimProcess sim({"--tcp", "127.0.0.1:0", "--lf-ends-line"});
    Client line(sim.port("tcp"));
    line.send("CR\nRD DM0\n");
    EXPECT_EQ(line.receive(11), "CC\r\n00000\r\n");
}

TEST(Switches, reachTheProgram)
{
    SimProcess sim({"--tcp",          "127.0.0.1:0", "--open",       "never",
                    "--unaligned",    "--negative",  "wrap",         "--upper-only",
                    "--at-write",     "ok",          "--triple",     "blank",
                    "--max-count",    "2",           "--max-count",  "EM=1",
                    "--error-digits", "2",           "--cpu-error",  "7",
                    "--model",        "KV-N24",      "--model-code", "999"});
    Client line(sim.port("tcp"));
    EXPECT_EQ(line.ask("?K"), "999");
    EXPECT_EQ(line.ask("?E"), "07");
    EXPECT_EQ(line.ask("RD R1005.U"), "00000");
    EXPECT_EQ(line.ask("WR DM0.D -1"), "OK");
    EXPECT_EQ(line.ask("RDS DM0 2"), "65535 65535");
    EXPECT_EQ(line.ask("RDS DM0 3"), "E1");
    EXPECT_EQ(line.ask("ST B1af"), "E1");
    EXPECT_EQ(line.ask("RD T0"), "0 0000000000 0000000000");
    EXPECT_EQ(line.ask("RD EM0"), "E0");
    EXPECT_EQ(line.ask("RD DM32768"), "E0");
}

TEST(Trace, showsEachLineWithTimeAndConnection)
{
    SimProcess sim({"--tcp", "127.0.0.1:0", "--remote", "127.0.0.1:0", "--trace"});
    Client line(sim.port("tcp"));
    EXPECT_EQ(line.ask("CR"), "CC");
    line.send("RD\x01\r");
    EXPECT_EQ(line.line(), "E1");
    Client remote(sim.port("remote"));
    remote.send(QByteArray::fromHex("0000000002000A00000000000100000000000000000D").toStdString()); // DM0
    EXPECT_EQ(remote.line(), "00000");
    sim.sendSignal(SIGTERM);
    EXPECT_EQ(sim.exitCode(), 0);
    const std::string trace = sim.errors();
    for (const char *part :
         {" #1 - connected from 127.0.0.1:", " #1 > CR<CR>\n", " #1 < CC<CR><LF>\n", " #1 > RD<01><CR>\n",
          " #1 < E1<CR><LF>\n", " #2 > 00 00 00 00 02 00 0A 00 00 00 00 00 01 00 00 00 00 00 00 00 00 0D\n",
          " #2 < 00000<CR><LF>\n"})
        EXPECT_NE(trace.find(part), std::string::npos) << part << " in\n" << trace;
    EXPECT_EQ(trace[2], ':');
    EXPECT_EQ(trace[8], '.');
}

TEST(Ipv6, isServed)
{
    QTcpServer probe;
    if (!probe.listen(QHostAddress(QHostAddress::LocalHostIPv6), 0))
        GTEST_SKIP() << "no IPv6 here";
    SimProcess sim({"--tcp", "[::1]:0"});
    ASSERT_TRUE(sim.isReady()) << sim.errors();
    EXPECT_NE(sim.output().find("listening tcp [::1]:"), std::string::npos);
    QTcpSocket socket;
    socket.connectToHost(QHostAddress(QHostAddress::LocalHostIPv6), sim.port("tcp"));
    ASSERT_TRUE(socket.waitForConnected(patienceMs));
    socket.write("CR\r");
    ASSERT_TRUE(socket.waitForReadyRead(patienceMs));
    EXPECT_EQ(socket.readAll().toStdString(), "CC\r\n");
}

} // namespace
