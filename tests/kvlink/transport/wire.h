// SPDX-License-Identifier: MIT
// The far end of a transport in a test: a PLC that does what the test says, over loopback sockets,
// a pseudo-terminal, or none.
#pragma once

#include "transport/descriptor.h"
#include "transport/plc_url.h"
#include "transport/resolver.h"
#include "transport/transport.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>

namespace kvlink
{

/// Lets the transport work, sleeping on its descriptors, until the condition holds. \return false
/// after five seconds
bool workUntil(Transport &transport, const std::function<bool()> &condition);

/// Everything that has come until it is as long as expected.
QByteArray take(Transport &transport, int expected);

class Wire
{
public:
    virtual ~Wire() = default;
    virtual Transport &transport() = 0;

    /// Opens the transport and lets the PLC answer it.
    virtual void open() = 0;
    virtual void plcSends(const QByteArray &bytes) = 0;
    /// What the PLC has heard, once it is that long.
    virtual QByteArray plcHears(int expected) = 0;
    /// The PLC is gone, as far as this kind of wire shows it.
    virtual void plcGoes() = 0;
};

std::unique_ptr<Wire> fakeWire();
std::unique_ptr<Wire> tcpWire();
std::unique_ptr<Wire> udpWire();
std::unique_ptr<Wire> serialWire();

// --- pieces for tests of one kind of wire ---

/// A loopback socket on a free port; listening if it is of the stream kind.
Descriptor boundSocket(int type, int backlog = 8);
int portOf(const Descriptor &socket);
Descriptor accepted(const Descriptor &listener);
SocketAddress addressOf(const Descriptor &socket);
PlcUrl urlOf(PlcUrl::Kind kind, int port);
PlcUrl namedUrl(PlcUrl::Kind kind = PlcUrl::Kind::Tcp);
/// Reads until so many bytes have come, the other end is gone, or five seconds are over.
QByteArray readFrom(int descriptor, int expected);
void writeTo(int descriptor, const QByteArray &bytes);
/// A pseudo-terminal: the PLC's end, and the path of the other.
struct Terminal {
    Descriptor plc;
    QString path;
};
Terminal makeTerminal();

} // namespace kvlink
