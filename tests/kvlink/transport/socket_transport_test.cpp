// SPDX-License-Identifier: MIT
// What only sockets do: names with several addresses, addresses that swallow everything, slow name
// servers, full buffers.
#include "transport/make_transport.h"
#include "transport/tcp_transport.h"
#include "transport/udp_transport.h"
#include "wire.h"

#include <atomic>
#include <fcntl.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <semaphore>

namespace kvlink
{
namespace
{

using State = Transport::State;

bool fails(Transport &transport)
{
    return workUntil(transport, [&] { return transport.state() == State::Failed; });
}

bool opens(Transport &transport)
{
    return workUntil(transport, [&] { return transport.state() == State::Open; });
}

/// A name server that knows these addresses.
NameLookup knows(std::vector<SocketAddress> addresses)
{
    return [addresses](const QString & /*host*/, int /*port*/) { return Resolved{addresses, {}}; };
}

/// The address of a port that nobody listens on.
SocketAddress closedPort()
{
    const Descriptor gone = boundSocket(SOCK_STREAM);
    return addressOf(gone);
}

/// Swallows what is sent to it: its queue of connections is full, so that the system drops each
/// further attempt.
class BlackHole
{
public:
    BlackHole()
    {
        for (int i = 0; i < 3; ++i) {
            m_waiting.emplace_back(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
            const SocketAddress to = address();
            ::connect(m_waiting.back().number(), reinterpret_cast<const sockaddr *>(&to.bytes), to.length);
        }
    }
    SocketAddress address() const { return addressOf(m_listener); }

private:
    const Descriptor m_listener = boundSocket(SOCK_STREAM, 0);
    std::vector<Descriptor> m_waiting;
};

// --- connecting ---

TEST(TcpTransport, saysThatAPortIsClosed)
{
    const SocketAddress closed = closedPort();
    TcpTransport transport(
        urlOf(PlcUrl::Kind::Tcp, ntohs(reinterpret_cast<const sockaddr_in &>(closed.bytes).sin_port)));
    transport.open();
    EXPECT_TRUE(fails(transport));
    EXPECT_EQ(transport.problem(), "connection refused");
}

TEST(TcpTransport, namesTheAddressThatANameLedTo)
{
    const SocketAddress closed = closedPort();
    TcpTransport transport(namedUrl(), knows({closed}));
    transport.open();
    EXPECT_TRUE(fails(transport));
    EXPECT_EQ(transport.problem(), "connection refused (" + closed.text() + ")");
}

TEST(TcpTransport, resolvesRealNames)
{
    const Descriptor plc = boundSocket(SOCK_STREAM);
    QString problem;
    const auto transport = makeTransport(QStringLiteral("localhost:%1").arg(portOf(plc)), problem);
    ASSERT_NE(transport, nullptr) << problem.toStdString();
    transport->open();
    EXPECT_TRUE(opens(*transport)) << transport->problem().toStdString();
}

TEST(TcpTransport, saysThatANameIsNotKnown)
{
    TcpTransport transport(namedUrl(), [](const QString &host, int port) {
        return Resolved{{}, QStringLiteral("the name '%1' is not known, port %2").arg(host).arg(port)};
    });
    transport.open();
    EXPECT_TRUE(fails(transport));
    EXPECT_EQ(transport.problem(), "the name 'plc1' is not known, port 8501");
}

TEST(LookUpName, saysThatANameIsNotKnown)
{
    // Longer than any part of a name may be: no name server is asked.
    const QString name = QString(64, QLatin1Char('a'));
    const Resolved result = lookUpName(name, 8501);
    EXPECT_TRUE(result.addresses.empty());
    EXPECT_EQ(result.problem, "the name '" + name + "' is not known");
}

TEST(TcpTransport, saysThatAnInterfaceDoesNotExist)
{
    PlcUrl url = urlOf(PlcUrl::Kind::Tcp, 1);
    url.host = QStringLiteral("fe80::1%nosuchinterface");
    TcpTransport transport(url);
    transport.open();
    EXPECT_EQ(transport.state(), State::Failed);
    EXPECT_TRUE(transport.problem().startsWith("the address 'fe80::1%nosuchinterface' cannot be used: "))
        << transport.problem().toStdString();
}

TEST(TcpTransport, triesTheNextAddressWhenOneRefuses)
{
    const Descriptor plc = boundSocket(SOCK_STREAM);
    TcpTransport transport(namedUrl(), knows({closedPort(), closedPort(), addressOf(plc)}));
    transport.open();
    EXPECT_TRUE(opens(transport)) << transport.problem().toStdString();
    EXPECT_EQ(transport.problem(), "");
}

TEST(TcpTransport, triesTheNextAddressWhenOneSwallowsEverything)
{
    const BlackHole hole;
    const Descriptor plc = boundSocket(SOCK_STREAM);
    TcpTransport transport(namedUrl(), knows({hole.address(), addressOf(plc)}), 10ms);
    transport.open();
    EXPECT_TRUE(opens(transport)) << transport.problem().toStdString();
}

TEST(TcpTransport, leavesTheLastAddressToItsCaller)
{
    const BlackHole hole;
    TcpTransport transport(namedUrl(), knows({closedPort(), hole.address()}), 1ms);
    transport.open();
    EXPECT_TRUE(workUntil(transport, [&] { return transport.state() == State::Connecting; }));
    for (int i = 0; i < 20; ++i) {
        ::poll(nullptr, 0, 1);
        transport.work();
    }
    EXPECT_EQ(transport.state(), State::Connecting);
}

TEST(TcpTransport, beginsWithTheNextAddressWhenItsCallerDidNotWait)
{
    const BlackHole hole;
    const Descriptor plc = boundSocket(SOCK_STREAM);
    TcpTransport transport(namedUrl(), knows({hole.address(), addressOf(plc)}), 1h);
    transport.open();
    EXPECT_TRUE(workUntil(transport, [&] { return transport.state() == State::Connecting; }));
    transport.open();
    EXPECT_TRUE(opens(transport));
}

TEST(TcpTransport, beginsWithTheNextAddressWhenOneNeverSaidAnything)
{
    const Descriptor mute = boundSocket(SOCK_STREAM);
    const Descriptor plc = boundSocket(SOCK_STREAM);
    TcpTransport transport(namedUrl(), knows({addressOf(mute), addressOf(plc)}));
    transport.open();
    ASSERT_TRUE(opens(transport));
    const Descriptor silence = accepted(mute);
    for (int i = 0; i < 2; ++i) { // and stays with the one that talks
        transport.open();
        ASSERT_TRUE(opens(transport));
        const Descriptor talk = accepted(plc);
        writeTo(talk.number(), "CC\r\n");
        EXPECT_EQ(take(transport, 4), "CC\r\n");
    }
}

// --- slow name servers ---

/// A name server that answers when the test says so.
struct SlowNameServer {
    std::shared_ptr<std::counting_semaphore<>> answers = std::make_shared<std::counting_semaphore<>>(0);
    std::shared_ptr<std::atomic<int>> asked = std::make_shared<std::atomic<int>>(0);
    SocketAddress address;

