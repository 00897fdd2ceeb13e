// SPDX-License-Identifier: MIT
// A trace that nobody reads, in a pipe or on a terminal, holds up no line and says what it lost.
#include "sim_process.h"

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

const char *const linesLost = " lines lost: stderr was not read)";

// 6,000 lines of trace, far more than a pipe or a terminal holds.
void expectServed(SimProcess &sim)
{
    ASSERT_TRUE(sim.isReady());
    Client line(sim.port("tcp"));
    EXPECT_EQ(line.ask("CR"), "CC");
    for (int i = 0; i < 3000; ++i)
        ASSERT_EQ(line.ask("RDS DM0 4"), "00000 00000 00000 00000") << i;
}

TEST(Trace, inAFullPipeHoldsUpNoLine)
{
    SimProcess sim({"--tcp", "127.0.0.1:0", "--trace"});
    expectServed(sim); // nothing reads stderr meanwhile
    EXPECT_NE(sim.errors().find(" #1 > CR<CR>\n"), std::string::npos);
    Client line(sim.port("tcp"));
    std::string trace;
    for (int i = 0; i < 1000 && trace.find(linesLost) == std::string::npos; ++i) {
        EXPECT_EQ(line.ask("?K"), "E1");
        trace = sim.errors();
    }
    EXPECT_NE(trace.find(linesLost), std::string::npos);
}

// What a descriptor gives, up to this text; all of it if the text does not come.
std::string readUpTo(int descriptor, const std::string &end)
{
    std::string text;
    std::array<char, 4096> buffer;
    pollfd wait{descriptor, POLLIN, 0};
    while (text.find(end) == std::string::npos && ::poll(&wait, 1, patienceMs) == 1) {
        const auto count = ::read(descriptor, buffer.data(), buffer.size());
        if (count <= 0)
            break; // the program has ended
        text.append(buffer.data(), std::size_t(count));
    }
    return text;
}

TEST(Trace, saysAtTheEndWhatWasLost)
{
    const QTemporaryDir folder;
    const QString pipe = folder.filePath("pipe");
    ASSERT_EQ(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    const int reader = ::open(QFile::encodeName(pipe).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    SimProcess sim({"--tcp", "127.0.0.1:0", "--trace"}, pipe);
    expectServed(sim);
    std::string shown;
    std::array<char, 4096> buffer;
    for (auto count = ::read(reader, buffer.data(), buffer.size()); count > 0;
         count = ::read(reader, buffer.data(), buffer.size()))
        shown.append(buffer.data(), std::size_t(count));
    sim.sendSignal(SIGTERM);
    shown += readUpTo(reader, linesLost);
    EXPECT_NE(shown.find(linesLost), std::string::npos);
    EXPECT_EQ(sim.exitCode(), 0);
    ::close(reader);
}

// A terminal whose other side, a window or a multiplexer, reads only when asked to.
class Terminal
{
public:
    Terminal() : m_master(::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC))
    {
        ::grantpt(m_master);
        ::unlockpt(m_master);
        std::array<char, 128> name{};
        ::ptsname_r(m_master, name.data(), name.size());
        m_path = QString::fromLocal8Bit(name.data());
    }
    ~Terminal() { ::close(m_master); }
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;

    QString path() const { return m_path; }
    int reader() const { return m_master; }
    void type(char key) const { EXPECT_EQ(::write(m_master, &key, 1), 1); }
    bool isEmpty() const
    {
        pollfd wait{m_master, POLLIN, 0};
        return ::poll(&wait, 1, 0) == 0;
    }

private:
    int m_master = -1;
    QString m_path;
};

// Once it is read again, the loss comes before the next line that it takes.
void expectLossReported(SimProcess &sim, const Terminal &terminal)
{
    Client line(sim.port("tcp"));
    std::string shown;
    for (int i = 0; i < 10000 && shown.find(linesLost) == std::string::npos; ++i) {
        EXPECT_EQ(line.ask("CR"), "CC");
        if (!terminal.isEmpty())
            shown += readUpTo(terminal.reader(), "\n");
    }
    EXPECT_NE(shown.find(linesLost), std::string::npos);
}

TEST(Trace, onAnUnreadTerminalHoldsUpNoLine)
{
    const Terminal terminal;
    SimProcess sim({"--tcp", "127.0.0.1:0", "--trace"}, terminal.path());
    expectServed(sim);
    expectLossReported(sim, terminal);
}

TEST(Trace, onAStoppedTerminalHoldsUpNoLine)
{
    constexpr char controlS = 0x13;
    constexpr char controlQ = 0x11;
    const Terminal terminal;
    const int opened = ::open(QFile::encodeName(terminal.path()).constData(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_GE(opened, 0); // a terminal that nobody has open cannot be stopped
    terminal.type(controlS);
    SimProcess sim({"--tcp", "127.0.0.1:0", "--trace"}, terminal.path());
    expectServed(sim);
    EXPECT_TRUE(terminal.isEmpty());
    terminal.type(controlQ);
    expectLossReported(sim, terminal);
    ::close(opened);
}

} // namespace
