// SPDX-License-Identifier: MIT
// Answers that are missing, wrong, late or surplus: what is repeated, what is accepted, what
// is given up.
#include "exchange_fixture.h"

namespace
{
// --- one bad answer to a read --------------------------------------------------------------------

struct ReadFaultRow {
    const char *name;
    const char *fault;
    int timeoutMs;
    int awaited;
    const char *turn;   // after the frame
    const char *stored; // after it; before, the store holds 1, 2, 65535 and the PLC 7, 8, 9
};

constexpr const char *before = "01 00 02 00 FF FF";
constexpr const char *after = "07 00 08 00 09 00";

// clang-format off
const std::vector<ReadFaultRow> readFaults{
    { "silent",   "silent",    briefMs,    0,  "(nothing) = 0",                       before },
    { "error",    "error:E5",  patienceMs, 0,  "E5 = 0",                              before },
    { "short",    "short",     patienceMs, 0,  "00007 00008 0000 = 0",                before },
    { "emptied",  "short:17",  patienceMs, 0,  " = 0",                                before },
    { "long",     "long",      patienceMs, 0,  "00007 00008 000090 = 0",              before },
    { "torn",     "torn:10",   briefMs,    10, "00007 0000 (no end) = 0",             before },
    { "tornAtLf", "torn:18",   briefMs,    18, "00007 00008 00009\r (no end) = 0",    before },
    { "inParts",  "split:9",   patienceMs, 0,  "00007 00008 00009 = 1",               after },
    { "byBytes",  "split",     patienceMs, 0,  "00007 00008 00009 = 1",               after },
    { "slow",     "slow:1",    patienceMs, 0,  "00007 00008 00009 = 1",               after },
    { "doubled",  "doubled",   patienceMs, 0,  "00007 00008 00009 = 1",               after },
    // On purpose: the text protocol has no check sum. A field that is not a number counts as
    // 0, separators are not checked, and another request's answer of the same length cannot
    // be told apart.
    { "digitGarbled", "garbled:9", patienceMs, 0, "00007 00?08 00009 = 1",            "07 00 00 00 09 00" },
    { "blankGarbled", "garbled:6", patienceMs, 0, "00007?00008 00009 = 1",            after },
    { "foreign",  "foreign",   patienceMs, 0,  "00001 00002 65535 = 1",               before },
};
// clang-format on

class ReadFault : public RowsOverBothLines<ReadFaultRow>
{
};

TEST_P(ReadFault, isOverWithTheNextAnswer)
{
    begin(wire());
    plcSet("DM100=1,2,65535");
    read(AREA_DM, 100, 3);
    expectExchanges({"CR -> CC = 1", "RDS DM100.U 3 -> 00001 00002 65535 = 1"});
    plcSet("DM100=7,8,9");
    plcFault(std::string(row().fault) + " next 1");
    EXPECT_EQ(exchange(row().timeoutMs, row().awaited), std::string("RDS DM100.U 3 -> ") + row().turn);
    EXPECT_EQ(get(AREA_DM, "100", 3), row().stored);
    EXPECT_EQ(exchange(), "RDS DM100.U 3 -> 00007 00008 00009 = 1");
    EXPECT_EQ(get(AREA_DM, "100", 3), after);
}

INSTANTIATE_TEST_SUITE_P(Exchange, ReadFault, testing::Combine(testing::ValuesIn(readFaults), bothLines),
                         nameOfRowAndWire<ReadFaultRow>);

// --- one bad answer to a write ------------------------------------------------------------------

struct WriteFaultRow {
    const char *name;
    const char *fault;
    int timeoutMs;
    int awaited;
    const char *turn;    // after the frame
    const char *written; // DM1 after it
    bool triedAgain;
};

// clang-format off
const std::vector<WriteFaultRow> writeFaults{
    { "silent",  "silent",   briefMs,    0, "(nothing) = 0",     "00005", true },
    { "error",   "error:E4", patienceMs, 0, "E4 = 0",            "00000", true },
    { "short",   "short",    patienceMs, 0, "O = 0",             "00005", true },
    { "long",    "long",     patienceMs, 0, "OK0 = 0",           "00005", true },
    { "torn",    "torn:2",   briefMs,    2, "OK (no end) = 0",   "00005", true },
    // On purpose: four bytes that are no error answer are an acknowledgement.
    { "garbled", "garbled",  patienceMs, 0, "O? = 1",            "00005", false },
    { "foreign", "foreign",  patienceMs, 0, "CC = 1",            "00005", false },
};
// clang-format on

class WriteFault : public RowsOverBothLines<WriteFaultRow>
{
};

TEST_P(WriteFault, endsWithTheWriteDone)
{
    begin(wire());
    writeValue(AREA_DM, "1", "05 00", 1);
    expectOpening();
    plcFault(std::string(row().fault) + " next 1");
    EXPECT_EQ(exchange(row().timeoutMs, row().awaited), std::string("WRS DM1.U 1 00005 -> ") + row().turn);
    EXPECT_EQ(plcGet("DM1"), row().written);
    if (row().triedAgain) {
        EXPECT_EQ(takeCallbacks(), Lines()) << "not before it is done";
        EXPECT_EQ(exchange(), "WRS DM1.U 1 00005 -> OK = 1");
    }
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 60 1"});
    EXPECT_EQ(plcGet("DM0 3"), "00000 00005 00000");
    EXPECT_EQ(exchange(), "idle");
}

INSTANTIATE_TEST_SUITE_P(Exchange, WriteFault, testing::Combine(testing::ValuesIn(writeFaults), bothLines),
                         nameOfRowAndWire<WriteFaultRow>);

// --- more than one ------------------------------------------------------------------------------

class Faults : public OverBothLines
{
};

TEST_P(Faults, whichLastMakeAReadBeGivenUp)
{
    begin(GetParam());
    plcSet("DM0=3");
    plcSet("EM0=4");
    showScreen({shown(AREA_DM, "0", 1), shown(AREA_EM, "0", 1)});
    expectOpening();
    plcFault("silent dev DM0 next 3");
    EXPECT_EQ(exchange(briefMs), "RDS DM0.U 1 -> (nothing) = 0");
    EXPECT_EQ(exchange(briefMs), "RDS DM0.U 1 -> (nothing) = 0");
    EXPECT_EQ(takeCallbacks(), Lines());
    EXPECT_EQ(exchange(briefMs), "RDS DM0.U 1 -> (nothing) = 41"); // a screen's read has owner type 0
    EXPECT_EQ(takeCallbacks(), Lines{"error 0 1 empty"});
    expectExchanges({"CR -> CC = 1", "RDS EM0.U 1 -> 00004 = 1", "RDS DM0.U 1 -> 00003 = 1"});
    EXPECT_EQ(get(AREA_DM, "0", 1), "03 00");
}

TEST_P(Faults, ofDifferentKindsShareTheRetriesAndTheLastOneNamesTheCode)
{
    begin(GetParam());
    read(AREA_DM, 0, 2);
    expectOpening();
    plcFault("silent next 1");
    EXPECT_EQ(exchange(briefMs), "RDS DM0.U 2 -> (nothing) = 0");
    plcFault("error:E5 next 1");
    EXPECT_EQ(exchange(), "RDS DM0.U 2 -> E5 = 0");
    plcFault("short:6 next 1");
    EXPECT_EQ(exchange(), "RDS DM0.U 2 -> 00000 = 76");
    EXPECT_EQ(takeCallbacks(), Lines{"error 5 1 empty"});
    expectExchanges({"CR -> CC = 1", "RDS DM0.U 2 -> 00000 00000 = 1"});
}

TEST_P(Faults, withoutRetriesEndAOneShotReadAtOnce)
{
    begin(GetParam());
    settings.maxRetries = 0;
    settings.maxBlockLength = 1;
    plcSet("DM20=20");
    EXPECT_EQ(readOnce(AREA_DM, "10", 3, 60), 3);
    EXPECT_EQ(readOnce(AREA_DM, "20", 1, 61), 4);
    expectOpening();
    plcFault("silent next 1");
    EXPECT_EQ(exchange(briefMs), "RDS DM10.U 1 -> (nothing) = 46");
    EXPECT_EQ(takeCallbacks(), (Lines{"notify 77 5 60 2", "error 5 1 empty"}));
    expectExchanges({"CR -> CC = 1", "RDS DM20.U 1 -> 00020 = 1", "idle"});
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 61 1"});
}

TEST_P(Faults, withinABitWriteRepeatTheFrameThatTheyHit)
{
    begin(GetParam());
    plcSet("DM100=5");
    writeValue(AREA_DM_BIT, "100.4", "01", 1);
    expectOpening();
    plcFault("silent next 1 cmd RDS");
    EXPECT_EQ(exchange(briefMs), "RDS DM100.U 1 -> (nothing) = 0");
    EXPECT_EQ(exchange(), "RDS DM100.U 1 -> 00005 = 1");
    plcFault("error:E4 next 1 cmd WRS");
    expectExchanges({"WRS DM100.U 1 00021 -> E4 = 0", "WRS DM100.U 1 00021 -> OK = 1", "idle"});
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 60 1"});
    EXPECT_EQ(plcGet("DM99 3"), "00000 00021 00000");
}

TEST_P(Faults, thatEndABitWriteAfterItsReadLeaveTheWordAsItWas)
{
    begin(GetParam());
    settings.maxRetries = 0;
    plcSet("DM100=5");
    writeValue(AREA_DM_BIT, "100.4", "01", 1);
    expectOpening();
    plcFault("error:E4 next 1 cmd WRS");
    expectExchanges({"RDS DM100.U 1 -> 00005 = 1", "WRS DM100.U 1 00021 -> E4 = 16", "idle"});
    EXPECT_EQ(takeCallbacks(), (Lines{"notify 77 5 60 2", "error 5 1 empty"}));
    EXPECT_EQ(plcGet("DM100"), "00005");
}

TEST_P(Faults, wearOffAndAllValuesAreRightAgain)
{
    begin(GetParam());
    plcSet("DM0=1");
    plcSet("EM0=2");
    read(AREA_DM, 0, 1);
    read(AREA_EM, 0, 1);
    expectOpening();
    plcFault("error:E5 every 2 cmd RDS times 2");
    expectExchanges({"RDS DM0.U 1 -> 00001 = 1", "RDS EM0.U 1 -> E5 = 0", "RDS EM0.U 1 -> 00002 = 1",
                     "RDS DM0.U 1 -> E5 = 0", "RDS DM0.U 1 -> 00001 = 1", "RDS EM0.U 1 -> 00002 = 1"});
    EXPECT_EQ(get(AREA_DM, "0", 1) + " " + get(AREA_EM, "0", 1), "01 00 02 00");
}

// --- answers that come too late -----------------------------------------------------

TEST_P(Faults, thatDoubleEveryAnswerDoNoHarmToAHostThatDropsWhatIsLeft)
{
    begin(GetParam());
    plcSet("DM0=1");
    plcSet("EM0=2");
    plcFault("doubled");
    read(AREA_DM, 0, 1);
    read(AREA_EM, 0, 1);
    expectOpening();
    EXPECT_TRUE(line->gather(4));
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(exchange(), "RDS DM0.U 1 -> 00001 = 1");
        EXPECT_TRUE(line->gather(7)) << "the second answer is there";
        EXPECT_EQ(exchange(), "RDS EM0.U 1 -> 00002 = 1");
        EXPECT_TRUE(line->gather(7));
    }
    writeValue(AREA_DM, "0", "05 00", 1);
    EXPECT_EQ(exchange(), "WRS DM0.U 1 00005 -> OK = 1");
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 60 1"});
    EXPECT_EQ(plcGet("DM0 2"), "00005 00000");
}

