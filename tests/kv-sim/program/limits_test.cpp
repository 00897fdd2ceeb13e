// SPDX-License-Identifier: MIT
// What kv-sim bounds: unread answers, control lines, files and descriptors. A limit that is reached
// has a clear answer, and never holds up another line.
#include "serial_client.h"
#include "udp_client.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>

namespace
{

const QStringList tcpAndControl{"--tcp", "127.0.0.1:0", "--control", "127.0.0.1:0"};

// -------------------------------------------------------------------------------------------------
// Unread answers
// -------------------------------------------------------------------------------------------------

TEST(Serial, losesNothingWhenItsReaderIsSlow)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("plc");
    SimProcess sim({"--serial", path, "--control", "127.0.0.1:0"});
    ASSERT_TRUE(sim.isReady()) << sim.errors();
    SerialClient line(path);
    line.send("CR\r");
    EXPECT_EQ(line.receive(4), "CC\r\n");
    std::string expected;
    for (int i = 0; i < 50; ++i) {
        line.send("RDS DM0 1000\r");
        expected += std::string(5999, ' ') + "\r\n"; // 1000 times "00000", with spaces between
    }
    for (std::size_t at = 0; at < expected.size(); ++at)
        if (at % 6001 < 5999 && at % 6001 % 6 != 5)
            expected[at] = '0';
    Client control(sim.port("control"));
    while (control.ask("statistics").find("RDS=50 ") == std::string::npos) {
    }
    EXPECT_EQ(line.receive(expected.size()), expected);
    EXPECT_EQ(line.surplus(), "");
}

TEST(Serial, readsNoFurtherRequestsFromAClientThatNeverReads)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("plc");
    SimProcess sim({"--serial", path, "--control", "127.0.0.1:0"});
    ASSERT_TRUE(sim.isReady()) << sim.errors();
    SerialClient line(path);
    Client control(sim.port("control"));
    line.send("CR\r");
    line.setBlocking(false);
    for (int i = 0; i < 4000; ++i) // 24 MB of answers, if all were served
        line.send("RDS DM0 1000\r");
    const auto bytesOut = [&control] {
        const std::string text = control.ask("statistics");
        return std::stoull(text.substr(text.find("bytes_out=") + 10));
    };
    unsigned long long before = 0;
    for (int i = 0, unchanged = 0; i < 100000 && unchanged < 50; ++i) {
        const unsigned long long now = bytesOut();
        unchanged = now == before && now > 1024U * 1024 ? unchanged + 1 : 0;
        before = now;
    }
    EXPECT_GT(before, 1024U * 1024);     // the limit was reached,
    EXPECT_LT(before, 8U * 1024 * 1024); // and kept
    EXPECT_EQ(control.ask("get DM0"), "ok 00000");
}

TEST(Control, servesNoFurtherCommandsToAClientThatNeverReads)
{
    SimProcess sim(tcpAndControl);
    ASSERT_TRUE(sim.isReady()) << sim.errors();
    Client deaf(sim.port("control"));
    std::string sent;
    for (int i = 0; i < 500; ++i)
        sent += "get ZF0 524288\n"; // 3 MB each: 1.5 GB, if all were served
    deaf.send(sent);
    Client line(sim.port("tcp"));
    EXPECT_EQ(line.ask("CR"), "CC");
    Client control(sim.port("control"));
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(control.ask("get DM0"), "ok 00000");
    EXPECT_LT(sim.memoryKilobytes(), 100 * 1024);
}

TEST(Control, givesAllAnswersToAClientThatReadsLate)
{
    SimProcess sim(tcpAndControl);
    ASSERT_TRUE(sim.isReady()) << sim.errors();
    Client late(sim.port("control"));
    constexpr int commands = 50;
    std::string sent;
    for (int i = 0; i < commands; ++i)
        sent += "get DM0 60000\n";
    late.send(sent);
    constexpr std::size_t answer = 3 + 60000 * 6; // "ok ", and a space or the end after each value
    for (int i = 0; i < commands; ++i)
        ASSERT_EQ(late.receive(answer).size(), answer) << i;
    EXPECT_EQ(late.ask("get DM0"), "ok 00000");
}

