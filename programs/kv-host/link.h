// A way to one PLC: TCP, UDP or a serial line behind one small set of calls.
//
// Lives on the exchange thread. Nothing here waits: opening and receiving go on while the exchange loop
// serves other links, and whatever happens is told by the wake function. Each open() makes a new socket, so
// that nothing of an earlier connection, late answers above all, can come through it.
#pragma once

#include "busy_wait.h"
#include "clock.h"
#include "plc_url.h"

#include <QByteArray>

#include <functional>
#include <memory>

namespace kvhost
{

class Link
{
public:
    enum class State { Closed, Opening, Open, Failed };

    virtual ~Link() = default;

    virtual void open() = 0;
    virtual void close() = 0;
    virtual State state() const = 0;
    virtual QString problem() const = 0; ///< with Failed: what happened
    virtual void send(const QByteArray &bytes) = 0;
    virtual QByteArray takeReceived() = 0; ///< what has come since the last call; also after Failed
    /// Waits for bytes on this link alone, without the thread's event loop: nothing else happens meanwhile, so it is
    /// for short times only. \param busyWait says whether to look busily first, and is told how it went
    /// \return false at once if this kind of link cannot do so
    virtual bool awaitAlone(Ms /*longest*/, BusyWait * /*busyWait*/) { return false; }
};

/// \param wake called on the exchange thread when a link changes or bytes have come
std::unique_ptr<Link> makeLink(const PlcUrl &url, std::function<void()> wake);

} // namespace kvhost
