// SPDX-License-Identifier: MIT
// Scheduler: which request goes out next.
#include "driver_test.h"
#include "rows.h"

namespace
{
// In these tests the address of an entry is also the number of its station, and each list has a
// device of its own: writes go to DM, one-shot reads to EM, cyclic reads to FM. So a frame tells
// where it came from.
class Scheduler : public DriverTest
{
protected:
    Scheduler()
    {
        for (int station = 0; station <= 7; ++station)
            link(station);
        for (const int station : {8, 9})
            EnCommStation(station, 0);
    }

    static void queueWrite(int station)
    {
        PLC_driver.writeList.append(write(AREA_DM, station, 1, "07 00", station));
    }
    static void queueOnceRead(int station)
    {
        PLC_driver.onceReadList.append(variable(AREA_EM, station, 1, station));
    }
    static void queueRead(int station) { PLC_driver.readList.append(variable(AREA_FM, station, 1, station)); }

    // The same for several: "198" queues stations 1, 9 and 8.
    static void queue(const char *writes, const char *onceReads, const char *reads)
    {
        for (const char *digit = writes; *digit != '\0'; ++digit)
            queueWrite(*digit - '0');
        for (const char *digit = onceReads; *digit != '\0'; ++digit)
            queueOnceRead(*digit - '0');
        for (const char *digit = reads; *digit != '\0'; ++digit)
            queueRead(*digit - '0');
    }

    static std::string stations(const QList<RW_VAR> &list)
    {
        std::string digits;
        for (const RW_VAR &var : list)
            digits += char('0' + var.station);
        return digits;
    }

    // One request from its choice to its end; the end is done by hand here, without
    // the reply intake.
    static std::string turn()
    {
        const std::string frame = send();
        if (!frame.empty()) {
            PLC_driver.frameQueue.clear();
            if (PLC_driver.opKind == 1)
                PLC_driver.writeList.removeFirst();
            else if (PLC_driver.opKind == 2)
                PLC_driver.onceReadList.removeFirst();
            else
                PLC_driver.readList.append(PLC_driver.readList.takeFirst());
        }
        return frame;
    }

    static std::vector<std::string> turns(int number)
    {
        std::vector<std::string> sent;
        for (int i = 0; i < number; ++i)
            sent.push_back(turn());
        return sent;
    }
};

// --- one call -----------------------------------------------------------------------------------

// Lists as strings of stations, of which 8 and 9 are switched off.
struct PassRow {
    const char *name;
    struct {
        const char *writes, *onceReads, *reads;
        int writeTurns, onceReadTurns;
    } before;
    const char *frame; // "" nothing to send
    int opKind;        // 100: no list was considered
    int cycleDone;
    struct {
        const char *writes, *onceReads, *reads;
        int writeTurns, onceReadTurns;
    } after;