    NameLookup lookup() const
    {
        return [server = *this](const QString & /*host*/, int /*port*/) {
            ++*server.asked;
            server.answers->acquire();
            return Resolved{{server.address}, {}};
        };
    }
};

TEST(SlowNames, holdNobodyUp)
{
    const SlowNameServer server;
    {
        TcpTransport transport(namedUrl(), server.lookup());
        transport.open();
        transport.work();
        EXPECT_EQ(transport.state(), State::Resolving);
        transport.close();
        EXPECT_EQ(transport.state(), State::Closed);
        transport.open();
        EXPECT_EQ(transport.state(), State::Resolving);
    } // destroyed while the name server still thinks
    server.answers->release();
}

TEST(SlowNames, areAskedForOnlyOnceAtATime)
{
    const Descriptor plc = boundSocket(SOCK_STREAM);
    SlowNameServer server;
    server.address = addressOf(plc);
    TcpTransport transport(namedUrl(), server.lookup());
    for (int i = 0; i < 10; ++i)
        transport.open();
    server.answers->release();
    EXPECT_TRUE(opens(transport)) << transport.problem().toStdString();
    EXPECT_EQ(*server.asked, 1);
}

TEST(SlowNames, thatAnswerAfterTheCloseAreAskedAgain)
{
    const Descriptor plc = boundSocket(SOCK_STREAM);
    SlowNameServer server;
    server.address = closedPort();
    std::vector<pollfd> wanted;
    TcpTransport transport(namedUrl(), [&plc, old = server.lookup()](const QString &host, int port) {
        Resolved result = old(host, port);
        static std::atomic<int> times{0};
        if (++times > 1)
            result.addresses = {addressOf(plc)};
        return result;
    });
    transport.open();
    transport.addDescriptors(wanted);
    transport.close();
    server.answers->release();
    ::poll(wanted.data(), nfds_t(wanted.size()), 5000); // the late answer
    transport.work();
    EXPECT_EQ(transport.state(), State::Closed);
    server.answers->release();
    transport.open();
    EXPECT_TRUE(opens(transport)) << transport.problem().toStdString();
    EXPECT_EQ(*server.asked, 2);
}

// --- an open connection ---

class OpenTcp : public testing::Test
{
protected:
    OpenTcp()
    {
        transport.open();
        plc = accepted(listener);
        EXPECT_TRUE(opens(transport));
    }

