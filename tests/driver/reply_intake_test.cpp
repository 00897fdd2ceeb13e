// SPDX-License-Identifier: MIT
// Reply intake: what one reply, or its absence, does to frames, counters and the link.
#include "in_flight.h"
#include "rows.h"

namespace
{
// --- nothing to take -----------------------------------------------------------------------------

class ReplyIntake : public Intake
{
};

TEST_F(ReplyIntake, withNothingInFlightTheResultIsGoodAndNothingChanges)
{
    handshake.clear();
    PLC_driver.currentVar = numbered();
    PLC_driver.lastFailed = 1;
    PLC_driver.readsThisCycle = 3;
    PLC_driver.opKind = 1;
    settings.retryCount = 1;
    settings.framesDone = 2;
    PLC_driver.writeList.append(write(AREA_DM, 0, 1, "07 00"));
    QByteArray reply("OK\r\n");

    EXPECT_EQ(DataCom(&reply, 4), reinterpret_cast<quintptr>(&PLC_driver.currentVar));

    EXPECT_EQ(result(), 1);
    EXPECT_EQ(PLC_driver.currentVar.ownerType, 1);
    EXPECT_EQ(PLC_driver.currentVar.count, 12);
    EXPECT_TRUE(handshake.isEmpty());
    EXPECT_EQ(PLC_driver.lastFailed, 1);
    EXPECT_EQ(PLC_driver.readsThisCycle, 3);
    EXPECT_EQ(PLC_driver.writeList.size(), 1);
    EXPECT_EQ(settings.retryCount, 1);
    EXPECT_EQ(settings.framesDone, 2);
}

TEST_F(ReplyIntake, withNothingInFlightATimeOutIsGoodToo)
{
    EXPECT_EQ(noAnswer(), 1);
}

TEST_F(ReplyIntake, noReplyObjectIsNotTaken)
{
    readInFlight();
    PLC_driver.currentVar = numbered();
    EXPECT_EQ(DataCom(nullptr, 7), 0U);
    EXPECT_EQ(DataCom(nullptr, 0), 0U);
    EXPECT_EQ(fields(PLC_driver.currentVar), fields(numbered()));
    EXPECT_EQ(PLC_driver.frameQueue.size(), 1);
    EXPECT_EQ(settings.retryCount, 0);
    PLC_driver.frameQueue.clear();
    EXPECT_EQ(DataCom(nullptr, 0), 0U);
}

TEST_F(ReplyIntake, everyOutcomeReturnsTheSameRecord)
{
    const quintptr record = reinterpret_cast<quintptr>(&PLC_driver.currentVar);
    QByteArray bad("00007\r");
    QByteArray good("00007\r\n");
    readInFlight();
    EXPECT_EQ(DataCom(&bad, 6), record);
    EXPECT_EQ(DataCom(&good, 7), record);
    handshake[1] = false;
    add(variable(AREA_DM, 0, 1), 4, "CR\r\n");
    EXPECT_EQ(DataCom(&good, 7), record);
    EXPECT_EQ(result(), 201);
}

// --- handshake ----------------------------------------------------------------------------------

class HandshakeIntake : public Intake
{
protected:
    HandshakeIntake() { handshake.clear(); }

