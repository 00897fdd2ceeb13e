// SPDX-License-Identifier: MIT
// A way to one PLC: TCP, UDP or a serial line behind one small set of calls that never wait.
//
// Lives on the link's thread. Each open() makes a new socket, so that nothing of an earlier
// connection, late answers above all, can come through it.
#pragma once

#include <kvlink/times.h>

#include <QByteArray>
#include <QString>

#include <vector>

struct pollfd;

namespace kvlink
{

class Transport
{
public:
    enum class State { Closed, Resolving, Connecting, Open, Failed };

    virtual ~Transport() = default;

    /// Begins to resolve the name and to connect; the state tells how far it is. All addresses of a
    /// name are tried. The caller bounds the time by close().
    virtual void open() = 0;
    virtual void close() = 0;
    virtual State state() const = 0;
    /// With Failed: what happened, as a sentence: "connection refused", "the name 'plc1'
    /// is not known".
    virtual QString problem() const = 0;

    /// Sends all of it; what the system does not take at once goes out from work().
    virtual void send(const QByteArray &bytes) = 0;
    /// What has come since the last call; also after Failed.
    virtual QByteArray takeReceived() = 0;

    /// Moves on whatever can move without waiting: name, connection, bytes in both directions.
    /// After each wake-up.
    virtual void work() = 0;
    /// Adds the descriptors to sleep on.
    virtual void addDescriptors(std::vector<pollfd> &to) const = 0;

    /// Seconds that one byte takes on the line; 0 where it is next to nothing (TCP, UDP).
    virtual double secondsPerByte() const = 0;
    /// True for a line that cannot be closed to be rid of late answers: it is
    /// waited until idle instead.
    virtual bool isSerial() const = 0;
};

} // namespace kvlink
