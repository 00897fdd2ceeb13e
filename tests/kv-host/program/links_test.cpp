// SPDX-License-Identifier: MIT
// Links that break in every way, answers that are wrong in every way: values flow again by
// themselves, and nothing wrong is ever shown as good.
#include "host_process.h"
#include "simulated_plc.h"

#include <gtest/gtest.h>

#include <QMap>
#include <QNetworkInterface>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>

namespace
{

// Everything that was shown as good is one of the values that the place really had.
void expectOnlyTruth(const QByteArray &csv, const QMap<QByteArray, QList<QByteArray>> &truth)
{
    int good = 0;
    for (const CsvRow &row : rowsOf(csv)) {
        if (row.quality != "good")
            continue;
        ++good;
        EXPECT_TRUE(truth.value(row.name).contains(row.value))
            << row.name.toStdString() << "=" << row.value.toStdString();
    }
    EXPECT_GT(good, 0);
}

// --- web proxies ---

QString addressOfThisMachine()
{
    for (const QHostAddress &address : QNetworkInterface::allAddresses()) {
        if (address.protocol() == QAbstractSocket::IPv4Protocol && !address.isLoopback())
            return address.toString();
    }
    return {};
}

// Engineers' computers have one set up for the web; a PLC is not behind it.
TEST(Proxies, areNotAskedForThePlc)
{
    const QString address = addressOfThisMachine();
    if (address.isEmpty())
        GTEST_SKIP() << "this machine has no address but the loopback's, for which nobody asks a proxy";
    const SimProcess simulator({"--tcp", address + ":0", "--udp", address + ":0", "--set", "DM0=5"});
    for (const char *kind : {"tcp", "udp"}) {
        const QString url = QStringLiteral("%1://%2:%3").arg(kind, address).arg(simulator.port(kind));
        const Ended r = run({"--plc", url, "-q", "read", "DM0"},
                            {"http_proxy=http://127.0.0.1:9", "all_proxy=http://127.0.0.1:9"});
        EXPECT_EQ(r.out.toStdString(), "5\n") << kind << ": " << r.err.toStdString();
    }
}

// --- broken links ---

struct LinkRow {
    const char *row;
    const char *url;
    QList<QByteArray> breaks; // control commands that break the link
    QList<QByteArray> heals = {};
    int longestMs = 5000; // from then on
};

class LinkMatrix : public testing::TestWithParam<LinkRow>
{
};

TEST_P(LinkMatrix, valuesFlowAgainByThemselves)
{
    const QTemporaryDir folder;
    SimulatedPlc plc({"--set", "DM100=11", "--set", "EM100=22"}, folder.filePath("tty"));
    HostProcess watch({"--plc", plc.url(GetParam().url), "--timeout", "200ms", "--format", "csv", "watch",
                       "DM100", "EM100", "--every", "40ms"});
    ASSERT_TRUE(watch.prints(",DM100,11,,good,\n")) << watch.err().toStdString();
    ASSERT_TRUE(watch.prints(",EM100,22,,good,\n"));
    for (const QByteArray &command : GetParam().breaks)
        plc.control(command);
    if (!GetParam().heals.isEmpty()) {
        EXPECT_TRUE(watch.prints(",DM100,,,bad,no link")); // at once, and never an old value as good
        for (const QByteArray &command : GetParam().heals)
            plc.control(command);
    }
    plc.control("set DM100=77");
    EXPECT_TRUE(watch.prints(",DM100,77,,good,\n", GetParam().longestMs)) << watch.err().toStdString();
    watch.kill(SIGTERM);
    EXPECT_GE(watch.end(2000), 0);
    expectOnlyTruth(watch.out(), {{"DM100", {"11", "77"}}, {"EM100", {"22"}}});
}

const LinkRow linkRows[] = {
    {"disconnected", "tcp", {"disconnect"}},
    {"refused", "tcp", {"fault refuse times 2", "disconnect"}},
    {"notListening", "tcp", {"listen off", "disconnect"}, {"listen on"}},
    {"silent", "tcp", {"fault silent times 2"}},
    {"blackHole", "tcp", {"fault blackhole times 1", "disconnect"}},
    {"resetBefore", "tcp", {"fault reset:before times 2"}},
    {"resetIn", "tcp", {"fault reset:in times 2"}},
    {"resetAfter", "tcp", {"fault reset:after times 2"}},
    {"closedBefore", "tcp", {"fault close:before times 2"}},
    {"closedIn", "tcp", {"fault close:in times 2"}},
    {"closedAfter", "tcp", {"fault close:after times 2"}},
    {"forgotten", "tcp", {"fault forget times 1"}},
    {"udpSilent", "udp", {"fault silent times 2"}},
    {"udpTorn", "udp", {"fault torn times 2"}},
    {"serialSilent", "serial", {"fault silent times 2"}},
    {"serialTorn", "serial", {"fault torn times 2"}},
    {"serialForgotten", "serial", {"fault forget times 1"}},
};

INSTANTIATE_TEST_SUITE_P(Rows, LinkMatrix, testing::ValuesIn(linkRows),
                         [](const auto &row) { return std::string(row.param.row); });

// --- wrong answers ---

struct AnswerRow {
    const char *row;
    const char *fault; // strikes again and again, every few answers
};

class WrongAnswers : public testing::TestWithParam<std::tuple<AnswerRow, const char *>>
{
};

// Four places of one length each: an answer that is stored under another device would be seen.
TEST_P(WrongAnswers, storeNothingUnderAnotherDevice)
{
    const auto &[row, kind] = GetParam();
    const QTemporaryDir folder;
    const SimulatedPlc plc(
        {"--set", "DM0=11", "--set", "EM0=22", "--set", "FM0=33", "--set", "W0=44", "--fault", row.fault},
        folder.filePath("tty"));
    const Ended r = run({"--plc", plc.url(kind), "--timeout", "80ms", "--format", "csv", "watch", "DM0",
                         "EM0", "FM0", "W0", "--every", "20ms", "--for", "1500ms"});
    EXPECT_GE(r.code, 0) << r.err.toStdString();
    expectOnlyTruth(r.out, {{"DM0", {"11"}}, {"EM0", {"22"}}, {"FM0", {"33"}}, {"W0", {"44"}}});
}

// A fault that costs the link strikes in the third pass: in the first, right after the greeting, it
// would take the values back before anybody saw them.
const AnswerRow answerRows[] = {
    {"late", "late:100 every 11"},   {"lateByALot", "late:300 every 11"},
    {"garbled", "garbled every 11"}, {"firstGarbled", "garbled:1 every 11"},
    {"short", "short:6 every 11"},   {"long", "long every 11"},
    {"torn", "torn every 11"},       {"error", "error:E1 every 3"},
    {"silent", "silent every 11"},   {"byteByByte", "split"},
    {"slow", "slow:1 every 2"},
};

INSTANTIATE_TEST_SUITE_P(Rows, WrongAnswers,
                         testing::Combine(testing::ValuesIn(answerRows),
                                          testing::Values("tcp", "udp", "serial")),
                         [](const auto &row) {
                             return std::string(std::get<0>(row.param).row) + "_" + std::get<1>(row.param);
                         });

TEST(Splits, everyCutOfAnAnswerGivesTheSameValues)
{
    SimulatedPlc plc({"--set", "DM100=1,2,65535"});
    for (int at = 1; at <= 19; ++at) {
        plc.control("clear");
        plc.control("fault split:" + QByteArray::number(at));
        const Ended r = run({"--plc", plc.url(), "-q", "read", "DM100:3"});
        EXPECT_EQ(r.out.toStdString(), "1\n2\n65535\n") << at;
        EXPECT_EQ(r.code, 0) << at;
    }
}

// What somebody sees who looks for a fault: greeting and frames, both ways.
TEST(Traces, showEveryByte)
{
    const SimulatedPlc plc({"--set", "DM0=5"});
    const Ended r = run({"--plc", plc.url(), "-vv", "read", "DM0"});
    for (const char *bytes : {" > CR\\r\\n\n", " < CC\\r\\n\n", " > RDS DM0.U 1\\r\n", " < 00005\\r\\n\n"})
        EXPECT_TRUE(r.err.contains(plc.url().toLatin1() + bytes)) << bytes << r.err.toStdString();
}

TEST(Traces, showWhatAnotherServiceAnswered)
{
    QTcpServer web;
    ASSERT_TRUE(web.listen(QHostAddress::LocalHost));
    HostProcess host({"--plc", QStringLiteral("127.0.0.1:%1").arg(web.serverPort()), "-vv", "--timeout",
                      "200ms", "--retries", "0", "read", "DM0"});
    ASSERT_TRUE(web.waitForNewConnection(10000));
    QTcpSocket *client = web.nextPendingConnection();
    client->write("HTTP/1.1 400\r\n");
    client->waitForBytesWritten(1000);
    EXPECT_TRUE(host.notes("< HTTP/1.1 400\\r\\n")) << host.err().toStdString();
}

// --- several stations ---

class Stations : public testing::Test
{
protected:
    SimulatedPlc first{{"--delay", "4", "--set", "DM0=1"}};
    SimulatedPlc second{{"--delay", "4", "--set", "DM0=2"}};
    SimulatedPlc third{{"--delay", "4", "--set", "DM0=3"}};

