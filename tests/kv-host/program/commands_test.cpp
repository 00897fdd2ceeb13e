// SPDX-License-Identifier: MIT
// Every command of kv-host against the simulated PLC: what it prints, and how it ends.
#include "host_process.h"
#include "simulated_plc.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>

namespace
{

class Commands : public testing::Test
{
protected:
    Ended host(const QStringList &arguments)
    {
        return run(QStringList{"--plc", plc.url(), "--timeout", "300ms"} + arguments);
    }

    QString fileWith(const QByteArray &content, const QString &name = "tags.csv")
    {
        QFile file(folder.filePath(name));
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
        return file.fileName();
    }

    QTemporaryDir folder;
    SimulatedPlc plc{{"--set", "DM100=1,2,65535", "--set", "R1015=1", "--set", "DM105=5", "--set", "W1A=8",
                      "--set", "EM0=16256", "--set", "TS3=300"}};
};

// --- read ---

TEST_F(Commands, readShowsValuesOfAllKinds)
{
    const Ended r = host({"-q", "read", "DM100:3", "DM102.S", "R1015", "r1000.h", "DM105.0:4", "W1A.3", "T3",
                          "TS3", "DM100.D"});
    EXPECT_EQ(r.code, 0) << r.err.toStdString();
    EXPECT_EQ(r.out.toStdString(), "1\n2\n65535\n-1\n1\n8000\n1\n0\n1\n0\n1\n0\n300\n131073\n");
}

TEST(ReadOfASmallPlc, namesOneRefusedPlaceBesideGoodOnes)
{
    const SimulatedPlc nano({"--model", "KV-N40", "--set", "DM100=1"}); // its DM end at 32767
    const Ended r = run({"--plc", nano.url(), "read", "DM100", "DM40000"});
    EXPECT_EQ(r.code, 1);
    EXPECT_TRUE(r.out.contains("DM100    1\n")) << r.out.toStdString();
    EXPECT_TRUE(r.out.contains("DM40000  -  [bad] the PLC answered E0")) << r.out.toStdString();
    EXPECT_EQ(run({"--plc", nano.url(), "read", "DM40000"}).code, 5);
}

TEST_F(Commands, readShowsNumbersThatTheDriverCannotHold)
{
    plc.control("set Z2.D=3000000000");
    const Ended r = host({"-q", "read", "Z1:2"});
    EXPECT_EQ(r.code, 0) << r.err.toStdString();
    EXPECT_EQ(r.out.toStdString(), "0\n3000000000\n");
}

TEST_F(Commands, readTakesMoreTimersThanOneAnswerHolds)
{
    const Ended r = host({"-q", "read", "T0:121"});
    EXPECT_EQ(r.code, 0) << r.err.toStdString();
    EXPECT_EQ(r.out.count('\n'), 121);
}

TEST_F(Commands, readShowsFloatsWithAllTheirDigits)
{
    plc.control("set DM300=24910,19260"); // 12345678 as a float: 0x4B3C614E
    EXPECT_EQ(host({"-q", "read", "DM300.F"}).out.toStdString(), "12345678\n");
    plc.control("set DM300=0,32704"); // not a number
    const Ended r = host({"--format", "json", "read", "DM300.F"});
    EXPECT_EQ(r.code, 1);
    EXPECT_TRUE(r.out.contains("\"quality\":\"bad\"")) << r.out.toStdString();
    EXPECT_FALSE(r.out.contains("value"));
}

TEST_F(Commands, readShowsTextsInTheirEncodingAndNoControlBytes)
{
    plc.control("set DM300=33628,25165"); // 0x835C 0x624D: "ソbM" in Shift-JIS
    EXPECT_EQ(host({"-q", "--text", "shift-jis", "read", "DM300.STR:4"}).out.toStdString(), "\xE3\x82\xBD"
                                                                                            "bM\n");
    plc.control("set DM300=7003,12872"); // ESC [ 2 H
    EXPECT_EQ(host({"-q", "read", "DM300.STR:4"}).out.toStdString(), "\\x1B[2H\n");
}

TEST_F(Commands, readAsCsvAndJson)
{
    const QVector<CsvRow> rows = rowsOf(host({"--format", "csv", "read", "DM100:2"}).out);
    ASSERT_EQ(rows.size(), 2);
    EXPECT_EQ(rows[1].name, "DM101");
    EXPECT_EQ(rows[1].value, "2");
    EXPECT_EQ(rows[1].quality, "good");
    const Ended json = host({"--format", "json", "read", "DM100"});
    EXPECT_TRUE(json.out.startsWith("{\"name\":\"DM100\",\"quality\":\"good\",\"time\":"))
        << json.out.toStdString();
    EXPECT_TRUE(json.out.endsWith(",\"value\":1}\n"));
}

TEST_F(Commands, readTakesTagsByPatterns)
{
    const QString tags = fileWith("name,address\nValve1,DM100\nPump,R1015\nValve2,DM101\n");
    EXPECT_EQ(host({"-f", tags, "read", "Valve*"}).out.toStdString(), "Valve1  1\nValve2  2\n");
    EXPECT_EQ(host({"-f", tags, "read", "?ump"}).out.toStdString(), "Pump  1\n");
    const Ended none = host({"-f", tags, "read", "Door*"});
    EXPECT_EQ(none.code, 2);
    EXPECT_TRUE(none.err.contains("Door*: no tag has such a name")) << none.err.toStdString();
}

TEST_F(Commands, theOptionForThePlcTakesOneValue)
{
    const Ended r = run({"read", "--plc", plc.url(), "DM100"});
    EXPECT_EQ(r.code, 0) << r.err.toStdString();
    EXPECT_EQ(r.out.toStdString(), "DM100  1\n");
}

TEST_F(Commands, anAddressAloneIsTakenAsTcp)
{
    const Ended r = run({"--plc", plc.url().mid(6), "-q", "read", "DM100"});
    EXPECT_EQ(r.out.toStdString(), "1\n") << r.err.toStdString();
}

TEST_F(Commands, thePlcMayComeFromTheEnvironment)
{
    EXPECT_EQ(run({"-q", "read", "DM100"}, {"KV_PLC=" + plc.url()}).out.toStdString(), "1\n");
}

// --- write ---

TEST_F(Commands, writeShowsOldAndNewAndReadsBack)
{
    const Ended r = host({"write", "--yes", "DM200=12345", "R1015=off", "DM105.3=on", "DM300.F=1.5", "TS3=42",
                          "DM310:3=7,8,9"});
    EXPECT_EQ(r.code, 0) << r.err.toStdString();
    EXPECT_TRUE(r.err.contains("DM200: 0 -> 12345\n")) << r.err.toStdString();
    EXPECT_TRUE(r.err.contains("R1015: 1 -> 0\n"));
    EXPECT_TRUE(r.out.contains("DM105.3  1\n")) << r.out.toStdString();
    EXPECT_EQ(plc.control("get DM200"), "12345");
    EXPECT_EQ(plc.control("get R1015"), "0");
    EXPECT_EQ(plc.control("get DM105"), "00013"); // 5 with bit 3 set: the neighbours stay
    EXPECT_EQ(plc.control("get DM300 2"), "00000 16320");
    EXPECT_EQ(plc.control("get DM310 3"), "00007 00008 00009");
}

TEST_F(Commands, writesToOnePlaceComeOneAfterTheOther)
{
    const Ended r = host({"write", "--yes", "DM200=1", "DM200=2", "DM200=3", "DM200.3=1"});
    EXPECT_EQ(plc.control("get DM200"), "00011");
    EXPECT_EQ(r.code, 1); // the first places hold another value afterwards, and that is said
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
    EXPECT_EQ(plc.control("get R2000.U 3"), "65535 65535 65535");
    EXPECT_EQ(plc.control("get R11915"), "1");
    EXPECT_EQ(plc.control("get R12000"), "0");
}

TEST_F(Commands, writeAsksAndWithoutATerminalWantsYes)
{
    const Ended r = host({"write", "DM200=5"});
    EXPECT_EQ(r.code, 2);
    EXPECT_TRUE(r.err.contains("--yes"));
    EXPECT_EQ(plc.control("get DM200"), "00000");
}

TEST_F(Commands, writeGuardRefusesContactsTrimmersAndControlDevices)
{
    for (const char *place : {"T3=1", "CTH0.C=1", "AT0=5", "CR1000=1", "CM5=1"}) {
        const Ended r = host({"write", "--yes", place});
        EXPECT_EQ(r.code, r.err.contains("contact") ? r.code : 5) << place;
        EXPECT_TRUE(r.err.contains("contact") || r.err.contains("--force")) << r.err.toStdString();
    }
    EXPECT_EQ(host({"write", "--yes", "--force", "AT0=5"}).code, 5); // now the PLC refuses
}

TEST_F(Commands, writeGuardKnowsTheTagsWhereverTheyAreTyped)
{
    const QString tags = fileWith("name,address,rw\nlevel,DM100.D,r\nlater,DM110,\nset,DM120,rw\n");
    for (const char *word :
         {"level=1", "DM100.D=1", "DM101=1", "DM101.3=1", "DM99:2=1,1", "later=1", "DM110=1"}) {
        const Ended r = host({"-f", tags, "write", "--yes", word});
        EXPECT_EQ(r.code, 5) << word;
        EXPECT_TRUE(r.err.contains("read-only in the tag file")) << r.err.toStdString();
    }
    EXPECT_EQ(host({"-f", tags, "write", "--yes", "set=1", "DM102=1"}).code, 0);
    EXPECT_EQ(plc.control("get DM100 3"), "00001 00002 00001");
    EXPECT_EQ(host({"--read-only", "write", "--yes", "DM200=1"}).code, 5);
    EXPECT_EQ(plc.control("get DM200"), "00000");
}

TEST_F(Commands, writeThatIsWrongSendsNothing)
{
    for (const char *wrong :
         {"DM200", "DM200=", "DM200=70000", "DM200:2=1", "=5", "R1016=1", "DM200=1,2", "DM200=1.5"})
        EXPECT_EQ(host({"write", "--yes", "DM201=1", wrong}).code, 2) << wrong;
    EXPECT_EQ(plc.control("get DM200 2"), "00000 00000");
}

TEST_F(Commands, writeWithoutVerifyingReadsNothingBack)
{
    const Ended r = host({"write", "--yes", "--no-verify", "DM200=5"});
    EXPECT_EQ(r.code, 0) << r.err.toStdString();
    EXPECT_TRUE(r.out.startsWith("DM200  -  [never]")) << r.out.toStdString();
    EXPECT_EQ(plc.control("get DM200"), "00005");
}

TEST_F(Commands, writePulsesARelayOnce)
{
    const Ended r = host({"write", "--yes", "--pulse", "30ms", "R500", "DM105.3"});
    EXPECT_EQ(r.code, 0) << r.err.toStdString();
    EXPECT_EQ(r.out.toStdString(), "R500     0\nDM105.3  0\n");
    EXPECT_EQ(host({"write", "--yes", "--pulse", "30ms", "DM100"}).code, 2);
    EXPECT_EQ(host({"write", "--yes", "--pulse", "30ms", "R500=0"}).code, 2);
}

TEST_F(Commands, dryRunShowsTheFramesAndSendsNothing)
{
    const Ended r = run({"write", "--dry-run", "DM200:2=4660,1", "R205=0", "EM2.5=1", "TS3=7", "2/DM1=5"});
    EXPECT_EQ(r.code, 0) << r.err.toStdString();
    EXPECT_EQ(r.out.toStdString(), "WRS DM200.U 2 04660 00001\nRS R205\nRDS EM2.U 1\nWRS EM2.U 1 00032\n"
                                   "WRS TS3.D 1 0000000007\nWRS DM1.U 1 00005\n");
}

TEST_F(Commands, tagsAreReadByNameAndScaled)
{
    const QString tags =
        fileWith("name;address;scale;offset;unit;rw\nlevel;DM101;0,5;10;mm;r\nset;DM400;0,1;0;;rw\n");
    const Ended all = host({"-f", tags, "read"});
    EXPECT_EQ(all.code, 0) << all.err.toStdString();
    EXPECT_EQ(all.out.toStdString(), "level  11 mm\nset    0\n");
    EXPECT_EQ(host({"-f", tags, "write", "--yes", "set=2.54"}).code, 0); // the nearest that the PLC can hold
    EXPECT_EQ(plc.control("get DM400"), "00025");
}

// --- watch ---

TEST_F(Commands, watchPipedShowsEachChangeOnce)
{
    HostProcess watch({"--plc", plc.url(), "--format", "csv", "watch", "DM100", "R1015", "--every", "50ms"});
    ASSERT_TRUE(watch.prints(",DM100,1,,good,\n"));
    ASSERT_TRUE(watch.prints(",R1015,1,,good,\n"));
    plc.control("set DM100=77");
    ASSERT_TRUE(watch.prints(",DM100,77,,good,\n"));
    watch.kill(SIGINT);
    EXPECT_EQ(watch.end(2000), 0);
    int changes = 0;
    for (const CsvRow &row : rowsOf(watch.out()))
        changes += row.name == "DM100" && row.quality == "good" ? 1 : 0;
    EXPECT_EQ(changes, 2);
    EXPECT_TRUE(watch.err().contains(" requests, ")) << watch.err().toStdString();
    EXPECT_TRUE(watch.err().contains("answer time min/median"));
}

TEST_F(Commands, watchPipedSaysWhenEachValueCame)
{
    const Ended r = host({"watch", "DM100", "--every", "50ms", "--for", "200ms"});
    EXPECT_EQ(r.code, 0) << r.err.toStdString();
    EXPECT_EQ(r.out.mid(4, 1), "-") << r.out.toStdString();
    EXPECT_EQ(r.out.mid(19, 1), ".");
    EXPECT_TRUE(r.out.endsWith("  DM100  1\n"));
}

TEST_F(Commands, watchEndsWhenItsReaderGoes)
{
    QProcess shell;
    shell.start("sh", {"-c", QStringLiteral("'%1' --plc %2 -q watch DM100 R1015 --every 20ms | head -1")
                                 .arg(KV_HOST_PATH, plc.url())});
    // These two stand still, so something must move for the pipe to be noticed.
    for (int i = 0; i < 200 && shell.state() != QProcess::NotRunning; ++i) {
        plc.control("set DM100=" + QByteArray::number(i));
        shell.waitForFinished(20);
    }
    EXPECT_EQ(shell.state(), QProcess::NotRunning);
    shell.kill();
    shell.waitForFinished(1000);
}

// A panel's processor sleeps deeper the longer it is left alone.
TEST_F(Commands, watchSleepsThroughThePauseBetweenTwoPasses)
{
    HostProcess watch({"--plc", plc.url(), "--format", "csv", "watch", "DM100", "--every", "10s"});
    ASSERT_TRUE(watch.prints(",DM100,1,,good,\n"));
    const qint64 before = watch.sleeps();
    ASSERT_GT(before, 0);
    EXPECT_EQ(watch.end(1000), -1); // it goes on
    EXPECT_LE(watch.sleeps() - before, 10);
}

TEST(Watch, ofADeadPlcBesideALivingOneEndsByItsOwnValues)
{
    const SimulatedPlc living;
    const QStringList both = {"--plc", "0=" + living.url(), "--plc", "1=tcp://127.0.0.1:1", "--format",
                              "csv"};
    EXPECT_EQ(run(both + QStringList{"watch", "1/DM0", "--for", "300ms"}).code, 3);
    EXPECT_EQ(run(both + QStringList{"watch", "0/DM0", "--for", "300ms"}).code, 0);
    EXPECT_EQ(run(both + QStringList{"watch", "0/DM0", "1/DM0", "--for", "300ms"}).code, 1);
}

// --- log ---

TEST_F(Commands, logWritesAFileThatCanBeReadAgain)
{
    const QString path = folder.filePath("values.csv");
    const Ended r = host({"log", "DM100", "R1015", "--every", "100ms", "--for", "750ms", "-o", path});
    EXPECT_EQ(r.code, 0) << r.err.toStdString();
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray text = file.readAll();
    EXPECT_TRUE(text.startsWith("time,name,value,unit,quality,error\n"));
    EXPECT_GE(rowsOf(text).size(), 8);
    EXPECT_TRUE(text.contains(",DM100,1,,good,\n"));
    // Each answer is one row, with its own time.
    QList<QByteArray> times;
    for (const CsvRow &row : rowsOf(text)) {
        if (row.name == "DM100") {
            EXPECT_FALSE(times.contains(row.time)) << row.time.toStdString();
            times << row.time;
        }
    }
}

TEST_F(Commands, logOnChangeWritesChangesOnly)
{
    HostProcess log({"--plc", plc.url(), "log", "DM100:2", "--every", "30ms", "--on-change"});
    ASSERT_TRUE(log.prints(",DM101,2,,good,\n"));
    plc.control("set DM101=3");
    ASSERT_TRUE(log.prints(",DM101,3,,good,\n"));
    log.kill(SIGTERM);
    EXPECT_EQ(log.end(2000), 0);
    EXPECT_EQ(rowsOf(log.out()).size(), 3) << log.out().toStdString();
}

TEST_F(Commands, logHoldsAPassInALine)
{
    const Ended r = host({"log", "DM100:2", "R1015", "--every", "100ms", "--for", "450ms", "--layout", "wide",
                          "--separator", ";"});
    EXPECT_EQ(r.code, 0) << r.err.toStdString();
    const QList<QByteArray> lines = r.out.split('\n');
    EXPECT_EQ(lines[0].toStdString(), "time;DM100;DM101;R1015");
    ASSERT_GE(lines.size(), 4) << r.out.toStdString();
    for (int i = 1; i + 1 < lines.size(); ++i)
        EXPECT_TRUE(lines[i].endsWith("Z;1;2;1")) << lines[i].toStdString();
}

TEST_F(Commands, logReopensItsFileAfterHup)
{
    const QString path = folder.filePath("v.csv");
    HostProcess log({"--plc", plc.url(), "log", "DM100", "--every", "50ms", "-o", path});
    ASSERT_TRUE(log.catches(SIGHUP));
    for (int i = 0; i < 500 && QFile(path).size() < 100; ++i)
        EXPECT_EQ(log.end(20), -1);
    ASSERT_TRUE(QFile::rename(path, path + ".old"));
    log.kill(SIGHUP);
    for (int i = 0; i < 500 && QFile(path).size() < 100; ++i)
        EXPECT_EQ(log.end(20), -1); // HUP does not end it
    EXPECT_GE(QFile(path).size(), 100);
    log.kill(SIGTERM);
    EXPECT_EQ(log.end(3000), 0) << log.err().toStdString();
}

TEST_F(Commands, logOnAFullDiskGoesOnReadingAndCountsTheLoss)
{
    const Ended r = host({"log", "DM100", "--every", "100ms", "--for", "1500ms", "-o", "/dev/full"});
    EXPECT_EQ(r.code, 1);
    EXPECT_TRUE(r.err.contains("No space left")) << r.err.toStdString();
    EXPECT_TRUE(r.err.contains("0 row(s) logged, ")) << r.err.toStdString();
    EXPECT_FALSE(r.err.contains("\n0 requests"));
}

TEST_F(Commands, logRefusesATargetThatCannotWorkBeforeItReads)
{
    for (const QString &target : {QStringLiteral("/nonexistent/v.csv"), folder.path()}) {
        const Ended r = host({"log", "DM100", "-o", target, "--for", "10s"});
        EXPECT_EQ(r.code, 2) << target.toStdString();
        EXPECT_TRUE(r.err.contains("log: ")) << r.err.toStdString();
    }
    EXPECT_EQ(
        host({"log", "DM100", "--sqlite", fileWith(QByteArray(5000, 'x'), "text"), "--for", "10s"}).code, 2);
}

TEST_F(Commands, logOfADeadPlcDoesNotEndWell)
{
    EXPECT_EQ(run({"--plc", "tcp://127.0.0.1:1", "log", "DM0", "--for", "300ms"}).code, 3);
}

// --- the others ---

TEST_F(Commands, infoSaysWhatThePlcIs)
{
    const Ended r = host({"--format", "csv", "info"});
    EXPECT_EQ(r.code, 0) << r.err.toStdString();
    EXPECT_TRUE(r.out.contains(",KV-8000,RUN,none,not available\n")) << r.out.toStdString();
    EXPECT_EQ(run({"--plc", "tcp://127.0.0.1:1", "--retries", "0", "info"}).code, 3);
}

TEST_F(Commands, planShowsRequestsAndSendsNothing)
{
    const Ended r = run({"--format", "csv", "plan", "--max-block", "64", "DM0", "DM10:2", "DM63:4", "DM2000",
                         "T5", "TC5", "W1A.3"});
    EXPECT_EQ(r.code, 0) << r.err.toStdString();
    QStringList frames;
    for (const QByteArray &line : r.out.split('\n')) {
        if (line.contains("RDS"))
            frames << QString::fromLatin1(line).section(',', 2, 2);
    }
    frames.sort();
    // Timer 5 is one request for its contact and its value.
    EXPECT_TRUE(frames.contains("RDS T5.D 1")) << frames.join('|').toStdString();
    EXPECT_TRUE(frames.contains("RDS W1A.U 1"));
    EXPECT_TRUE(frames.contains("RDS DM2000.U 1"));
    EXPECT_EQ(frames.filter("DM").size(), 3); // DM0 to DM66 are more than 64
}

TEST_F(Commands, checkNamesEachBadLine)
{
    const QString tags = fileWith("name,address\nok,DM1\nbad,R1016\nworse,Q5\nfar,3/DM1\n");
    const Ended r = run({"-f", tags, "check"});
    EXPECT_EQ(r.code, 1);
    EXPECT_EQ(r.out.count('\n'), 2);
    EXPECT_TRUE(r.out.contains("tags.csv:3: R1016: ")) << r.out.toStdString();
    EXPECT_TRUE(r.out.contains("tags.csv:4: Q5: "));
    EXPECT_TRUE(r.err.contains("2 good, 2 bad"));
    // and no other command works with half a tag file
    EXPECT_EQ(run({"-f", tags, "plan"}).code, 2);
    const Ended withPlc = host({"--format", "csv", "-f", tags, "check"});
    EXPECT_TRUE(withPlc.out.contains("no --plc names station 3")) << withPlc.out.toStdString();
}

TEST_F(Commands, statsAndBenchMeasureEachPlc)
{
    const Ended stats = host({"--format", "csv", "stats", "DM0:10", "--every", "50ms", "--for", "300ms"});
    EXPECT_EQ(stats.code, 0);
    EXPECT_TRUE(stats.out.contains("\nloss,0.00,%,")) << stats.out.toStdString();
    EXPECT_TRUE(stats.out.contains("\nanswer time 99%,"));
    const Ended bench = host({"--format", "csv", "bench", "--for", "300ms"});
    EXPECT_EQ(bench.code, 0) << bench.err.toStdString();
    const QByteArray rate = bench.out.mid(bench.out.indexOf("\nexchange rate,") + 15);
    EXPECT_GT(rate.left(rate.indexOf(',')).toInt(), 50) << bench.out.toStdString();
    const Ended dead = host({"--plc", "tcp://127.0.0.1:1", "--retries", "0", "--format", "csv", "stats",
                             "0/DM0", "1/DM0", "--for", "200ms"});
    EXPECT_EQ(dead.code, 1);
    EXPECT_TRUE(dead.out.contains("\nloss,100.00,%,tcp://127.0.0.1:1")) << dead.out.toStdString();
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

TEST_F(Commands, aFullStdoutIsReported)
{
    QProcess shell;
    shell.start("sh",
                {"-c", QStringLiteral("'%1' --plc %2 read DM100 > /dev/full").arg(KV_HOST_PATH, plc.url())});
    ASSERT_TRUE(shell.waitForFinished(10000));
    EXPECT_EQ(shell.exitCode(), 1);
    const QByteArray err = shell.readAllStandardError();
    EXPECT_TRUE(err.contains("stdout: No space left")) << err.toStdString();
}

// --- options ---

class Configured : public Commands
{
protected:
    Ended withConfig(const QByteArray &config, const QStringList &arguments)
    {
        fileWith(config, "kv-host.conf");
        return run(arguments, {"XDG_CONFIG_HOME=" + folder.path()});
    }
};

TEST_F(Configured, defaultsComeFromTheFile)
{
    const Ended r = withConfig("plc=\"" + plc.url().toLatin1() + "\"\nquiet=true\n", {"read", "DM100"});
    EXPECT_EQ(r.code, 0) << r.err.toStdString();
    EXPECT_EQ(r.out.toStdString(), "1\n");
}

TEST_F(Configured, theCommandLineGoesFirst)
{
    const Ended r = withConfig("plc=\"tcp://127.0.0.1:1\"\n", {"--simulate", "-q", "read", "DM100"});
    EXPECT_EQ(r.code, 0) << r.err.toStdString();
}

TEST_F(Configured, unknownKeysAreRefused)
{
    const Ended r = withConfig("timeuot=2s\n", {"areas"});
    EXPECT_EQ(r.code, 2);
    EXPECT_TRUE(r.err.contains("timeuot")) << r.err.toStdString();
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
    {"unknownCommand", {"dance"}, 2, "'dance' is not a command"},
    {"mistypedCommand", {"raed", "DM0"}, 2, "did you mean 'read'?"},
    {"noPlc", {"read", "DM0"}, 2, "--simulate"},
    {"noAddress", {"--plc", "tcp://127.0.0.1:1", "read"}, 2, "no address is given"},
    {"badAddress", {"--plc", "tcp://127.0.0.1:1", "read", "R1016"}, 2, "kv-host: R1016: the last two digits"},
    {"nearAddress", {"--plc", "tcp://127.0.0.1:1", "read", "D100"}, 2, "did you mean DM100?"},
    {"bitOfARelay", {"--plc", "tcp://127.0.0.1:1", "read", "R1000.5"}, 2, "did you mean R1005?"},
    {"outOfRange", {"check", "DM70000"}, 1, "DM0 to DM65534"},
    {"badUrl", {"--plc", "http://127.0.0.1", "read", "DM0"}, 2, "tcp://"},
    {"shortAddress", {"--plc", "tcp://192.168.1", "read", "DM0"}, 2, "192.168.1"},
    {"stationTwice", {"--plc", "1=tcp://a", "--plc", "1=tcp://b", "read", "DM0"}, 2, "named twice"},
    {"unknownStation", {"--plc", "tcp://127.0.0.1:1", "read", "7/DM0"}, 2, "station 7"},
    {"badTime", {"--timeout", "soon", "areas"}, 2, "not a time"},
    {"timeWithoutUnit", {"--timeout", "500", "areas"}, 2, "write 500ms or 500s"},
    {"noTagFile", {"-f", "/nonexistent/t.csv", "plan"}, 2, "cannot be read"},
    {"noLink", {"--plc", "tcp://127.0.0.1:1", "--retries", "0", "read", "DM0"}, 3, "refused"},
    {"noDriver",
     {"--driver", "/nonexistent/d.so", "--plc", "tcp://127.0.0.1:1", "read", "DM0"},
     3,
     "/nonexistent/d.so"},
    {"halfADriver",
     {"--driver", KV_HALF_DRIVER_PATH, "--plc", "tcp://127.0.0.1:1", "read", "DM0"},
     3,
     "driver"},
    {"simulateAndPlc", {"--simulate", "--plc", "tcp://a", "read", "DM0"}, 2, "take one of them"},
    {"rotateOddly",
     {"--plc", "tcp://127.0.0.1:1", "log", "DM0", "-o", "x", "--rotate", "7h"},
     2,
     "part of the day"},
    {"keepWithoutRotation",
     {"--plc", "tcp://127.0.0.1:1", "log", "DM0", "-o", "x", "--keep", "30d"},
     2,
     "--rotate"},
};

INSTANTIATE_TEST_SUITE_P(Rows, Ends, testing::ValuesIn(endRows),
                         [](const auto &row) { return std::string(row.param.row); });

TEST(Opening, refusedByThePlcIsNamedAndCanBeLeftOut)
{
    const SimulatedPlc plc({"--open", "refuse", "--set", "DM0=7"});
    const Ended r = run({"--plc", plc.url(), "--timeout", "200ms", "--retries", "0", "read", "DM0"});
    EXPECT_NE(r.code, 0);
    EXPECT_TRUE(r.out.contains("CR")) << r.out.toStdString();
    EXPECT_TRUE(r.out.contains("E1")) << r.out.toStdString();
}

TEST(Opening, isLeftOutWhereThePortDoesNotKnowIt)
{
    const SimulatedPlc plc({"--open", "never", "--set", "DM0=7"});
    EXPECT_EQ(run({"--plc", plc.url(), "--open", "none", "-q", "read", "DM0"}).out.toStdString(), "7\n");
}

} // namespace
