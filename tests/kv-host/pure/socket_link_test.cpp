// Links over a real loopback, without a turn of the event loop once they are open: what has come is there at once.
#include "socket_link.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTcpServer>
#include <QTcpSocket>

#include <gtest/gtest.h>

namespace kvhost
{

namespace
{

class OpenLink : public testing::Test
{
protected:
    void SetUp() override
    {
        static int argc = 1;
        static char name[] = "test";
        static char *argv[] = {name, nullptr};
        if (QCoreApplication::instance() == nullptr)
            static QCoreApplication application(argc, argv);
        ASSERT_TRUE(m_server.listen(QHostAddress::LocalHost));
        PlcUrl url;
        url.host = QStringLiteral("127.0.0.1");
        url.port = m_server.serverPort();
        m_link = std::make_unique<SocketLink>(url, [] {});
        m_link->open();
        QElapsedTimer timer;
        timer.start();
        while ((m_link->state() != Link::State::Open || !m_server.hasPendingConnections()) &&
               timer.elapsed() < 5000)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        ASSERT_EQ(m_link->state(), Link::State::Open);
        m_plc.reset(m_server.nextPendingConnection());
        ASSERT_TRUE(m_plc);
    }

    void plcSends(const QByteArray &bytes)
    {
        m_plc->write(bytes);
        m_plc->flush();
    }

    QTcpServer m_server;
    std::unique_ptr<QTcpSocket> m_plc;
    std::unique_ptr<SocketLink> m_link;
    BusyWait m_busyWait;
};

TEST_F(OpenLink, bytesThatTheEventLoopHasNotNoticedAreTaken)
{
    EXPECT_EQ(m_link->takeReceived(), "");
    plcSends("late\r\n");
    EXPECT_EQ(m_link->takeReceived(), "late\r\n");
    EXPECT_EQ(m_link->takeReceived(), "");
}

TEST_F(OpenLink, anAnswerIsAwaitedAlone)
{
    plcSends("00001\r\n");
    EXPECT_TRUE(m_link->awaitAlone(Ms(5000), &m_busyWait));
    EXPECT_EQ(m_link->takeReceived(), "00001\r\n");
}

TEST_F(OpenLink, waitingInVainIsNoFault)
{
    EXPECT_TRUE(m_link->awaitAlone(Ms(1), &m_busyWait));
    EXPECT_EQ(m_link->state(), Link::State::Open);
    plcSends("OK\r\n");
    EXPECT_TRUE(m_link->awaitAlone(Ms(5000), &m_busyWait));
    EXPECT_EQ(m_link->takeReceived(), "OK\r\n");
}

TEST_F(OpenLink, aWaitThatBeginsBusilyEndsAlike)
{
    const auto becomeBusy = [this] { m_busyWait.answered(Clock::now(), Clock::now(), false); };
    plcSends("00001\r\n");
    becomeBusy();
    EXPECT_TRUE(m_link->awaitAlone(Ms(5000), &m_busyWait));
    EXPECT_EQ(m_link->takeReceived(), "00001\r\n");
    becomeBusy();
    ASSERT_GT(m_busyWait.allowance(Clock::now()), Clock::duration::zero());
    EXPECT_TRUE(m_link->awaitAlone(Ms(1), &m_busyWait)); // in vain
    EXPECT_EQ(m_link->takeReceived(), "");
    becomeBusy();
    m_plc->close();
    EXPECT_TRUE(m_link->awaitAlone(Ms(5000), &m_busyWait));
    EXPECT_EQ(m_link->state(), Link::State::Failed);
}

TEST_F(OpenLink, anAnswerBeforeTheEndIsNotLost)
{
    plcSends("OK\r\n");
    m_plc->close();
    EXPECT_TRUE(m_link->awaitAlone(Ms(5000), &m_busyWait));
    EXPECT_EQ(m_link->takeReceived(), "OK\r\n");
    m_link->awaitAlone(Ms(5000), &m_busyWait);
    EXPECT_EQ(m_link->state(), Link::State::Failed);
    EXPECT_FALSE(m_link->problem().isEmpty());
    EXPECT_FALSE(m_link->awaitAlone(Ms(5000), &m_busyWait)) << "nothing more is waited for";
}

TEST_F(OpenLink, theEndIsNoticedByTheEventLoopToo)
{
    m_plc->close();
    QElapsedTimer timer;
    timer.start();
    while (m_link->state() == Link::State::Open && timer.elapsed() < 5000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
    EXPECT_EQ(m_link->state(), Link::State::Failed);
}

TEST_F(OpenLink, whatIsSentArrives)
{
    m_link->send("CR\r\n");
    ASSERT_TRUE(m_plc->waitForReadyRead(5000));
    EXPECT_EQ(m_plc->readAll(), "CR\r\n");
}

} // namespace

} // namespace kvhost