// -------------------------------------------------------------------------------------------------
// Requests that wait behind one that takes its time
// -------------------------------------------------------------------------------------------------

unsigned long long bytesIn(Client &control)
{
    const std::string text = control.ask("statistics");
    return std::stoull(text.substr(text.find("bytes_in=") + 9));
}

// The count when it is the expected one, or the last of many.
unsigned long long bytesInWhen(Client &control, unsigned long long expected)
{
    unsigned long long count = 0;
    for (int i = 0; i < 1000 && count != expected; ++i)
        count = bytesIn(control);
    return count;
}

TEST(Udp, takes64KibibytesOfWaitingRequestsAndLosesTheNext)
{
    SimProcess sim({"--udp", "127.0.0.1:0", "--control", "127.0.0.1:0", "--open", "never", "--fault",
                    "late:60000 next 1"});
    Client control(sim.port("control"));
    UdpClient line(sim.port("udp"));
    line.send("?K\r");
    unsigned long long sent = 3;
    EXPECT_EQ(bytesInWhen(control, sent), sent);
    for (int i = 0; i < 64; ++i) {
        line.send(std::string(1024, 'x'));
        sent += 1024;
        ASSERT_EQ(bytesInWhen(control, sent), sent) << i;
    }
    line.send("x"); // one byte beyond
    UdpClient other(sim.port("udp"));
    other.send("?K\r");
    EXPECT_EQ(other.datagram(), "57\r\n"); // by now it has been looked at
    EXPECT_EQ(bytesIn(control), sent + 3);
}

std::string asked(UdpClient &line, const char *request)
{
    line.send(request);
    return line.datagram();
}

// Each has an address of the loopback network, since a port that was closed may be given again.
void openLinks(quint16 port, quint32 from, quint32 to)
{
    const quint32 firstAddress = QHostAddress(QStringLiteral("127.0.1.0")).toIPv4Address();
    for (quint32 i = from; i < to; ++i) {
        UdpClient line(port, QHostAddress(firstAddress + i));
        EXPECT_EQ(asked(line, "CR\r"), "CC\r\n") << i;
    }
}

TEST(Udp, remembers1024SendersAndForgetsTheOneThatWasSilentLongest)
{
    SimProcess sim({"--udp", "127.0.0.1:0"});
    UdpClient first(sim.port("udp"));
    UdpClient second(sim.port("udp"));
    EXPECT_EQ(asked(first, "CR\r"), "CC\r\n");
    EXPECT_EQ(asked(second, "CR\r"), "CC\r\n");
    openLinks(sim.port("udp"), 0, 1022);
    EXPECT_EQ(asked(first, "RD DM0\r"), "00000\r\n"); // with 1,024 senders
    openLinks(sim.port("udp"), 1022, 1023);
    EXPECT_EQ(asked(second, "RD DM0\r"), "E1\r\n"); // its link is forgotten
    EXPECT_EQ(asked(first, "RD DM0\r"), "00000\r\n");
}

TEST(Serial, leavesRequestsInTheTerminalUntilTheirTurn)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("plc");
    SimProcess sim({"--serial", path, "--control", "127.0.0.1:0", "--open", "never", "--fault",
                    "late:60000 next 1 cmd ?M"});
    ASSERT_TRUE(sim.isReady()) << sim.errors();
    SerialClient line(path);
    Client control(sim.port("control"));
    constexpr int requests = 50'000; // 150 KB, far more than a terminal holds
    std::string sent;
    std::string expected;
    for (int i = 0; i < requests; ++i) {
        sent += "?K\r";
        expected += "57\r\n";
    }
    line.send(sent);
    EXPECT_EQ(line.receive(expected.size()), expected);
    line.send("?M\r"); // takes its time
    line.setBlocking(false);
    for (int i = 0; i < 200; ++i) {
        line.send(std::string(1000, 'x'));
        EXPECT_EQ(control.ask("faults").substr(0, 5), "ok 1 ");
    }
    EXPECT_LE(bytesIn(control), sent.size() + 3 + 4096); // one portion
}

// -------------------------------------------------------------------------------------------------
// Control lines
// -------------------------------------------------------------------------------------------------

