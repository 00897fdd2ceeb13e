// SPDX-License-Identifier: MIT
// The gate in front of every local request: whose link is open, and the frame that opens it.
#include "queued_frames.h"

namespace
{
class LinkGate : public FrameTest
{
protected:
    static const Lines firstRequest;
    static const Lines laterRequest;
};

const Lines LinkGate::firstRequest = {"init handshake", "Handshake(RW_Var)"};
const Lines LinkGate::laterRequest = {"Handshake(RW_Var)"};

TEST_F(LinkGate, isOpenForALinkedStation)
{
    RW_VAR var = marked(AREA_DM, 100, 3);
    EXPECT_EQ(ControlCenter(&var), 1U);
    EXPECT_EQ(frames(), Lines());
    EXPECT_EQ(counters(), untouched);
    EXPECT_TRUE(handshake.value(6));
}

TEST_F(LinkGate, entersAnUnknownStationAndQueuesTheHandshake)
{
    RW_VAR var = marked(AREA_DM, 100, 3);
    var.station = 3;
    const RW_VAR given = var;
    EXPECT_EQ(ControlCenter(&var), 0U);
    EXPECT_EQ(takeLines(), firstRequest);
    expectOnly(openLink, given);
    EXPECT_TRUE(handshake.contains(3));
    EXPECT_FALSE(handshake.value(3));
    EXPECT_EQ(text(var), text(given)) << "the caller's record has changed";
}

TEST_F(LinkGate, entersAStationIntoAnEmptyMap)
{
    handshake.clear();
    RW_VAR var = variable(AREA_DM, 100, 3, 3);
    EXPECT_EQ(ControlCenter(&var), 0U);
    EXPECT_EQ(takeLines(), firstRequest);
    EXPECT_EQ(handshake.keys(), QList<int>{3});
    EXPECT_FALSE(handshake.value(3));
}

TEST_F(LinkGate, isClosedForAStationWhoseLinkWasLost)
{
    handshake[3] = false;
    RW_VAR var = variable(AREA_DM, 100, 3, 3);
    EXPECT_EQ(ControlCenter(&var), 0U);
    EXPECT_EQ(takeLines(), laterRequest);
    expectOnly(openLink, var);
    EXPECT_FALSE(handshake.value(3));
}

TEST_F(LinkGate, queuesOneMoreHandshakeAtEveryCall)
{
    RW_VAR var = variable(AREA_DM, 100, 3, 3);
    for (int call = 0; call < 3; ++call)
        EXPECT_EQ(ControlCenter(&var), 0U);
    EXPECT_EQ(takeLines(),
              (Lines{"init handshake", "Handshake(RW_Var)", "Handshake(RW_Var)", "Handshake(RW_Var)"}));
    EXPECT_EQ(frames(), (Lines{"CR\r\n", "CR\r\n", "CR\r\n"}));
    EXPECT_EQ(counters(), "0 of 1");
}

TEST_F(LinkGate, keepsStationsApart)
{
    RW_VAR third = variable(AREA_DM, 100, 3, 3);
    RW_VAR fourth = variable(AREA_DM, 100, 3, 4);
    link(3);
    EXPECT_EQ(ControlCenter(&third), 1U);
    EXPECT_EQ(takeLines(), Lines());
    EXPECT_EQ(ControlCenter(&fourth), 0U);
    EXPECT_EQ(takeLines(), firstRequest);
    EXPECT_TRUE(handshake.value(3));
    EXPECT_FALSE(handshake.value(4));
}

TEST_F(LinkGate, takesAnyStationNumber)
{
    for (const int station : {0, -1, INT_MIN, INT_MAX}) {
        RW_VAR var = variable(AREA_DM, 100, 3, station);
        EXPECT_EQ(ControlCenter(&var), 0U) << station;
        EXPECT_EQ(takeLines(), firstRequest) << station;
        link(station);
        EXPECT_EQ(ControlCenter(&var), 1U) << station;
    }
    EXPECT_EQ(frames(), Lines(4, "CR\r\n"));
}

TEST_F(LinkGate, isAskedAboutNoRecord)
{
    EXPECT_EQ(ControlCenter(nullptr), 0U);
    Handshake(nullptr);
    EXPECT_EQ(frames(), Lines());
    EXPECT_EQ(handshake.keys(), (QList<int>{1, 6}));
    EXPECT_EQ(counters(), untouched);
}

TEST_F(LinkGate, withoutSettingsQueuesNothingButHandshakes)
{
    PLC_driver.comInfo = nullptr;
    RW_VAR var = variable(AREA_DM, 100, 3, 3);
    handshake[3] = false;
    EXPECT_EQ(ControlCenter(&var), 0U);
    Handshake(&var);
    takeLines();
    for (const std::string &frame : frames())
        EXPECT_EQ(frame, "CR\r\n");
    EXPECT_LE(PLC_driver.frameQueue.size(), 2);
    EXPECT_EQ(counters(), untouched);
}

class HandshakeFrame : public FrameTest
{
};

TEST_F(HandshakeFrame, isFourBytesAndExpectsFour)
{
    RW_VAR var = marked(AREA_DM, 100, 3);
    const RW_VAR given = var;
    Handshake(&var);
    expectOnly({"CR\r\n", 4, 4, 0, 0}, given);
    EXPECT_EQ(hex(entry(0).frame), "43 52 0D 0A");
    EXPECT_EQ(text(var), text(given)) << "the caller's record has changed";
}

TEST_F(HandshakeFrame, isQueuedWhateverTheLinkAndLeavesItAlone)
{
    RW_VAR linked = variable(AREA_DM, 100, 3, 1);
    RW_VAR unknown = variable(AREA_DM, 100, 3, 3);
    Handshake(&linked);
    Handshake(&unknown);
    EXPECT_EQ(frames(), (Lines{"CR\r\n", "CR\r\n"}));
    EXPECT_EQ(entry(0).var.station, 1);
    EXPECT_EQ(entry(1).var.station, 3);
    EXPECT_EQ(handshake.keys(), (QList<int>{1, 6}));
    EXPECT_TRUE(handshake.value(1));
}

TEST_F(HandshakeFrame, goesToTheTailOfTheQueue)
{
    RW_VAR var = variable(AREA_DM, 100, 3);
    ReadAnalog(&var);
    Handshake(&var);
    EXPECT_EQ(frames(), (Lines{"RDS DM100.U 3\r", "CR\r\n"}));
    EXPECT_EQ(counters(), "0 of 1");
}

// --- the gate in the host's loop ---

class LinkOpening : public FrameTest
{
protected:
    static constexpr const char *read = "RDS DM100.U 3\r";