    friend std::ostream &operator<<(std::ostream &out, const PassRow &row) { return out << row.name; }
};

class SchedulerPass : public Scheduler, public testing::WithParamInterface<PassRow>
{
};

TEST_P(SchedulerPass, choosesTheNextRequest)
{
    const PassRow &row = GetParam();
    queue(row.before.writes, row.before.onceReads, row.before.reads);
    PLC_driver.writeTurns = row.before.writeTurns;
    PLC_driver.onceReadTurns = row.before.onceReadTurns;

    EXPECT_EQ(send(), row.frame);

    EXPECT_EQ(PLC_driver.opKind, row.opKind);
    EXPECT_EQ(settings.cycleDone, row.cycleDone);
    EXPECT_EQ(stations(PLC_driver.writeList), row.after.writes);
    EXPECT_EQ(stations(PLC_driver.onceReadList), row.after.onceReads);
    EXPECT_EQ(stations(PLC_driver.readList), row.after.reads);
    EXPECT_EQ(PLC_driver.writeTurns, row.after.writeTurns);
    EXPECT_EQ(PLC_driver.onceReadTurns, row.after.onceReadTurns);
    EXPECT_EQ(PLC_driver.frameQueue.size(), *row.frame == '\0' ? 0 : 1) << "at most one request a call";
}

constexpr const char *write1 = "WRS DM1.U 1 00007\r";
constexpr const char *once1 = "RDS EM1.U 1\r";
constexpr const char *read1 = "RDS FM1.U 1\r";

// clang-format off
INSTANTIATE_TEST_SUITE_P(Order, SchedulerPass, testing::Values(
    PassRow{"nothing_waiting",           {"", "", "", 3, 4},     "",           100, 1, {"", "", "", 0, 0}},
    PassRow{"write_first",               {"1", "1", "1", 0, 0},  write1,   1, 0, {"1", "1", "1", 1, 0}},
    PassRow{"onceRead_beforeCyclic",     {"", "1", "1", 2, 0},   once1,    2, 0, {"", "1", "1", 2, 1}},
    PassRow{"cyclic_last",               {"", "", "1", 3, 4},    read1,    0, 0, {"", "", "1", 0, 0}},
    PassRow{"write_thenOnlyOnceReads",   {"1", "1", "", 0, 3},   write1,   1, 0, {"1", "1", "", 1, 3}},
    PassRow{"oldestOfEachList",          {"123", "12", "12", 0, 0}, write1, 1, 0, {"123", "12", "12", 1, 0}}),
    nameOfRow<PassRow>);

INSTANTIATE_TEST_SUITE_P(Turns, SchedulerPass, testing::Values(
    PassRow{"fifthWrite",                {"1", "1", "1", 4, 0},  write1,   1, 0, {"1", "1", "1", 5, 0}},
    PassRow{"sixthWrite_givesWayToOnce", {"1", "1", "1", 5, 0},  once1,    2, 0, {"1", "1", "1", 5, 1}},
    PassRow{"sixthWrite_givesWayToRead", {"1", "", "1", 5, 2},   read1,    0, 0, {"1", "", "1", 0, 0}},
    PassRow{"sixthWrite_alone_idles",    {"1", "", "", 5, 0},    "",           100, 1, {"1", "", "", 0, 0}},
    PassRow{"fifthOnceRead",             {"", "1", "1", 0, 4},   once1,    2, 0, {"", "1", "1", 0, 5}},
    PassRow{"sixthOnce_givesWayToRead",  {"", "1", "1", 0, 5},   read1,    0, 0, {"", "1", "1", 0, 0}},
    PassRow{"sixthOnce_alone_idles",     {"", "1", "", 0, 5},    "",           100, 1, {"", "1", "", 0, 0}},
    PassRow{"bothUsedUp_cyclic",         {"1", "1", "1", 5, 5},  read1,    0, 0, {"1", "1", "1", 0, 0}},
    PassRow{"bothUsedUp_idles",          {"1", "1", "", 5, 5},   "",           100, 1, {"1", "1", "", 0, 0}},
    PassRow{"onceUsedUp_writeGoes",      {"1", "1", "1", 0, 5},  write1,   1, 0, {"1", "1", "1", 1, 5}},
    PassRow{"onceUsedUp_writeGoes_noReads", {"1", "1", "", 1, 5}, write1,  1, 0, {"1", "1", "", 2, 5}},
    PassRow{"negativeWriteTurns",        {"1", "", "", -3, 0},   write1,   1, 0, {"1", "", "", -2, 0}},
    PassRow{"negativeOnceReadTurns",     {"", "1", "", 0, -7},   once1,    2, 0, {"", "1", "", 0, -6}},
    PassRow{"turnsFarAbove",             {"1", "1", "1", 99, 99}, read1,   0, 0, {"1", "1", "1", 0, 0}}),
    nameOfRow<PassRow>);

INSTANTIATE_TEST_SUITE_P(SwitchedOff, SchedulerPass, testing::Values(
    PassRow{"write_twoPassedOver",       {"981", "", "", 0, 0},  write1,   1, 0, {"198", "", "", 1, 0}},
    PassRow{"write_onePassedOver",       {"919", "", "", 0, 0},  write1,   1, 0, {"199", "", "", 1, 0}},
    PassRow{"write_headIsOn",            {"198", "", "", 0, 0},  write1,   1, 0, {"198", "", "", 1, 0}},
    PassRow{"write_orderOfTheRest",      {"91239", "", "", 0, 0}, write1,  1, 0, {"12399", "", "", 1, 0}},
    PassRow{"writesAllOff_alone",        {"98", "", "", 0, 0},   "",             1, 1, {"98", "", "", 0, 0}},
    PassRow{"writesAllOff_oneEntry",     {"9", "", "", 3, 3},    "",             1, 1, {"9", "", "", 0, 0}},
    PassRow{"writesAllOff_once",         {"98", "1", "1", 0, 0}, once1,    2, 0, {"98", "1", "1", 1, 1}},
    PassRow{"writesAllOff_fifthTurn",    {"98", "1", "", 4, 0},  once1,    2, 0, {"98", "1", "", 5, 1}},
    PassRow{"writesAllOff_read",         {"98", "", "1", 2, 3},  read1,    0, 0, {"98", "", "1", 0, 0}},
    PassRow{"writesAllOff_onceUsedUp",   {"98", "1", "1", 4, 5}, read1,    0, 0, {"98", "1", "1", 0, 0}},
    PassRow{"writesAllOff_onceUsedUp_noReads", {"98", "1", "", 4, 5}, "",        1, 1, {"98", "1", "", 0, 0}},
    PassRow{"writesUsedUp_notRotated",   {"91", "1", "", 5, 0},  once1,    2, 0, {"91", "1", "", 5, 1}},
    PassRow{"once_passedOver",           {"", "9812", "", 0, 0}, once1,    2, 0, {"", "1298", "", 0, 1}},
    PassRow{"onceAllOff_alone",          {"", "98", "", 0, 2},   "",             2, 1, {"", "98", "", 0, 0}},
    PassRow{"onceAllOff_read",           {"", "98", "1", 2, 2},  read1,    0, 0, {"", "98", "1", 0, 0}},
    PassRow{"onceUsedUp_notRotated",     {"", "91", "1", 0, 5},  read1,    0, 0, {"", "91", "1", 0, 0}},
    PassRow{"writesAndOnceAllOff",       {"9", "8", "", 1, 1},   "",             2, 1, {"9", "8", "", 0, 0}},
    PassRow{"read_passedOver",           {"", "", "8912", 0, 0}, read1,    0, 0, {"", "", "1289", 0, 0}},
    PassRow{"readsAllOff",               {"", "", "89", 3, 3},   "",             0, 1, {"", "", "89", 0, 0}},
    PassRow{"readsAllOff_writesUsedUp",  {"1", "", "9", 5, 1},   "",             0, 1, {"1", "", "9", 0, 0}},
    PassRow{"everythingOff",             {"98", "89", "98", 2, 2}, "",           0, 1, {"98", "89", "98", 0, 0}},
    PassRow{"write_leavesOtherListsAlone", {"1", "91", "91", 0, 0}, write1, 1, 0, {"1", "91", "91", 1, 0}},
    PassRow{"once_leavesReadsAlone",     {"", "1", "91", 0, 0},  once1,    2, 0, {"", "1", "91", 0, 1}}),
    nameOfRow<PassRow>);
// clang-format on

// --- long lists ---------------------------------------------------------------------------------

// Blocks of switched-off stations before and after those that are on, which a pass finds in order
// 0, 1, 2...
struct LongListRow {
    int offBefore;
    int on;
    int offAfter;

