// Every command of kv-host against the simulated PLC: what it prints, and how it ends.
#include "test_bench.h"

#include <QFile>
#include <QTemporaryDir>

namespace
{

class Commands : public testing::Test
{
protected:
    Ended host(const QStringList &arguments)
    {
        return run(QStringList{"--plc", m_plc.url(), "--timeout", "300ms"} + arguments);
    }

    SimulatedPlc m_plc{{"--set", "DM100=1,2,65535", "--set", "R1015=1", "--set", "DM105=5", "--set", "W1A=8",
                        "--set", "EM0=16256", "--set", "TS3=300"}};
};

TEST_F(Commands, readShowsValuesOfAllKinds)
{
    const Ended r = host({"-q", "read", "DM100:3", "DM102.S", "R1015", "r1000.h", "DM105.0:4", "W1A.3", "T3",
                          "TS3", "DM100.D"});
    EXPECT_EQ(r.code, 0) << r.err.toStdString();
    EXPECT_EQ(r.out.toStdString(), "1\n2\n65535\n-1\n1\n8000\n1\n0\n1\n0\n1\n0\n300\n131073\n");
}

TEST_F(Commands, readTellsOneRefusedPlaceBesideGoodOnes)
{
    const Ended r = host({"read", "DM100", "DM65535"});
    EXPECT_EQ(r.code, 1);
    EXPECT_TRUE(r.out.contains("DM100    1\n")) << r.out.toStdString();
    EXPECT_TRUE(r.out.contains("DM65535  -  [bad] the PLC answered E0 (device number"))
        << r.out.toStdString();
}

TEST_F(Commands, readOfOnlyARefusedPlaceEndsWithRefused)
{
    EXPECT_EQ(host({"read", "DM65535"}).code, 5);
}

TEST_F(Commands, readShowsNoNumberThatTheDriverCannotHold)
{
    m_plc.control("set Z2.D=3000000000");
    const Ended r = host({"read", "Z1:2"});
    EXPECT_EQ(r.code, 1);
    EXPECT_TRUE(r.out.contains("Z2  -  [bad] above 2147483647")) << r.out.toStdString();
}

TEST_F(Commands, readAsCsvAndJson)
{
    const QVector<Told> told = toldIn(host({"--format", "csv", "read", "DM100:2"}).out);
    ASSERT_EQ(told.size(), 2);
    EXPECT_EQ(told[1].name, "DM101");
    EXPECT_EQ(told[1].value, "2");
    EXPECT_EQ(told[1].quality, "good");
    const Ended json = host({"--format", "json", "read", "DM100"});
    EXPECT_TRUE(json.out.startsWith("{\"name\":\"DM100\",\"quality\":\"good\",\"time\":"))
        << json.out.toStdString();
    EXPECT_TRUE(json.out.endsWith(",\"value\":1}\n"));
}

TEST_F(Commands, writeShowsOldAndNewAndReadsBack)
{
    const Ended r = host({"write", "--yes", "DM200=12345", "R1015=off", "DM105.3=on", "DM300.F=1.5", "TS3=42",
                          "DM310:3=7,8,9"});
    EXPECT_EQ(r.code, 0) << r.err.toStdString();
    EXPECT_TRUE(r.err.contains("DM200: 0 -> 12345\n")) << r.err.toStdString();
    EXPECT_TRUE(r.err.contains("R1015: 1 -> 0\n"));
    EXPECT_TRUE(r.out.contains("DM105.3  1\n")) << r.out.toStdString();
    EXPECT_EQ(m_plc.control("get DM200"), "12345");
    EXPECT_EQ(m_plc.control("get R1015"), "0");
    EXPECT_EQ(m_plc.control("get DM105"), "00013"); // 5 with bit 3 set: the neighbours stay
    EXPECT_EQ(m_plc.control("get DM300 2"), "00000 16320");
    EXPECT_EQ(m_plc.control("get DM310 3"), "00007 00008 00009");
}

TEST_F(Commands, writesToOnePlaceComeOneAfterTheOther)
{
    const Ended r = host({"write", "--yes", "DM200=1", "DM200=2", "DM200=3"});
    EXPECT_EQ(m_plc.control("get DM200"), "00003");
    EXPECT_EQ(r.code, 1); // the first two places hold another value afterwards, and that is said
    EXPECT_TRUE(r.err.contains("holds another value"));
}

TEST_F(Commands, writesManyMoreBitsThanTheDriverListTakes)
{
    QStringList ones;
    for (int i = 0; i < 1600; ++i)
        ones << "1";
    const Ended r = host({"-q", "write", "--yes", "R2000:1600=" + ones.join(',')});
    EXPECT_EQ(r.code, 0) << r.err.toStdString();
    EXPECT_EQ(r.out.count("1\n"), 1600);
    EXPECT_EQ(m_plc.control("get R2000.U 3"), "65535 65535 65535");
    EXPECT_EQ(m_plc.control("get R11915"), "1");
    EXPECT_EQ(m_plc.control("get R12000"), "0");
}

TEST_F(Commands, writeAsksAndWithoutATerminalWantsYes)
{
    const Ended r = host({"write", "DM200=5"});
    EXPECT_EQ(r.code, 2);
    EXPECT_TRUE(r.err.contains("--yes"));
    EXPECT_EQ(m_plc.control("get DM200"), "00000");
}

TEST_F(Commands, writeGuardRefusesContactsTrimmersAndControlDevices)
{
    for (const char *place : {"T3=1", "CTH0.C=1", "AT0=5", "CR1000=1", "CM5=1"}) {
        const Ended r = host({"write", "--yes", place});
        EXPECT_EQ(r.code, 5) << place;
        EXPECT_TRUE(r.err.contains("cannot be written") || r.err.contains("--force")) << r.err.toStdString();
    }
    EXPECT_EQ(host({"write", "--yes", "--force", "AT0=5"}).code, 5); // now the PLC refuses
}

TEST_F(Commands, writeThatIsWrongSendsNothing)
{
    for (const char *wrong : {"DM200", "DM200=", "DM200=70000", "DM200:2=1", "=5", "R1016=1", "DM200=1,2"}) {
        EXPECT_EQ(host({"write", "--yes", "DM201=1", wrong}).code, 2) << wrong;
    }
    EXPECT_EQ(m_plc.control("get DM200 2"), "00000 00000");
}

TEST_F(Commands, dryRunShowsTheFramesAndSendsNothing)
{
    const Ended r = run({"write", "--dry-run", "DM200:2=4660,1", "R205=0", "EM2.5=1", "TS3=7"});
    EXPECT_EQ(r.code, 0) << r.err.toStdString();
    EXPECT_EQ(r.out.toStdString(),
              "WRS DM200.U 2 04660 00001\nRS R205\nRDS EM2.U 1\nWRS EM2.U 1 00032\nWRS TS3.D 1 0000000007\n");
}

TEST_F(Commands, watchPipedTellsEachChangeOnce)
{
    Host watch({"--plc", m_plc.url(), "--format", "csv", "watch", "DM100", "R1015", "--every", "50ms"});
    ASSERT_TRUE(watch.prints(",DM100,1,,good,\n"));
    ASSERT_TRUE(watch.prints(",R1015,1,,good,\n"));
    m_plc.control("set DM100=77");
    ASSERT_TRUE(watch.prints(",DM100,77,,good,\n"));
    watch.kill(SIGINT);
    EXPECT_EQ(watch.end(2000), 0);
    int changes = 0;
    for (const Told &told : toldIn(watch.out()))
        changes += told.name == "DM100" && told.quality == "good" ? 1 : 0;
    EXPECT_EQ(changes, 2);
    EXPECT_TRUE(watch.err().contains(" requests, ")) << watch.err().toStdString();
    EXPECT_TRUE(watch.err().contains("answer time min/mean/max"));
}

TEST_F(Commands, watchEndsWhenItsReaderGoes)
{
    QProcess shell;
    shell.start("sh", {"-c", QStringLiteral("'%1' --plc %2 -q watch DM100 R1015 --every 20ms | head -1")
                                 .arg(KV_HOST_PATH, m_plc.url())});
    m_plc.control("scan 20");
    // DM0 and the like move; these two stand still, so something must move for the pipe to be noticed
    for (int i = 0; i < 100 && shell.state() != QProcess::NotRunning; ++i) {
        m_plc.control("set DM100=" + QByteArray::number(i));
        shell.waitForFinished(20);
    }
    EXPECT_EQ(shell.state(), QProcess::NotRunning);
    shell.kill();
    shell.waitForFinished(1000);
}

// A panel's processor sleeps deeper the longer it is left alone.
TEST_F(Commands, watchSleepsThroughThePauseBetweenTwoPasses)
{
    Host watch({"--plc", m_plc.url(), "--format", "csv", "watch", "DM100", "--every", "10s"});
    ASSERT_TRUE(watch.prints(",DM100,1,,good,\n"));
    const qint64 before = watch.sleeps();
    ASSERT_GT(before, 0);
    EXPECT_EQ(watch.end(1000), -1); // it goes on
    EXPECT_LE(watch.sleeps() - before, 10);
}

TEST_F(Commands, watchGivesBackWhatOnlyItsStartNeeded)
{
    Host watch({"--plc", m_plc.url(), "--format", "csv", "watch", "DM100", "--every", "50ms"});
    ASSERT_TRUE(watch.prints(",DM100,1,,good,\n"));
    const auto kilobytes = [&watch](const char *what) {
        return watch.status(what).split(' ').value(0).toInt();
    };
    ASSERT_GT(kilobytes("VmRSS"), 0);
    const auto givenBack = [&kilobytes] { return kilobytes("VmHWM") - kilobytes("VmRSS"); };
    for (int i = 0; i < 100 && givenBack() <= 2000; ++i)
        EXPECT_EQ(watch.end(20), -1); // at the end of the first pass, just after its values are told
    EXPECT_GT(givenBack(), 2000);
    m_plc.control("set DM100=77");
    EXPECT_TRUE(watch.prints(",DM100,77,,good,\n"));
    watch.kill(SIGINT);
    EXPECT_EQ(watch.end(2000), 0);
}

TEST_F(Commands, planShowsBlocksAndSendsNothing)
{
    const Ended r = run({"-q", "plan", "--max-block", "64", "DM0", "DM10:2", "DM63:4", "DM200", "R1015:2",
                         "T5", "TC5", "W1A.3"});
    EXPECT_EQ(r.code, 0) << r.err.toStdString();
    QStringList frames;
    for (const QByteArray &line : r.out.split('\n')) {
        const int at = int(line.indexOf("RDS"));
        if (at >= 0)
            frames << QString::fromLatin1(line.mid(at)).section("  ", 0, 0);
    }
    EXPECT_EQ(frames.join('|').toStdString(),
              "RDS R1000.U 2|RDS T5.D 1|RDS DM0.U 64|RDS DM64.U 3|RDS DM200.U 1|RDS W1A.U 1");
}

TEST_F(Commands, checkTellsEachBadLine)
{
    const QTemporaryDir folder;
    QFile file(folder.filePath("tags.csv"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("name,address\nok,DM1\nbad,R1016\nworse,Q5\n");
    file.close();
    const Ended r = run({"-f", file.fileName(), "check"});
    EXPECT_EQ(r.code, 1);
    EXPECT_EQ(r.out.count('\n'), 2);
    EXPECT_TRUE(r.out.contains("tags.csv:3: R1016: ")) << r.out.toStdString();
    EXPECT_TRUE(r.out.contains("tags.csv:4: Q5: "));
    EXPECT_TRUE(r.err.contains("1 good, 2 bad"));
    // and no other command works with half a tag file
    EXPECT_EQ(run({"-f", file.fileName(), "plan"}).code, 2);
}

TEST_F(Commands, tagsAreReadByNameAndScaled)
{
    const QTemporaryDir folder;
    QFile file(folder.filePath("tags.csv"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("name;address;scale;offset;unit;rw\nlevel;DM101;0,5;10;mm;r\nset;DM400;0,1;0;;rw\n");
    file.close();
    const Ended all = host({"-f", file.fileName(), "read"});
    EXPECT_EQ(all.code, 0) << all.err.toStdString();
    EXPECT_EQ(all.out.toStdString(), "level  11 mm\nset    0\n");
    EXPECT_EQ(host({"-f", file.fileName(), "write", "--yes", "set=2.5"}).code, 0);
    EXPECT_EQ(m_plc.control("get DM400"), "00025");
    EXPECT_EQ(host({"-f", file.fileName(), "write", "--yes", "level=12"}).code, 5);
}

TEST_F(Commands, logWritesAFileThatCanBeReadAgain)
{
    const QTemporaryDir folder;
    const QString path = folder.filePath("values.csv");
    const Ended r = host({"log", "DM100", "R1015", "--every", "100ms", "--for", "700ms", "-o", path});
    EXPECT_EQ(r.code, 0) << r.err.toStdString();
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray text = file.readAll();
    EXPECT_TRUE(text.startsWith("time,name,value,unit,quality,error\n"));
    EXPECT_GE(toldIn(text).size(), 6);
    EXPECT_TRUE(text.contains(",DM100,1,,good,\n"));
}

TEST_F(Commands, logOnAFullDiskGoesOnReadingAndCountsTheLoss)
{
    const Ended r = host({"log", "DM100", "--every", "100ms", "--for", "1500ms", "-o", "/dev/full"});
    EXPECT_EQ(r.code, 1);
    EXPECT_TRUE(r.err.contains("No space left")) << r.err.toStdString();
    EXPECT_TRUE(r.err.contains("0 row(s) logged, ")) << r.err.toStdString();
    EXPECT_FALSE(r.err.contains("\n0 requests"));
}

TEST_F(Commands, statsAndBenchMeasure)
{
    const Ended stats = host({"--format", "csv", "stats", "DM0:10", "--every", "50ms", "--for", "300ms"});
    EXPECT_EQ(stats.code, 0);
    EXPECT_TRUE(stats.out.contains("\nloss,0.00,%\n")) << stats.out.toStdString();
    const Ended bench = host({"--format", "csv", "bench", "--for", "300ms"});
    EXPECT_EQ(bench.code, 0);
    const QByteArray rate = bench.out.mid(bench.out.indexOf("\nexchange rate,") + 15);
    EXPECT_GT(rate.left(rate.indexOf(',')).toInt(), 50) << bench.out.toStdString();
}

TEST_F(Commands, areasListsAllDevices)
{
    const Ended r = run({"-q", "areas"});
    EXPECT_EQ(r.code, 0);
    EXPECT_EQ(r.out.count('\n'), 24);
    EXPECT_TRUE(r.out.contains("W1A.3"));
}

TEST_F(Commands, simulateBringsItsOwnPlc)
{
    const Ended r = run({"--simulate", "-q", "read", "DM100"});
    EXPECT_EQ(r.code, 0) << r.err.toStdString();
    EXPECT_EQ(r.out.toStdString(), "0\n");
}

TEST_F(Commands, defaultsComeFromTheConfigurationFile)
{
    const QTemporaryDir folder;
    QFile file(folder.filePath("kv-host.conf"));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("plc=\"" + m_plc.url().toLatin1() + "\"\nquiet=true\n");
    file.close();
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("XDG_CONFIG_HOME", folder.path());
    process.setProcessEnvironment(environment);
    process.start(KV_HOST_PATH, {"read", "DM100"});
    ASSERT_TRUE(process.waitForFinished(10000));
    EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
    EXPECT_EQ(process.readAllStandardOutput().toStdString(), "1\n");
}

struct EndRow {
    const char *row;
    QStringList arguments;
    int code;
    const char *message;
};

class Ends : public testing::TestWithParam<EndRow>
{
};

TEST_P(Ends, withACodeAndAMessage)
{
    const Ended r = run(GetParam().arguments);
    EXPECT_EQ(r.code, GetParam().code) << r.err.toStdString();
    EXPECT_TRUE((r.out + r.err).contains(GetParam().message)) << r.out.toStdString() << r.err.toStdString();
}

const EndRow endRows[] = {
    {"help", {"--help"}, 0, "Exit codes"},
    {"helpOfACommand", {"write", "--help"}, 0, "--dry-run"},
    {"version", {"--version"}, 0, "kv-host "},
    {"noCommand", {}, 2, "--help"},
    {"unknownOption", {"--nonsense", "areas"}, 2, "--nonsense"},
    {"unknownCommand", {"dance"}, 2, "--help"},
    {"noPlc", {"read", "DM0"}, 2, "--simulate"},
    {"noAddress", {"--plc", "tcp://127.0.0.1:1", "read"}, 2, "no address is given"},
    {"badAddress", {"--plc", "tcp://127.0.0.1:1", "read", "R1016"}, 2, "after R1015 comes R1100"},
    {"badUrl", {"--plc", "127.0.0.1", "read", "DM0"}, 2, "tcp://HOST"},
    {"stationTwice", {"--plc", "1=tcp://a", "--plc", "1=tcp://b", "read", "DM0"}, 2, "named twice"},
    {"unknownStation", {"--plc", "tcp://127.0.0.1:1", "read", "7/DM0"}, 2, "station 7"},
    {"badTime", {"--timeout", "soon", "areas"}, 2, "no time"},
    {"simulateAndPlc", {"--simulate", "--plc", "tcp://a", "read", "DM0"}, 2, "take one"},
    {"noTagFile", {"-f", "/nonexistent.csv", "plan"}, 2, "cannot be read"},
    {"refusedLink", {"--plc", "tcp://127.0.0.1:1", "--retries", "1", "read", "DM0"}, 3, "refused"},
    {"noSuchSerialLine",
     {"--plc", "serial:///dev/nonexistent", "--retries", "0", "read", "DM0"},
     3,
     "nonexistent"},
    {"noDriver", {"--driver", "/nonexistent.so", "areas"}, 3, "--driver"},
    {"driverIsNoLibrary", {"--driver", "/etc/passwd", "areas"}, 3, "cannot be loaded"},
    {"driverLacksACall", {"--driver", KV_HALF_DRIVER_PATH, "areas"}, 3, "lacks the call DataCom"},
    {"rotateWithoutFile", {"--plc", "tcp://a", "log", "DM0", "--rotate", "1h"}, 2, "--output FILE"},
};

INSTANTIATE_TEST_SUITE_P(Rows, Ends, testing::ValuesIn(endRows),
                         [](const auto &row) { return std::string(row.param.row); });

TEST(Driver, notFoundAnywhereIsTold)
{
    const QTemporaryDir folder;
    const QString copy = folder.filePath("kv-host");
    ASSERT_TRUE(QFile::copy(KV_HOST_PATH, copy));
    QProcess process;
    process.start(copy, {"areas"});
    ASSERT_TRUE(process.waitForFinished(10000));
    EXPECT_EQ(process.exitCode(), 3);
    const QByteArray text = process.readAllStandardError();
    EXPECT_TRUE(text.contains("no driver library found; looked for ")) << text.toStdString();
}

TEST(Handshake, refusedByThePlcEndsWithRefused)
{
    SimulatedPlc plc({"--open", "refuse"});
    const Ended r = run({"--plc", plc.url(), "--timeout", "200ms", "--retries", "0", "read", "DM0"});
    EXPECT_EQ(r.code, 5);
    EXPECT_TRUE(r.out.contains("answered CR with 'E1'")) << r.out.toStdString();
}

} // namespace
