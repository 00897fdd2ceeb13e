#include "socket_link.h"

#include <QTcpSocket>
#include <QUdpSocket>

#include <array>
#include <poll.h>
#include <utility>

namespace kvhost
{

SocketLink::SocketLink(const PlcUrl &url, std::function<void()> wake) : m_url(url), m_wake(std::move(wake)) {}

SocketLink::~SocketLink()
{
    SocketLink::close(); // this class's own, whatever is derived from it
}

void SocketLink::open()
{
    close();
    m_problem.clear();
    m_received.clear();
    m_state = State::Opening;
    if (m_url.kind == PlcUrl::Kind::Udp)
        m_socket = std::make_unique<QUdpSocket>();
    else
        m_socket = std::make_unique<QTcpSocket>();
    watch();
    // Without Qt's buffers a frame goes out when it is written, and each read asks the system.
    m_socket->connectToHost(m_url.host, quint16(m_url.port), QIODevice::ReadWrite | QIODevice::Unbuffered);
}

void SocketLink::watch()
{
    QAbstractSocket *socket = m_socket.get();
    QObject::connect(socket, &QAbstractSocket::connected, socket, [this] {
        m_socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        m_socket->setSocketOption(QAbstractSocket::KeepAliveOption, 1);
        m_state = State::Open;
        m_wake();
    });
    QObject::connect(socket, &QAbstractSocket::readyRead, socket, [this] {
        if (m_url.kind == PlcUrl::Kind::Tcp)
            readStream();
        m_wake();
    });
    QObject::connect(socket, &QAbstractSocket::errorOccurred, socket, [this] { failed(); });
    QObject::connect(socket, &QAbstractSocket::disconnected, socket, [this] { failed(); });
}

void SocketLink::failed()
{
    if (m_state == State::Failed || m_state == State::Closed)
        return;
    m_problem = m_socket->errorString();
    m_state = State::Failed;
    m_wake();
}

// Never called from within a signal of the socket, so it may go at once.
void SocketLink::close()
{
    m_state = State::Closed;
    if (!m_socket)
        return;
    m_socket->disconnect();
    m_socket->abort();
    m_socket.reset();
}

void SocketLink::send(const QByteArray &bytes)
{
    if (m_state == State::Open)
        m_socket->write(bytes);
}

// On purpose not only what the event loop has noticed: what lies in the system's buffer has come too.
QByteArray SocketLink::takeReceived()
{
    if (m_received.isEmpty())
        readAll();
    return std::exchange(m_received, {});
}

// On purpose not waitForReadyRead(), to which a time-out is a fault of the socket.
bool SocketLink::awaitAlone(Ms longest, BusyWait *busyWait)
{
    if (m_state != State::Open)
        return false;
    if (m_received.isEmpty() && bytesCameWithin(longest, busyWait))
        readAll();
    return true;
}

bool SocketLink::bytesCameWithin(Ms longest, BusyWait *busyWait)
{
    pollfd wanted{int(m_socket->socketDescriptor()), POLLIN, 0};
    const Time begin = Clock::now();
    const Clock::duration busily = busyWait->allowance(begin);
    bool came = false;
    while (!came && Clock::now() - begin < busily)
        came = ::poll(&wanted, 1, 0) > 0;
    came = came || ::poll(&wanted, 1, int(longest.count())) > 0;
    if (came)
        busyWait->answered(begin, Clock::now(), busily.count() > 0);
    return came;
}

void SocketLink::readAll()
{
    if (!m_socket)
        return;
    if (m_url.kind == PlcUrl::Kind::Udp)
        readDatagrams();
    else
        readStream();
}

void SocketLink::readStream()
{
    if (m_state != State::Open)
        return;
    std::array<char, 16 * 1024> portion;
    const qint64 size = m_socket->read(portion.data(), qint64(portion.size()));
    if (size > 0)
        m_received.append(portion.data(), int(size));
    // An unbuffered socket tells of the other end's closing in no other way than this.
    else if (m_socket->state() != QAbstractSocket::ConnectedState)
        failed();
}

void SocketLink::readDatagrams()
{
    auto *udp = static_cast<QUdpSocket *>(m_socket.get());
    while (udp->hasPendingDatagrams()) {
        QByteArray datagram(int(qMax<qint64>(udp->pendingDatagramSize(), 1)), '\0');
        const qint64 size = udp->readDatagram(datagram.data(), datagram.size());
        if (size < 0)
            break;
        m_received += datagram.left(int(size));
    }
}

} // namespace kvhost
