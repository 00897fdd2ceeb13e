// SPDX-License-Identifier: MIT
// Writing to pipes that are full, closed, or on a full disk.
#include "output/fd_writer.h"

#include <gtest/gtest.h>

#include <csignal>
#include <fcntl.h>
#include <sys/eventfd.h>
#include <thread>
#include <unistd.h>

namespace kvhost
{
namespace
{

class Pipe
{
public:
    Pipe() { EXPECT_EQ(::pipe2(m_ends, O_CLOEXEC), 0); }
    ~Pipe()
    {
        closeReader();
        ::close(m_ends[1]);
    }
    int writer() const { return m_ends[1]; }
    int reader() const { return m_ends[0]; }
    void closeReader()
    {
        if (m_ends[0] >= 0)
            ::close(m_ends[0]);
        m_ends[0] = -1;
    }

private:
    int m_ends[2] = {-1, -1};
};

TEST(FdWriters, giveUpAFullPipeWhenTheProgramIsToEnd)
{
    const Pipe pipe;
    const int stop = ::eventfd(1, EFD_CLOEXEC); // the signal has come already
    FdWriter writer(pipe.writer(), stop);
    QString problem;
    EXPECT_EQ(writer.write(QByteArray(1 << 20, 'x'), problem), Written::Stopped);
    ::close(stop);
}

TEST(FdWriters, areWokenByTheSignalWhileTheyWait)
{
    const Pipe pipe;
    const int stop = ::eventfd(0, EFD_CLOEXEC);
    QString problem;
    Written written = Written::All;
    std::thread thread(
        [&] { written = FdWriter(pipe.writer(), stop).write(QByteArray(1 << 20, 'x'), problem); });
    const std::uint64_t one = 1;
    EXPECT_EQ(::write(stop, &one, sizeof one), ssize_t(sizeof one));
    thread.join();
    EXPECT_EQ(written, Written::Stopped);
    ::close(stop);
}

TEST(FdWriters, noticeAReaderThatHasGone)
{
    std::signal(SIGPIPE, SIG_IGN);
    Pipe pipe;
    pipe.closeReader();
    QString problem;
    EXPECT_EQ(FdWriter(pipe.writer(), -1).write("x", problem), Written::ReaderGone);
}

TEST(FdWriters, sayWhyADiskTakesNothing)
{
    const int full = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
    QString problem;
    EXPECT_EQ(FdWriter(full, -1).write("x", problem), Written::Failed);
    EXPECT_TRUE(problem.contains("No space left")) << problem.toStdString();
    ::close(full);
}

TEST(FdWriters, writeEverythingInPieces)
{
    const Pipe pipe;
    QByteArray all;
    for (int i = 0; i < 50000; ++i)
        all += QByteArray::number(i) + '\n';
    QString problem;
    std::thread writing([&] { EXPECT_EQ(FdWriter(pipe.writer(), -1).write(all, problem), Written::All); });
    QByteArray got;
    char buffer[4096];
    while (got.size() < all.size()) {
        const ssize_t size = ::read(pipe.reader(), buffer, sizeof buffer);
        ASSERT_GT(size, 0);
        got.append(buffer, int(size));
    }
    writing.join();
    EXPECT_EQ(got, all);
}

} // namespace
} // namespace kvhost
