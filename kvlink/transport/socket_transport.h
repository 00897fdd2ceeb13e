// SPDX-License-Identifier: MIT
// What TCP and UDP have in common: the name, its addresses one after the other, one socket for each
// attempt.
//
// A name may have several addresses, and the first one may swallow whatever is sent to it. So each
// attempt but the last is bounded, and an address that brought not a single byte is not the first
// to be tried next time.
#pragma once

#include "transport/descriptor.h"
#include "transport/plc_url.h"
#include "transport/resolver.h"
#include "transport/transport.h"

namespace kvlink
{

class SocketTransport : public Transport
{
public:
    void open() override;
    void close() override;
    State state() const override { return m_state; }
    QString problem() const override { return m_problem; }
    QByteArray takeReceived() override;
    void work() override;
    void addDescriptors(std::vector<pollfd> &to) const override;
    double secondsPerByte() const override { return 0.0; }
    bool isSerial() const override { return false; }

protected:
    /// \param attempt longest time for one of several addresses
    SocketTransport(const PlcUrl &url, NameLookup lookup, Duration attempt);

    /// A socket that does not block and is not inherited; none with errno set.
    virtual Descriptor makeSocket(int family) const = 0;
    /// Hands what has come to received(), and an end to fail().
    virtual void receive() = 0;
    /// Sends what waits, as far as the system takes it.
    virtual void flush() = 0;
    virtual bool hasUnsent() const = 0;
    virtual void dropUnsent() = 0;

    int socket() const { return m_socket.number(); }
    void received(const char *bytes, int size);
    void fail(const QString &problem);

private:
    void begin(const Resolved &resolved);
    void connectNext();
    bool connectTo(const SocketAddress &address);
    void finishConnecting();
    void becomeOpen();
    bool isAttemptOver() const;
    QString problemWith(const SocketAddress &address, int error) const;

    const PlcUrl m_url;
    const Duration m_attempt;
    Resolver m_resolver;
    State m_state = State::Closed;
    QString m_problem;
    std::vector<SocketAddress> m_addresses;
    size_t m_current = 0;        // index of the address in use
    size_t m_left = 0;           // addresses not tried yet
    bool m_isCurrentGood = true; // it brought bytes, or has not been tried
    Descriptor m_socket;
    Descriptor m_timer; // bounds an attempt
    QByteArray m_received;
};

} // namespace kvlink
