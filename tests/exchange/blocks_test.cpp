// SPDX-License-Identifier: MIT
// Long blocks, what the PLC takes at most, and addresses that it does not have.
#include "exchange_fixture.h"

namespace
{
// "00007" or "0000000007"
std::string digits(int value, int width)
{
    return QString::number(value).rightJustified(width, QLatin1Char('0')).toStdString();
}

// A value for each element, as the PLC and the screens write them.
class Values
{
public:
    Values(int count, int step, int size)
    {
        for (int i = 0; i < count; ++i)
            add(7 + i * step, size);
    }

    std::string assignment;
    std::string text;
    std::string hex;

private:
    void add(int value, int size)
    {
        assignment += (assignment.empty() ? "" : ",") + std::to_string(value);
        text += (text.empty() ? "" : " ") + digits(value, size == 2 ? 5 : 10);
        for (int byte = 0; byte < size; ++byte) {
            const int low = value >> (8 * byte) & 0xFF;
            hex += (hex.empty() ? "" : " ") +
                   QString::number(low, 16).rightJustified(2, QLatin1Char('0')).toUpper().toStdString();
        }
    }
};

class Blocks : public OverBothLines
{
protected:
    // A turn without its values: "RDS DM0.U 120 ... = 1".
    std::string head()
    {
        const std::string turn = exchange();
        const std::size_t values = turn.find(' ', turn.find(".") + 3);
        return turn.substr(0, values) + " ..." + turn.substr(turn.rfind(" = "));
    }

