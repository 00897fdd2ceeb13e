// SPDX-License-Identifier: MIT
#include "line.h"

#include "sim_process.h"

#include <QElapsedTimer>
#include <QFile>

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

int connectedSocket(quint16 port)
{
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0)
        return descriptor;
    ::close(descriptor);
    return -1;
}

int openedTerminal(const QString &path)
{
    return ::open(QFile::encodeName(path).constData(), O_RDWR | O_NOCTTY | O_CLOEXEC);
}

Line::Line(int descriptor) : m_descriptor(descriptor)
{
    ::fcntl(m_descriptor, F_SETFL, ::fcntl(m_descriptor, F_GETFL) | O_NONBLOCK);
}

Line::~Line()
{
    if (isOpen())
        ::close(m_descriptor);
}

void Line::discard()
{
    while (fill(0)) {
    }
    m_held.clear();
}

void Line::send(QByteArray bytes)
{
    if (m_damagesNext && !bytes.isEmpty())
        bytes[bytes.size() - 1] = char(bytes.at(bytes.size() - 1) ^ 0x55);
    m_damagesNext = false;
    pollfd wait{m_descriptor, POLLOUT, 0};
    for (int sent = 0; sent < bytes.size() && ::poll(&wait, 1, patienceMs) == 1;) {
        const auto rest = std::size_t(bytes.size() - sent);
        auto count = ::send(m_descriptor, bytes.constData() + sent, rest, MSG_NOSIGNAL);
        if (count < 0 && errno == ENOTSOCK)
            count = ::write(m_descriptor, bytes.constData() + sent, rest);
        if (count <= 0)
            return;
        sent += int(count);
    }
}

QByteArray Line::receive(int timeoutMs, int awaited)
{
    if (awaited > 0)
        gather(awaited);
    QElapsedTimer clock;
    clock.start();
    while (!m_held.contains("\r\n") && fill(std::max(0, timeoutMs - int(clock.elapsed())))) {
    }
    const int end = int(m_held.indexOf("\r\n"));
    const QByteArray answer = end < 0 ? m_held : m_held.left(end + 2);
    m_held.remove(0, int(answer.size()));
    return answer;
}

bool Line::gather(int bytes)
{
    QElapsedTimer clock;
    clock.start();
    while (m_held.size() < bytes && fill(std::max(0, patienceMs - int(clock.elapsed())))) {
    }
    return m_held.size() >= bytes;
}

// False if nothing came in time or the line is closed.
bool Line::fill(int timeoutMs)
{
    std::array<char, 4096> buffer;
    pollfd wait{m_descriptor, POLLIN, 0};
    if (::poll(&wait, 1, timeoutMs) != 1)
        return false;
    const auto count = ::read(m_descriptor, buffer.data(), buffer.size());
    if (count <= 0)
        return false;
    m_held.append(buffer.data(), int(count));
    return true;
}
