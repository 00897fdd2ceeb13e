// SPDX-License-Identifier: MIT
// The driver as the engine sees it: one private copy, one request at a time, no retries of its own.
//
// begin...() hands in one request; frame() says what to send; answer() gives back what came. When
// ended() the driver's lists and its frame queue are empty. The handshake is answered inside: the
// engine greets each connection itself, so a frame here is always a read or a write.
#pragma once

#include "model/units.h"

#include <QByteArray>

namespace kvlink
{

class Driver
{
public:
    /// What became of an answer.
    enum class Result {
        Done,      ///< the request has ended well
        NextFrame, ///< the read half of a bit write was answered; frame() is now the write half
        Failed, ///< the request has ended; the driver took the answer for an error, a wrong length, or none
    };

    virtual ~Driver() = default;

    /// One read of \a count read units. \param readArea area code that reads are made with
    virtual void beginRead(int readArea, int firstUnit, int count) = 0;
    /// One write; a bit of a word becomes two frames.
    virtual void beginWrite(const WriteUnits &write) = 0;

    /// The frame to send for the request in hand; empty if the driver refused the request.
    virtual QByteArray frame() const = 0;
    /// Bytes that the PLC will answer to it, line end included.
    virtual int replyLength() const = 0;

    /// Hands in an answer that has the shape its request calls for; empty: there was none, and the
    /// request ends.
    virtual Result answer(const QByteArray &bytes) = 0;

    /// True while no request is in hand.
    virtual bool ended() const = 0;

    /// The units that the last read brought. Numbers above 2147483647 are 0 here, as the driver
    /// stores them: the engine takes those from the answer itself.
    virtual UnitBlock block(int readArea, int firstUnit, int count) const = 0;
};

} // namespace kvlink