TEST(Control, answersACommandWithAZeroByteInOneLine)
{
    SimProcess sim(tcpAndControl);
    ASSERT_TRUE(sim.isReady()) << sim.errors();
    Client control(sim.port("control"));
    control.send(std::string("get\0DM0\n", 8) + "get DM0\n");
    EXPECT_EQ(control.line(), "error: no command is called 'get?DM0'; 'help' lists them");
    EXPECT_EQ(control.line(), "ok 00000");
}

TEST(Control, takesALineOfTheLimitAndRefusesALongerOne)
{
    SimProcess sim(tcpAndControl);
    ASSERT_TRUE(sim.isReady()) << sim.errors();
    Client control(sim.port("control"));
    control.send(std::string(64 * 1024 - 7, ' ') + "get DM0\n");
    EXPECT_EQ(control.line(), "ok 00000");
    control.send(std::string(64 * 1024 + 1, 'x'));
    EXPECT_EQ(control.line(), "error: this line is too long (65536 bytes at most)");
    EXPECT_EQ(control.untilEnd(), "");
}

TEST(Control, takes64ConnectionsAndRefusesTheNext)
{
    SimProcess sim(tcpAndControl);
    ASSERT_TRUE(sim.isReady()) << sim.errors();
    std::vector<std::unique_ptr<Client>> clients;
    for (int i = 0; i < 64; ++i) {
        clients.push_back(std::make_unique<Client>(sim.port("control")));
        ASSERT_EQ(clients.back()->ask("get DM0"), "ok 00000") << i;
    }
    Client refused(sim.port("control"));
    EXPECT_EQ(refused.line(), "error: there are 64 control connections already; close one first");
    EXPECT_EQ(refused.untilEnd(), "");
    clients.pop_back();
    EXPECT_EQ(clients.front()->ask("get DM0"), "ok 00000"); // by now kv-sim has seen it go
    Client again(sim.port("control"));
    EXPECT_EQ(again.ask("get DM0"), "ok 00000");
}

// -------------------------------------------------------------------------------------------------
// Files
// -------------------------------------------------------------------------------------------------

class LimitedFiles : public testing::Test
{
protected:
    LimitedFiles() : sim(tcpAndControl), control(sim.port("control")) {}

    const QTemporaryDir folder;
    SimProcess sim;
    Client control;
};

