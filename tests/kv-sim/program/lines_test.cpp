// SPDX-License-Identifier: MIT
// Every command row as literal bytes over a real socket, over UDP and over a real pseudo-terminal;
// segmentation; many connections; remote-area requests.
#include "command_rows.h"
#include "serial_client.h"
#include "udp_client.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>

namespace
{

const QStringList tcpAndControl{"--tcp", "127.0.0.1:0", "--control", "127.0.0.1:0"};

std::string setUpAnswers(const CommandRow &row, const std::string &lines)
{
    return row.setUp ? std::string(std::size_t(std::count(lines.begin(), lines.end(), '\r')), '.') : "";
}

// One row over a line: memory emptied, link opened, set up, asked.
template <typename Line>
void expectRow(const CommandRow &row, Line &line, Client &control)
{
    EXPECT_EQ(control.ask("reset memory"), "ok") << row.name;
    line.send("CR\r");
    EXPECT_EQ(line.receive(4), "CC\r\n") << row.name;
    const std::string setUp = setUpLines(row);
    line.send(setUp);
    line.receive(setUpAnswers(row, setUp).size() * 4); // all of them are two characters and CR LF
    line.send(row.sent);
    EXPECT_EQ(line.receive(std::string(row.received).size()), row.received) << row.name;
}

TEST(OverTcp, everyCommandIsAnswered)
{
    SimProcess sim(tcpAndControl);
    ASSERT_TRUE(sim.isReady()) << sim.errors();
    Client control(sim.port("control"));
    Client line(sim.port("tcp"));
    for (const CommandRow &row : commandRows()) {
        expectRow(row, line, control);
        EXPECT_EQ(line.pending(), "") << row.name;
    }
}

TEST(OverSerial, everyCommandIsAnswered)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("plc");
    SimProcess sim({"--serial", path, "--control", "127.0.0.1:0"});
    ASSERT_TRUE(sim.isReady()) << sim.errors();
    Client control(sim.port("control"));
    SerialClient line(path);
    ASSERT_TRUE(line.isOpen());
    for (const CommandRow &row : commandRows())
        expectRow(row, line, control);
    EXPECT_EQ(line.surplus(), "");
}

TEST(OverUdp, everyCommandIsAnswered)
{
    SimProcess sim({"--udp", "127.0.0.1:0", "--control", "127.0.0.1:0"});
    ASSERT_TRUE(sim.isReady()) << sim.errors();
    Client control(sim.port("control"));
    UdpClient line(sim.port("udp"));
    for (const CommandRow &row : commandRows())
        expectRow(row, line, control);
}

TEST(OverUdp, everySenderHasALinkOfItsOwn)
{
    SimProcess sim({"--udp", "127.0.0.1:0"});
    ASSERT_TRUE(sim.isReady()) << sim.errors();
    UdpClient first(sim.port("udp"));
    UdpClient second(sim.port("udp"));
    first.send("CR\rWR DM0 5\r");
    EXPECT_EQ(first.receive(8), "CC\r\nOK\r\n");
    second.send("RD DM0\r");
    EXPECT_EQ(second.receive(4), "E1\r\n");
    second.send("CR\r");
    EXPECT_EQ(second.receive(4), "CC\r\n");
    second.send("RD DM0\r");
    EXPECT_EQ(second.receive(7), "00005\r\n");
}

// -------------------------------------------------------------------------------------------------
// Segmentation
// -------------------------------------------------------------------------------------------------

const std::string talk = "CR\r\nWRS DM100.U 3 1 2 65535\r\nST B1af\rRDS DM100.U 3\r\nRD QQ0\r\n?K\r";
const std::string talkAnswers = "CC\r\nOK\r\nOK\r\n00001 00002 65535\r\nE0\r\n57\r\n";

// The control connection is asked in between: its answer says that the first part has been read.
TEST(Segmentation, atEveryPositionOverTcp)
{
    SimProcess sim(tcpAndControl);
    ASSERT_TRUE(sim.isReady()) << sim.errors();
    Client control(sim.port("control"));
    for (std::size_t cut = 1; cut < talk.size(); ++cut) {
        Client line(sim.port("tcp"));
        line.send(talk.substr(0, cut));
        EXPECT_EQ(control.ask("faults"), "ok none");
        line.send(talk.substr(cut));
        EXPECT_EQ(line.receive(talkAnswers.size()), talkAnswers) << "cut after byte " << cut;
        EXPECT_EQ(line.pending(), "");
    }
}