    friend std::ostream &operator<<(std::ostream &out, const LongListRow &row)
    {
        return out << row.offBefore << "Off" << row.on << "On" << row.offAfter << "Off";
    }
};

class LongList : public Scheduler, public testing::WithParamInterface<LongListRow>
{
protected:
    // Addresses 0 up to number, so that the list shows its order.
    static void queueReads(int number, int station)
    {
        for (int i = 0; i < number; ++i) {
            const int address = int(PLC_driver.readList.size());
            PLC_driver.readList.append(variable(AREA_FM, address, 1, station));
        }
    }
};

TEST_P(LongList, turnsByTheBlocksBeforeTheFirstThatIsOn)
{
    const LongListRow &row = GetParam();
    queueReads(row.offBefore, 8);
    queueReads(row.on, 1);
    queueReads(row.offAfter, 9);
    const int length = int(PLC_driver.readList.size());

    EXPECT_EQ(send(), "RDS FM" + std::to_string(row.offBefore) + ".U 1\r");

    ASSERT_EQ(PLC_driver.readList.size(), length);
    int expected = row.offBefore;
    for (const RW_VAR &block : PLC_driver.readList) {
        ASSERT_EQ(block.address, expected);
        expected = expected + 1 == length ? 0 : expected + 1;
    }
}

TEST_P(LongList, goesOnInOrderFromExchangeToExchange)
{
    const LongListRow &row = GetParam();
    queueReads(row.offBefore, 8);
    queueReads(row.on, 1);
    queueReads(row.offAfter, 9);
    for (int exchange = 0; exchange < 6; ++exchange) {
        const int address = row.offBefore + exchange % row.on;
        EXPECT_EQ(send(), "RDS FM" + std::to_string(address) + ".U 1\r");
        EXPECT_EQ(answer("00007\r\n"), 1);
    }
}

INSTANTIATE_TEST_SUITE_P(Lengths, LongList,
                         testing::Values(LongListRow{999, 2000, 0}, LongListRow{1000, 2000, 0},
                                         LongListRow{1001, 2000, 0}, LongListRow{2000, 1001, 0},
                                         LongListRow{2000, 1000, 0}, LongListRow{2000, 999, 0},
                                         LongListRow{1500, 1, 0}, LongListRow{1500, 1, 1499},
                                         LongListRow{3000, 2, 3000}, LongListRow{1, 3000, 1}),
                         testing::PrintToStringParamName());

TEST_F(Scheduler, aLongListWithoutAReachableStationStaysAsItIs)
{
    for (int address = 0; address < 3000; ++address)
        PLC_driver.readList.append(variable(AREA_FM, address, 1, address % 2 == 0 ? 8 : 9));
    EXPECT_EQ(ComCommunication(), 0U);
    for (int address = 0; address < 3000; ++address)
        ASSERT_EQ(PLC_driver.readList.at(address).address, address);
}

// --- several calls ------------------------------------------------------------------------------

TEST_F(Scheduler, sixWritesLetOneCyclicReadThrough)
{
    queue("123456", "", "7");
    EXPECT_EQ(turns(8), (Lines{"WRS DM1.U 1 00007\r", "WRS DM2.U 1 00007\r", "WRS DM3.U 1 00007\r",
                               "WRS DM4.U 1 00007\r", "WRS DM5.U 1 00007\r", "RDS FM7.U 1\r",
                               "WRS DM6.U 1 00007\r", "RDS FM7.U 1\r"}));
}

TEST_F(Scheduler, fiveWritesFiveOneShotReadsOneCyclicRead)
{
    queue("1234567", "1234567", "12");
    EXPECT_EQ(turns(18),
              (Lines{"WRS DM1.U 1 00007\r", "WRS DM2.U 1 00007\r", "WRS DM3.U 1 00007\r",
                     "WRS DM4.U 1 00007\r", "WRS DM5.U 1 00007\r", //
                     "RDS EM1.U 1\r", "RDS EM2.U 1\r", "RDS EM3.U 1\r", "RDS EM4.U 1\r", "RDS EM5.U 1\r",
                     "RDS FM1.U 1\r",                              //
                     "WRS DM6.U 1 00007\r", "WRS DM7.U 1 00007\r", //
                     "RDS EM6.U 1\r", "RDS EM7.U 1\r",             //
                     "RDS FM2.U 1\r", "RDS FM1.U 1\r", "RDS FM2.U 1\r"}));
}

TEST_F(Scheduler, oneShotReadsLetOneCyclicReadThrough)
{
    queue("", "1234567", "7");
    EXPECT_EQ(turns(8), (Lines{"RDS EM1.U 1\r", "RDS EM2.U 1\r", "RDS EM3.U 1\r", "RDS EM4.U 1\r",
                               "RDS EM5.U 1\r", "RDS FM7.U 1\r", "RDS EM6.U 1\r", "RDS EM7.U 1\r"}));
}

// On purpose: the idle turn after five writes also tells the host that a cycle is over.
TEST_F(Scheduler, fiveWritesAreFollowedByAnIdleTurnWhenNothingElseWaits)
{
    queue("1234567", "", "");
    EXPECT_EQ(turns(5).back(), "WRS DM5.U 1 00007\r");
    EXPECT_EQ(PLC_driver.writeTurns, 5);
    EXPECT_EQ(settings.cycleDone, 0);

    EXPECT_EQ(turn(), "");
    EXPECT_EQ(PLC_driver.writeTurns, 0);
    EXPECT_EQ(settings.cycleDone, 1);

    EXPECT_EQ(turns(3), (Lines{"WRS DM6.U 1 00007\r", "WRS DM7.U 1 00007\r", ""}));
}

TEST_F(Scheduler, writesAndOneShotReadsUsedUpGiveAnIdleTurn)
{
    queue("123456", "123456", "");
    EXPECT_EQ(turns(10).back(), "RDS EM5.U 1\r");
    EXPECT_EQ(turns(4), (Lines{"", "WRS DM6.U 1 00007\r", "RDS EM6.U 1\r", ""}));
}

TEST_F(Scheduler, oneListDoesNotResetTheTurnsOfTheOther)
{
    queue("1234", "", "");
    turns(4);
    queueOnceRead(1);
    EXPECT_EQ(turn(), "RDS EM1.U 1\r");
    EXPECT_EQ(PLC_driver.writeTurns, 4);
    EXPECT_EQ(PLC_driver.onceReadTurns, 1);
    queue("56", "", "");
    EXPECT_EQ(turns(3), (Lines{"WRS DM5.U 1 00007\r", "", "WRS DM6.U 1 00007\r"}));
}

TEST_F(Scheduler, passingOverRotatesForGood)
{
    queue("", "", "9128");
    EXPECT_EQ(turns(4), (Lines{"RDS FM1.U 1\r", "RDS FM2.U 1\r", "RDS FM1.U 1\r", "RDS FM2.U 1\r"}));
    EXPECT_EQ(stations(PLC_driver.readList), "8912");
}

TEST_F(Scheduler, aStationSwitchedOnAgainIsServedAtItsNewPlace)
{
    queue("", "", "912");
    EXPECT_EQ(turn(), "RDS FM1.U 1\r");
    link(9);
    EnCommStation(9, 1);
    EXPECT_EQ(turns(3), (Lines{"RDS FM2.U 1\r", "RDS FM9.U 1\r", "RDS FM1.U 1\r"}));
}

TEST_F(Scheduler, writesOfSwitchedOffStationsCountTurnsOnlyUntilTheLimit)
{
    queue("98", "12345", "");
    EXPECT_EQ(turns(4).back(), "RDS EM4.U 1\r");
    EXPECT_EQ(PLC_driver.writeTurns, 4);
    EXPECT_EQ(turn(), "RDS EM5.U 1\r");
    EXPECT_EQ(PLC_driver.writeTurns, 5);
    EXPECT_EQ(PLC_driver.onceReadTurns, 5);
    EXPECT_EQ(stations(PLC_driver.writeList), "98");
    EXPECT_EQ(turn(), "");
    EXPECT_EQ(PLC_driver.writeTurns, 0);
}

// --- what is handed out -------------------------------------------------------------------------

TEST_F(Scheduler, theHeadOfTheQueueIsHandedOutInPlace)
{
    queueRead(1);
    const quintptr head = ComCommunication();
    EXPECT_EQ(reinterpret_cast<const Protocol *>(head), &PLC_driver.frameQueue.at(0));
    EXPECT_EQ(ComCommunication(), head);
    EXPECT_EQ(PLC_driver.frameQueue.size(), 1);
}

TEST_F(Scheduler, nothingToSendIsZero)
{
    EXPECT_EQ(ComCommunication(), 0U);
}

TEST_F(Scheduler, aFrameInFlightIsHandedOutAgainBeforeAnythingElse)
{
    queueRead(1);
    EXPECT_EQ(send(), "RDS FM1.U 1\r");
    queue("91", "91", "9");
    PLC_driver.writeTurns = 2;
    PLC_driver.onceReadTurns = 3;
    settings.framesDone = 4;
    EnCommStation(1, 0);

    EXPECT_EQ(send(), "RDS FM1.U 1\r");
    EXPECT_EQ(send(), "RDS FM1.U 1\r");

    EXPECT_EQ(frames(), Lines{"RDS FM1.U 1\r"});
    EXPECT_EQ(stations(PLC_driver.writeList), "91");
    EXPECT_EQ(stations(PLC_driver.onceReadList), "91");
    EXPECT_EQ(stations(PLC_driver.readList), "19");
    EXPECT_EQ(PLC_driver.writeTurns, 2);
    EXPECT_EQ(PLC_driver.onceReadTurns, 3);
    EXPECT_EQ(PLC_driver.opKind, 0);
    EXPECT_EQ(settings.framesDone, 4);
    EXPECT_EQ(settings.cycleDone, 0);
}

TEST_F(Scheduler, anEmptyFrameInFlightIsHandedOutToo)
{
    PLC_driver.frameQueue.append(Protocol());
    queueRead(1);
    EXPECT_NE(ComCommunication(), 0U);
    EXPECT_EQ(frames(), Lines{""});
}

TEST_F(Scheduler, theEntryStaysInItsListWhileItIsInFlight)
{
    queue("12", "", "");
    send();
    EXPECT_EQ(stations(PLC_driver.writeList), "12");
    EXPECT_EQ(hex(PLC_driver.writeList.at(0).data), "07 00");
}

TEST_F(Scheduler, theFrameCarriesACopyOfTheWholeEntry)
{
    RW_VAR var = numbered();
    var.area = AREA_DM;
    var.station = 1;
    var.count = 1;
    PLC_driver.readList.append(var);
    EXPECT_EQ(send(), "RDS DM10.U 1\r");
    EXPECT_EQ(fields(PLC_driver.frameQueue.at(0).var),
              "1 2 3 4 5 6 \"seven\" \"eight\" 10 10 1 1 13 14 <0F 10>");
}

TEST_F(Scheduler, aBitWriteIsOneRequestOfTwoFrames)
{
    PLC_driver.writeList.append(write(AREA_DM_BIT, 175, 1, "01"));
    EXPECT_EQ(send(), "RDS DM10.U 1\r");
    EXPECT_EQ(frames(), (Lines{"RDS DM10.U 1\r", "WRS DM10.U 1 00000\r"}));
    EXPECT_EQ(settings.framesPerRequest, 2);
    EXPECT_EQ(settings.framesDone, 0);
    EXPECT_EQ(PLC_driver.writeTurns, 1);
    EXPECT_EQ(fields(PLC_driver.writeList.at(0)), "5 50 1 0 0 0 \"\" \"\" 32 175 1 1 0 0 <01>");
}

TEST_F(Scheduler, aRequestOfOneFrameIsCountedSo)
{
    settings.framesPerRequest = 9;
    settings.framesDone = 9;
    queueRead(1);
    send();
    EXPECT_EQ(settings.framesPerRequest, 1);
    EXPECT_EQ(settings.framesDone, 0);
}

TEST_F(Scheduler, aCycleThatIsOverStaysSoWhenARequestIsScheduled)
{
    settings.cycleDone = 1;
    queueRead(1);
    send();
    EXPECT_EQ(settings.cycleDone, 1);
}

TEST_F(Scheduler, idleTurnsLeaveTheKindOfTheLastRequest)
{
    PLC_driver.opKind = 2;
    EXPECT_EQ(send(), "");
    EXPECT_EQ(PLC_driver.opKind, 2);
}

// --- stations without a link --------------------------------------------------------------------

TEST_F(Scheduler, anUnlinkedStationGetsTheHandshakeInPlaceOfItsRequest)
{
    handshake.clear();
    queue("1", "", "1");
    EXPECT_EQ(send(), "CR\r\n");
    EXPECT_EQ(takeLines(), (Lines{"init handshake", "Handshake(RW_Var)"}));
    EXPECT_EQ(frames(), Lines{"CR\r\n"});
    EXPECT_EQ(PLC_driver.opKind, 1);
    EXPECT_EQ(PLC_driver.writeTurns, 1) << "the handshake takes the turn of its request";
    EXPECT_EQ(stations(PLC_driver.writeList), "1");
    EXPECT_EQ(image(1, 10), "absent") << "nothing is mirrored before the write goes out";
}

TEST_F(Scheduler, eachStationHasItsOwnLink)
{
    handshake.clear();
    link(1);
    queue("", "", "12");
    EXPECT_EQ(turn(), "RDS FM1.U 1\r");
    EXPECT_EQ(send(), "CR\r\n");
    EXPECT_EQ(takeLines(), (Lines{"init handshake", "Handshake(RW_Var)"}));
    EXPECT_EQ(PLC_driver.frameQueue.at(0).var.station, 2);
}

// --- entries that no frame can be built from ----------------------------------------------------

TEST_F(Scheduler, aWriteThatCannotBeBuiltIsDroppedAndNothingIsSent)
{
    PLC_driver.writeList.append(write(AREA_CTC, 5, 2, "01 00"));
    queue("3", "", "1");
    settings.framesPerRequest = 7;
    settings.framesDone = 6;
    EXPECT_EQ(ComCommunication(), 0U);
    EXPECT_EQ(takeLines(), Lines{"WriteRegister default 1 9 5 2"});
    EXPECT_EQ(stations(PLC_driver.writeList), "3");
    EXPECT_EQ(PLC_driver.opKind, 1);
    EXPECT_EQ(PLC_driver.writeTurns, 1);
    EXPECT_EQ(settings.cycleDone, 0) << "a request was scheduled, so the turn was not idle";
    EXPECT_EQ(settings.framesPerRequest, 7);
    EXPECT_EQ(settings.framesDone, 6);
    EXPECT_EQ(send(), "WRS DM3.U 1 00007\r");
}

TEST_F(Scheduler, aReadThatCannotBeBuiltGoesOutAsAnEmptyFrame)
{
    PLC_driver.readList.append(variable(AREA_TS, 5, 2));
    EXPECT_NE(ComCommunication(), 0U);
    EXPECT_EQ(takeLines(), Lines{"read default 18"});
    EXPECT_EQ(frames(), Lines{""});
    EXPECT_EQ(PLC_driver.frameQueue.at(0).frameLength, 0);
    EXPECT_EQ(stations(PLC_driver.readList), "1");
}

// --- remote mode --------------------------------------------------------------------------------

class SchedulerRemote : public Scheduler
{
protected:
    SchedulerRemote()
    {
        settings.remoteMode = 1;
        handshake.clear(); // remote frames go out without a link
    }