    int descriptor() const
    {
        std::vector<pollfd> all;
        transport.addDescriptors(all);
        return all.size() == 1 ? all.front().fd : -1;
    }

    const Descriptor listener = boundSocket(SOCK_STREAM);
    TcpTransport transport{urlOf(PlcUrl::Kind::Tcp, portOf(listener))};
    Descriptor plc;
};

TEST_F(OpenTcp, sendsEachRequestAtOnceAndIsNotInherited)
{
    int noDelay = 0;
    socklen_t size = sizeof(noDelay);
    ASSERT_EQ(::getsockopt(descriptor(), IPPROTO_TCP, TCP_NODELAY, &noDelay, &size), 0);
    EXPECT_NE(noDelay, 0);
    EXPECT_NE(::fcntl(descriptor(), F_GETFD) & FD_CLOEXEC, 0);
    EXPECT_NE(::fcntl(descriptor(), F_GETFL) & O_NONBLOCK, 0);
}

TEST_F(OpenTcp, goesOnSendingWhatTheSystemDidNotTake)
{
    QByteArray much;
    for (int i = 0; much.size() < 12 * 1024 * 1024; ++i)
        much += QByteArray::number(i) + ' ';
    transport.send(much);
    std::vector<pollfd> wanted;
    transport.addDescriptors(wanted);
    ASSERT_EQ(wanted.size(), 1U);
    EXPECT_EQ(wanted.front().events, POLLIN | POLLOUT);
    QByteArray heard;
    while (heard.size() < much.size()) {
        const QByteArray part = readFrom(plc.number(), 1);
        ASSERT_FALSE(part.isEmpty());
        heard += part;
        transport.work();
    }
    EXPECT_TRUE(heard == much);
    wanted.clear();
    transport.addDescriptors(wanted);
    EXPECT_EQ(wanted.front().events, POLLIN);
}

TEST_F(OpenTcp, saysThatThePlcClosed)
{
    plc.reset();
    EXPECT_TRUE(fails(transport));
    EXPECT_EQ(transport.problem(), "the PLC closed the connection");
}

TEST_F(OpenTcp, saysThatThePlcReset)
{
    const linger hard = {1, 0};
    ::setsockopt(plc.number(), SOL_SOCKET, SO_LINGER, &hard, sizeof(hard));
    plc.reset();
    EXPECT_TRUE(fails(transport));
    EXPECT_EQ(transport.problem(), "connection reset by peer");
}

TEST_F(OpenTcp, survivesSendingToAPlcThatIsGone)
{
    plc.reset();
    for (int i = 0; i < 100 && transport.state() == State::Open; ++i)
        transport.send("RDS DM0.U 1\r"); // would be SIGPIPE
    EXPECT_TRUE(fails(transport));
}

TEST_F(OpenTcp, isNotKeptBusyByAFlood)
{
    const int flags = ::fcntl(plc.number(), F_GETFL);
    ::fcntl(plc.number(), F_SETFL, flags | O_NONBLOCK);
    const QByteArray portion(65536, 'x');
    while (::write(plc.number(), portion.constData(), size_t(portion.size())) > 0)
        continue;
    transport.work();
    const auto size = transport.takeReceived().size();
    EXPECT_GT(size, 0);
    EXPECT_LE(size, 65536);
}

// --- UDP ---

TEST(UdpTransport, hearsOnlyItsPlc)
{
    const Descriptor plc = boundSocket(SOCK_DGRAM);
    const Descriptor stranger = boundSocket(SOCK_DGRAM);
    UdpTransport transport(urlOf(PlcUrl::Kind::Udp, portOf(plc)));
    transport.open();
    ASSERT_EQ(transport.state(), State::Open);
    std::vector<pollfd> wanted;
    transport.addDescriptors(wanted);
    SocketAddress own;
    own.length = sizeof(own.bytes);
    ::getsockname(wanted.front().fd, reinterpret_cast<sockaddr *>(&own.bytes), &own.length);
    for (const Descriptor *from : {&stranger, &plc}) {
        const QByteArray word = from == &plc ? "plc" : "stranger";
        ::sendto(from->number(), word.constData(), size_t(word.size()), 0,
                 reinterpret_cast<const sockaddr *>(&own.bytes), own.length);
    }
    EXPECT_EQ(take(transport, 3), "plc");
}

TEST(UdpTransport, saysThatThePortIsClosed)
{
    Descriptor plc = boundSocket(SOCK_DGRAM);
    UdpTransport transport(urlOf(PlcUrl::Kind::Udp, portOf(plc)));
    transport.open();
    plc.reset();
    transport.send("CR\r\n");
    EXPECT_TRUE(fails(transport));
    EXPECT_EQ(transport.problem(), "connection refused");
}

TEST(UdpTransport, triesAnotherAddressAfterSilence)
{
    const Descriptor mute = boundSocket(SOCK_DGRAM);
    const Descriptor plc = boundSocket(SOCK_DGRAM);
    UdpTransport transport(namedUrl(PlcUrl::Kind::Udp), knows({addressOf(mute), addressOf(plc)}));
    for (const Descriptor *next : {&mute, &plc, &mute}) {
        transport.open();
        ASSERT_TRUE(opens(transport));
        transport.send("CR\r\n");
        EXPECT_EQ(readFrom(next->number(), 4), "CR\r\n");
    }
}

TEST(UdpTransport, ignoresAnEmptyDatagram)
{
    const Descriptor plc = boundSocket(SOCK_DGRAM);
    UdpTransport transport(urlOf(PlcUrl::Kind::Udp, portOf(plc)));
    transport.open();
    transport.send("CR\r\n");
    SocketAddress from;
    from.length = sizeof(from.bytes);
    char hello[8];
    ::recvfrom(plc.number(), hello, sizeof(hello), 0, reinterpret_cast<sockaddr *>(&from.bytes),
               &from.length);
    ::connect(plc.number(), reinterpret_cast<const sockaddr *>(&from.bytes), from.length);
    ::send(plc.number(), "", 0, 0);
    writeTo(plc.number(), "CC\r\n");
    EXPECT_EQ(take(transport, 4), "CC\r\n");
    EXPECT_EQ(transport.state(), State::Open);
}

TEST(MakeTransport, followsTheAddress)
{
    QString problem;
    EXPECT_NE(dynamic_cast<TcpTransport *>(makeTransport(QStringLiteral("plc1"), problem).get()), nullptr);
    EXPECT_NE(dynamic_cast<UdpTransport *>(makeTransport(QStringLiteral("udp://plc1"), problem).get()),
              nullptr);
    EXPECT_TRUE(makeTransport(QStringLiteral("serial:///dev/ttyS0"), problem)->isSerial());
    EXPECT_EQ(problem, "");
    EXPECT_EQ(makeTransport(QStringLiteral("tcp://192.168.1"), problem), nullptr);
    EXPECT_NE(problem, "");
}

TEST(SocketAddress, isShownAsPeopleWriteIt)
{
    EXPECT_EQ(numericAddress(QStringLiteral("192.168.0.10"), 8501).addresses.at(0).text(),
              "192.168.0.10:8501");
    EXPECT_EQ(numericAddress(QStringLiteral("fe80::1"), 8501).addresses.at(0).text(), "[fe80::1]:8501");
}

} // namespace
} // namespace kvlink