TEST(Segmentation, byteByByteOverTcp)
{
    SimProcess sim(tcpAndControl);
    ASSERT_TRUE(sim.isReady()) << sim.errors();
    Client control(sim.port("control"));
    Client line(sim.port("tcp"));
    for (const char byte : talk) {
        line.send(std::string(1, byte));
        EXPECT_EQ(control.ask("faults"), "ok none"); // the byte has been read meanwhile
    }
    EXPECT_EQ(line.receive(talkAnswers.size()), talkAnswers);
}

TEST(Segmentation, atEveryPositionOverSerial)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("plc");
    SimProcess sim({"--serial", path, "--control", "127.0.0.1:0"});
    ASSERT_TRUE(sim.isReady()) << sim.errors();
    Client control(sim.port("control"));
    SerialClient line(path);
    for (std::size_t cut = 1; cut < talk.size(); ++cut) {
        line.send(talk.substr(0, cut));
        EXPECT_EQ(control.ask("faults"), "ok none");
        line.send(talk.substr(cut));
        EXPECT_EQ(line.receive(talkAnswers.size()), talkAnswers) << "cut after byte " << cut;
    }
}

TEST(Segmentation, manyCommandsInOnePacket)
{
    SimProcess sim(tcpAndControl);
    ASSERT_TRUE(sim.isReady()) << sim.errors();
    Client line(sim.port("tcp"));
    std::string sent = "CR\r\n";
    std::string expected = "CC\r\n";
    for (int i = 0; i < 5000; ++i) {
        sent += "WR DM0 " + std::to_string(i) + "\r\nRD DM0\r\n";
        std::string digits = std::to_string(i);
        expected += "OK\r\n" + std::string(5 - digits.size(), '0') + digits + "\r\n";
    }
    line.send(sent);
    EXPECT_EQ(line.receive(expected.size()), expected);
}

TEST(LongLine, isThrownAwayOverTcp)
{
    SimProcess sim(tcpAndControl);
    ASSERT_TRUE(sim.isReady()) << sim.errors();
    Client line(sim.port("tcp"));
    EXPECT_EQ(line.ask("CR"), "CC");
    EXPECT_EQ(line.ask("RD " + std::string(200000, 'A')), "E1");
    EXPECT_EQ(line.ask("RD DM0"), "00000");
}

// -------------------------------------------------------------------------------------------------
// Connections
// -------------------------------------------------------------------------------------------------

TEST(Connections, sixtyFourAtOnce)
{
    SimProcess sim(tcpAndControl);
    ASSERT_TRUE(sim.isReady()) << sim.errors();
    std::vector<std::unique_ptr<Client>> clients;
    for (int i = 0; i < 64; ++i)
        clients.push_back(std::make_unique<Client>(sim.port("tcp")));
    for (const auto &client : clients)
        client->send("CR\r");
    for (const auto &client : clients)
        ASSERT_EQ(client->receive(4), "CC\r\n");
    for (int i = 0; i < 64; ++i)
        clients[std::size_t(i)]->send("WR DM" + std::to_string(i) + " " + std::to_string(100 + i) + "\r");
    for (const auto &client : clients)
        ASSERT_EQ(client->receive(4), "OK\r\n");
    for (int i = 0; i < 64; ++i) // each reads what its neighbour wrote
        EXPECT_EQ(clients[std::size_t((i + 1) % 64)]->ask("RD DM" + std::to_string(i)),
                  "00" + std::to_string(100 + i));
}