// Why hosts have to drop them: an answer says nothing of the request that it belongs to.
TEST_P(Faults, thatDoubleAnAnswerPutACarelessHostOneBehind)
{
    begin(GetParam());
    keepsStaleBytes = true;
    plcSet("DM0=1");
    plcSet("EM0=2");
    read(AREA_DM, 0, 1);
    read(AREA_EM, 0, 1);
    expectOpening();
    plcFault("doubled next 1");
    expectExchanges({"RDS DM0.U 1 -> 00001 = 1", "RDS EM0.U 1 -> 00001 = 1", "RDS DM0.U 1 -> 00002 = 1"});
    EXPECT_EQ(get(AREA_DM, "0", 1) + " " + get(AREA_EM, "0", 1), "02 00 01 00");
}

TEST_P(Faults, thatDelayAnAnswerBeyondTheTimeOutAreOverAfterTheGiveUp)
{
    begin(GetParam());
    settings.maxRetries = 0;
    plcSet("DM0=1");
    read(AREA_DM, 0, 1);
    expectOpening();
    plcFault("late:300 next 1");
    EXPECT_EQ(exchange(briefMs), "RDS DM0.U 1 -> (nothing) = 46");
    EXPECT_EQ(takeCallbacks(), Lines{"error 5 1 empty"});
    EXPECT_TRUE(line->gather(7)) << "the late answer";
    expectExchanges({"CR -> CC = 1", "RDS DM0.U 1 -> 00001 = 1"});
}