TEST_F(LimitedFiles, thatAreNoRegularFilesAreNotLoaded)
{
    const QString pipe = folder.filePath("pipe");
    ASSERT_EQ(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    for (const std::string &path :
         {pipe.toStdString(), std::string("/dev/zero"), folder.path().toStdString()})
        EXPECT_EQ(control.ask("load " + path), "error: cannot load " + path + ": it is not a regular file");
    for (const QString &path : {pipe, QString("/dev/zero")}) {
        SimProcess refused({"--tcp", "127.0.0.1:0", "--load", path});
        EXPECT_EQ(refused.exitCode(), 3);
    }
}

TEST_F(LimitedFiles, thatAreTooLargeAreNotLoaded)
{
    QFile large(folder.filePath("large"));
    ASSERT_TRUE(large.open(QIODevice::WriteOnly));
    ASSERT_TRUE(large.resize(qint64(64) * 1024 * 1024 + 1)); // a hole: it takes no space
    EXPECT_EQ(control.ask("load " + large.fileName().toStdString()),
              "error: cannot load " + large.fileName().toStdString() + ": it is larger than 64 MiB");
    ASSERT_TRUE(large.resize(qint64(64) * 1024 * 1024));
    const std::string answer = control.ask("load " + large.fileName().toStdString());
    EXPECT_NE(answer.find("not JSON"), std::string::npos) << answer;
}

// A recording of exactly 64 MiB: its first line, and spaces.
TEST_F(LimitedFiles, thatAreTooLargeAreNotReplayed)
{
    QFile file(folder.filePath("session.jsonl"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    QByteArray text("{\"event\":\"start\",\"format\":1,\"ms\":0}\n");
    text += QByteArray(64 * 1024 * 1024 - text.size(), ' ');
    ASSERT_EQ(file.write(text), text.size());
    file.flush();
    const QStringList arguments{"--tcp", "127.0.0.1:0", "--replay", file.fileName()};
    SimProcess largest(arguments);
    EXPECT_TRUE(largest.isReady()) << largest.errors();
    ASSERT_EQ(file.write(" "), 1);
    file.close();
    SimProcess beyond(arguments);
    EXPECT_EQ(beyond.exitCode(), 3);
    EXPECT_EQ(beyond.errors(),
              "kv-sim: --replay: " + file.fileName().toStdString() + ": it is larger than 64 MiB\n");
}

TEST_F(LimitedFiles, areNotSavedOverAnythingButARegularFile)
{
    const QString pipe = folder.filePath("pipe");
    ASSERT_EQ(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    EXPECT_EQ(control.ask("save " + pipe.toStdString()),
              "error: cannot save to " + pipe.toStdString() + ": it is not a regular file");
    EXPECT_FALSE(QFileInfo(pipe).isFile());
    EXPECT_EQ(control.ask("save " + folder.filePath("new").toStdString()), "ok");
    EXPECT_EQ(control.ask("save " + folder.filePath("new").toStdString()), "ok"); // over itself
}

// -------------------------------------------------------------------------------------------------
// Descriptors and the listen queue
// -------------------------------------------------------------------------------------------------

// The limit is one of their numbers, and new ones take the lowest that are free.
void leaveDescriptors(const SimProcess &sim, int count)
{
    const QDir open(QStringLiteral("/proc/%1/fd").arg(sim.processId()));
    const QStringList used = open.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
    int number = 0;
    for (int left = count; left > 0; ++number)
        left -= used.contains(QString::number(number)) ? 0 : 1;
    const rlimit limit{rlim_t(number), 4096};
    ASSERT_EQ(::prlimit(sim.processId(), RLIMIT_NOFILE, &limit, nullptr), 0);
}

using Clients = std::vector<std::unique_ptr<Client>>;

const std::vector<const char *> lineKinds{"tcp", "remote", "control"};

// A client on each line, and an answer to each.
Clients servedOnEachLine(const SimProcess &sim)
{
    Clients clients;
    for (const char *kind : lineKinds)
        clients.push_back(std::make_unique<Client>(sim.port(kind)));
    EXPECT_EQ(clients[0]->ask("CR"), "CC");
    clients[1]->send(QByteArray::fromHex("0000000002000A00000000000100000000000000000D").toStdString());
    EXPECT_EQ(clients[1]->line(), "00000");
    EXPECT_EQ(clients[2]->ask("get DM0"), "ok 00000");
    return clients;
}

TEST(Descriptors, whenUsedUpAreNoEndOfAccepting)
{
    SimProcess sim({"--tcp", "127.0.0.1:0", "--remote", "127.0.0.1:0", "--control", "127.0.0.1:0"});
    leaveDescriptors(sim, 6);
    Clients inside = servedOnEachLine(sim); // before others can take their place
    Clients many;
    for (const char *kind : lineKinds)
        for (int i = 0; i < 16; ++i)
            many.push_back(std::make_unique<Client>(sim.port(kind)));
    EXPECT_EQ(inside.front()->ask("CR"), "CC");
    const long long before = sim.processorTicks();
    EXPECT_FALSE(many.back()->socket().waitForReadyRead(1000));
    EXPECT_LT(sim.processorTicks() - before, 20); // of 100 a second: waiting costs next to nothing
    inside.clear();
    many.clear();
    servedOnEachLine(sim);
}

TEST(ListenQueue, holdsHundredsOfConnectionsThatComeAtOnce)
{
    SimProcess sim(tcpAndControl);
    ASSERT_TRUE(sim.isReady()) << sim.errors();
    sim.sendSignal(SIGSTOP); // it accepts nothing meanwhile
    std::vector<std::unique_ptr<QTcpSocket>> clients;
    for (int i = 0; i < 400; ++i) {
        clients.push_back(std::make_unique<QTcpSocket>());
        clients.back()->connectToHost(QHostAddress(QHostAddress::LocalHost), sim.port("tcp"));
    }
    EXPECT_TRUE(std::all_of(clients.begin(), clients.end(),
                            [](const auto &client) { return client->waitForConnected(patienceMs); }));
    sim.sendSignal(SIGCONT);
}

} // namespace
