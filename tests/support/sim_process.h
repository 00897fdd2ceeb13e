// SPDX-License-Identifier: MIT
// The real kv-sim on free ports, and clients that speak to it over real lines. Every wait
// has a bound.
#pragma once

#include "spawned_program.h"

#include <QHostAddress>
#include <QStringList>
#include <QTcpSocket>

#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

// How long a test waits for what must come. A busy machine may need it; an idle one never waits.
constexpr int patienceMs = 60000;

class SimProcess
{
public:
    /// Starts the program and waits for "ready" (or for its end).
    /// \param errorFile  takes its stderr, instead of errors()
    explicit SimProcess(const QStringList &arguments, const QString &errorFile = {});

    bool isReady() const { return m_ready; }
    /// Port of the Nth line of this kind ("tcp", "udp", "remote", "control"), 0 if there is none.
    quint16 port(const char *kind, int index = 0) const;
    /// Waits for the end.
    int exitCode();
    void sendSignal(int signal);
    pid_t processId() const { return m_process.processId(); }
    /// Memory that it holds at the moment.
    long long memoryKilobytes() const;
    /// Processor time that it has used, in hundredths of a second.
    long long processorTicks() const;
    /// Its files can grow up to this size from now on.
    void limitFileSize(qint64 bytes) const;
    void closeStdin() { m_process.closeStdin(); }

    std::string output();
    std::string errors();
    /// The statistics line; after the end.
    std::string statistics();

private:
    SpawnedProgram m_process;
    bool m_ready = false;
};

/// A TCP client.
class Client
{
public:
    explicit Client(quint16 port);

    bool isConnected() const { return m_socket.state() == QAbstractSocket::ConnectedState; }
    void send(const std::string &bytes);
    /// Waits for exactly that many bytes; fewer if the connection ends or nothing comes.
    std::string receive(std::size_t count);
    /// One line, without its end.
    std::string line();
    std::string ask(const std::string &command);
    /// All bytes until the other side ends the connection.
    std::string untilEnd();
    /// What has come without being waited for.
    std::string pending();
    QTcpSocket &socket() { return m_socket; }

private:
    QTcpSocket m_socket;
};

/// A plain client on a file descriptor: sees a reset as what it is.
class RawClient
{
public:
    explicit RawClient(quint16 port);
    ~RawClient();
    RawClient(const RawClient &) = delete;
    RawClient &operator=(const RawClient &) = delete;

    bool isConnected() const { return m_connected; }
    void send(const std::string &bytes) const;
    /// Bytes up to the end of the connection; then how it ended: 0 for an orderly end, else errno.
    std::string untilEnd(int &error) const;

private:
    int m_socket = -1;
    bool m_connected = false;
};
