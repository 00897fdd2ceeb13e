// The frames that reads and writes become, found by asking the driver and sending nothing.
//
// The driver is driven through its own calls with made-up good answers, in a session whose exchange loop is
// not running. Its store is of no use afterwards: only for commands that end after it.
#pragma once

#include "session.h"

namespace kvhost
{

struct PreviewedFrame {
    QByteArray frame;
    int replyLength = 0;
    RW_VAR var;
};

/// Frames of the next \a requests requests of the driver, without the opening of links.
std::vector<PreviewedFrame> previewFrames(Session *session, int requests);

} // namespace kvhost
