// SPDX-License-Identifier: MIT
// How every frame builder ends: the frame is queued, and the count of the request's frames begins.
#pragma once

#include "Communication_Protocol.h"

/// Length of a reply's line end, "\r\n", which payloadLength leaves out and replyLength counts.
constexpr int lineEndLength = 2;

/// Length of "OK", "CC" or an error answer with its line end.
constexpr int acknowledgementLength = 4;

/// Appends a frame to frameQueue and sets framesPerRequest to 1 and framesDone to 0.
void queueFrame(const QByteArray &frame, int replyLength, int payloadLength, const RW_VAR &var);
