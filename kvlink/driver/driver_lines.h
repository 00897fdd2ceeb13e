// SPDX-License-Identifier: MIT
// Where the driver's debug lines go.
//
// The driver writes a line with Qt's debug level whenever it wants its handshake, that is after
// each failed request. In a host with its own messages that is noise, and a host without Qt cannot
// even switch it off. While a DriverCall lives, debug lines of its thread go to the logging
// category "kvlink.driver", which is off unless asked for:
//
//   QT_LOGGING_RULES="kvlink.driver.debug=true" my-host
//
// For that a message handler is put before the host's, once, when the first link is made. It hands
// on everything that comes from other threads and other code, and costs a look at one variable of
// the thread. A host that installs its own handler later gets the driver's lines too.
#pragma once

namespace kvlink
{

class DriverCall
{
public:
    DriverCall();
    ~DriverCall();
    DriverCall(const DriverCall &) = delete;
    DriverCall &operator=(const DriverCall &) = delete;
};

} // namespace kvlink
