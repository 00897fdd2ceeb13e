// SPDX-License-Identifier: MIT
// Fixtures for replies: a frame is in flight, put there by hand instead of by a frame builder.
#pragma once

#include "driver_test.h"

/// One frame for DM 0 of the linked station 1 stands in the queue, put there by hand.
class InFlight : public DriverTest
{
protected:
    InFlight()
    {
        link(1);
        settings.framesPerRequest = 1;
    }

    static Protocol &add(const RW_VAR &var, int replyLength, const char *text = "frame")
    {
        Protocol frame;
        frame.frame = text;
        frame.frameLength = int(frame.frame.size());
        frame.replyLength = replyLength;
        frame.payloadLength = 5;
        frame.var = var;
        PLC_driver.frameQueue.append(frame);
        return PLC_driver.frameQueue.last();
    }

    /// Into the queue: the pre-read of DM 0 for a bit write, and the word write that it completes.
    /// Into the write list: bit 3 of DM 0, to be set.
    static void addBitWrite(int linkId)
    {
        RW_VAR preRead = variable(AREA_DM, 0, 1);
        preRead.linkId = linkId;
        preRead.preReadMark = -1;
        add(preRead, 7, "RDS DM0.U 1\r");
        RW_VAR word = preRead;
        word.preReadMark = 0;
        word.accessMode = 1;
        add(word, 4, "WRS DM0.U 1 00000\r");
        PLC_driver.comInfo->framesPerRequest = 2;
        PLC_driver.writeList.append(write(AREA_DM_BIT, 3, 1, "01"));
    }

    static std::string secondFrame() { return PLC_driver.frameQueue.at(1).frame.toStdString(); }
};

inline constexpr int elsewhere = 4; // a linkId that is not the local one

/// A request in flight, with its entry in a list.
class Intake : public InFlight
{
protected:
    /// A cyclic read of DM 0 as the scheduler leaves it: the entry in its list, its frame
    /// in the queue.
    static void readInFlight(int linkId = 0)
    {
        RW_VAR var = variable(AREA_DM, 0, 1);
        var.linkId = linkId;
        PLC_driver.readList.append(var);
        add(var, 7, "RDS DM0.U 1\r");
        PLC_driver.opKind = 0;
    }

    /// The same for a write of the requester 5 / 50.
    static void writeInFlight(int linkId = 0)
    {
        RW_VAR var = write(AREA_DM, 0, 1, "07 00");
        var.linkId = linkId;
        PLC_driver.writeList.append(var);
        add(var, 4, "WRS DM0.U 1 00007\r");
        PLC_driver.opKind = 1;
    }

    static int result() { return PLC_driver.currentVar.result; }
};
