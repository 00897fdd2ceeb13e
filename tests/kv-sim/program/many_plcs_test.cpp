// SPDX-License-Identifier: MIT
// Many PLCs in one process: one control connection for all, and what they cost.
#include "sim_process.h"

#include <QElapsedTimer>

#include <gtest/gtest.h>

namespace
{

class ManyPlcs : public testing::Test
{
protected:
    void start(int plcs, const QStringList &more = {})
    {
        sim = std::make_unique<SimProcess>(QStringList{"--plcs", QString::number(plcs), "--tcp",
                                                       "127.0.0.1:0", "--control-all", "127.0.0.1:0"} +
                                           more);
        ASSERT_TRUE(sim->isReady()) << sim->errors();
        control = std::make_unique<Client>(sim->port("control-all"));
    }

    std::unique_ptr<SimProcess> sim;
    std::unique_ptr<Client> control;
};

TEST_F(ManyPlcs, areControlledOverOneConnection)
{
    start(3);
    EXPECT_EQ(control->ask("2/set DM0=5"), "ok");
    EXPECT_EQ(control->ask("2/get DM0"), "ok 00005");
    EXPECT_EQ(control->ask("*/get DM0"), "ok 0: 00000; 1: 00000; 2: 00005");
    EXPECT_EQ(control->ask("*/set DM0=7"), "ok");
    EXPECT_EQ(control->ask("*/get DM0"), "ok 00007");
    EXPECT_EQ(control->ask("1/fault silent next 1"), "ok 1 silent next 1");
    EXPECT_EQ(control->ask("*/faults"), "ok 0: none; 1: 1 silent next 1, done 0; 2: none");
}

TEST_F(ManyPlcs, areNamedInEveryCommand)
{
    start(3);
    EXPECT_EQ(control->ask("get DM0"), "error: which PLC? 0/get is for PLC 0, */get for all 3");
    EXPECT_EQ(control->ask("load /tmp/x"), "error: which PLC? 0/load is for PLC 0, */load for all 3");
    EXPECT_EQ(control->ask("3/get DM0"), "error: '3' is not a PLC (0 to 2, or * for all)");
    EXPECT_EQ(control->ask("x/get DM0"), "error: 'x' is not a PLC (0 to 2, or * for all)");
    EXPECT_EQ(control->ask("/get DM0"), "error: '' is not a PLC (0 to 2, or * for all)");
    EXPECT_EQ(control->ask("1/"), "error: no command is called ''; 'help' lists them");
    EXPECT_EQ(control->ask("*/set DM0=x"), "error: 'x' is not a value for 'DM0' (PLC 0)");
    EXPECT_EQ(control->ask("help").substr(0, 8), "ok fault");
    EXPECT_EQ(control->ask("stop"), "ok");
    EXPECT_EQ(sim->exitCode(), 0);
}

// A PLC's answer to n words has 3 + 6n - 1 bytes: "ok ", and a space between values of 5 digits.
TEST_F(ManyPlcs, giveUpTo16MebibytesInOneAnswer)
{
    start(6);
    EXPECT_EQ(control->ask("*/get ZF0 466033").size(), 3U + 466033 * 6 - 1); // 16,777,200 of 16,777,216
    EXPECT_EQ(control->ask("*/get ZF0 466034"),
              "error: the answers of all PLCs are longer than 16 MiB; ask for fewer values, or one PLC at a "
              "time");
    EXPECT_EQ(control->ask("5/get ZF0 524288").size(), 3U + 524288 * 6 - 1);
}

TEST_F(ManyPlcs, mayBeOnlyOne)
{
    start(1);
    EXPECT_EQ(control->ask("get DM0"), "ok 00000");
    EXPECT_EQ(control->ask("0/get DM0"), "ok 00000");
    EXPECT_EQ(control->ask("1/get DM0"), "error: '1' is not a PLC (0 to 0, or * for all)");
}

// Each has a connection and values of its own, as in use. An optimised build stays below 20 MB.
TEST_F(ManyPlcs, of256TakeLittleMemory)
{
    QElapsedTimer clock;
    clock.start();
    start(256);
    EXPECT_LT(clock.elapsed(), 5000); // 20 ms on an idle machine
    std::vector<std::unique_ptr<Client>> clients;
    for (int plc = 0; plc < 256; ++plc) {
        clients.push_back(std::make_unique<Client>(sim->port("tcp", plc)));
        ASSERT_EQ(clients.back()->ask("CR"), "CC");
        ASSERT_EQ(clients.back()->ask("WR DM100 " + std::to_string(plc)), "OK");
        ASSERT_EQ(clients.back()->ask("ST R1000"), "OK");
    }
    EXPECT_EQ(control->ask("255/get DM100"), "ok 00255");
#ifndef __SANITIZE_ADDRESS__
    EXPECT_LT(sim->memoryKilobytes(), 40 * 1024);
#endif
}

TEST_F(ManyPlcs, takeTheirMemoryOnlyForWhatIsSet)
{
    start(1);
    const long long before = sim->memoryKilobytes();
    EXPECT_EQ(control->ask("set ZF524287=1"), "ok");
    EXPECT_EQ(control->ask("set VM589823=1"), "ok");
    EXPECT_EQ(control->ask("get ZF524287"), "ok 00001");
    EXPECT_LT(sim->memoryKilobytes() - before, 512);
}

} // namespace