    void expectHeads(const std::vector<std::string> &expected)
    {
        for (const std::string &each : expected)
            EXPECT_EQ(head(), each);
    }
};

TEST_P(Blocks, of120WordsAreRead)
{
    begin(GetParam());
    settings.maxBlockLength = 120;
    const Values values(300, 201, 2);
    plcSet("DM1000=" + values.assignment);
    EXPECT_EQ(showScreen({shown(AREA_DM, "1000", 300)}), 3);
    expectOpening();
    expectHeads({"RDS DM1000.U 120 ... = 1", "RDS DM1120.U 120 ... = 1", "RDS DM1240.U 60 ... = 1"});
    EXPECT_EQ(get(AREA_DM, "1000", 300), values.hex);
}

TEST_P(Blocks, of128WordsAreRead)
{
    begin(GetParam());
    settings.maxBlockLength = 128;
    const Values values(300, 201, 2);
    plcSet("W100=" + values.assignment);
    EXPECT_EQ(showScreen({shown(AREA_W, "100", 300)}), 3);
    expectOpening();
    expectHeads({"RDS W100.U 128 ... = 1", "RDS W180.U 128 ... = 1", "RDS W200.U 44 ... = 1"});
    EXPECT_EQ(get(AREA_W, "100", 300), values.hex);
}

TEST_P(Blocks, of120WordsAreWritten)
{
    begin(GetParam());
    settings.maxBlockLength = 120;
    const Values values(300, 201, 2);
    plcSet("DM99=1");
    plcSet("DM400=2");
    writeValue(AREA_DM, "100", values.hex.c_str(), 300);
    expectOpening();
    expectHeads({"WRS DM100.U 120 ... = 1", "WRS DM220.U 120 ... = 1", "WRS DM340.U 60 ... = 1"});
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 60 1"});
    EXPECT_EQ(plcGet("DM99 302"), "00001 " + values.text + " 00002");
}

TEST_P(Blocks, ofMoreThan128WordsAreWrittenIn128s)
{
    begin(GetParam());
    settings.maxBlockLength = 200;
    const Values values(300, 201, 2);
    plcSet("DM99=1");
    plcSet("DM400=2");
    writeValue(AREA_DM, "100", values.hex.c_str(), 300);
    EXPECT_EQ(settings.maxBlockLength, 128);
    expectOpening();
    expectHeads({"WRS DM100.U 128 ... = 1", "WRS DM228.U 128 ... = 1", "WRS DM356.U 44 ... = 1"});
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 60 1"});
    EXPECT_EQ(plcGet("DM99 302"), "00001 " + values.text + " 00002");
}

// 120 double words are a command of 1335 characters.
TEST_P(Blocks, ofTimersAreWrittenUpToThePlcsLimit)
{
    begin(GetParam());
    settings.maxBlockLength = 120;
    const Values values(128, 70001, 4);
    writeValue(AREA_TS, "10", values.hex.c_str(), 256);
    expectOpening();
    expectHeads({"WRS TS10.D 120 ... = 1", "WRS TS130.D 8 ... = 1"});
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 60 1"});
    EXPECT_EQ(plcGet("TS9 130"), "0000000000 " + values.text + " 0000000000");
    EXPECT_EQ(get(AREA_TS, "10", 128), values.hex);
}

TEST_P(Blocks, ofTimersBeyondThePlcsLimitAreRefused)
{
    begin(GetParam());
    settings.maxBlockLength = 128;
    settings.maxRetries = 0;
    const Values values(128, 70001, 4);
    writeValue(AREA_TS, "10", values.hex.c_str(), 256);
    expectOpening();
    expectHeads({"WRS TS10.D 128 ... = 16"});
    EXPECT_EQ(takeCallbacks(), (Lines{"notify 77 5 60 2", "error 5 1 empty"}));
    EXPECT_EQ(plcGet("TS10 2"), "0000000000 0000000000");
}

// Screens' timers are read one by one; a host may ask for more at once.
TEST_P(Blocks, ofTimersAreReadUpToThePlcsLimit)
{
    begin(GetParam());
    settings.maxRetries = 0;
    const Values values(121, 70001, 4);
    plcSet("T0=" + values.assignment);
    read(AREA_T, 0, 120);
    read(AREA_T, 0, 121);
    expectOpening();
    expectHeads({"RDS T0.D 120 ... = 1"});
    EXPECT_EQ(get(AREA_T_DWORD, "0", 120), values.hex.substr(0, 120 * 12 - 1));
    EXPECT_EQ(exchange(), "RDS T0.D 121 -> E1 = 76");
    EXPECT_EQ(takeCallbacks(), Lines{"error 5 1 empty"});
}

TEST_P(Blocks, longerThanThisPlcTakesAreHealedByASmallerBlockLength)
{
    begin(GetParam(), {"--max-count", "DM=100"});
    settings.maxRetries = 0;
    settings.maxBlockLength = 120;
    const Values values(110, 3, 2);
    plcSet("DM0=" + values.assignment);
    EXPECT_EQ(showScreen({shown(AREA_DM, "0", 110)}), 1);
    expectExchanges({"CR -> CC = 1", "RDS DM0.U 110 -> E1 = 71"});
    EXPECT_EQ(takeCallbacks(), Lines{"error 0 1 empty"});
    settings.maxBlockLength = 100;
    EXPECT_EQ(showScreen({shown(AREA_DM, "0", 110)}), 2);
    expectOpening();
    expectHeads({"RDS DM0.U 100 ... = 1", "RDS DM100.U 10 ... = 1"});
    EXPECT_EQ(get(AREA_DM, "0", 110), values.hex);
}

INSTANTIATE_TEST_SUITE_P(Exchange, Blocks, bothLines, nameOfWire);

// --- addresses that the PLC does not have -------------------------------------------------------

struct MissingRow {
    const char *name;
    int area;
    const char *address;
    int count;
    const char *frame;
};

// clang-format off
const std::vector<MissingRow> missing{
    { "R",      AREA_R,         "200000",  1, "RDS R200000.U 1" },
    { "B",      AREA_B,         "8000",    1, "RDS B8000.U 1" },
    { "VB",     AREA_VB_WORD,   "FA00",    1, "RDS VBFA00.U 1" },
    { "T",      AREA_T,         "4000",    1, "RDS T4000.D 1" },
    { "CTH",    AREA_CTH_DWORD, "2",       2, "RDS CTH2.D 1" },
    { "DM",     AREA_DM,        "65535",   1, "RDS DM65535.U 1" },
    { "DMEnd",  AREA_DM,        "65533",   3, "RDS DM65533.U 3" },
    { "W",      AREA_W,         "8000",    1, "RDS W8000.U 1" },
    { "TM",     AREA_TM_BIT,    "512.0",   1, "RDS TM512.U 1" },
    { "Z0",     AREA_Z,         "0",       2, "RDS Z0.D 1" },
    { "Z13",    AREA_Z,         "13",      2, "RDS Z13.D 1" },
    { "AT",     AREA_AT,        "8",       2, "RDS AT8.D 1" },
};
// clang-format on

class Missing : public RowsOverBothLines<MissingRow>
{
};

// VM is the last area of a pass: the missing device comes first and does not stop VM
// from being read.
TEST_P(Missing, isGivenUpAndTheOthersAreReadOn)
{
    begin(wire());
    settings.maxRetries = 1;
    plcSet("VM7=9");
    EXPECT_EQ(showScreen({shown(row().area, row().address, row().count), shown(AREA_VM, "7", 1)}), 2);
    const std::string frame = row().frame;
    expectExchanges({"CR -> CC = 1", frame + " -> E0 = 0", frame + " -> E0 = 71"});
    EXPECT_EQ(takeCallbacks(), Lines{"error 0 1 empty"});
    expectExchanges({"CR -> CC = 1", "RDS VM7.U 1 -> 00009 = 1", frame + " -> E0 = 0"});
    EXPECT_EQ(get(AREA_VM, "7", 1), "09 00");
}

INSTANTIATE_TEST_SUITE_P(Exchange, Missing, testing::Combine(testing::ValuesIn(missing), bothLines),
                         nameOfRowAndWire<MissingRow>);

TEST_P(Blocks, thatEndBeyondTheDeviceAreNotWrittenAtAll)
{
    begin(GetParam());
    settings.maxRetries = 0;
    writeValue(AREA_DM, "65533", "01 00 02 00 03 00", 3);
    expectExchanges({"CR -> CC = 1", "WRS DM65533.U 3 00001 00002 00003 -> E0 = 16"});
    EXPECT_EQ(takeCallbacks(), (Lines{"notify 77 5 60 2", "error 5 1 empty"}));
    EXPECT_EQ(plcGet("DM65533 2"), "00000 00000");
}
} // namespace
