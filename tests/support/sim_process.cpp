// SPDX-License-Identifier: MIT
#include "sim_process.h"

#include <QElapsedTimer>
#include <QFile>

#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <csignal>
#include <netinet/in.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

SimProcess::SimProcess(const QStringList &arguments, const QString &errorFile)
    : m_process(KV_SIM_PATH, arguments + QStringList{"--exit-with-stdin"}, errorFile)
{
    QElapsedTimer clock;
    clock.start();
    while (!m_process.output().contains("ready\n") && m_process.runs() && clock.elapsed() < patienceMs)
        m_process.listen(100);
    m_process.listen(0);
    m_ready = m_process.output().contains("ready\n");
}

quint16 SimProcess::port(const char *kind, int index) const
{
    for (const QByteArray &line : m_process.output().split('\n')) {
        if (!line.startsWith(QByteArray("listening ") + kind + " "))
            continue;
        if (index-- == 0)
            return line.mid(line.lastIndexOf(':') + 1).toUShort();
    }
    return 0;
}

int SimProcess::exitCode()
{
    return m_process.waitForEnd(patienceMs) ? m_process.exitCode() : -1;
}

void SimProcess::sendSignal(int signal)
{
    if (m_process.runs()) // its number may be another program's by now
        ::kill(processId(), signal);
}

long long SimProcess::memoryKilobytes() const
{
    QFile status(QStringLiteral("/proc/%1/status").arg(m_process.processId()));
    status.open(QIODevice::ReadOnly);
    for (const QByteArray &line : status.readAll().split('\n'))
        if (line.startsWith("VmRSS:"))
            return line.mid(6).trimmed().split(' ').first().toLongLong();
    return -1;
}

void SimProcess::limitFileSize(qint64 bytes) const
{
    const rlimit limit{rlim_t(bytes), RLIM_INFINITY};
    ::prlimit(processId(), RLIMIT_FSIZE, &limit, nullptr);
}

long long SimProcess::processorTicks() const
{
    QFile status(QStringLiteral("/proc/%1/stat").arg(m_process.processId()));
    status.open(QIODevice::ReadOnly);
    const QByteArray text = status.readAll();
    // After the program's name in brackets: user time is field 12, system time field 13.
    const auto fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
    return fields.size() > 12 ? fields[11].toLongLong() + fields[12].toLongLong() : -1;
}

std::string SimProcess::output()
{
    m_process.listen(0);
    return m_process.output().toStdString();
}

std::string SimProcess::errors()
{
    m_process.listen(0);
    return m_process.errors().toStdString();
}

std::string SimProcess::statistics()
{
    const std::string text = output();
    const std::size_t at = text.find("statistics ");
    return at == std::string::npos ? "" : text.substr(at, text.find('\n', at) - at);
}

Client::Client(quint16 port)
{
    m_socket.connectToHost(QHostAddress(QHostAddress::LocalHost), port);
    m_socket.waitForConnected(patienceMs);
    m_socket.setSocketOption(QAbstractSocket::LowDelayOption, 1);
}

void Client::send(const std::string &bytes)
{
    m_socket.write(bytes.data(), qint64(bytes.size()));
    while (m_socket.bytesToWrite() > 0 && m_socket.waitForBytesWritten(patienceMs)) {
    }
}

std::string Client::receive(std::size_t count)
{
    QByteArray bytes;
    while (std::size_t(bytes.size()) < count) {
        if (m_socket.bytesAvailable() == 0 && !m_socket.waitForReadyRead(patienceMs))
            break;
        bytes += m_socket.read(qint64(count) - bytes.size());
    }
    return bytes.toStdString();
}

std::string Client::line()
{
    while (!m_socket.canReadLine() && m_socket.waitForReadyRead(patienceMs)) {
    }
    return m_socket.readLine().trimmed().toStdString();
}

std::string Client::ask(const std::string &command)
{
    send(command + "\r\n");
    return line();
}

std::string Client::untilEnd()
{
    while (m_socket.state() == QAbstractSocket::ConnectedState && m_socket.waitForReadyRead(patienceMs)) {
    }
    return m_socket.readAll().toStdString();
}

std::string Client::pending()
{
    m_socket.waitForReadyRead(0);
    return m_socket.readAll().toStdString();
}

RawClient::RawClient(quint16 port) : m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    m_connected = ::connect(m_socket, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
}

RawClient::~RawClient()
{
    ::close(m_socket);
}

void RawClient::send(const std::string &bytes) const
{
    [[maybe_unused]] const auto sent = ::send(m_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
}

std::string RawClient::untilEnd(int &error) const
{
    std::string bytes;
    std::array<char, 4096> buffer;
    pollfd wait{m_socket, POLLIN, 0};
    while (::poll(&wait, 1, patienceMs) == 1) {
        const auto count = ::recv(m_socket, buffer.data(), buffer.size(), 0);
        if (count <= 0) {
            error = count == 0 ? 0 : errno;
            return bytes;
        }
        bytes.append(buffer.data(), std::size_t(count));
    }
    error = ETIMEDOUT;
    return bytes;
}