    static void handshakeInFlight(int station)
    {
        add(write(AREA_DM, 0, 1, "07 00", station), 4, "CR\r\n");
        PLC_driver.writeList.append(write(AREA_DM, 0, 1, "07 00", station));
        PLC_driver.opKind = 1;
    }
};

TEST_F(HandshakeIntake, aGoodAnswerLinksTheStationAndEmptiesTheQueue)
{
    handshakeInFlight(3);
    add(variable(AREA_DM, 0, 1, 3), 4, "CR\r\n");
    handshake[4] = false;
    EXPECT_EQ(answer("CC\r\n"), 1);
    EXPECT_EQ(handshake, (QMap<int, bool>{{3, true}, {4, false}}));
    EXPECT_TRUE(PLC_driver.frameQueue.isEmpty());
}

TEST_F(HandshakeIntake, aRefusalEmptiesTheQueueAndLeavesTheStationUnlinked)
{
    handshakeInFlight(3);
    add(variable(AREA_DM, 0, 1, 3), 4, "CR\r\n");
    EXPECT_EQ(answer("E1\r\n"), 201);
    EXPECT_EQ(handshake, (QMap<int, bool>{{3, false}}));
    EXPECT_TRUE(PLC_driver.frameQueue.isEmpty());
}

TEST_F(HandshakeIntake, silenceIsARefusal)
{
    handshakeInFlight(3);
    EXPECT_EQ(noAnswer(), 201);
    EXPECT_EQ(handshake, (QMap<int, bool>{{3, false}}));
}

TEST_F(HandshakeIntake, onlyTheBytesOfTheAnswerCount)
{
    handshakeInFlight(3);
    QByteArray reply("CC\r\n");
    DataCom(&reply, 0);
    EXPECT_EQ(result(), 1);
    EXPECT_TRUE(handshake.value(3));
}

TEST_F(HandshakeIntake, theRequestItselfIsUntouchedEitherWay)
{
    for (const char *text : {"CC\r\n", "E1\r\n"}) {
        handshake.clear();
        PLC_driver.writeList.clear();
        handshakeInFlight(3);
        PLC_driver.currentVar = numbered();
        PLC_driver.lastFailed = 1;
        PLC_driver.readsThisCycle = 3;
        settings.retryCount = 1;
        settings.framesDone = 0;
        settings.cycleDone = 0;
        answer(text);
        EXPECT_EQ(PLC_driver.writeList.size(), 1) << text;
        EXPECT_EQ(PLC_driver.currentVar.ownerId, 2) << text;
        EXPECT_EQ(PLC_driver.lastFailed, 1) << text;
        EXPECT_EQ(PLC_driver.readsThisCycle, 3) << text;
        EXPECT_EQ(settings.retryCount, 1) << text;
        EXPECT_EQ(settings.framesDone, 0) << text;
        EXPECT_EQ(settings.cycleDone, 0) << text;
    }
}

TEST_F(HandshakeIntake, refusalsAreNotCountedAsRetries)
{
    settings.maxRetries = 0;
    for (int i = 0; i < 3; ++i) {
        add(variable(AREA_DM, 0, 1, 3), 4, "CR\r\n");
        EXPECT_EQ(answer("E1\r\n"), 201);
    }
    EXPECT_EQ(settings.retryCount, 0);
}

TEST_F(HandshakeIntake, aRemoteFrameOfAnUnlinkedStationIsNoHandshake)
{
    readInFlight(elsewhere);
    EXPECT_EQ(answer("00007\r\n"), 100);
    EXPECT_EQ(handshake, (QMap<int, bool>{{1, false}})) << "looking it up inserts it";
}

// On purpose: the steps ask for link and linkId alone, so a remote-area frame of a local variable
// is taken so too.
TEST_F(HandshakeIntake, inRemoteModeALocalVariableOfAnUnlinkedStationIsTakenForTheHandshake)
{
    settings.remoteMode = 1;
    PLC_driver.readList.append(variable(AREA_DM, 0, 1));
    ASSERT_EQ(send().size(), 22U);
    EXPECT_EQ(answer("00007\r\n"), 201);
    EXPECT_TRUE(PLC_driver.frameQueue.isEmpty());
    ASSERT_EQ(send().size(), 22U);
    EXPECT_EQ(answer("CC\r\n"), 1);
    EXPECT_TRUE(handshake.value(1));
    ASSERT_EQ(send().size(), 22U);
    EXPECT_EQ(answer("00007\r\n"), 1);
    EXPECT_EQ(image(1, 10), "07 00");
}

TEST_F(HandshakeIntake, theLocalLinkIsTheOneOfTheSettings)
{
    settings.localLinkId = elsewhere;
    readInFlight(elsewhere);
    EXPECT_EQ(answer("CC\r\n"), 1);
    EXPECT_EQ(handshake, (QMap<int, bool>{{1, true}}));
}

// --- good replies -------------------------------------------------------------------------------

TEST_F(ReplyIntake, aGoodReplyEndsItsRequest)
{
    readInFlight();
    PLC_driver.lastFailed = 1;
    EXPECT_EQ(answer("00007\r\n"), 1);
    EXPECT_EQ(image(1, 10), "07 00");
    EXPECT_TRUE(PLC_driver.frameQueue.isEmpty());
    EXPECT_EQ(settings.framesDone, 1);
    EXPECT_EQ(PLC_driver.lastFailed, 0);
    EXPECT_EQ(PLC_driver.readList.size(), 1);
}

TEST_F(ReplyIntake, aGoodRemoteReplyIsReportedAs100)
{
    readInFlight(elsewhere);
    EXPECT_EQ(answer("00007\r\n"), 100);
    EXPECT_EQ(image(1, 10), "absent");
    EXPECT_TRUE(PLC_driver.frameQueue.isEmpty());
    EXPECT_EQ(settings.framesDone, 1);
}

TEST_F(ReplyIntake, theLinkIdOfTheHeadFrameDecidesWhetherItIsRemote)
{
    readInFlight(elsewhere);
    PLC_driver.readList[0].linkId = 0;
    settings.maxRetries = 0;
    EXPECT_EQ(noAnswer(), 146);
    EXPECT_EQ(takeCallbacks(), Lines{"error 5 1 empty"});
}

TEST_F(ReplyIntake, moreFramesToComeLeaveTheListsAlone)
{
    addBitWrite(0);
    PLC_driver.opKind = 1;
    PLC_driver.currentVar = numbered();
    PLC_driver.lastFailed = 1;
    EXPECT_EQ(answer("00005\r\n"), 1);
    EXPECT_EQ(frames(), Lines{"WRS DM0.U 1 00013\r"});
    EXPECT_EQ(settings.framesDone, 1);
    EXPECT_EQ(settings.framesPerRequest, 2);
    EXPECT_EQ(PLC_driver.lastFailed, 0);
    EXPECT_EQ(PLC_driver.readsThisCycle, 0) << "only finished requests count";
    EXPECT_EQ(PLC_driver.writeList.size(), 1);
    EXPECT_EQ(fields(PLC_driver.currentVar), "1 2 3 4 5 1 \"seven\" \"eight\" 9 10 11 12 13 14 <0F 10>");

    EXPECT_EQ(answer("OK\r\n"), 1);
    EXPECT_TRUE(PLC_driver.frameQueue.isEmpty());
    EXPECT_EQ(settings.framesDone, 2);
    EXPECT_TRUE(PLC_driver.writeList.isEmpty());
    EXPECT_EQ(PLC_driver.currentVar.area, AREA_DM_BIT);
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 50 1"});
}

TEST_F(ReplyIntake, moreRemoteFramesToComeReportTheCodeOfThisOne)
{
    addBitWrite(elsewhere);
    PLC_driver.opKind = 1;
    EXPECT_EQ(answer("00005\r\n"), 1);
    EXPECT_EQ(answer("OK\r\n"), 100);
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 50 1"});
}

TEST_F(ReplyIntake, aReplyThatOverstepsTheRequestEndsItToo)
{
    readInFlight();
    settings.framesDone = 5;
    EXPECT_EQ(answer("00007\r\n"), 1);
    EXPECT_EQ(settings.framesDone, 6);
    EXPECT_TRUE(PLC_driver.frameQueue.isEmpty());
}

// A host may have left any number in the block: adding to the highest one must not make the lowest
// one of it.
TEST_F(ReplyIntake, framesDoneAtTheEndOfIntStaysThereAndEndsTheRequest)
{
    readInFlight();
    settings.framesDone = 2147483647;
    EXPECT_EQ(answer("00007\r\n"), 1);
    EXPECT_EQ(settings.framesDone, 2147483647);
    EXPECT_TRUE(PLC_driver.frameQueue.isEmpty());
    EXPECT_EQ(PLC_driver.readsThisCycle, 1); // the request was finished
}

// --- counting a pass over the read list ---------------------------------------------------------

TEST_F(ReplyIntake, aPassIsOverWhenMoreRequestsAreFinishedThanTheReadListHolds)
{
    PLC_driver.readList.append(variable(AREA_EM, 0, 1));
    PLC_driver.readList.append(variable(AREA_EM, 1, 1));
    for (const int finished : {1, 2}) {
        add(variable(AREA_DM, 0, 1), 7);
        EXPECT_EQ(answer("00007\r\n"), 1);
        EXPECT_EQ(PLC_driver.readsThisCycle, finished);
        EXPECT_EQ(settings.cycleDone, 0);
    }
    add(variable(AREA_DM, 0, 1), 7);
    EXPECT_EQ(answer("00007\r\n"), 1);
    EXPECT_EQ(PLC_driver.readsThisCycle, 0);
    EXPECT_EQ(settings.cycleDone, 1);
}

TEST_F(ReplyIntake, whileAPassIsOverNothingIsCounted)
{
    settings.cycleDone = 1;
    readInFlight();
    EXPECT_EQ(answer("00007\r\n"), 1);
    EXPECT_EQ(PLC_driver.readsThisCycle, 0);
    EXPECT_EQ(settings.cycleDone, 1);
}

TEST_F(ReplyIntake, writesAndOneShotReadsCountAsWell)
{
    PLC_driver.readList.append(variable(AREA_EM, 0, 1));
    PLC_driver.readList.append(variable(AREA_EM, 1, 1));
    writeInFlight();
    EXPECT_EQ(answer("OK\r\n"), 1);
    EXPECT_EQ(PLC_driver.readsThisCycle, 1);
    PLC_driver.onceReadList.append(variable(AREA_DM, 0, 1));
    add(variable(AREA_DM, 0, 1), 7);
    PLC_driver.opKind = 2;
    EXPECT_EQ(answer("00007\r\n"), 1);
    EXPECT_EQ(PLC_driver.readsThisCycle, 2);
    EXPECT_EQ(takeCallbacks(), (Lines{"notify 77 5 50 1", "notify 77 5 50 1"}));
}

TEST_F(ReplyIntake, withAnEmptyReadListEveryFinishedRequestIsAPass)
{
    writeInFlight();
    EXPECT_EQ(answer("OK\r\n"), 1);
    EXPECT_EQ(PLC_driver.readsThisCycle, 0);
    EXPECT_EQ(settings.cycleDone, 1);
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 50 1"});
}

TEST_F(ReplyIntake, remoteRequestsAreNotCounted)
{
    readInFlight(elsewhere);
    PLC_driver.readsThisCycle = 1;
    EXPECT_EQ(answer("00007\r\n"), 100);
    EXPECT_EQ(PLC_driver.readsThisCycle, 1);
    EXPECT_EQ(settings.cycleDone, 0);
}

TEST_F(ReplyIntake, aFailureBeginsThePassAnew)
{
    readInFlight();
    PLC_driver.readsThisCycle = 4;
    settings.cycleDone = 1;
    EXPECT_EQ(noAnswer(), 0);
    EXPECT_EQ(PLC_driver.readsThisCycle, 0);
    EXPECT_EQ(settings.cycleDone, 0);
}

// --- failures within the retries ----------------------------------------------------------------

TEST_F(ReplyIntake, aFailedRequestIsKeptForAnotherTry)
{
    writeInFlight();
    add(variable(AREA_DM, 5, 1), 7, "second frame");
    PLC_driver.currentVar = numbered();
    settings.framesPerRequest = 2;
    EXPECT_EQ(answer("E1\r\n"), 0);
    EXPECT_EQ(frames(), (Lines{"WRS DM0.U 1 00007\r", "second frame"}));
    EXPECT_EQ(settings.retryCount, 1);
    EXPECT_EQ(settings.framesDone, 0);
    EXPECT_EQ(settings.framesPerRequest, 2);
    EXPECT_EQ(PLC_driver.lastFailed, 1);
    EXPECT_TRUE(handshake.value(1)) << "a retry keeps the link";
    EXPECT_EQ(PLC_driver.writeList.size(), 1);
    EXPECT_EQ(fields(PLC_driver.currentVar), "1 2 3 4 5 0 \"seven\" \"eight\" 9 10 11 12 13 14 <0F 10>");
}

struct FailureRow {
    const char *name;
    const char *reply;
    int length;
    int code; // once the retries are used up

