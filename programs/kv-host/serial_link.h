// A serial line.
#pragma once

#include "link.h"

#include <QSerialPort>

namespace kvhost
{

class SerialLink : public Link
{
public:
    SerialLink(const PlcUrl &url, std::function<void()> wake);
    ~SerialLink() override;

    void open() override;
    void close() override;
    State state() const override { return m_state; }
    QString problem() const override { return m_problem; }
    void send(const QByteArray &bytes) override;
    QByteArray takeReceived() override;

private:
    void setUp();
    void failed(const QString &why);

    PlcUrl m_url;
    std::function<void()> m_wake;
    std::unique_ptr<QSerialPort> m_port;
    State m_state = State::Closed;
    QString m_problem;
};

} // namespace kvhost
