#include "sim_process.h"

#include <QElapsedTimer>

#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <csignal>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

SimProcess::SimProcess(const QStringList &arguments)
{
    process_.start(KV_SIM_PATH, arguments + QStringList{"--exit-with-stdin"});
    QElapsedTimer clock;
    clock.start();
    while (!output_.contains("ready\n") && process_.state() != QProcess::NotRunning &&
           clock.elapsed() < patienceMs) {
        process_.waitForReadyRead(100);
        output_ += process_.readAllStandardOutput();
    }
    ready_ = output_.contains("ready\n");
}

SimProcess::~SimProcess()
{
    if (process_.state() == QProcess::NotRunning)
        return;
    process_.terminate();
    if (!process_.waitForFinished(patienceMs))
        process_.kill();
}

quint16 SimProcess::port(const char *kind, int index) const
{
    for (const QByteArray &line : output_.split('\n')) {
        if (!line.startsWith(QByteArray("listening ") + kind + " "))
            continue;
        if (index-- == 0)
            return line.mid(line.lastIndexOf(':') + 1).toUShort();
    }
    return 0;
}

int SimProcess::exitCode()
{
    if (process_.state() != QProcess::NotRunning && !process_.waitForFinished(patienceMs))
        return -1;
    output();
    errors();
    return process_.exitStatus() == QProcess::NormalExit ? process_.exitCode() : -2;
}

void SimProcess::sendSignal(int signal) const
{
    ::kill(static_cast<pid_t>(process_.processId()), signal);
}

std::string SimProcess::output()
{
    output_ += process_.readAllStandardOutput();
    return output_.toStdString();
}

std::string SimProcess::errors()
{
    errors_ += process_.readAllStandardError();
    return errors_.toStdString();
}

std::string SimProcess::statistics()
{
    const std::string text = output();
    const std::size_t at = text.find("statistics ");
    return at == std::string::npos ? "" : text.substr(at, text.find('\n', at) - at);
}

Client::Client(quint16 port)
{
    socket_.connectToHost(QHostAddress(QHostAddress::LocalHost), port);
    socket_.waitForConnected(patienceMs);
    socket_.setSocketOption(QAbstractSocket::LowDelayOption, 1);
}

void Client::send(const std::string &bytes)
{
    socket_.write(bytes.data(), static_cast<qint64>(bytes.size()));
    while (socket_.bytesToWrite() > 0 && socket_.waitForBytesWritten(patienceMs)) {
    }
}

std::string Client::receive(std::size_t count)
{
    QByteArray bytes;
    while (static_cast<std::size_t>(bytes.size()) < count) {
        if (socket_.bytesAvailable() == 0 && !socket_.waitForReadyRead(patienceMs))
            break;
        bytes += socket_.read(static_cast<qint64>(count) - bytes.size());
    }
    return bytes.toStdString();
}

std::string Client::line()
{
    while (!socket_.canReadLine() && socket_.waitForReadyRead(patienceMs)) {
    }
    return socket_.readLine().trimmed().toStdString();
}

std::string Client::ask(const std::string &command)
{
    send(command + "\r\n");
    return line();
}

std::string Client::untilEnd()
{
    while (socket_.state() == QAbstractSocket::ConnectedState && socket_.waitForReadyRead(patienceMs)) {
    }
    return socket_.readAll().toStdString();
}

std::string Client::pending()
{
    socket_.waitForReadyRead(0);
    return socket_.readAll().toStdString();
}

RawClient::RawClient(quint16 port) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    connected_ = ::connect(socket_, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
}

RawClient::~RawClient()
{
    ::close(socket_);
}

void RawClient::send(const std::string &bytes) const
{
    [[maybe_unused]] const auto sent = ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
}

std::string RawClient::untilEnd(int &error) const
{
    std::string bytes;
    std::array<char, 4096> buffer;
    pollfd wait{socket_, POLLIN, 0};
    while (::poll(&wait, 1, patienceMs) == 1) {
        const auto count = ::recv(socket_, buffer.data(), buffer.size(), 0);
        if (count <= 0) {
            error = count == 0 ? 0 : errno;
            return bytes;
        }
        bytes.append(buffer.data(), static_cast<std::size_t>(count));
    }
    error = ETIMEDOUT;
    return bytes;
}