    static std::string sentHex() { return hex(QByteArray::fromStdString(send())); }
};

TEST_F(SchedulerRemote, writesGoOutAsBinaryFrames)
{
    PLC_driver.writeList.append(write(AREA_DM, 100, 1, "34 12"));
    EXPECT_EQ(sentHex(), "18 05 01 00 01 00 0A 00 00 00 64 00 01 00 00 00 00 00 00 00 00 34 12 D4");
    EXPECT_EQ(PLC_driver.opKind, 1);
    EXPECT_EQ(PLC_driver.writeTurns, 1);
    EXPECT_EQ(image(1, 10, 200, 2), "34 12");
}

TEST_F(SchedulerRemote, oneShotReadsGoOutAsBinaryFrames)
{
    PLC_driver.onceReadList.append(variable(AREA_DM, 0x01020304, 5, 2));
    EXPECT_EQ(sentHex(), "00 05 00 00 02 00 0A 01 02 03 04 00 05 00 00 00 00 00 00 00 00 20");
    EXPECT_EQ(PLC_driver.opKind, 2);
    EXPECT_EQ(PLC_driver.onceReadTurns, 1);
}

TEST_F(SchedulerRemote, cyclicReadsGoOutAsBinaryFrames)
{
    RW_VAR var = variable(AREA_DM, 0x01020304, 5, 2);
    var.ownerType = 0;
    PLC_driver.readList.append(var);
    EXPECT_EQ(sentHex(), "00 00 00 00 02 00 0A 01 02 03 04 00 05 00 00 00 00 00 00 00 00 1B");
    EXPECT_EQ(PLC_driver.frameQueue.at(0).replyLength, 31);
    EXPECT_EQ(PLC_driver.opKind, 0);
}

TEST_F(SchedulerRemote, anyModeButZeroIsRemote)
{
    settings.remoteMode = -5;
    PLC_driver.readList.append(variable(AREA_DM, 0, 1));
    send();
    EXPECT_EQ(PLC_driver.frameQueue.at(0).frameLength, 22);
}

TEST_F(SchedulerRemote, aBitOfAWordIsOneFrame)
{
    PLC_driver.writeList.append(write(AREA_DM_BIT, 175, 1, "01"));
    EXPECT_EQ(sentHex(), "17 05 01 00 01 00 20 00 00 00 AF 00 01 00 00 00 00 00 00 00 00 01 EF");
    EXPECT_EQ(PLC_driver.frameQueue.size(), 1);
    EXPECT_EQ(settings.framesPerRequest, 1);
}

TEST_F(SchedulerRemote, turnsAndSwitchedOffStationsCountAsEver)
{
    queue("9123456", "", "7");
    std::string sentTo;
    for (int i = 0; i < 8; ++i) {
        const std::string frame = turn();
        sentTo += frame.empty() ? '-' : char('0' + frame[4]); // byte 4 is the station
    }
    EXPECT_EQ(sentTo, "12345767");
}
} // namespace
