// Links that break in every way, answers that are wrong in every way: values flow again by themselves,
// nothing wrong is ever shown as good, every write is told exactly once.
#include "test_bench.h"

#include <QNetworkInterface>
#include <QTcpServer>
#include <QTemporaryDir>

namespace
{

// Everything that was told as good is one of the values that the place really had.
void expectOnlyTruth(const QByteArray &csv, const QMap<QByteArray, QList<QByteArray>> &truth)
{
    int good = 0;
    for (const Told &told : toldIn(csv)) {
        if (told.quality != "good")
            continue;
        ++good;
        EXPECT_TRUE(truth.value(told.name).contains(told.value))
            << told.name.toStdString() << "=" << told.value.toStdString();
    }
    EXPECT_GT(good, 0);
}

// -------------------------------------------------------------------------------------------- web proxies

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
    qputenv("http_proxy", "http://127.0.0.1:9");
    qputenv("all_proxy", "http://127.0.0.1:9");
    SimulatorProcess simulator;
    const QByteArray told =
        simulator.start({"--tcp", address + ":0", "--udp", address + ":0", "--set", "DM0=5"});
    for (const QByteArray kind : {"tcp", "udp"}) {
        const int at = int(told.indexOf("listening " + kind)) + 14;
        const QByteArray place = told.mid(at, told.indexOf('\n', at) - at);
        const Ended r = run({"--plc", QString::fromLatin1(kind + "://" + place), "-q", "read", "DM0"});
        EXPECT_EQ(r.out.toStdString(), "5\n") << kind.toStdString() << ": " << r.err.toStdString();
    }
    qunsetenv("http_proxy");
    qunsetenv("all_proxy");
}

// ------------------------------------------------------------------------------------------- broken links

struct LinkRow {
    const char *row;
    const char *url;
    QList<QByteArray> breaks; ///< control commands that break the link
    QList<QByteArray> mends = {};
    int longestMs = 3000; ///< from the mending on: back-off so far, twice, and one time-out
};

class LinkMatrix : public testing::TestWithParam<LinkRow>
{
};

