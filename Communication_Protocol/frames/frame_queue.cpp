// SPDX-License-Identifier: MIT
#include "frames/frame_queue.h"

#include "base/settings.h"

void queueFrame(const QByteArray &frame, int replyLength, int payloadLength, const RW_VAR &var)
{
    Protocol queued;
    queued.frame = frame;
    queued.frameLength = int(frame.size());
    queued.replyLength = replyLength;
    queued.payloadLength = payloadLength;
    queued.var = var;
    PLC_driver.frameQueue.append(queued);
    setSetting(&ComInfo::framesPerRequest, 1);
    setSetting(&ComInfo::framesDone, 0);
}
