// SPDX-License-Identifier: MIT
// Programs that react, in the real program: from a file, over the control connection, and checked.
#include "sim_process.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace
{

class ProgramFile : public testing::Test
{
protected:
    QString file(const char *name, const QByteArray &text) const
    {
        QFile file(folder.filePath(name));
        file.open(QIODevice::WriteOnly);
        file.write(text);
        return file.fileName();
    }

    const QTemporaryDir folder;
};

// Asks until the answer is the expected one, or the other side is out of patience.
std::string askedUntil(Client &line, const char *command, const std::string &expected)
{
    std::string answer;
    for (int i = 0; i < 100000 && answer != expected; ++i)
        answer = line.ask(command);
    return answer;
}

TEST_F(ProgramFile, runsFromTheStart)
{
    SimProcess sim({"--tcp", "127.0.0.1:0", "--scan", "1", "--program",
                    file("pulse", "when MR100 on then count DM10, reset MR100\n")});
    ASSERT_TRUE(sim.isReady()) << sim.errors();
    Client line(sim.port("tcp"));
    EXPECT_EQ(line.ask("CR"), "CC");
    EXPECT_EQ(line.ask("ST MR100"), "OK");
    EXPECT_EQ(askedUntil(line, "RD MR100", "0"), "0");
    EXPECT_EQ(line.ask("RDS DM10 1"), "00001");
    EXPECT_EQ(line.ask("RD DM0"), "00000") << "the fixed program does not run beside it";
}

TEST_F(ProgramFile, runsWithoutScanToo)
{
    SimProcess sim({"--tcp", "127.0.0.1:0", "--program", file("count", "when always then count DM10\n")});
    ASSERT_TRUE(sim.isReady()) << sim.errors();
    Client line(sim.port("tcp"));
    EXPECT_EQ(line.ask("CR"), "CC");
    EXPECT_EQ(askedUntil(line, "RD DM10", "00003"), "00003");
}

// Both words are written in one request, so a scan never sees only one of them.
TEST_F(ProgramFile, seesEachRequestWhole)
{
    SimProcess sim({"--tcp", "127.0.0.1:0", "--scan", "1", "--program",
                    file("torn", "when DM0 != DM99 then count DM200\nwhen always then count DM201\n")});
    Client line(sim.port("tcp"));
    EXPECT_EQ(line.ask("CR"), "CC");
    for (int i = 1; i <= 500; ++i) {
        std::string words;
        for (int word = 0; word < 100; ++word)
            words += " " + std::to_string(i);
        ASSERT_EQ(line.ask("WRS DM0 100" + words), "OK");
    }
    EXPECT_EQ(line.ask("RD DM200"), "00000");
    EXPECT_NE(line.ask("RD DM201"), "00000") << "no scan came between";
}

// The last of 100 words is written by another row than the first, in the same scan.
TEST_F(ProgramFile, isSeenInWholeScans)
{
    SimProcess sim({"--tcp", "127.0.0.1:0", "--scan", "1", "--program",
                    file("pair", "when always then count DM0\nwhen always then copy DM0 DM99\n")});
    ASSERT_TRUE(sim.isReady()) << sim.errors();
    Client line(sim.port("tcp"));
    EXPECT_EQ(line.ask("CR"), "CC");
    std::string first;
    std::string words;
    for (int i = 0; i < 500; ++i) {
        words = line.ask("RDS DM0 100");
        ASSERT_EQ(words.size(), 599U);
        ASSERT_EQ(words.substr(0, 5), words.substr(594));
        if (i == 0)
            first = words;
    }
    EXPECT_NE(words, first) << "no scan came between";
}

TEST_F(ProgramFile, isExchangedWhileItRuns)
{
    SimProcess sim({"--tcp", "127.0.0.1:0", "--control", "127.0.0.1:0"});
    Client control(sim.port("control"));
    Client line(sim.port("tcp"));
    EXPECT_EQ(line.ask("CR"), "CC");
    const std::string first = file("first", "when R0 on then set R1\n").toStdString();
    const std::string wrong = file("wrong", "when R0 on then jump R1\n").toStdString();
    EXPECT_EQ(control.ask("program " + first), "ok");
    EXPECT_EQ(control.ask("program " + wrong),
              "error: " + wrong + ": line 1: expected set, reset, toggle, count, copy or add, not 'jump'");
    EXPECT_EQ(line.ask("ST R0"), "OK");
    EXPECT_EQ(askedUntil(line, "RD R1", "1"), "1"); // the first one still runs
    EXPECT_EQ(control.ask("program none"), "ok");
    EXPECT_EQ(askedUntil(line, "RD DM0", "00002"), "00002"); // the fixed program counts here
}

TEST_F(ProgramFile, thatIsWrongEndsTheStart)
{
    const QString wrong = file("wrong", "when R0 on then set R1\nwhen R0 high then set R2\n");
    SimProcess sim({"--tcp", "127.0.0.1:0", "--program", wrong});
    EXPECT_EQ(sim.exitCode(), 3);
    EXPECT_EQ(sim.errors(), "kv-sim: --program: " + wrong.toStdString() +
                                ": line 2: expected on, off, rises, falls, changes, =, !=, <, <=, > or >=, "
                                "not 'high'\n");
}

TEST_F(ProgramFile, beyondAMebibyteIsRefused)
{
    QByteArray text("when R0 on then set R1\n");
    text += QByteArray(1024 * 1024 - text.size(), '\n');
    SimProcess largest({"--check", file("largest", text)});
    EXPECT_EQ(largest.exitCode(), 0) << largest.errors();
    SimProcess beyond({"--check", file("beyond", text + "\n")});
    EXPECT_EQ(beyond.exitCode(), 1);
    EXPECT_NE(beyond.errors().find("it is larger than 1 MiB"), std::string::npos) << beyond.errors();
}

TEST_F(ProgramFile, isCheckedWithoutRunning)
{
    const QString good = file("good", "# two rows\nwhen R0 on then set R1\nwhen R1 on then reset R0\n");
    const QString memory = file("memory.json", R"({"devices": {"DM": {"100": 5}}})");
    SimProcess fine({"--check", good, memory});
    EXPECT_EQ(fine.exitCode(), 0);
    EXPECT_EQ(fine.output(),
              good.toStdString() + ": a program of 2 rows\n" + memory.toStdString() + ": a memory file\n");
    const QString wrong = file("wrong.json", R"({"devices": {"DM": {"65535": 5}}})");
    SimProcess mixed({"--check", good, wrong, "/nonexistent"});
    EXPECT_EQ(mixed.exitCode(), 1);
    EXPECT_EQ(mixed.errors(), "kv-sim: " + wrong.toStdString() +
                                  ": \"65535\" is not a number of DM\n"
                                  "kv-sim: /nonexistent: No such file or directory\n");
    EXPECT_EQ(mixed.output(), good.toStdString() + ": a program of 2 rows\n");
}

TEST_F(ProgramFile, isCheckedForItsModel)
{
    const QString program = file("em", "when EM0 = 1 then set R1\n");
    SimProcess large({"--check", program});
    EXPECT_EQ(large.exitCode(), 0);
    SimProcess small({"--model", "KV-N24", "--check", program});
    EXPECT_EQ(small.exitCode(), 1);
    EXPECT_NE(small.errors().find("line 1: 'EM0' is not a device of this model"), std::string::npos)
        << small.errors();
}

} // namespace
