// SPDX-License-Identifier: MIT
// Messages for the journal: what is in them, and where they go.
#include "service/log.h"

#include <QTemporaryDir>
#include <QTemporaryFile>

#include <gtest/gtest.h>

#include <algorithm>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace kvgateway
{
namespace
{

// A journal that keeps the last message.
class Journal
{
public:
    Journal() : path((folder.path() + "/journal").toLocal8Bit()), m_socket(::socket(AF_UNIX, SOCK_DGRAM, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::copy(path.begin(), path.end(), address.sun_path);
        EXPECT_EQ(::bind(m_socket, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
    }
    ~Journal() { ::close(m_socket); }
    Journal(const Journal &) = delete;
    Journal &operator=(const Journal &) = delete;

    std::string next() const
    {
        char text[1000] = "";
        const auto size = ::recv(m_socket, text, sizeof text, MSG_DONTWAIT);
        return {text, size < 0 ? 0 : std::size_t(size)};
    }

    QTemporaryDir folder;
    const QByteArray path;

private:
    int m_socket;
};

TEST(Log, aMessageHasTheFieldsByWhichItIsFound)
{
    const Journal journal;
    EXPECT_TRUE(sendToJournal(journal.path, journalEntry(LogLevel::Info, "line1: link ready", "line1", {})));
    EXPECT_EQ(journal.next(),
              "PRIORITY=6\nSYSLOG_IDENTIFIER=kv-gateway\nPLC=line1\nMESSAGE=line1: link ready\n");
    EXPECT_TRUE(sendToJournal(
        journal.path, journalEntry(LogLevel::Warning, "write of line1.Öl: refused", "line1", "line1.Öl")));
    EXPECT_EQ(journal.next(), "PRIORITY=4\nSYSLOG_IDENTIFIER=kv-gateway\nPLC=line1\nTAG=line1.Öl\n"
                              "MESSAGE=write of line1.Öl: refused\n");
    EXPECT_TRUE(sendToJournal(journal.path, journalEntry(LogLevel::Error, "no certificate", {}, {})));
    EXPECT_EQ(journal.next(), "PRIORITY=3\nSYSLOG_IDENTIFIER=kv-gateway\nMESSAGE=no certificate\n");
}

TEST(Log, noNameForgesAField)
{
    EXPECT_EQ(journalEntry(LogLevel::Info, "a\nPLC=b", "c\nPRIORITY=0", "d\n"),
              "PRIORITY=6\nSYSLOG_IDENTIFIER=kv-gateway\nPLC=c PRIORITY=0\nTAG=d \nMESSAGE=a PLC=b\n");
}

TEST(Log, aJournalThatIsNotThereIsSeen)
{
    const QTemporaryDir folder;
    EXPECT_FALSE(sendToJournal((folder.path() + "/journal").toLocal8Bit(), "MESSAGE=a\n"));
    EXPECT_FALSE(sendToJournal(QByteArray(200, 'x'), "MESSAGE=a\n"));
    EXPECT_FALSE(sendToJournal({}, "MESSAGE=a\n"));
    const Journal journal;
    EXPECT_FALSE(sendToJournal(journal.path, QByteArray(10'000'000, 'x'))) << "too long for a datagram";
}

TEST(Log, theStreamToTheJournalIsKnownByItsNumbers)
{
    QTemporaryFile stream;
    ASSERT_TRUE(stream.open());
    struct stat status {
    };
    ASSERT_EQ(::fstat(stream.handle(), &status), 0);
    const QByteArray device = QByteArray::number(quint64(status.st_dev));
    const QByteArray inode = QByteArray::number(quint64(status.st_ino));
    EXPECT_TRUE(isJournal(device + ":" + inode, stream.handle()));
    EXPECT_FALSE(isJournal(device + ":" + inode + "1", stream.handle()));
    EXPECT_FALSE(isJournal("", stream.handle()));
    EXPECT_FALSE(isJournal(device + ":" + inode, -1));
}

} // namespace
} // namespace kvgateway