    static void readCyclically(int station)
    {
        PLC_driver.readList.append(variable(AREA_DM, 100, 3, station));
    }
};

TEST_F(LinkOpening, putsTheHandshakeBeforeTheFirstRead)
{
    readCyclically(3);
    EXPECT_EQ(send(), "CR\r\n");
    EXPECT_EQ(takeLines(), (Lines{"init handshake", "Handshake(RW_Var)"}));
    EXPECT_EQ(frames(), Lines{"CR\r\n"});
    EXPECT_EQ(answer("CC\r\n"), 1);
    EXPECT_TRUE(handshake.value(3));
    EXPECT_EQ(frames(), Lines());
    EXPECT_EQ(send(), read);
}

TEST_F(LinkOpening, ofOneStationDoesNotServeAnother)
{
    link(3);
    readCyclically(3);
    readCyclically(4);
    EXPECT_EQ(send(), read);
    EXPECT_EQ(answer("00001 00002 00003\r\n"), 1);
    EXPECT_EQ(send(), "CR\r\n");
    EXPECT_EQ(takeLines(), (Lines{"init handshake", "Handshake(RW_Var)"}));
    EXPECT_EQ(entry(0).var.station, 4);
}

TEST_F(LinkOpening, isRepeatedAfterAGivenUpRequest)
{
    settings.maxRetries = 0;
    link(3);
    readCyclically(3);
    EXPECT_EQ(send(), read);
    EXPECT_EQ(noAnswer(), 46); // no reply, owner kind 5
    EXPECT_EQ(takeCallbacks(), Lines{"error 5 1 empty"});
    EXPECT_FALSE(handshake.value(3));
    EXPECT_EQ(send(), "CR\r\n");
    EXPECT_EQ(takeLines(), Lines{"Handshake(RW_Var)"});
}

TEST_F(LinkOpening, isNotRepeatedWhileTheRequestIsRetried)
{
    link(3);
    readCyclically(3);
    EXPECT_EQ(send(), read);
    EXPECT_EQ(noAnswer(), 0);
    EXPECT_TRUE(handshake.value(3));
    EXPECT_EQ(send(), read);
}

struct AnswerRow {
    const char *name;
    const char *reply;
    int result;
    bool linked;

    friend void PrintTo(const AnswerRow &row, std::ostream *out) { *out << row.name; }
};

class LinkAnswer : public LinkOpening, public testing::WithParamInterface<AnswerRow>
{
};

TEST_P(LinkAnswer, decidesAboutTheLink)
{
    readCyclically(3);
    EXPECT_EQ(send(), "CR\r\n");
    takeLines();
    EXPECT_EQ(answer(GetParam().reply), GetParam().result);
    EXPECT_EQ(handshake.value(3), GetParam().linked);
    EXPECT_EQ(frames(), Lines());
    EXPECT_EQ(send(), GetParam().linked ? read : "CR\r\n");
    EXPECT_EQ(takeLines(), GetParam().linked ? Lines() : Lines{"Handshake(RW_Var)"});
}

INSTANTIATE_TEST_SUITE_P(Replies, LinkAnswer,
                         testing::Values(AnswerRow{"linkOpen", "CC\r\n", 1, true},
                                         AnswerRow{"otherLineEnd", "CCxy", 1, true},
                                         AnswerRow{"threeBytes", "CC\r", 201, false},
                                         AnswerRow{"fiveBytes", "CC\r\n\n", 201, false},
                                         AnswerRow{"secondNotC", "CE\r\n", 201, false},
                                         AnswerRow{"firstNotC", "XC\r\n", 201, false},
                                         AnswerRow{"lowerCase", "cc\r\n", 201, false},
                                         AnswerRow{"errorReply", "E0\r\n", 201, false},
                                         AnswerRow{"writeAcknowledgement", "OK\r\n", 201, false},
                                         AnswerRow{"nothing", "", 201, false}),
                         rowName<AnswerRow>);
} // namespace