    QStringList three() const
    {
        return {"--plc",     "1=" + first.url(),
                "--plc",     "2=" + second.url(),
                "--plc",     "3=" + third.url(),
                "--timeout", "250ms",
                "--format",  "csv"};
    }
};

TEST_F(Stations, areReadThroughTheirOwnLinks)
{
    const Ended r = run(three() + QStringList{"-q", "read", "1/DM0", "2/DM0", "3/DM0", "DM0"});
    const QVector<CsvRow> rows = rowsOf(r.out);
    ASSERT_EQ(rows.size(), 4) << r.err.toStdString();
    EXPECT_EQ(rows[0].value, "1");
    EXPECT_EQ(rows[1].value, "2");
    EXPECT_EQ(rows[2].value, "3");
    EXPECT_EQ(rows[3].value, "1"); // without a number: the first that was named
}

// What a dead PLC costs the others is a measurement; that they are read while it is
// asked is certain.
TEST_F(Stations, oneThatIsSilentDoesNotHoldUpTheOthers)
{
    QTcpServer blackHole; // connections are made, nobody ever answers
    ASSERT_TRUE(blackHole.listen(QHostAddress::LocalHost));
    HostProcess watch(
        QStringList{"--plc", QStringLiteral("4=tcp://127.0.0.1:%1").arg(blackHole.serverPort())} + three() +
        QStringList{"watch", "1/DM0", "2/DM0", "3/DM0", "4/DM0", "--every", "50ms"});
    for (const char *all : {",1/DM0,1,,good,", ",2/DM0,2,,good,", ",3/DM0,3,,good,"})
        EXPECT_TRUE(watch.prints(all)) << all;
    third.control("set DM0=30");
    EXPECT_TRUE(watch.prints(",3/DM0,30,,good,"));
    EXPECT_FALSE(watch.out().contains("4/DM0,0"));
}

TEST_F(Stations, oneThatComesBackIsFoundAgain)
{
    HostProcess watch(three() + QStringList{"watch", "1/DM0", "2/DM0", "3/DM0", "--every", "50ms"});
    ASSERT_TRUE(watch.prints(",2/DM0,2,,good,\n"));
    second.control("listen off");
    second.control("disconnect");
    ASSERT_TRUE(watch.prints(",2/DM0,,,bad,no link"));
    first.control("set DM0=10"); // the others go on meanwhile
    EXPECT_TRUE(watch.prints(",1/DM0,10,,good,\n"));
    second.control("set DM0=20");
    second.control("listen on");
    EXPECT_TRUE(watch.prints(",2/DM0,20,,good,\n"));
    EXPECT_TRUE(watch.notes("no link: ")) << watch.err().toStdString();
    EXPECT_EQ(watch.err().count(": linked"), 1) << watch.err().toStdString();
}

} // namespace