TEST_P(Faults, thatDelayAnAnswerGiveACarelessHostTheWrongOpening)
{
    begin(GetParam());
    keepsStaleBytes = true;
    settings.maxRetries = 0;
    read(AREA_DM, 0, 1);
    expectOpening();
    plcFault("late:300 next 1");
    EXPECT_EQ(exchange(briefMs), "RDS DM0.U 1 -> (nothing) = 46");
    EXPECT_EQ(takeCallbacks(), Lines{"error 5 1 empty"});
    EXPECT_EQ(exchange(), "CR -> 00000 = 201");
}

// The late answer satisfies the second attempt; the answer to that attempt comes later
// and is dropped.
TEST_P(Faults, thatDelayAnAnswerServeTheNextTry)
{
    begin(GetParam());
    writeValue(AREA_DM, "1", "05 00", 1, 60);
    expectOpening();
    plcFault("late:300 next 1");
    EXPECT_EQ(exchange(briefMs), "WRS DM1.U 1 00005 -> (nothing) = 0");
    EXPECT_EQ(exchange(), "WRS DM1.U 1 00005 -> OK = 1");
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 60 1"});
    EXPECT_TRUE(line->gather(4));
    plcFault("error:E4 next 1");
    writeValue(AREA_DM, "2", "06 00", 1, 61);
    EXPECT_EQ(exchange(), "WRS DM2.U 1 00006 -> E4 = 0") << "not the old OK";
    EXPECT_EQ(exchange(), "WRS DM2.U 1 00006 -> OK = 1");
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 61 1"});
    EXPECT_EQ(plcGet("DM1 2"), "00005 00006");
}

INSTANTIATE_TEST_SUITE_P(Exchange, Faults, bothLines, nameOfWire);
} // namespace
