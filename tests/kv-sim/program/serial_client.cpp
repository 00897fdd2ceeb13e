// SPDX-License-Identifier: MIT
#include "serial_client.h"

#include <QFile>

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

SerialClient::SerialClient(const QString &path)
    : m_terminal(::open(QFile::encodeName(path).constData(), O_RDWR | O_NOCTTY | O_CLOEXEC))
{
}

SerialClient::~SerialClient()
{
    if (m_terminal >= 0)
        ::close(m_terminal);
}

void SerialClient::send(const std::string &bytes) const
{
    for (std::size_t sent = 0; sent < bytes.size();) {
        const auto count = ::write(m_terminal, bytes.data() + sent, bytes.size() - sent);
        if (count <= 0)
            return;
        sent += std::size_t(count);
    }
}

void SerialClient::setBlocking(bool on) const
{
    const int flags = ::fcntl(m_terminal, F_GETFL);
    ::fcntl(m_terminal, F_SETFL, on ? flags & ~O_NONBLOCK : flags | O_NONBLOCK);
}

std::string SerialClient::receive(std::size_t count) const
{
    std::string bytes;
    std::array<char, 4096> buffer;
    pollfd wait{m_terminal, POLLIN, 0};
    while (bytes.size() < count && ::poll(&wait, 1, patienceMs) == 1) {
        const auto got = ::read(m_terminal, buffer.data(), std::min(buffer.size(), count - bytes.size()));
        if (got <= 0)
            break;
        bytes.append(buffer.data(), std::size_t(got));
    }
    return bytes;
}

std::string SerialClient::surplus() const
{
    std::array<char, 256> buffer;
    pollfd wait{m_terminal, POLLIN, 0};
    if (::poll(&wait, 1, 20) != 1)
        return {};
    const auto got = ::read(m_terminal, buffer.data(), buffer.size());
    return got > 0 ? std::string(buffer.data(), std::size_t(got)) : std::string();
}
