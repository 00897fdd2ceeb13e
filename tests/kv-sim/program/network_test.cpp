// SPDX-License-Identifier: MIT
// Networks and PLCs as they are in the field: lost and doubled datagrams, peers that vanish, limits
// of clients, silent connections that end, PLCs that restart.
#include "serial_client.h"
#include "udp_client.h"

#include <QElapsedTimer>

#include <gtest/gtest.h>

#include <cerrno>

namespace
{

class Network : public testing::Test
{
protected:
    void start(const QStringList &more)
    {
        sim = std::make_unique<SimProcess>(QStringList{"--tcp", "127.0.0.1:0", "--udp", "127.0.0.1:0",
                                                       "--control", "127.0.0.1:0", "--set", "DM0=1,2"} +
                                           more);
        ASSERT_TRUE(sim->isReady()) << sim->errors();
        control = std::make_unique<Client>(sim->port("control"));
    }

    std::unique_ptr<Client> opened() const
    {
        auto client = std::make_unique<Client>(sim->port("tcp"));
        EXPECT_EQ(client->ask("CR"), "CC");
        return client;
    }

    // Asked until the answer is the expected one.
    std::string controlUntil(const std::string &command, const std::string &part)
    {
        std::string answer;
        for (int i = 0; i < 100000 && answer.find(part) == std::string::npos; ++i)
            answer = control->ask(command);
        return answer;
    }

