// SPDX-License-Identifier: MIT
// Driver return codes: outcome kind and owner type of the frame in flight make one number.
#include "driver_test.h"
#include "rows.h"

#include <limits>

namespace
{
void putInFlight(int ownerType)
{
    Protocol frame;
    frame.var.ownerType = ownerType;
    PLC_driver.frameQueue.append(frame);
}

// --- failures: a band of twelve codes each ------------------------------------------------------

struct OwnerRow {
    const char *name;
    int ownerType;
    int errorReply, noReply, wrongLength;                   // local variables
    int remoteErrorReply, remoteNoReply, remoteWrongLength; // variables of a remote area

    friend std::ostream &operator<<(std::ostream &out, const OwnerRow &row) { return out << row.name; }
};

class FailureCode : public DriverTest, public testing::WithParamInterface<OwnerRow>
{
};

TEST_P(FailureCode, tellsOutcomeAndOwner)
{
    const OwnerRow &row = GetParam();
    putInFlight(row.ownerType);
    EXPECT_EQ(GetDriverReturnValue(1), row.errorReply);
    EXPECT_EQ(GetDriverReturnValue(2), row.noReply);
    EXPECT_EQ(GetDriverReturnValue(3), row.wrongLength);
    EXPECT_EQ(GetDriverReturnValue(5), row.remoteErrorReply);
    EXPECT_EQ(GetDriverReturnValue(6), row.remoteNoReply);
    EXPECT_EQ(GetDriverReturnValue(7), row.remoteWrongLength);
}

TEST_P(FailureCode, isTheBaseOfTheBandAndTheOwnersPlace)
{
    const OwnerRow &row = GetParam();
    putInFlight(row.ownerType);
    EXPECT_EQ(SwitchErrorReturn(10), row.errorReply);
    EXPECT_EQ(SwitchErrorReturn(40), row.noReply);
    EXPECT_EQ(SwitchErrorReturn(70), row.wrongLength);
    EXPECT_EQ(SwitchErrorReturn(110), row.remoteErrorReply);
    EXPECT_EQ(SwitchErrorReturn(140), row.remoteNoReply);
    EXPECT_EQ(SwitchErrorReturn(170), row.remoteWrongLength);
}

TEST_P(FailureCode, leavesTheOtherOutcomesAlone)
{
    putInFlight(GetParam().ownerType);
    EXPECT_EQ(GetDriverReturnValue(0), 1);
    EXPECT_EQ(GetDriverReturnValue(4), 100);
    EXPECT_EQ(GetDriverReturnValue(8), 200);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Owners, FailureCode, testing::Values(
    //                           error  none  length | remote: error  none  length
    OwnerRow{"ownerMinus1", -1,     11,   41,   71,             111,  141,  171},
    OwnerRow{"owner0",       0,     11,   41,   71,             111,  141,  171},
    OwnerRow{"owner1",       1,     12,   42,   72,             112,  142,  172},
    OwnerRow{"owner2",       2,     13,   43,   73,             113,  143,  173},
    OwnerRow{"owner3",       3,     14,   44,   74,             114,  144,  174},
    OwnerRow{"owner4",       4,     15,   45,   75,             115,  145,  175},
    OwnerRow{"owner5",       5,     16,   46,   76,             116,  146,  176},
    OwnerRow{"owner6",       6,     17,   47,   77,             117,  147,  177},
    OwnerRow{"owner7",       7,     18,   48,   78,             118,  148,  178},
    OwnerRow{"owner8",       8,     19,   49,   79,             119,  149,  179},
    OwnerRow{"owner9",       9,     20,   50,   80,             120,  150,  180},
    OwnerRow{"owner10",     10,     21,   51,   81,             121,  151,  181},
    OwnerRow{"owner11",     11,     22,   52,   82,             122,  152,  182},
    OwnerRow{"owner12",     12,     11,   41,   71,             111,  141,  171},
    OwnerRow{"ownerLargest",  std::numeric_limits<int>::max(), 11, 41, 71, 111, 141, 171},
    OwnerRow{"ownerSmallest", std::numeric_limits<int>::min(), 11, 41, 71, 111, 141, 171}),
    nameOfRow<OwnerRow>);
// clang-format on

// --- the other outcomes -------------------------------------------------------------------------

struct KindRow {
    const char *name;
    int kind;
    int code;

    friend std::ostream &operator<<(std::ostream &out, const KindRow &row) { return out << row.name; }
};

class OutcomeCode : public DriverTest, public testing::WithParamInterface<KindRow>
{
};

TEST_P(OutcomeCode, isTheSameWhateverIsInFlight)
{
    EXPECT_EQ(GetDriverReturnValue(GetParam().kind), GetParam().code) << "nothing in flight";
    putInFlight(7);
    EXPECT_EQ(GetDriverReturnValue(GetParam().kind), GetParam().code) << "a frame of owner 7 in flight";
}

INSTANTIATE_TEST_SUITE_P(Kinds, OutcomeCode,
                         testing::Values(KindRow{"success", 0, 1}, KindRow{"acceptedWithoutDecoding", 4, 100},
                                         KindRow{"kind8", 8, 200}, KindRow{"kind9", 9, 200},
                                         KindRow{"kind100", 100, 200}, KindRow{"kindMinus1", -1, 200},
                                         KindRow{"kindLargest", std::numeric_limits<int>::max(), 200},
                                         KindRow{"kindSmallest", std::numeric_limits<int>::min(), 200}),
                         nameOfRow<KindRow>);

// --- which frame counts -------------------------------------------------------------------------

class ReturnCodes : public DriverTest
{
};

TEST_F(ReturnCodes, theHeadOfTheQueueNamesTheOwner)
{
    putInFlight(3);
    putInFlight(8);
    PLC_driver.currentVar.ownerType = 9;
    EXPECT_EQ(SwitchErrorReturn(10), 14);
    PLC_driver.frameQueue.removeFirst();
    EXPECT_EQ(SwitchErrorReturn(10), 19);
}

TEST_F(ReturnCodes, withNothingInFlightTheFirstCodeOfTheBandIsTaken)
{
    PLC_driver.currentVar.ownerType = 9;
    EXPECT_EQ(SwitchErrorReturn(10), 11);
    EXPECT_EQ(SwitchErrorReturn(170), 171);
    EXPECT_EQ(GetDriverReturnValue(2), 41);
    EXPECT_EQ(GetDriverReturnValue(5), 111);
}

TEST_F(ReturnCodes, anyBaseCanBeUsed)
{
    putInFlight(11);
    EXPECT_EQ(SwitchErrorReturn(0), 12);
    EXPECT_EQ(SwitchErrorReturn(-20), -8);
    EXPECT_EQ(SwitchErrorReturn(1000), 1012);
}
} // namespace