TEST(Connections, haveLinksOfTheirOwnAndOneMemory)
{
    SimProcess sim({"--tcp", "127.0.0.1:0", "--tcp", "127.0.0.1:0"});
    ASSERT_TRUE(sim.isReady()) << sim.errors();
    ASSERT_NE(sim.port("tcp", 0), sim.port("tcp", 1));
    Client first(sim.port("tcp", 0));
    Client second(sim.port("tcp", 1));
    Client third(sim.port("tcp", 1));
    EXPECT_EQ(first.ask("CR"), "CC");
    EXPECT_EQ(second.ask("RD DM0"), "E1");
    EXPECT_EQ(second.ask("CR"), "CC");
    EXPECT_EQ(third.ask("RD DM0"), "E1");
    EXPECT_EQ(first.ask("WR DM0 7"), "OK");
    EXPECT_EQ(second.ask("RD DM0"), "00007");
    EXPECT_EQ(second.ask("CQ"), "CF");
    EXPECT_EQ(first.ask("RD DM0"), "00007");
}

TEST(Connections, thatDoNotReadHoldUpNobodyAndLoseNothing)
{
    SimProcess sim(tcpAndControl);
    ASSERT_TRUE(sim.isReady()) << sim.errors();
    Client deaf(sim.port("tcp"));
    EXPECT_EQ(deaf.ask("CR"), "CC");
    constexpr std::size_t requests = 4000; // 24 MB of answers, more than sockets hold
    std::string sent;
    for (std::size_t i = 0; i < requests; ++i)
        sent += "RDS DM0 1000\r";
    deaf.send(sent);
    Client other(sim.port("tcp"));
    EXPECT_EQ(other.ask("CR"), "CC");
    Client control(sim.port("control"));
    unsigned long long unread = 0;
    for (int i = 0, unchanged = 0; i < 100000 && unchanged < 50; ++i) {
        const std::string text = control.ask("statistics");
        const unsigned long long now = std::stoull(text.substr(text.find("bytes_out=") + 10));
        unchanged = now == unread && now > 1024U * 1024 ? unchanged + 1 : 0;
        unread = now;
    }
    EXPECT_LT(unread, 16U * 1024 * 1024); // what the sockets hold, and 1 MiB
    std::string answer;
    for (std::size_t i = 0; i < requests; ++i) {
        answer = deaf.receive(6001);
        ASSERT_EQ(answer.size(), 6001U) << "answer " << i;
        ASSERT_EQ(answer.substr(5994), "00000\r\n");
    }
    EXPECT_EQ(deaf.ask("?K"), "57");
}

TEST(Connections, mayLeaveBeforeTheirAnswer)
{
    SimProcess sim({"--tcp", "127.0.0.1:0", "--delay", "20"});
    ASSERT_TRUE(sim.isReady()) << sim.errors();
    for (int i = 0; i < 20; ++i)
        RawClient(sim.port("tcp")).send("CR\rRD DM0\r");
    Client line(sim.port("tcp"));
    EXPECT_EQ(line.ask("CR"), "CC");
    sim.sendSignal(SIGTERM);
    EXPECT_EQ(sim.exitCode(), 0);
    EXPECT_EQ(sim.errors(), "");
}

TEST(Connections, mayEndInTheMiddleOfALine)
{
    SimProcess sim(tcpAndControl);
    ASSERT_TRUE(sim.isReady()) << sim.errors();
    for (int i = 0; i < 20; ++i) {
        Client line(sim.port("tcp"));
        line.send("CR\rRD D");
    }
    Client line(sim.port("tcp"));
    EXPECT_EQ(line.ask("CR"), "CC");
}

TEST(Serial, keepsItsLinkOverClients)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("plc");
    SimProcess sim({"--serial", path});
    ASSERT_TRUE(sim.isReady()) << sim.errors();
    {
        SerialClient first(path);
        first.send("CR\r");
        EXPECT_EQ(first.receive(4), "CC\r\n");
    }
    SerialClient second(path);
    second.send("RD DM0\r");
    EXPECT_EQ(second.receive(7), "00000\r\n");
}

TEST(Serial, leavesNoLinkBehind)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("plc");
    SimProcess sim({"--serial", path});
    ASSERT_TRUE(QFileInfo(path).isSymLink());
    sim.sendSignal(SIGTERM);
    EXPECT_EQ(sim.exitCode(), 0);
    EXPECT_FALSE(QFileInfo(path).isSymLink());
}

