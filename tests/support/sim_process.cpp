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
{
    if (!errorFile.isEmpty())
        m_process.setStandardErrorFile(errorFile);
    m_process.start(KV_SIM_PATH, arguments + QStringList{"--exit-with-stdin"});
    QElapsedTimer clock;
    clock.start();
    while (!m_output.contains("ready\n") && m_process.state() != QProcess::NotRunning &&
           clock.elapsed() < patienceMs) {
        m_process.waitForReadyRead(100);
        m_output += m_process.readAllStandardOutput();
    }
    m_ready = m_output.contains("ready\n");
}

SimProcess::~SimProcess()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.terminate();
    if (!m_process.waitForFinished(patienceMs))
        m_process.kill();
}

quint16 SimProcess::port(const char *kind, int index) const
{
    for (const QByteArray &line : m_output.split('\n')) {
        if (!line.startsWith(QByteArray("listening ") + kind + " "))
            continue;
        if (index-- == 0)
            return line.mid(line.lastIndexOf(':') + 1).toUShort();
    }
    return 0;
}

int SimProcess::exitCode()
{
    if (m_process.state() != QProcess::NotRunning && !m_process.waitForFinished(patienceMs))
        return -1;
    output();
    errors();
    return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -2;
}

void SimProcess::sendSignal(int signal) const
{
    if (m_process.state() != QProcess::NotRunning) // its number would be 0: this whole group
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
    m_output += m_process.readAllStandardOutput();
    return m_output.toStdString();
}

// QProcess takes what is in the pipe only while something waits for it.
std::string SimProcess::errors()
{
    if (m_process.state() != QProcess::NotRunning)
        m_process.waitForReadyRead(0);
    m_errors += m_process.readAllStandardError();
    return m_errors.toStdString();
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
