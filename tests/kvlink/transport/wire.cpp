// SPDX-License-Identifier: MIT
// Far ends of transports. See wire.h.
#include "wire.h"

#include "support/fake_transport.h"
#include "transport/serial_transport.h"
#include "transport/tcp_transport.h"
#include "transport/udp_transport.h"

#include <arpa/inet.h>
#include <array>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <poll.h>

namespace kvlink
{

namespace
{

constexpr auto patience = 5s;
constexpr int patienceMs = 5000;

class FakeWire final : public Wire
{
public:
    Transport &transport() override { return m_transport; }
    void open() override
    {
        m_transport.open();
        m_transport.connects();
        m_transport.opened();
    }
    void plcSends(const QByteArray &bytes) override { m_transport.comes(bytes); }
    QByteArray plcHears(int /*expected*/) override { return m_transport.takeSent(); }
    void plcGoes() override { m_transport.fails(QStringLiteral("the PLC closed the connection")); }

private:
    FakeTransport m_transport;
};

class TcpWire final : public Wire
{
public:
    Transport &transport() override { return m_transport; }
    void open() override
    {
        m_transport.open();
        m_plc = accepted(m_listener);
        workUntil(m_transport, [this] { return m_transport.state() == Transport::State::Open; });
    }
    void plcSends(const QByteArray &bytes) override { writeTo(m_plc.number(), bytes); }
    QByteArray plcHears(int expected) override { return readFrom(m_plc.number(), expected); }
    void plcGoes() override { m_plc.reset(); }

private:
    const Descriptor m_listener = boundSocket(SOCK_STREAM);
    TcpTransport m_transport{urlOf(PlcUrl::Kind::Tcp, portOf(m_listener))};
    Descriptor m_plc;
};

class UdpWire final : public Wire
{
public:
    Transport &transport() override { return m_transport; }
    // A PLC answers to where the last request came from.
    void open() override
    {
        m_transport.open();
        m_transport.send("hello");
        pollfd wanted{m_plc.number(), POLLIN, 0};
        ASSERT_EQ(::poll(&wanted, 1, patienceMs), 1);
        std::array<char, 8> hello;
        m_host.length = sizeof(m_host.bytes);
        ::recvfrom(m_plc.number(), hello.data(), hello.size(), 0, reinterpret_cast<sockaddr *>(&m_host.bytes),
                   &m_host.length);
    }
    void plcSends(const QByteArray &bytes) override
    {
        ::sendto(m_plc.number(), bytes.constData(), size_t(bytes.size()), 0,
                 reinterpret_cast<const sockaddr *>(&m_host.bytes), m_host.length);
    }
    QByteArray plcHears(int expected) override { return readFrom(m_plc.number(), expected); }
    // Only a request shows that the port is closed.
    void plcGoes() override
    {
        m_plc.reset();
        m_transport.send("anybody?");
    }

private:
    Descriptor m_plc = boundSocket(SOCK_DGRAM);
    SocketAddress m_host;
    UdpTransport m_transport{urlOf(PlcUrl::Kind::Udp, portOf(m_plc))};
};

class SerialWire final : public Wire
{
public:
    SerialWire()
    {
        PlcUrl url;
        url.kind = PlcUrl::Kind::Serial;
        url.host = m_terminal.path;
        m_transport = std::make_unique<SerialTransport>(url);
    }
    Transport &transport() override { return *m_transport; }
    void open() override { m_transport->open(); }
    void plcSends(const QByteArray &bytes) override { writeTo(m_terminal.plc.number(), bytes); }
    QByteArray plcHears(int expected) override { return readFrom(m_terminal.plc.number(), expected); }
    void plcGoes() override { m_terminal.plc.reset(); }

private:
    Terminal m_terminal = makeTerminal();
    std::unique_ptr<SerialTransport> m_transport;
};

} // namespace

std::unique_ptr<Wire> fakeWire()
{
    return std::make_unique<FakeWire>();
}

std::unique_ptr<Wire> tcpWire()
{
    return std::make_unique<TcpWire>();
}

std::unique_ptr<Wire> udpWire()
{
    return std::make_unique<UdpWire>();
}

std::unique_ptr<Wire> serialWire()
{
    return std::make_unique<SerialWire>();
}

bool workUntil(Transport &transport, const std::function<bool()> &condition)
{
    const auto end = std::chrono::steady_clock::now() + patience;
    std::vector<pollfd> wanted;
    for (;;) {
        transport.work();
        if (condition())
            return true;
        if (std::chrono::steady_clock::now() > end)
            return false;
        wanted.clear();
        transport.addDescriptors(wanted);
        ::poll(wanted.data(), nfds_t(wanted.size()), patienceMs);
    }
}

QByteArray take(Transport &transport, int expected)
{
    QByteArray all;
    workUntil(transport, [&] {
        all += transport.takeReceived();
        return all.size() >= expected;
    });
    return all;
}

Descriptor boundSocket(int type, int backlog)
{
    Descriptor made(::socket(AF_INET, type | SOCK_CLOEXEC, 0));
    sockaddr_in any = {};
    any.sin_family = AF_INET;
    any.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(::bind(made.number(), reinterpret_cast<const sockaddr *>(&any), sizeof(any)), 0);
    if (type == SOCK_STREAM) {
        EXPECT_EQ(::listen(made.number(), backlog), 0);
    }
    return made;
}

SocketAddress addressOf(const Descriptor &socket)
{
    SocketAddress address;
    address.length = sizeof(address.bytes);
    ::getsockname(socket.number(), reinterpret_cast<sockaddr *>(&address.bytes), &address.length);
    return address;
}

int portOf(const Descriptor &socket)
{
    sockaddr_in address = {};
    socklen_t length = sizeof(address);
    ::getsockname(socket.number(), reinterpret_cast<sockaddr *>(&address), &length);
    return ntohs(address.sin_port);
}

Descriptor accepted(const Descriptor &listener)
{
    pollfd wanted{listener.number(), POLLIN, 0};
    EXPECT_EQ(::poll(&wanted, 1, patienceMs), 1);
    return Descriptor(::accept4(listener.number(), nullptr, nullptr, SOCK_CLOEXEC));
}

PlcUrl urlOf(PlcUrl::Kind kind, int port)
{
    PlcUrl url;
    url.kind = kind;
    url.host = QStringLiteral("127.0.0.1");
    url.port = port;
    return url;
}

PlcUrl namedUrl(PlcUrl::Kind kind)
{
    PlcUrl url;
    url.kind = kind;
    url.host = QStringLiteral("plc1");
    url.isName = true;
    return url;
}

QByteArray readFrom(int descriptor, int expected)
{
    QByteArray all;
    std::vector<char> portion(65536);
    while (all.size() < expected) {
        pollfd wanted{descriptor, POLLIN, 0};
        if (::poll(&wanted, 1, patienceMs) < 1)
            break;
        const ssize_t size = ::read(descriptor, portion.data(), portion.size());
        if (size <= 0)
            break;
        all.append(portion.data(), int(size));
    }
    return all;
}

void writeTo(int descriptor, const QByteArray &bytes)
{
    EXPECT_EQ(::write(descriptor, bytes.constData(), size_t(bytes.size())), bytes.size());
}

Terminal makeTerminal()
{
    Terminal terminal{Descriptor(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)), {}};
    EXPECT_EQ(::grantpt(terminal.plc.number()), 0);
    EXPECT_EQ(::unlockpt(terminal.plc.number()), 0);
    std::array<char, 64> path = {};
    EXPECT_EQ(::ptsname_r(terminal.plc.number(), path.data(), path.size()), 0);
    terminal.path = QString::fromLatin1(path.data());
    return terminal;
}

} // namespace kvlink
