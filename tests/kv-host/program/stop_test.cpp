// SPDX-License-Identifier: MIT
// INT, TERM and HUP end every command soon, whatever it waits for.
#include "host_process.h"
#include "simulated_plc.h"

#include <gtest/gtest.h>

#include <QTemporaryDir>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

std::string nameOf(int signal)
{
    if (signal == SIGINT)
        return "INT";
    return signal == SIGTERM ? "TERM" : "HUP";
}

struct StopRow {
    const char *row;
    const char *fault; // of the simulated PLC
    QStringList command;
    const char *after; // what is waited for before the signal; empty: 150 ms
};

class Stops : public testing::TestWithParam<std::tuple<StopRow, int>>
{
};

TEST_P(Stops, comeWithinTwoSeconds)
{
    const auto &[row, signal] = GetParam();
    const SimulatedPlc plc({"--fault", row.fault});
    HostProcess host(QStringList{"--plc", plc.url(), "--timeout", "5s", "--format", "csv"} + row.command);
    ASSERT_TRUE(host.catches(signal)) << host.err().toStdString();
    if (*row.after != '\0')
        ASSERT_TRUE(host.prints(row.after)) << host.err().toStdString();
    else
        EXPECT_EQ(host.end(150), -1); // still at work
    const qint64 before = host.elapsed();
    host.kill(signal);
    const int code = host.end(2000);
    EXPECT_LT(host.elapsed() - before, 2000);
    if (row.command[0] == "read" || row.command[0] == "write")
        EXPECT_EQ(code, 128 + signal);
    else
        EXPECT_GE(code, 0); // ended by itself, not by the signal's force
    EXPECT_TRUE(host.err().contains(" requests, ")) << host.err().toStdString();
}

const StopRow stopRows[] = {
    {"whileConnecting", "refuse", {"read", "DM0"}, ""},
    {"whileGreeting", "blackhole", {"read", "DM0"}, ""},
    {"whileReading", "silent cmd RDS", {"read", "DM0"}, ""},
    {"whileWatching", "split every 2", {"watch", "DM0", "--every", "50ms"}, "DM0,0,,good"},
    {"whileWatchingSilence", "silent cmd RDS", {"watch", "DM0"}, ""},
    {"whileLogging", "split every 2", {"log", "DM0", "--every", "50ms"}, "DM0,0,,good"},
};

INSTANTIATE_TEST_SUITE_P(
    Rows, Stops, testing::Combine(testing::ValuesIn(stopRows), testing::Values(SIGINT, SIGTERM, SIGHUP)),
    [](const auto &row) {
        return std::string(std::get<0>(row.param).row) + "_" + nameOf(std::get<1>(row.param));
    });

// Commands whose output goes into a full pipe that nobody empties.
class FullPipe : public testing::TestWithParam<std::tuple<const char *, int>>
{
};

TEST_P(FullPipe, isNoReasonToGoOn)
{
    const auto &[command, signal] = GetParam();
    SimulatedPlc plc({"--scan", "10"});
    const QTemporaryDir folder;
    const QString pipe = folder.filePath("pipe");
    ASSERT_EQ(::mkfifo(pipe.toLocal8Bit().constData(), 0600), 0);
    const int reader = ::open(pipe.toLocal8Bit().constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    const int writer = ::open(pipe.toLocal8Bit().constData(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    const QByteArray filling(1 << 16, 'x');
    while (::write(writer, filling.constData(), std::size_t(filling.size())) > 0) {
    }
    QProcess shell;
    shell.start("sh", {"-c", QStringLiteral("exec '%1' --plc %2 -q %3 DM0:100 --every 20ms > '%4'")
                                 .arg(KV_HOST_PATH, plc.url(), command, pipe)});
    ASSERT_TRUE(shell.waitForStarted());
    EXPECT_FALSE(shell.waitForFinished(700)); // it stands before the full pipe by now
    ::kill(pid_t(shell.processId()), signal);
    EXPECT_TRUE(shell.waitForFinished(3000)) << "it goes on";
    shell.kill();
    shell.waitForFinished(1000);
    ::close(reader);
    ::close(writer);
}

INSTANTIATE_TEST_SUITE_P(Rows, FullPipe,
                         testing::Combine(testing::Values("watch", "log"),
                                          testing::Values(SIGINT, SIGTERM, SIGHUP)),
                         [](const auto &row) {
                             return std::string(std::get<0>(row.param)) + "_" +
                                    nameOf(std::get<1>(row.param));
                         });

class PipeWithoutReader : public testing::TestWithParam<int>
{
};

TEST_P(PipeWithoutReader, isNoReasonToGoOn)
{
    const SimulatedPlc plc;
    const QTemporaryDir folder;
    const QString pipe = folder.filePath("pipe");
    ASSERT_EQ(::mkfifo(pipe.toLocal8Bit().constData(), 0600), 0);
    HostProcess log({"--plc", plc.url(), "log", "DM0", "--every", "50ms", "-o", pipe});
    ASSERT_TRUE(log.catches(GetParam()));
    EXPECT_TRUE(log.notes("nobody reads this pipe yet")) << log.err().toStdString();
    log.kill(GetParam());
    EXPECT_EQ(log.end(4000), 1) << log.err().toStdString(); // rows were lost
}

INSTANTIATE_TEST_SUITE_P(Rows, PipeWithoutReader, testing::Values(SIGINT, SIGTERM, SIGHUP),
                         [](const auto &row) { return nameOf(row.param); });

} // namespace
