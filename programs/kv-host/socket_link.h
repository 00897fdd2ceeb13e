// TCP and UDP links.
#pragma once

#include "link.h"

#include <QAbstractSocket>

namespace kvhost
{

class SocketLink : public Link
{
public:
    SocketLink(const PlcUrl &url, std::function<void()> wake);
    ~SocketLink() override;

    void open() override;
    void close() override;
    State state() const override { return m_state; }
    QString problem() const override { return m_problem; }
    void send(const QByteArray &bytes) override;
    QByteArray takeReceived() override;
    bool awaitAlone(Ms longest, BusyWait *busyWait) override;

private:
    void watch();
    void failed();
    bool bytesCameWithin(Ms longest, BusyWait *busyWait);
    void readAll();
    void readStream();
    void readDatagrams();

    PlcUrl m_url;
    std::function<void()> m_wake;
    std::unique_ptr<QAbstractSocket> m_socket;
    QByteArray m_received; // and not yet taken
    State m_state = State::Closed;
    QString m_problem;
};

} // namespace kvhost