TEST_P(LinkMatrix, valuesFlowAgainByThemselves)
{
    const QTemporaryDir folder;
    SimulatedPlc plc({"--set", "DM100=11", "--set", "EM100=22"}, folder.filePath("tty"));
    Host watch({"--plc", plc.url(GetParam().url), "--timeout", "200ms", "--format", "csv", "watch", "DM100",
                "EM100", "--every", "40ms"});
    ASSERT_TRUE(watch.prints(",DM100,11,,good,\n")) << watch.err().toStdString();
    ASSERT_TRUE(watch.prints(",EM100,22,,good,\n"));
    for (const QByteArray &command : GetParam().breaks)
        plc.control(command);
    if (!GetParam().mends.isEmpty()) {
        EXPECT_TRUE(watch.prints(",DM100,11,,stale,\n")); // an old value is never shown as good
        for (const QByteArray &command : GetParam().mends)
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

// ------------------------------------------------------------------------------------------ wrong answers

struct AnswerRow {
    const char *row;
    const char *fault; ///< strikes for ever, every few answers
};

class WrongAnswers : public testing::TestWithParam<std::tuple<AnswerRow, const char *>>
{
};

// Four places of one length each: an answer that lands under another device would be seen.
TEST_P(WrongAnswers, storeNothingUnderAnotherDevice)
{
    const auto &[row, kind] = GetParam();
    const QTemporaryDir folder;
    SimulatedPlc plc(
        {"--set", "DM0=11", "--set", "EM0=22", "--set", "FM0=33", "--set", "W0=44", "--fault", row.fault},
        folder.filePath("tty"));
    const Ended r = run({"--plc", plc.url(kind), "--timeout", "80ms", "--format", "csv", "watch", "DM0",
                         "EM0", "FM0", "W0", "--every", "20ms", "--for", "900ms"});
    EXPECT_GE(r.code, 0) << r.err.toStdString();
    expectOnlyTruth(r.out, {{"DM0", {"11"}}, {"EM0", {"22"}}, {"FM0", {"33"}}, {"W0", {"44"}}});
}

const AnswerRow answerRows[] = {
    {"late", "late:100 every 5"},  {"lateByALot", "late:300 every 7"}, {"doubled", "doubled every 3"},
    {"alwaysDoubled", "doubled"},  {"garbled", "garbled every 4"},     {"firstGarbled", "garbled:1 every 4"},
    {"short", "short:6 every 5"},  {"long", "long every 5"},           {"torn", "torn every 5"},
    {"error", "error:E1 every 3"}, {"silent", "silent every 5"},       {"byteByByte", "split"},
    {"slow", "slow:1 every 2"},
};

INSTANTIATE_TEST_SUITE_P(Rows, WrongAnswers,
                         testing::Combine(testing::ValuesIn(answerRows),
                                          testing::Values("tcp", "udp", "serial")),
                         [](const auto &row) {
                             return std::string(std::get<0>(row.param).row) + "_" + std::get<1>(row.param);
                         });

class LateCopies : public testing::TestWithParam<const char *>
{
protected:
    // Each third answer comes a second time, and half of the copy only after a while: it ends when the next
    // request has been sent already, and has the length and shape of its answer.
    QTemporaryDir m_folder;
    SimulatedPlc m_plc{{"--set", "DM0=11", "--set", "EM0=22", "--set", "FM0=33", "--set", "W0=44", "--fault",
                        "doubled cmd RDS every 3", "--fault", "split:7 cmd RDS every 3"},
                       m_folder.filePath("tty")};
    const QMap<QByteArray, QList<QByteArray>> m_truth = {
        {"DM0", {"11"}}, {"EM0", {"22"}}, {"FM0", {"33"}}, {"W0", {"44"}}};
};

TEST_P(LateCopies, neverShowAWrongValueAsGood)
{
    Host watch({"--plc", m_plc.url(GetParam()), "--timeout", "80ms", "--format", "csv", "watch", "DM0", "EM0",
                "FM0", "W0", "--every", "20ms"});
    for (const char *all : {",DM0,11,,good,", ",EM0,22,,good,", ",FM0,33,,good,", ",W0,44,,good,"})
        EXPECT_TRUE(watch.prints(all)) << all;
    EXPECT_EQ(watch.end(700), -1);
    expectOnlyTruth(watch.out(), m_truth);
    watch.forget();
    EXPECT_EQ(watch.end(1500), -1);
    watch.kill(SIGINT);
    EXPECT_GE(watch.end(2000), 0);
    EXPECT_FALSE(watch.err().contains(" 0 stray bytes")) << watch.err().toStdString();
    // By now the link is known to send twice: nothing gets into doubt any more.
    for (const Told &told : toldIn(watch.out())) {
        if (told.quality == "good") {
            EXPECT_TRUE(m_truth[told.name].contains(told.value)) << told.name.toStdString();
        }
        EXPECT_NE(told.quality, "bad") << told.name.toStdString();
    }
}

TEST_P(LateCopies, areGotOverByAReadOfOnce)
{
    const Ended r = run({"--plc", m_plc.url(GetParam()), "--timeout", "80ms", "--format", "csv", "read",
                         "DM0", "EM0", "FM0", "W0", "DM0", "EM0"});
    EXPECT_EQ(r.code, 0) << r.out.toStdString() << r.err.toStdString();
    EXPECT_EQ(toldIn(r.out).size(), 6);
    expectOnlyTruth(r.out, m_truth);
}

INSTANTIATE_TEST_SUITE_P(Rows, LateCopies, testing::Values("tcp", "udp", "serial"),
                         [](const auto &row) { return std::string(row.param); });

// The copy of an acknowledgement is taken for that of the next write, which the PLC refuses.
TEST(LateAcknowledgements, neverTellARefusedWriteAsDone)
{
    SimulatedPlc plc({"--fault", "doubled cmd WRS dev DM0 times 1", "--fault",
                      "split:4 cmd WRS dev DM0 times 1", "--fault", "error:E4 cmd WRS dev EM0"});
    const Ended r = run({"--plc", plc.url(), "--timeout", "200ms", "--retries", "1", "--format", "csv",
                         "write", "--yes", "DM0=5", "EM0=6"});
    const QVector<Told> told = toldIn(r.out);
    ASSERT_EQ(told.size(), 2) << r.err.toStdString();
    EXPECT_EQ(told[0].quality, "good");
    EXPECT_EQ(told[0].value, "5");
    EXPECT_EQ(told[1].quality, "bad");
    EXPECT_EQ(plc.control("get DM0"), "00005");
    EXPECT_EQ(plc.control("get EM0"), "00000");
    EXPECT_FALSE(r.err.contains("reported"));
}

// ------------------------------------------------------------------------------- requests and wrong answers

struct RequestRow {
    const char *row;
    const char *assignment;
    const char *command;     ///< whose answer is wrong
    const char *look, *held; ///< what the PLC must hold after success
};

const RequestRow requestRows[] = {
    {"handshake", "DM200=5", "CR", "get DM200", "00005"},
    {"read", "DM200=5", "RDS", "get DM200", "00005"},
    {"wordWrite", "DM200=5", "WRS", "get DM200", "00005"},
    {"relaySet", "R1015=1", "ST", "get R1015", "1"},
    {"relayReset", "R1014=0", "RS", "get R1014", "0"},
    {"bitOfWord", "DM105.3=1", "WRS", "get DM105", "00013"},
    {"bitOfWordPreRead", "DM105.3=1", "RDS", "get DM105", "00013"},
    {"timer", "TS3=9", "WRS", "get TS3", "0000000009"},
};

const char *const onceFaults[] = {"silent",       "late:150", "error:E4",    "short",        "long",
                                  "torn",         "garbled",  "doubled",     "foreign",      "split",
                                  "close:before", "close:in", "close:after", "reset:before", "reset:in",
                                  "reset:after",  "forget"};

class RequestMatrix : public testing::TestWithParam<RequestRow>
{
};

// One wrong answer is got over by sending again: the write is done, and told once.
TEST_P(RequestMatrix, oneWrongAnswerIsGotOver)
{
    const RequestRow &row = GetParam();
    for (const char *fault : onceFaults) {
        // A read that gets the answer of another request of its length cannot be told from a right one.
        if (QByteArray(fault) == "foreign" && QByteArray(row.command) == "RDS")
            continue;
        SCOPED_TRACE(fault);
        SimulatedPlc plc({"--set", "DM105=5", "--set", "R1014=1", "--fault",
                          QStringLiteral("%1 cmd %2 times 1").arg(fault, row.command)});
        const Ended r = run(
            {"--plc", plc.url(), "--timeout", "100ms", "--format", "csv", "write", "--yes", row.assignment});
        EXPECT_EQ(r.code, 0) << r.out.toStdString() << r.err.toStdString();
        EXPECT_EQ(toldIn(r.out).size(), 1);
        EXPECT_EQ(plc.control(row.look), row.held);
        EXPECT_FALSE(r.err.contains("reported"));
    }
}

// Wrong for ever: the write is told as failed, once, and no value is told as good.
TEST_P(RequestMatrix, alwaysWrongEndsAsFailed)
{
    const RequestRow &row = GetParam();
    for (const char *fault : {"silent", "error:E4", "garbled", "close:before"}) {
        SCOPED_TRACE(fault);
        SimulatedPlc plc(
            {"--set", "DM105=5", "--fault", QStringLiteral("%1 cmd %2").arg(fault, row.command)});
        const Ended r = run({"--plc", plc.url(), "--timeout", "60ms", "--retries", "1", "--format", "csv",
                             "write", "--yes", row.assignment});
        EXPECT_TRUE(r.code == 3 || r.code == 4 || r.code == 5)
            << r.code << r.out.toStdString() << r.err.toStdString();
        const QVector<Told> told = toldIn(r.out);
        ASSERT_EQ(told.size(), 1);
        EXPECT_EQ(told[0].quality, "bad");
        EXPECT_EQ(told[0].value, "");
        EXPECT_FALSE(r.err.contains("reported"));
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, RequestMatrix, testing::ValuesIn(requestRows),
                         [](const auto &row) { return std::string(row.param.row); });

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

// --------------------------------------------------------------------------------------- several stations

double rateOf(const Ended &r)
{
    const QByteArray rest = r.out.mid(r.out.indexOf("\nexchange rate,") + 15);
    return rest.left(rest.indexOf(',')).toDouble();
}

class Stations : public testing::Test
{
protected:
    // Slow enough that the exchanges, not this machine, set the pace.
    SimulatedPlc m_first{{"--delay", "4", "--set", "DM0=1"}};
    SimulatedPlc m_second{{"--delay", "4", "--set", "DM0=2"}};
    SimulatedPlc m_third{{"--delay", "4", "--set", "DM0=3"}};

    QStringList three() const
    {
        return {"--plc",     "1=" + m_first.url(),
                "--plc",     "2=" + m_second.url(),
                "--plc",     "3=" + m_third.url(),
                "--timeout", "250ms",
                "--format",  "csv"};
    }
};

TEST_F(Stations, areReadThroughTheirOwnLinks)
{
    const Ended r = run(three() + QStringList{"-q", "read", "1/DM0", "2/DM0", "3/DM0", "DM0"});
    const QVector<Told> told = toldIn(r.out);
    ASSERT_EQ(told.size(), 4) << r.err.toStdString();
    EXPECT_EQ(told[0].value, "1");
    EXPECT_EQ(told[1].value, "2");
    EXPECT_EQ(told[2].value, "3");
    EXPECT_EQ(told[3].value, "1"); // without a number: the first that was named
}

TEST_F(Stations, oneThatIsDeadLeavesTheOthersTheirRate)
{
    QTcpServer blackHole; // connections are made, nobody ever answers
    ASSERT_TRUE(blackHole.listen(QHostAddress::LocalHost));
    const QStringList work = {"bench", "1/DM0", "2/DM0", "3/DM0", "--for", "1500ms"};
    for (const QString &dead : {QStringLiteral("4=tcp://127.0.0.1:1"),
                                QStringLiteral("4=tcp://127.0.0.1:%1").arg(blackHole.serverPort())}) {
        // What else the machine does may strike one of the two runs; a station in the way strikes each of them.
        double alone = 0.0, beside = 0.0;
        for (int attempt = 0; attempt < 3 && beside <= 0.9 * alone; ++attempt) {
            alone = rateOf(run(three() + work));
            beside = rateOf(run(QStringList{"--plc", dead} + three() + work + QStringList{"4/DM0"}));
        }
        EXPECT_GT(alone, 50.0);
        EXPECT_GE(beside, 0.9 * alone) << dead.toStdString();
    }
}

TEST_F(Stations, oneThatComesBackIsFoundAgain)
{
    Host watch(three() + QStringList{"watch", "1/DM0", "2/DM0", "3/DM0", "--every", "50ms"});
    ASSERT_TRUE(watch.prints(",2/DM0,2,,good,\n"));
    m_second.control("listen off");
    m_second.control("disconnect");
    ASSERT_TRUE(watch.prints(",2/DM0,2,,stale,\n"));
    m_first.control("set DM0=10"); // the others go on meanwhile
    EXPECT_TRUE(watch.prints(",1/DM0,10,,good,\n", 1000));
    m_second.control("set DM0=20");
    m_second.control("listen on");
    EXPECT_TRUE(watch.prints(",2/DM0,20,,good,\n", 6000));
}

// ------------------------------------------------------------------------------------------------ signals

struct SignalRow {
    const char *row;
    const char *fault; ///< of the simulated PLC
    QStringList command;
    const char *after; ///< what is waited for before the signal; empty: 150 ms
};

class Signals : public testing::TestWithParam<std::tuple<SignalRow, int>>
{
};

TEST_P(Signals, endItWithinTwoSeconds)
{
    const auto &[row, signal] = GetParam();
    SimulatedPlc plc({"--fault", row.fault});
    Host host(QStringList{"--plc", plc.url(), "--timeout", "5s", "--format", "csv"} + row.command);
    ASSERT_TRUE(host.catches(signal)) << host.err().toStdString();
    if (*row.after != '\0')
        ASSERT_TRUE(host.prints(row.after)) << host.err().toStdString();
    else
        EXPECT_EQ(host.end(150), -1); // still at work
    const qint64 before = host.elapsed();
    host.kill(signal);
    const int code = host.end(2000);
    EXPECT_LT(host.elapsed() - before, 2000);
    const bool oneShot = row.command[0] == "read" || row.command[0] == "write";
    if (oneShot)
        EXPECT_EQ(code, 128 + signal);
    else
        EXPECT_GE(code, 0); // ended by itself, not by the signal's force
    EXPECT_TRUE(host.err().contains(" requests, ")) << host.err().toStdString();
}

const SignalRow signalRows[] = {
    {"whileConnecting", "refuse", {"read", "DM0"}, ""},
    {"whileGreeting", "blackhole", {"read", "DM0"}, ""},
    {"whileReading", "silent cmd RDS", {"read", "DM0"}, ""},
    {"whileWatching", "split every 2", {"watch", "DM0", "--every", "50ms"}, "DM0,0,,good"},
    {"whileWatchingSilence", "silent cmd RDS", {"watch", "DM0"}, ""},
    {"whileLogging", "split every 2", {"log", "DM0", "--every", "50ms"}, "DM0,0,,good"},
};

INSTANTIATE_TEST_SUITE_P(Rows, Signals,
                         testing::Combine(testing::ValuesIn(signalRows),
                                          testing::Values(SIGINT, SIGTERM, SIGHUP)),
                         [](const auto &row) {
                             const int signal = std::get<1>(row.param);
                             return std::string(std::get<0>(row.param).row) + (signal == SIGINT    ? "_INT"
                                                                               : signal == SIGTERM ? "_TERM"
                                                                                                   : "_HUP");
                         });

} // namespace