    std::unique_ptr<SimProcess> sim;
    std::unique_ptr<Client> control;
};

// -------------------------------------------------------------------------------------------------
// UDP
// -------------------------------------------------------------------------------------------------

TEST_F(Network, losesADatagram)
{
    start({"--fault", "lost next 1 cmd WR"});
    UdpClient line(sim->port("udp"));
    line.send("CR\r");
    EXPECT_EQ(line.datagram(), "CC\r\n");
    line.send("WR DM0 5\r");
    line.send("RD DM0\r");
    EXPECT_EQ(line.datagram(), "00001\r\n"); // of the read: the write never arrived
}

TEST_F(Network, doublesAnAnswerInTwoDatagrams)
{
    start({"--fault", "doubled next 1 cmd RD"});
    UdpClient line(sim->port("udp"));
    line.send("CR\r");
    EXPECT_EQ(line.datagram(), "CC\r\n");
    line.send("RD DM0\r");
    EXPECT_EQ(line.datagram(), "00001\r\n");
    EXPECT_EQ(line.datagram(), "00001\r\n");
}

TEST_F(Network, doublesARequest)
{
    start({"--fault", "twice next 1 cmd WR"});
    UdpClient line(sim->port("udp"));
    line.send("CR\r");
    EXPECT_EQ(line.datagram(), "CC\r\n");
    line.send("WR DM0 5\r");
    EXPECT_EQ(line.datagram(), "OK\r\n");
    EXPECT_EQ(line.datagram(), "OK\r\n");
}

TEST_F(Network, swapsTwoAnswers)
{
    start({"--fault", "overtaken:60000 next 1 cmd RD"});
    UdpClient line(sim->port("udp"));
    line.send("CR\r");
    EXPECT_EQ(line.datagram(), "CC\r\n");
    line.send("RD DM0\r");
    line.send("RD DM1\r");
    EXPECT_EQ(line.datagram(), "00002\r\n");
    EXPECT_EQ(line.datagram(), "00001\r\n");
}

TEST_F(Network, swapsEachPairOfAnswers)
{
    start({"--fault", "overtaken:60000 cmd RD"});
    UdpClient line(sim->port("udp"));
    line.send("CR\r");
    EXPECT_EQ(line.datagram(), "CC\r\n");
    for (int pair = 0; pair < 3; ++pair) {
        line.send("RD DM0\r");
        line.send("RD DM1\r");
        EXPECT_EQ(line.datagram(), "00002\r\n");
        EXPECT_EQ(line.datagram(), "00001\r\n");
    }
}

TEST_F(Network, sendsAnAnswerThatNothingOvertakes)
{
    start({"--fault", "overtaken:100 next 1 cmd RD"});
    const auto line = opened();
    QElapsedTimer clock;
    clock.start();
    EXPECT_EQ(line->ask("RD DM0"), "00001");
    EXPECT_GE(clock.elapsed(), 99);
}

// -------------------------------------------------------------------------------------------------
// Connections that end, or do not
// -------------------------------------------------------------------------------------------------

TEST_F(Network, leavesAConnectionWithoutAWord)
{
    start({"--fault", "vanish next 1 cmd RD"});
    const auto line = opened();
    line->send("RD DM0\rRD DM1\rCR\r");
    const auto beside = opened(); // others are served
    EXPECT_EQ(beside->ask("RD DM0"), "00001");
    line->send("RD DM0\r");
    EXPECT_EQ(beside->ask("RD DM1"), "00002");
    EXPECT_EQ(line->pending(), "");
    EXPECT_TRUE(line->isConnected());
}

TEST_F(Network, closesTheNewestOfTooManyClients)
{
    start({"--max-clients", "2"});
    const auto first = opened();
    const auto second = opened();
    RawClient third(sim->port("tcp"));
    int error = -1;
    EXPECT_EQ(third.untilEnd(error), "");
    EXPECT_EQ(error, 0);
    EXPECT_EQ(first->ask("RD DM0"), "00001");
    EXPECT_EQ(second->ask("RD DM0"), "00001");
}

TEST_F(Network, closesTheOldestOfTooManyClients)
{
    start({"--max-clients", "2:oldest"});
    const auto first = opened();
    const auto second = opened();
    const auto third = opened();
    EXPECT_EQ(first->untilEnd(), "");
    EXPECT_FALSE(first->isConnected());
    const auto fourth = opened();
    EXPECT_EQ(second->untilEnd(), "");
    EXPECT_EQ(third->ask("RD DM0"), "00001");
    EXPECT_EQ(fourth->ask("RD DM0"), "00001");
}

TEST_F(Network, takesAClientInThePlaceOfOneThatLeft)
{
    start({"--max-clients", "1:newest"});
    opened().reset();
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(control->ask("get DM0"), "ok 00001"); // by now kv-sim has seen it go
    const auto next = opened();
    EXPECT_EQ(next->ask("RD DM0"), "00001");
}

TEST_F(Network, closesASilentConnectionAndNoOther)
{
    start({"--idle-close", "2000"});
    const auto busy = opened();
    RawClient silent(sim->port("tcp"));
    QElapsedTimer clock;
    clock.start();
    while (clock.elapsed() < 2500) {
        ASSERT_EQ(busy->ask("RD DM0"), "00001");
        busy->socket().waitForReadyRead(20); // nothing more comes
    }
    int error = -1;
    EXPECT_EQ(silent.untilEnd(error), "");
    EXPECT_EQ(error, 0);
    EXPECT_EQ(busy->ask("RD DM1"), "00002");
    EXPECT_EQ(busy->untilEnd(), ""); // now it is silent too
    EXPECT_FALSE(busy->isConnected());
}

// -------------------------------------------------------------------------------------------------
// A PLC that restarts
// -------------------------------------------------------------------------------------------------

TEST_F(Network, restartsStepByStep)
{
    start({});
    const auto before = opened();
    UdpClient udp(sim->port("udp"));
    udp.send("CR\r");
    EXPECT_EQ(udp.datagram(), "CC\r\n");

    EXPECT_EQ(control->ask("restart 2000"), "ok"); // off: nobody listens, connections hear nothing
    EXPECT_FALSE(RawClient(sim->port("tcp")).isConnected());
    before->send("RD DM0\r");
    EXPECT_EQ(control->ask("get DM0"), "ok 00001");
    EXPECT_EQ(before->pending(), "");
    EXPECT_TRUE(before->isConnected());

    EXPECT_EQ(before->untilEnd(), ""); // up again: old connections are reset, new ones taken and not answered
    Client early(sim->port("tcp"));
    ASSERT_TRUE(early.isConnected());
    early.send("CR\r");
    EXPECT_EQ(control->ask("get DM0"), "ok 00001");
    EXPECT_EQ(early.pending(), "");

    std::string answer;                                // then refused, then served
    for (int i = 0; i < 1000 && answer != "E1"; ++i) { // of 10 ms each
        early.send("CR\r");
        early.socket().waitForReadyRead(10);
        answer = early.pending().substr(0, 2);
    }
    EXPECT_EQ(answer, "E1");
    QElapsedTimer clock;
    clock.start();
    while (answer != "CC" && clock.elapsed() < patienceMs)
        answer = early.ask("CR");
    EXPECT_EQ(answer, "CC");
    EXPECT_EQ(early.ask("RD DM0"), "00001"); // its memory is kept
    udp.send("RD DM0\r");
    EXPECT_EQ(udp.datagram(), "E1\r\n"); // links from before are closed
}

TEST_F(Network, startsWithWritesProtectedAndWithoutAProgram)
{
    start({"--write-protect", "--cpu-program", "missing"});
    const auto line = opened();
    EXPECT_EQ(line->ask("?M"), "0");
    EXPECT_EQ(line->ask("M1"), "E2");
    EXPECT_EQ(line->ask("WR DM0 5"), "E4");
    EXPECT_EQ(line->ask("RD DM0"), "00001");
}

TEST_F(Network, printsTheSeedOfItsDelays)
{
    start({"--delay", "tail:1:2"});
    EXPECT_NE(sim->output().find("delay seed "), std::string::npos) << sim->output();
    EXPECT_EQ(opened()->ask("RD DM0"), "00001");
}

} // namespace
