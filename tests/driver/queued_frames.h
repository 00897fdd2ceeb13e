// SPDX-License-Identifier: MIT
// What the tests of the frame builders share: the fixture in which a built frame leaves its
// traces, records with a mark in every field, and records as text, so that all fifteen fields are
// compared at once.
#pragma once

#include "driver_test.h"

#include <climits>
#include <ostream>
#include <string>

/// What a builder is expected to append to the frame queue, its record aside.
struct Queued {
    const char *frame; ///< as text; empty for the empty frame
    int frameLength;
    int replyLength;
    int replyOffset;
    int payloadLength;
};

/// Stations 1 and 6 are linked; the frame counters hold 9 and 8, so that every write to them shows.
class FrameTest : public DriverTest
{
protected:
    FrameTest()
    {
        link(1);
        link(6);
        settings.framesPerRequest = 9;
        settings.framesDone = 8;
    }

    /// A record of station 6 whose other fields all differ from each other and from
    /// a fresh record's.
    static RW_VAR marked(int area, int address, int count, const char *dataHex = "A1 00 B2")
    {
        RW_VAR var;
        var.ownerType = 7;
        var.ownerId = 1001;
        var.accessMode = 3;
        var.field3 = 33;
        var.linkId = 44;
        var.result = 55;
        var.extraText = "pump";
        var.addressText = "typed";
        var.area = area;
        var.address = address;
        var.station = 6;
        var.count = count;
        var.preReadMark = 66;
        var.field13 = 77;
        var.data = bytes(dataHex);
        return var;
    }

    /// All fifteen fields of a record in one line.
    static std::string text(const RW_VAR &var)
    {
        const auto number = [](const char *name, int value) {
            return std::string(name) + " " + std::to_string(value) + " ";
        };
        return number("ownerType", var.ownerType) + number("ownerId", var.ownerId) +
               number("access", var.accessMode) + number("field3", var.field3) + number("link", var.linkId) +
               number("result", var.result) + "extra '" + var.extraText.toStdString() + "' typed '" +
               var.addressText.toStdString() + "' " + number("area", var.area) +
               number("address", var.address) + number("station", var.station) + number("count", var.count) +
               number("preRead", var.preReadMark) + number("field13", var.field13) + "data [" +
               hex(var.data) + "]";
    }

    /// Entry \a position of the frame queue; a default entry, and a failure, if there is none.
    static Protocol entry(int position)
    {
        if (position < PLC_driver.frameQueue.size())
            return PLC_driver.frameQueue.at(position);
        ADD_FAILURE() << "no frame " << position << " in the queue";
        return Protocol();
    }

    /// Entry \a position of the frame queue is as expected, and its extra words are untouched.
    static void expectQueued(int position, const Queued &expected)
    {
        const Protocol found = entry(position);
        EXPECT_EQ(found.frame.toStdString(), expected.frame);
        EXPECT_EQ(found.frame.size(), expected.frameLength);
        EXPECT_EQ(found.frameLength, expected.frameLength);
        EXPECT_EQ(found.replyLength, expected.replyLength);
        EXPECT_EQ(found.replyOffset, expected.replyOffset);
        EXPECT_EQ(found.payloadLength, expected.payloadLength);
        EXPECT_EQ(found.extra1, 0);
        EXPECT_EQ(found.extra2, 0);
        EXPECT_EQ(found.extra3, 0);
    }

    /// The queue holds this one frame, it carries all of \a var, and the settings say: one
    /// frame, none done.
    void expectOnly(const Queued &expected, const RW_VAR &var) const
    {
        ASSERT_EQ(PLC_driver.frameQueue.size(), 1);
        expectQueued(0, expected);
        EXPECT_EQ(text(entry(0).var), text(var));
        EXPECT_EQ(counters(), "0 of 1");
    }

    /// Frames done and frames of the request, as the settings block has them.
    std::string counters() const
    {
        return std::to_string(settings.framesDone) + " of " + std::to_string(settings.framesPerRequest);
    }

    static constexpr const char *untouched = "8 of 9"; ///< counters() while no builder has run
    static constexpr Queued openLink = {"CR\r\n", 4, 4, 0, 0};
};

/// Codes that are no area: next to the table, a byte's end, 10 in the low 16 bits, the ends of int.
inline constexpr int notAreas[] = {-1, 40, 41, 255, 65546, INT_MIN, INT_MAX};

/// "area10", "areaMinus1": for row names.
inline std::string areaName(int area)
{
    if (area == INT_MIN)
        return "areaIntMin";
    if (area == INT_MAX)
        return "areaIntMax";
    return area < 0 ? "areaMinus" + std::to_string(-area) : "area" + std::to_string(area);
}

inline std::string areaRowName(const testing::TestParamInfo<int> &info)
{
    return areaName(info.param);
}

template <typename Row>
std::string rowName(const testing::TestParamInfo<Row> &info)
{
    return info.param.name;
}
