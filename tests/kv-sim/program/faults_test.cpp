// SPDX-License-Identifier: MIT
// Every fault over a real connection, and counted.
#include "sim_process.h"

#include <QElapsedTimer>

#include <gtest/gtest.h>

#include <cerrno>

namespace
{

QStringList withFault(const char *fault)
{
    return {"--tcp", "127.0.0.1:0", "--control", "127.0.0.1:0", "--set", "DM0=1,2", "--fault", fault};
}

class Faulty : public testing::Test
{
protected:
    void start(const char *fault)
    {
        sim = std::make_unique<SimProcess>(withFault(fault));
        ASSERT_TRUE(sim->isReady()) << sim->errors();
        control = std::make_unique<Client>(sim->port("control"));
    }

    void connect()
    {
        line = std::make_unique<Client>(sim->port("tcp"));
        ASSERT_EQ(line->ask("CR"), "CC");
    }

    // "faults=2 silent=2" of the statistics.
    std::string done()
    {
        const std::string text = control->ask("statistics");
        const std::size_t at = text.find("faults=");
        return text.substr(at, text.find(" bytes_in") - at);
    }

    std::unique_ptr<SimProcess> sim;
    std::unique_ptr<Client> control;
    std::unique_ptr<Client> line;
};

TEST_F(Faulty, silent)
{
    start("silent next 2 cmd RDS");
    connect();
    line->send("RDS DM0 1\rRDS DM0 1\rRDS DM0 2\r");
    EXPECT_EQ(line->line(), "00001 00002");
    EXPECT_EQ(line->pending(), "");
    EXPECT_EQ(done(), "faults=2 silent=2");
}

TEST_F(Faulty, late)
{
    start("late:200 next 1 cmd RD");
    connect();
    QElapsedTimer clock;
    clock.start();
    EXPECT_EQ(line->ask("RD DM0"), "00001");
    EXPECT_GE(clock.elapsed(), 199);
    EXPECT_EQ(line->ask("RD DM0"), "00001");
    EXPECT_EQ(done(), "faults=1 late=1");
}

TEST_F(Faulty, lateBeyondTheAskersPatienceAnswersTheNextRequest)
{
    start("late:300 next 1 cmd RDS");
    connect();
    QElapsedTimer clock;
    clock.start();
    line->send("RDS DM0 2\r"); // the asker gives up at once ...
    line->send("RDS DM5 2\r");
    EXPECT_EQ(line->line(), "00001 00002"); // ... and takes the late answer for the one to this
    EXPECT_GE(clock.elapsed(), 299);
    EXPECT_EQ(line->line(), "00000 00000");
}

TEST_F(Faulty, lateHoldsUpNobodyElse)
{
    start("late:60000 next 1 cmd RD");
    connect();
    line->send("RD DM0\r");
    Client other(sim->port("tcp"));
    EXPECT_EQ(other.ask("CR"), "CC");
    EXPECT_EQ(other.ask("RD DM1"), "00002");
}

TEST_F(Faulty, error)
{
    start("error:E5 every 2 cmd WR");
    connect();
    EXPECT_EQ(line->ask("WR DM0 8"), "OK");
    EXPECT_EQ(line->ask("WR DM0 9"), "E5");
    EXPECT_EQ(line->ask("RD DM0"), "00008");
    EXPECT_EQ(done(), "faults=1 error=1");
}

struct BytesRow {
    const char *name;
    const char *fault;
    const char *received; // on "RDS DM0 2", whose answer is "00001 00002"
    const char *done;
};

class FaultyBytes : public Faulty, public testing::WithParamInterface<BytesRow>
{
};

TEST_P(FaultyBytes, arriveAsAsked)
{
    start(GetParam().fault);
    connect();
    line->send("RDS DM0 2\r");
    const std::string received = GetParam().received;
    EXPECT_EQ(line->receive(received.size()), received);
    EXPECT_EQ(line->ask("?K"), "57"); // nothing in between
    EXPECT_EQ(done(), GetParam().done);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Rows, FaultyBytes, testing::Values(
    BytesRow{ "short",   "short:6 next 1 cmd RDS",   "00001\r\n",                      "faults=1 short=1" },
    BytesRow{ "long",    "long:2 next 1 cmd RDS",    "00001 0000200\r\n",              "faults=1 long=1" },
    BytesRow{ "torn",    "torn:4 next 1 cmd RDS",    "0000",                           "faults=1 torn=1" },
    BytesRow{ "garbled", "garbled:3 next 1 cmd RDS", "00?01 00002\r\n",                "faults=1 garbled=1" },
    BytesRow{ "doubled", "doubled next 1 cmd RDS",   "00001 00002\r\n00001 00002\r\n", "faults=1 doubled=1" },
    BytesRow{ "foreign", "foreign next 1 cmd RDS",   "00000 00000\r\n",                "faults=1 foreign=1" },
    BytesRow{ "split",   "split next 1 cmd RDS",     "00001 00002\r\n",                "faults=1 split=1" },
    BytesRow{ "split1",  "split:1 next 1 cmd RDS",   "00001 00002\r\n",                "faults=1 split=1" },
    BytesRow{ "slow",    "slow:2 next 1 cmd RDS",    "00001 00002\r\n",                "faults=1 slow=1" }),
    [](const auto &row) { return std::string(row.param.name); });
// clang-format on

TEST_F(Faulty, slowTakesItsTime)
{
    start("slow:10 next 1 cmd RDS");
    connect();
    QElapsedTimer clock;
    clock.start();
    EXPECT_EQ(line->ask("RDS DM0 2"), "00001 00002");
    EXPECT_GE(clock.elapsed(), 128); // 13 bytes
    EXPECT_EQ(done(), "faults=1 slow=1");
}

TEST_F(Faulty, forget)
{
    start("forget next 1 cmd RD");
    connect();
    EXPECT_EQ(line->ask("RD DM0"), "E1");
    EXPECT_EQ(line->ask("RD DM0"), "E1");
    EXPECT_EQ(line->ask("CR"), "CC");
    EXPECT_EQ(line->ask("RD DM0"), "00001");
    EXPECT_EQ(done(), "faults=1 forget=1");
}

struct EndRow {
    const char *name;
    const char *fault;
    const char *received; // after "CC"
    int error;
    const char *done;
};

class FaultyEnd : public Faulty, public testing::WithParamInterface<EndRow>
{
};

TEST_P(FaultyEnd, endsTheConnection)
{
    start(GetParam().fault);
    RawClient raw(sim->port("tcp"));
    raw.send("CR\rRDS DM0 2\rRDS DM0 1\r");
    int error = -1;
    EXPECT_EQ(raw.untilEnd(error), std::string("CC\r\n") + GetParam().received);
    EXPECT_EQ(error, GetParam().error);
    EXPECT_EQ(done(), GetParam().done);
    connect(); // the next connection is served
    EXPECT_EQ(line->ask("RDS DM0 2"), "00001 00002");
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Rows, FaultyEnd, testing::Values(
    EndRow{ "closeBefore", "close:before next 1 cmd RDS", "",                0,          "faults=1 close=1" },
    EndRow{ "closeIn",     "close:in next 1 cmd RDS",     "00001 ",          0,          "faults=1 close=1" },
    EndRow{ "closeAfter",  "close:after next 1 cmd RDS",  "00001 00002\r\n", 0,          "faults=1 close=1" },
    EndRow{ "resetBefore", "reset:before next 1 cmd RDS", "",                ECONNRESET, "faults=1 reset=1" },
    EndRow{ "resetIn",     "reset:in next 1 cmd RDS",     "00001 ",          ECONNRESET, "faults=1 reset=1" },
    EndRow{ "resetAfter",  "reset:after next 1 cmd RDS",  "00001 00002\r\n", ECONNRESET, "faults=1 reset=1" }),
    [](const auto &row) { return std::string(row.param.name); });
// clang-format on

TEST_F(Faulty, refuse)
{
    start("refuse next 2");
    for (int i = 0; i < 2; ++i) {
        RawClient raw(sim->port("tcp"));
        int error = 0;
        EXPECT_EQ(raw.untilEnd(error), "");
        EXPECT_EQ(error, ECONNRESET);
    }
    connect();
    EXPECT_EQ(done(), "faults=2 refuse=2");
}

TEST_F(Faulty, blackhole)
{
    start("blackhole next 1");
    Client swallowed(sim->port("tcp"));
    ASSERT_TRUE(swallowed.isConnected());
    swallowed.send("CR\r");
    connect();
    EXPECT_EQ(swallowed.pending(), "");
    EXPECT_TRUE(swallowed.isConnected());
    EXPECT_EQ(done(), "faults=1 blackhole=1");
}

TEST_F(Faulty, second)
{
    start("second");
    connect();
    RawClient beside(sim->port("tcp"));
    int error = -1;
    EXPECT_EQ(beside.untilEnd(error), "");
    EXPECT_EQ(error, 0);
    EXPECT_EQ(line->ask("RD DM0"), "00001");
    EXPECT_EQ(done(), "faults=1 second=1");
}

TEST_F(Faulty, everyThirdOfMany)
{
    start("garbled:1 every 3 cmd RD dev DM1");
    connect();
    std::string pattern;
    for (int i = 0; i < 30; ++i) {
        pattern += line->ask("RD DM1") == "?0002" ? 'x' : '.';
        EXPECT_EQ(line->ask("RD DM0"), "00001"); // a fault never touches another device
    }
    EXPECT_EQ(pattern, "..x..x..x..x..x..x..x..x..x..x");
    EXPECT_EQ(done(), "faults=10 garbled=10");
}

TEST_F(Faulty, onAndOffOverTheControlConnection)
{
    start("silent next 1 cmd WRT");
    connect();
    EXPECT_EQ(control->ask("fault error:E2 cmd RD"), "ok 2 error:E2 cmd RD");
    EXPECT_EQ(line->ask("RD DM0"), "E2");
    EXPECT_EQ(control->ask("clear 2"), "ok");
    EXPECT_EQ(line->ask("RD DM0"), "00001");
    EXPECT_EQ(control->ask("faults"), "ok 1 silent next 1 cmd WRT, done 0");
}

TEST_F(Faulty, seedIsPrinted)
{
    start("silent prob 0.5");
    const std::string text = sim->output();
    EXPECT_NE(text.find("fault 1 silent prob 0.5 seed "), std::string::npos) << text;
}

} // namespace
