// SPDX-License-Identifier: MIT
// A transport that shows all bytes of a link to somebody who looks for a fault.
#pragma once

#include "transport/transport.h"

#include <kvlink/link.h>

#include <memory>

namespace kvlink
{

class TracedTransport final : public Transport
{
public:
    TracedTransport(std::unique_ptr<Transport> line, LinkTrace trace)
        : m_line(std::move(line)), m_trace(std::move(trace))
    {
    }

    void open() override { m_line->open(); }
    void close() override { m_line->close(); }
    State state() const override { return m_line->state(); }
    QString problem() const override { return m_line->problem(); }
    void send(const QByteArray &bytes) override
    {
        m_trace(true, bytes);
        m_line->send(bytes);
    }
    QByteArray takeReceived() override
    {
        QByteArray bytes = m_line->takeReceived();
        if (!bytes.isEmpty())
            m_trace(false, bytes);
        return bytes;
    }
    void work() override { m_line->work(); }
    void addDescriptors(std::vector<pollfd> &to) const override { m_line->addDescriptors(to); }
    double secondsPerByte() const override { return m_line->secondsPerByte(); }
    bool isSerial() const override { return m_line->isSerial(); }

private:
    const std::unique_ptr<Transport> m_line;
    const LinkTrace m_trace;
};

} // namespace kvlink
