// SPDX-License-Identifier: MIT
// A serial line to a PLC. The line belongs to this link alone while it is open.
#pragma once

#include "transport/descriptor.h"
#include "transport/plc_url.h"
#include "transport/transport.h"

namespace kvlink
{

class SerialTransport final : public Transport
{
public:
    explicit SerialTransport(const PlcUrl &url);
    ~SerialTransport() override;

    void open() override;
    void close() override;
    State state() const override { return m_state; }
    QString problem() const override { return m_problem; }
    void send(const QByteArray &bytes) override;
    QByteArray takeReceived() override;
    void work() override;
    void addDescriptors(std::vector<pollfd> &to) const override;
    double secondsPerByte() const override { return m_url.secondsPerByte(); }
    bool isSerial() const override { return true; }

private:
    void fail(const QString &problem);
    void receive();
    void flush();

    const PlcUrl m_url;
    State m_state = State::Closed;
    QString m_problem;
    Descriptor m_line;
    bool m_isExclusive = false; ///< nobody else may open the line
    QByteArray m_unsent;
    QByteArray m_received;
};

} // namespace kvlink