    friend std::ostream &operator<<(std::ostream &out, const FailureRow &row) { return out << row.name; }
};

class IntakeFailure : public Intake, public testing::WithParamInterface<FailureRow>
{
};

TEST_P(IntakeFailure, isTriedAgainAsOftenAsAllowedAndThenReported)
{
    const FailureRow &row = GetParam();
    settings.maxRetries = 2;
    writeInFlight();
    for (const int result : {0, 0, row.code}) {
        QByteArray reply(row.reply);
        DataCom(&reply, row.length);
        EXPECT_EQ(PLC_driver.currentVar.result, result);
    }
    EXPECT_EQ(settings.retryCount, 0);
    EXPECT_TRUE(PLC_driver.frameQueue.isEmpty());
    EXPECT_FALSE(handshake.value(1));
    EXPECT_EQ(takeCallbacks(), (Lines{"notify 77 5 50 2", "error 5 1 empty"}));
}

TEST_P(IntakeFailure, isReportedAtOnceWithoutRetries)
{
    settings.maxRetries = 0;
    writeInFlight();
    QByteArray reply(GetParam().reply);
    DataCom(&reply, GetParam().length);
    EXPECT_EQ(PLC_driver.currentVar.result, GetParam().code);
    EXPECT_EQ(settings.retryCount, 0);
    EXPECT_EQ(takeCallbacks(), (Lines{"notify 77 5 50 2", "error 5 1 empty"}));
}

INSTANTIATE_TEST_SUITE_P(Kinds, IntakeFailure,
                         testing::Values(FailureRow{"errorReply", "E1\r\n", 4, 16},
                                         FailureRow{"noReply", "", 0, 46},
                                         FailureRow{"tooShort", "OK\r", 3, 76},
                                         FailureRow{"tooLong", "OK\r\n\n", 5, 76}),
                         nameOfRow<FailureRow>);

TEST_F(ReplyIntake, lessThanNoRetriesGiveUpAtOnceToo)
{
    settings.maxRetries = -1;
    writeInFlight();
    EXPECT_EQ(noAnswer(), 46);
    EXPECT_EQ(takeCallbacks(), (Lines{"notify 77 5 50 2", "error 5 1 empty"}));
}

TEST_F(ReplyIntake, failuresAtTheEndOfIntGiveUpHoweverManyRetriesAreAllowed)
{
    settings.maxRetries = 2147483647;
    settings.retryCount = 2147483647;
    writeInFlight();
    EXPECT_EQ(noAnswer(), 46);
    EXPECT_EQ(settings.retryCount, 0);
    EXPECT_EQ(takeCallbacks(), (Lines{"notify 77 5 50 2", "error 5 1 empty"}));
}

TEST_F(ReplyIntake, aRetryThatSucceedsIsASuccess)
{
    writeInFlight();
    EXPECT_EQ(noAnswer(), 0);
    EXPECT_EQ(answer("OK\r\n"), 1);
    EXPECT_EQ(PLC_driver.lastFailed, 0);
    EXPECT_TRUE(PLC_driver.writeList.isEmpty());
    EXPECT_TRUE(handshake.value(1));
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 50 1"});
}

// On purpose: only giving up clears the count. A host that counts failures per request
// clears it itself.
TEST_F(ReplyIntake, successDoesNotClearTheFailuresCountedSoFar)
{
    for (const int failures : {1, 2}) {
        readInFlight();
        EXPECT_EQ(noAnswer(), 0);
        EXPECT_EQ(settings.retryCount, failures);
        EXPECT_EQ(answer("00007\r\n"), 1);
        EXPECT_EQ(settings.retryCount, failures);
    }
    readInFlight();
    EXPECT_EQ(noAnswer(), 46);
    EXPECT_EQ(settings.retryCount, 0);
    EXPECT_EQ(takeCallbacks(), Lines{"error 5 1 empty"});
}

TEST_F(ReplyIntake, aHostThatClearsTheCountGetsAllRetriesForEachRequest)
{
    for (int request = 0; request < 3; ++request) {
        readInFlight();
        EXPECT_EQ(noAnswer(), 0);
        EXPECT_EQ(noAnswer(), 0);
        EXPECT_EQ(answer("00007\r\n"), 1);
        settings.retryCount = 0;
    }
}

// --- giving up ----------------------------------------------------------------------------------

TEST_F(ReplyIntake, givingUpEmptiesTheWholeQueueAndUnlinksThatStation)
{
    settings.maxRetries = 0;
    link(2);
    addBitWrite(0);
    PLC_driver.opKind = 1;
    EXPECT_EQ(noAnswer(), 46);
    EXPECT_TRUE(PLC_driver.frameQueue.isEmpty());
    EXPECT_EQ(handshake, (QMap<int, bool>{{1, false}, {2, true}}));
    EXPECT_EQ(PLC_driver.lastFailed, 1);
    EXPECT_EQ(settings.framesDone, 0);
    EXPECT_EQ(takeCallbacks(), (Lines{"notify 77 5 50 2", "error 5 1 empty"}));
}

TEST_F(ReplyIntake, aCyclicReadGivenUpGoesToTheEndOfTheList)
{
    settings.maxRetries = 0;
    readInFlight();
    PLC_driver.readList[0].ownerType = 3;
    PLC_driver.readList.append(variable(AREA_EM, 1, 1));
    PLC_driver.readList.append(variable(AREA_FM, 2, 1));
    PLC_driver.writeList.append(write(AREA_DM, 0, 1, "07 00"));
    PLC_driver.onceReadList.append(variable(AREA_DM, 0, 1));
    EXPECT_EQ(noAnswer(), 46);
    ASSERT_EQ(PLC_driver.readList.size(), 3);
    EXPECT_EQ(PLC_driver.readList.at(0).area, AREA_EM);
    EXPECT_EQ(PLC_driver.readList.at(1).area, AREA_FM);
    EXPECT_EQ(PLC_driver.readList.at(2).area, AREA_DM);
    EXPECT_EQ(PLC_driver.writeList.size(), 1) << "a cyclic read purges nothing";
    EXPECT_EQ(PLC_driver.onceReadList.size(), 1);
    EXPECT_EQ(takeCallbacks(), Lines{"error 3 1 empty"}) << "the owner in the list is named";
}

TEST_F(ReplyIntake, aRemoteRequestGivenUpUnlinksItsStationToo)
{
    settings.maxRetries = 0;
    readInFlight(elsewhere);
    EXPECT_EQ(noAnswer(), 146);
    EXPECT_FALSE(handshake.value(1));
    EXPECT_EQ(takeCallbacks(), Lines{"error 5 1 empty"});
}
} // namespace
