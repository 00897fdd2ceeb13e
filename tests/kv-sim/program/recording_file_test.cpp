// SPDX-License-Identifier: MIT
// A session recorded by the real program, sent home, and replayed there.
#include "sim_process.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace
{

class RecordingFile : public testing::Test
{
protected:
    QString path() const { return folder.filePath("session.jsonl"); }

    QByteArray content() const
    {
        QFile file(path());
        file.open(QIODevice::ReadOnly);
        return file.readAll();
    }

    const QTemporaryDir folder;
};

const std::string readDm0 = QByteArray::fromHex("0000000002000A00000000000100000000000000000D").toStdString();

TEST_F(RecordingFile, bringsTheSameAnswersAgain)
{
    {
        SimProcess field({"--tcp", "127.0.0.1:0", "--remote", "127.0.0.1:0", "--set", "DM0=7", "--record",
                          path(), "--fault", "late:200 next 1 cmd RDS", "--fault", "silent next 1 cmd ?K",
                          "--fault", "close:after next 1 cmd CQ"});
        ASSERT_TRUE(field.isReady()) << field.errors();
        Client line(field.port("tcp"));
        EXPECT_EQ(line.ask("CR"), "CC");
        EXPECT_EQ(line.ask("RDS DM0 2"), "00007 00000");
        EXPECT_EQ(line.ask("WR DM0 8"), "OK");
        EXPECT_EQ(line.ask("RDS DM0 2"), "00008 00000");
        line.send("?K\r");
        EXPECT_EQ(line.ask("CQ"), "CF");
        EXPECT_EQ(line.untilEnd(), "");
        Client remote(field.port("remote"));
        remote.send(readDm0);
        EXPECT_EQ(remote.line(), "00008");
    }
    SimProcess home({"--tcp", "127.0.0.1:0", "--remote", "127.0.0.1:0", "--replay", path()});
    ASSERT_TRUE(home.isReady()) << home.errors();
    Client line(home.port("tcp"));
    EXPECT_EQ(line.ask("CR"), "CC");
    QElapsedTimer clock;
    clock.start();
    EXPECT_EQ(line.ask("RDS DM0 2"), "00007 00000");
    EXPECT_GE(clock.elapsed(), 195);
    EXPECT_EQ(line.ask("RDS DM0 2"), "00008 00000"); // in their order, whatever comes between
    EXPECT_EQ(line.ask("RD DM99"), "E1");            // nobody asked that
    line.send("?K\r");
    EXPECT_EQ(line.ask("CQ"), "CF"); // ?K got no answer then
    EXPECT_EQ(line.untilEnd(), "");
    EXPECT_FALSE(line.isConnected());
    Client remote(home.port("remote"));
    remote.send(readDm0);
    EXPECT_EQ(remote.line(), "00008");
    home.closeStdin();
    EXPECT_EQ(home.exitCode(), 0);
    EXPECT_NE(home.statistics().find(" not_recorded=1"), std::string::npos) << home.statistics();
}

TEST_F(RecordingFile, hasALineForEachEvent)
{
    SimProcess sim({"--tcp", "127.0.0.1:0", "--record", path()});
    {
        Client line(sim.port("tcp"));
        EXPECT_EQ(line.ask("CR"), "CC");
        line.send(std::string("RD\0\r", 4));
        EXPECT_EQ(line.line(), "E1");
    }
    sim.closeStdin();
    EXPECT_EQ(sim.exitCode(), 0);
    std::vector<std::string> events;
    for (const QByteArray &line : content().split('\n')) {
        std::string text = line.toStdString();
        const std::size_t ms = text.find(",\"ms\":");
        if (ms != std::string::npos)
            text.erase(ms, text.find_first_of(",}", ms + 1) - ms);
        events.push_back(text.substr(0, text.find(",\"time\"")));
    }
    const std::vector<std::string> expected{
        R"({"event":"start","format":1,"model":"KV-8000")",
        R"({"connection":1,"event":"opened","plc":0})",
        R"({"connection":1,"event":"in","plc":0,"text":"CR\r"})",
        R"({"connection":1,"event":"out","plc":0,"text":"CC\r\n"})",
        R"({"connection":1,"event":"in","hex":"5244000D","plc":0})",
        R"({"connection":1,"event":"out","plc":0,"text":"E1\r\n"})",
        R"({"connection":1,"event":"closed","plc":0})",
        "",
    };
    EXPECT_EQ(events, expected);
}

TEST_F(RecordingFile, neverReplacesAFile)
{
    QFile file(path());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("precious");
    file.close();
    SimProcess sim({"--tcp", "127.0.0.1:0", "--record", path()});
    EXPECT_EQ(sim.exitCode(), 3);
    EXPECT_NE(sim.errors().find("--record takes the name of a new file"), std::string::npos) << sim.errors();
    EXPECT_EQ(content(), "precious");
}

TEST_F(RecordingFile, thatCannotBeUsedEndsTheStart)
{
    QFile file(path());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("{\"event\":\"start\",\"format\":1,\"ms\":0}\n{\"event\":\"sent\",\"ms\":1}\n");
    file.close();
    SimProcess sim({"--tcp", "127.0.0.1:0", "--replay", path()});
    EXPECT_EQ(sim.exitCode(), 3);
    EXPECT_EQ(sim.errors(),
              "kv-sim: --replay: " + path().toStdString() + ": line 2: no event is called 'sent'\n");
    SimProcess check({"--check", path()});
    EXPECT_EQ(check.exitCode(), 1);
    EXPECT_EQ(check.errors(), "kv-sim: " + path().toStdString() + ": line 2: no event is called 'sent'\n");
}

TEST_F(RecordingFile, isChecked)
{
    {
        SimProcess sim({"--tcp", "127.0.0.1:0", "--record", path()});
        EXPECT_TRUE(sim.isReady());
    }
    SimProcess check({"--check", path()});
    EXPECT_EQ(check.exitCode(), 0);
    EXPECT_EQ(check.output(), path().toStdString() + ": a recording of 1 event\n");
}

// Grown by a hole, which takes no space. An event takes less than 200 bytes, and more than 20.
TEST_F(RecordingFile, endsWithAMessageAt1GiB)
{
    SimProcess sim({"--tcp", "127.0.0.1:0", "--record", path()});
    ASSERT_TRUE(sim.isReady()) << sim.errors();
    QFile file(path());
    ASSERT_TRUE(file.open(QIODevice::ReadWrite));
    ASSERT_TRUE(file.resize(qint64(1024) * 1024 * 1024 - 200));
    Client line(sim.port("tcp"));
    EXPECT_EQ(line.ask("CR"), "CC");
    const QByteArray written = file.read(1024);
    EXPECT_TRUE(written.contains("\"text\":\"CC\\r\\n\"}")) << written.toStdString();
    ASSERT_TRUE(file.resize(qint64(1024) * 1024 * 1024 - 20));
    EXPECT_EQ(line.ask("?K"), "57"); // it goes on serving
    sim.closeStdin();
    EXPECT_EQ(sim.exitCode(), 3);
    EXPECT_EQ(sim.errors(),
              "kv-sim: the recording " + path().toStdString() + " ends here: it has reached 1 GiB\n");
    file.seek(0);
    EXPECT_FALSE(file.read(1024).contains("?K"));
}

TEST_F(RecordingFile, endsWithAMessageWhenTheDiskIsFull)
{
    SimProcess sim({"--tcp", "127.0.0.1:0", "--record", path()});
    ASSERT_TRUE(sim.isReady());
    sim.limitFileSize(content().size() + 100);
    Client line(sim.port("tcp"));
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(line.ask("RD DM0"), "E1"); // it goes on serving
    sim.closeStdin();
    EXPECT_EQ(sim.exitCode(), 3);
    EXPECT_NE(sim.errors().find("the recording " + path().toStdString() + " ends here: "), std::string::npos)
        << sim.errors();
}

} // namespace