TEST(Serial, replacesAnOldLinkButNothingElse)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("plc");
    ASSERT_TRUE(QFile::link("/dev/nonexistent", path));
    SimProcess sim({"--serial", path});
    EXPECT_TRUE(sim.isReady()) << sim.errors();

    const QString file = folder.filePath("file");
    QFile(file).open(QIODevice::WriteOnly);
    SimProcess refused({"--serial", file});
    EXPECT_EQ(refused.exitCode(), 3);
    EXPECT_NE(refused.errors().find("something is there already"), std::string::npos) << refused.errors();
    EXPECT_TRUE(QFileInfo::exists(file));
}

TEST(Serial, takesItsTimeAtALowSpeed)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("plc");
    SimProcess sim({"--serial", path, "--baud", "1100"}); // 10 ms a byte
    ASSERT_TRUE(sim.isReady()) << sim.errors();
    SerialClient line(path);
    QElapsedTimer clock;
    clock.start();
    line.send("CR\r");
    EXPECT_EQ(line.receive(4), "CC\r\n");
    EXPECT_GE(clock.elapsed(), 68); // 3 bytes in and 4 out, 2 ms less for the timers
    clock.restart();
    line.send("RDS DM0 4\r");
    EXPECT_EQ(line.receive(25), "00000 00000 00000 00000\r\n");
    EXPECT_GE(clock.elapsed(), 348); // 10 bytes in and 25 out
    EXPECT_LT(clock.elapsed(), 3000);
}

// -------------------------------------------------------------------------------------------------
// Remote-area requests
// -------------------------------------------------------------------------------------------------

std::string bytes(const char *hex)
{
    return QByteArray::fromHex(hex).toStdString();
}

const char *const writeDm100 =
    "1A 00 01 00 02 00 0A 00 00 00 64 00 02 00 00 00 00 00 00 00 00 01 00 02 00 90";
const char *const readDm100 = "00 00 00 00 02 00 0A 00 00 00 64 00 03 00 00 00 00 00 00 00 00 73";

TEST(Remote, sharesTheMemory)
{
    SimProcess sim({"--remote", "127.0.0.1:0", "--tcp", "127.0.0.1:0"});
    ASSERT_TRUE(sim.isReady()) << sim.errors();
    Client remote(sim.port("remote"));
    Client line(sim.port("tcp"));
    remote.send(bytes(writeDm100));
    EXPECT_EQ(remote.receive(4), "OK\r\n");
    EXPECT_EQ(line.ask("CR"), "CC");
    EXPECT_EQ(line.ask("RDS DM100 3"), "00001 00002 00000");
    EXPECT_EQ(line.ask("WR DM102 65535"), "OK");
    remote.send(bytes(readDm100));
    EXPECT_EQ(remote.receive(19), "00001 00002 65535\r\n");
}

TEST(Remote, refusesABrokenRequestAndGoesOn)
{
    SimProcess sim({"--remote", "127.0.0.1:0", "--remote-silence", "50", "--control", "127.0.0.1:0"});
    ASSERT_TRUE(sim.isReady()) << sim.errors();
    Client remote(sim.port("remote"));
    std::string broken = bytes(writeDm100);
    broken.back() = '\x00';
    remote.send(broken);
    EXPECT_EQ(remote.receive(4), "E1\r\n");
    remote.send(bytes(writeDm100).substr(0, 20)); // never finished
    EXPECT_EQ(remote.receive(4), "E1\r\n");
    remote.send(bytes(readDm100));
    EXPECT_EQ(remote.receive(19), "00000 00000 00000\r\n");
}

TEST(Remote, joinsSegmentsAtEveryPosition)
{
    SimProcess sim({"--remote", "127.0.0.1:0", "--remote-silence", "5000", "--control", "127.0.0.1:0"});
    ASSERT_TRUE(sim.isReady()) << sim.errors();
    Client control(sim.port("control"));
    Client remote(sim.port("remote"));
    const std::string both = bytes(writeDm100) + bytes(readDm100);
    for (std::size_t cut = 1; cut < both.size(); ++cut) {
        remote.send(both.substr(0, cut));
        EXPECT_EQ(control.ask("faults"), "ok none");
        remote.send(both.substr(cut));
        EXPECT_EQ(remote.receive(23), "OK\r\n00001 00002 00000\r\n") << "cut after byte " << cut;
    }
}

} // namespace
