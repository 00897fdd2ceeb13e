// SPDX-License-Identifier: MIT
// The link to the PLC: opening it, losing it, opening it again.
#include "exchange_fixture.h"

namespace
{
class Link : public OverBothLines
{
};

TEST_P(Link, isOpenedOnceForAStation)
{
    begin(GetParam());
    plcSet("DM0=11");
    read(AREA_DM, 0, 1, 1);
    read(AREA_DM, 0, 1, 2);
    expectExchanges({"CR -> CC = 1", "RDS DM0.U 1 -> 00011 = 1", "CR -> CC = 1", "RDS DM0.U 1 -> 00011 = 1",
                     "RDS DM0.U 1 -> 00011 = 1", "RDS DM0.U 1 -> 00011 = 1"});
    EXPECT_EQ(get(AREA_DM, "0", 1, 2), "0B 00");
}

TEST_P(Link, thatIsRefusedIsAskedForEachTime)
{
    begin(GetParam(), {"--open", "refuse"});
    read(AREA_DM, 0, 1);
    expectExchanges({"CR -> E1 = 201", "CR -> E1 = 201", "CR -> E1 = 201", "CR -> E1 = 201"});
}

TEST_P(Link, isOpenedWhereThePlcDoesNotAskForItToo)
{
    begin(GetParam(), {"--open", "never"});
    read(AREA_DM, 0, 1);
    expectExchanges({"CR -> CC = 1", "RDS DM0.U 1 -> 00000 = 1"});
}

TEST_P(Link, ofASwitchedOffStationIsLeftAlone)
{
    begin(GetParam());
    read(AREA_DM, 0, 1, 1);
    EnableEthernet(1, 0);
    EXPECT_EQ(exchange(), "idle");
    EnCommStation(1, 1);
    expectOpening();
}

// The PLC refuses everything until CR; the error answer to a read is one of the wrong length.
TEST_P(Link, forgottenByThePlcIsOpenedAgainAfterTheRetriesOfARead)
{
    begin(GetParam());
    plcSet("DM0=3");
    read(AREA_DM, 0, 1);
    expectExchanges({"CR -> CC = 1", "RDS DM0.U 1 -> 00003 = 1"});
    plcFault("forget next 1");
    expectExchanges(
        {"RDS DM0.U 1 -> E1 = 0", "RDS DM0.U 1 -> E1 = 0", "RDS DM0.U 1 -> E1 = 76", "CR -> CC = 1"});
    EXPECT_EQ(takeCallbacks(), Lines{"error 5 1 empty"});
    EXPECT_EQ(exchange(), "RDS DM0.U 1 -> 00003 = 1");
}

TEST_P(Link, forgottenByThePlcCostsTheWriteThatMeetsIt)
{
    begin(GetParam());
    settings.maxRetries = 0;
    writeValue(AREA_DM, "1", "01 00", 1, 60);
    writeValue(AREA_DM, "2", "02 00", 1, 61);
    expectOpening();
    plcFault("forget next 1");
    EXPECT_EQ(exchange(), "WRS DM1.U 1 00001 -> E1 = 16");
    EXPECT_EQ(takeCallbacks(), (Lines{"notify 77 5 60 2", "error 5 1 empty"}));
    expectExchanges({"CR -> CC = 1", "WRS DM2.U 1 00002 -> OK = 1", "idle"});
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 61 1"});
    EXPECT_EQ(plcGet("DM1 2"), "00000 00002");
}

INSTANTIATE_TEST_SUITE_P(Exchange, Link, bothLines, nameOfWire);

// --- an opening that is answered wrongly --------------------------------------------------------

struct OpeningRow {
    const char *name;
    const char *fault;
    int timeoutMs;
    int awaited;
    const char *turn;
};

const std::vector<OpeningRow> openings{
    {"silent", "silent", briefMs, 0, "CR -> (nothing) = 201"},
    {"error", "error:E5", patienceMs, 0, "CR -> E5 = 201"},
    {"short", "short", patienceMs, 0, "CR -> C = 201"},
    {"long", "long", patienceMs, 0, "CR -> CC0 = 201"},
    {"torn", "torn:3", briefMs, 3, "CR -> CC\r (no end) = 201"},
    {"firstGarbled", "garbled:1", patienceMs, 0, "CR -> ?C = 201"},
    {"secondGarbled", "garbled:2", patienceMs, 0, "CR -> C? = 201"},
};

class Opening : public RowsOverBothLines<OpeningRow>
{
};

TEST_P(Opening, isTriedAgain)
{
    begin(wire());
    read(AREA_DM, 0, 1);
    plcFault(std::string(row().fault) + " next 1 cmd CR");
    EXPECT_EQ(exchange(row().timeoutMs, row().awaited), row().turn);
    expectExchanges({"CR -> CC = 1", "RDS DM0.U 1 -> 00000 = 1"});
}

INSTANTIATE_TEST_SUITE_P(Exchange, Opening, testing::Combine(testing::ValuesIn(openings), bothLines),
                         nameOfRowAndWire<OpeningRow>);

// --- connections that end -----------------------------------------------------------------------

class Connection : public ExchangeTest
{
};

TEST_F(Connection, thatEndedIsOpenedAnewAndSoIsTheLink)
{
    begin(Wire::Tcp);
    plcSet("DM0=3");
    read(AREA_DM, 0, 1);
    expectExchanges({"CR -> CC = 1", "RDS DM0.U 1 -> 00003 = 1"});
    EXPECT_EQ(plcAsk("disconnect"), "ok");
    EXPECT_EQ(exchange(), "RDS DM0.U 1 -> (nothing) = 0");
    reopen();
    expectExchanges({"RDS DM0.U 1 -> E1 = 0", "RDS DM0.U 1 -> E1 = 76"});
    EXPECT_EQ(takeCallbacks(), Lines{"error 5 1 empty"});
    expectExchanges({"CR -> CC = 1", "RDS DM0.U 1 -> 00003 = 1"});
}

TEST_F(Connection, thatEndsWithinAnAnswerCostsATry)
{
    begin(Wire::Tcp, {"--open", "never"});
    plcSet("DM0=3");
    read(AREA_DM, 0, 1);
    expectOpening();
    plcFault("close:in next 1");
    EXPECT_EQ(exchange(), "RDS DM0.U 1 -> 000 (no end) = 0");
    reopen();
    EXPECT_EQ(exchange(), "RDS DM0.U 1 -> 00003 = 1");
}
} // namespace
