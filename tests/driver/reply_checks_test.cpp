// SPDX-License-Identifier: MIT
// Reply checks: is it an answer to the frame in flight, and does it carry data?
#include "in_flight.h"
#include "rows.h"

namespace
{
// --- the handshake's answer ----------------------------------------------------------------------

struct AnswerRow {
    const char *name;
    const char *reply;
    int passes;

    friend std::ostream &operator<<(std::ostream &out, const AnswerRow &row) { return out << row.name; }
};

class HandshakeAnswer : public DriverTest, public testing::WithParamInterface<AnswerRow>
{
};

TEST_P(HandshakeAnswer, passesOrNot)
{
    QByteArray reply(GetParam().reply);
    EXPECT_EQ(Handshake_Check(&reply), GetParam().passes);
    EXPECT_EQ(reply, QByteArray(GetParam().reply));
}

INSTANTIATE_TEST_SUITE_P(
    Answers, HandshakeAnswer,
    testing::Values(AnswerRow{"CC", "CC\r\n", 1}, AnswerRow{"anyTwoBytesMayFollow", "CC12", 1},
                    AnswerRow{"empty", "", 0}, AnswerRow{"threeBytes", "CC\r", 0},
                    AnswerRow{"fiveBytes", "CC\r\n\n", 0}, AnswerRow{"withStation", "CC 01\r\n", 0},
                    AnswerRow{"secondLetterWrong", "CF\r\n", 0}, AnswerRow{"firstLetterWrong", "OC\r\n", 0},
                    AnswerRow{"lowerCase", "cc\r\n", 0}, AnswerRow{"error", "E1\r\n", 0},
                    AnswerRow{"notAtTheBeginning", "\r\nCC", 0}),
    nameOfRow<AnswerRow>);

TEST(HandshakeAnswerMissing, doesNotPass)
{
    EXPECT_EQ(Handshake_Check(nullptr), 0);
}

class ReplyChecks : public InFlight
{
};

// --- what kind of reply it is -------------------------------------------------------------------

struct KindRow {
    const char *name;
    const char *reply;
    int accessMode;
    int kind; // 0 error, 1 data, 2 accepted without data

    friend std::ostream &operator<<(std::ostream &out, const KindRow &row) { return out << row.name; }
};

class ReplyKind : public InFlight, public testing::WithParamInterface<KindRow>
{
};

TEST_P(ReplyKind, isSeenFromTheReplyAndTheFrame)
{
    RW_VAR var = variable(AREA_DM, 0, 1);
    var.accessMode = GetParam().accessMode;
    add(var, 7);
    QByteArray reply(GetParam().reply);
    EXPECT_EQ(CheckGetData(&reply, int(reply.size())), GetParam().kind);
    EXPECT_EQ(CheckGetData(&reply, 0), GetParam().kind) << "the size of the reply itself counts";
    EXPECT_EQ(CheckGetData(&reply, 4), GetParam().kind) << "the size of the reply itself counts";
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Replies, ReplyKind, testing::Values(
    KindRow{"empty_read",             "",          0, 0},
    KindRow{"empty_write",            "",          1, 0},
    KindRow{"error_read",             "E1\r\n",    0, 0},
    KindRow{"error_write",            "E0\r\n",    1, 0},
    KindRow{"error_lowerCase",        "e1\r\n",    0, 0},
    KindRow{"error_anyFourBytesOfE",  "Exyz",      1, 0},
    KindRow{"threeBytesOfE_read",     "E1\r",      0, 1},
    KindRow{"threeBytesOfE_write",    "E1\r",      1, 2},
    KindRow{"fiveBytesOfE_read",      "E1234",     0, 1},
    KindRow{"fiveBytesOfE_write",     "E1\r\n\n",  1, 2},
    KindRow{"E_notFirst",             "1E\r\n",    0, 1},
    KindRow{"ok_write",               "OK\r\n",    1, 2},
    KindRow{"ok_alone",               "OK",        1, 2},
    KindRow{"ok_read",                "OK\r\n",    0, 2},
    KindRow{"ok_longRead",            "OK001 00002\r\n", 0, 2},
    KindRow{"ok_otherMode",           "OK\r\n",    2, 2},
    KindRow{"ok_lowerCase_read",      "ok\r\n",    0, 1},
    KindRow{"ok_lowerCase_write",     "ok\r\n",    1, 2},
    KindRow{"ok_notFirst",            " OK\r\n",   0, 1},
    KindRow{"o_alone",                "O",         0, 1},
    KindRow{"data_read",              "00007\r\n", 0, 1},
    KindRow{"data_write",             "00007\r\n", 1, 2},
    KindRow{"data_mode2",             "00007\r\n", 2, 0},
    KindRow{"data_modeMinus1",        "00007\r\n", -1, 0},
    KindRow{"fourBytesOf5_read",      "5\x45\r\n", 0, 1},
    KindRow{"percentSign_isNoE",      "%1\r\n",    0, 1},
    KindRow{"highBitE_isNoE",         "\xC5" "1\r\n", 0, 1}),
    nameOfRow<KindRow>);
// clang-format on

TEST_F(ReplyChecks, noReplyObjectIsAnErrorKind)
{
    add(variable(AREA_DM, 0, 1), 7);
    EXPECT_EQ(CheckGetData(nullptr, 7), 0);
    EXPECT_EQ(DealDataOfLocalArea(nullptr, 7), 0);
    EXPECT_EQ(DealDataOfRemoteArea(nullptr, 7), 0);
}

TEST_F(ReplyChecks, withNothingInFlightNoReplyIsTakenForAnything)
{
    for (const char *text : {"", "OK\r\n", "00007\r\n", "E1\r\n"}) {
        QByteArray reply(text);
        EXPECT_EQ(CheckGetData(&reply, int(reply.size())), 0) << text;
        EXPECT_EQ(DealDataOfLocalArea(&reply, int(reply.size())), 0) << text;
        EXPECT_EQ(DealDataOfRemoteArea(&reply, int(reply.size())), 0) << text;
    }
    EXPECT_TRUE(DataStorage.isEmpty());
}

// --- checks and decoding ------------------------------------------------------------------------

struct ReplyRow {
    const char *name;
    const char *reply;
    int length;
    int replyLength;
    int accessMode;
    int code;
    const char *stored; // DM of station 1 afterwards

    friend std::ostream &operator<<(std::ostream &out, const ReplyRow &row) { return out << row.name; }
};

class LocalReply : public InFlight, public testing::WithParamInterface<ReplyRow>
{
};

TEST_P(LocalReply, isCheckedAndDecoded)
{
    const ReplyRow &row = GetParam();
    RW_VAR var = variable(AREA_DM, 0, 1);
    var.accessMode = row.accessMode;
    add(var, row.replyLength);
    QByteArray reply(row.reply);
    EXPECT_EQ(DealDataOfLocalArea(&reply, row.length), row.code);
    EXPECT_EQ(image(1, 10), row.stored);
    EXPECT_EQ(frames(), Lines{"frame"}) << "the queue is DataCom's";
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Replies, LocalReply, testing::Values(
    //                                 reply     length expected mode code  stored
    ReplyRow{"data",                  "00007\r\n",  7,   7,      0,    1, "07 00"},
    ReplyRow{"data_anyLength",        "00007\r\n",  7,  -1,      0,    1, "07 00"},
    ReplyRow{"data_anyLength_short",  "00007",      5,  -1,      0,    1, "07 00"},
    ReplyRow{"data_notANumber",       "0x007\r\n",  7,   7,      0,    1, "00 00"},
    ReplyRow{"data_numberedLonger",   "00007",      7,   7,      0,    1, "07 00"},
    ReplyRow{"acknowledged",          "OK\r\n",     4,   4,      1,    1, "absent"},
    ReplyRow{"anyAnswerToAWrite",     "XY\r\n",     4,   4,      1,    1, "absent"},
    ReplyRow{"ok_toARead",            "OK567\r\n",  7,   7,      0,    1, "absent"},
    ReplyRow{"error",                 "E1\r\n",     4,   4,      1,   16, "absent"},
    ReplyRow{"error_lowerCase",       "e1\r\n",     4,   4,      1,   16, "absent"},
    ReplyRow{"error_toAShortRead",    "E1\r\n",     4,   4,      0,   16, "absent"},
    ReplyRow{"error_anyLength",       "E1\r\n",     4,  -1,      0,   16, "absent"},
    ReplyRow{"error_toALongerRead",   "E1\r\n",     4,   7,      0,   76, "absent"},
    ReplyRow{"mode2",                 "00007\r\n",  7,   7,      2,   16, "absent"},
    ReplyRow{"modeMinus1",            "00007\r\n",  7,   7,     -1,   16, "absent"},
    ReplyRow{"noBytesButALength",     "",           7,   7,      0,   16, "absent"},
    ReplyRow{"none",                  "",           0,   7,      0,   46, "absent"},
    ReplyRow{"none_anyLength",        "",           0,  -1,      0,   46, "absent"},
    ReplyRow{"none_whateverTheBytes", "00007\r\n",  0,   7,      0,   46, "absent"},
    ReplyRow{"noneExpected_ok",       "OK",         0,   0,      1,    1, "absent"},
    ReplyRow{"noneExpected_empty",    "",           0,   0,      1,   16, "absent"},
    ReplyRow{"noneExpected_some",     "OK\r\n",     4,   0,      1,   76, "absent"},
    ReplyRow{"oneTooShort",           "00007\r",    6,   7,      0,   76, "absent"},
    ReplyRow{"oneTooLong",            "00007\r\n\n", 8,  7,      0,   76, "absent"},
    ReplyRow{"numberedShorter",       "00007\r\n",  6,   7,      0,   76, "absent"},
    ReplyRow{"negativeLength",        "00007\r\n", -1,   7,      0,   76, "absent"}),
    nameOfRow<ReplyRow>);
// clang-format on

TEST_F(ReplyChecks, aLocalPreReadCompletesTheWriteAndStoresNothing)
{
    addBitWrite(0);
    QByteArray reply("00005\r\n");
    EXPECT_EQ(DealDataOfLocalArea(&reply, 7), 1);
    EXPECT_EQ(secondFrame(), "WRS DM0.U 1 00013\r");
    EXPECT_EQ(image(1, 10), "absent");
}

class RemoteReply : public InFlight, public testing::WithParamInterface<ReplyRow>
{
};

TEST_P(RemoteReply, isCheckedButNotDecoded)
{
    const ReplyRow &row = GetParam();
    RW_VAR var = variable(AREA_DM, 0, 1);
    var.accessMode = row.accessMode;
    var.linkId = elsewhere;
    add(var, row.replyLength);
    QByteArray reply(row.reply);
    EXPECT_EQ(DealDataOfRemoteArea(&reply, row.length), row.code);
    EXPECT_EQ(image(1, 10), row.stored);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Replies, RemoteReply, testing::Values(
    //                                 reply     length expected mode code  stored
    ReplyRow{"data",                  "00007\r\n",  7,   7,      0,  100, "absent"},
    ReplyRow{"data_anyLength",        "00007\r\n",  7,  -1,      0,  100, "absent"},
    ReplyRow{"acknowledged",          "OK\r\n",     4,   4,      1,  100, "absent"},
    ReplyRow{"anyAnswerToAWrite",     "XY\r\n",     4,   4,      1,  100, "absent"},
    ReplyRow{"ok_toARead",            "OK567\r\n",  7,   7,      0,  100, "absent"},
    ReplyRow{"error",                 "E1\r\n",     4,   4,      1,  116, "absent"},
    ReplyRow{"error_lowerCase",       "e1\r\n",     4,   4,      1,  116, "absent"},
    ReplyRow{"error_anyLength",       "E1\r\n",     4,  -1,      0,  116, "absent"},
    ReplyRow{"error_toALongerRead",   "E1\r\n",     4,   7,      0,  176, "absent"},
    ReplyRow{"mode2",                 "00007\r\n",  7,   7,      2,  116, "absent"},
    ReplyRow{"none",                  "",           0,   7,      0,  146, "absent"},
    ReplyRow{"none_anyLength",        "",           0,  -1,      0,  146, "absent"},
    ReplyRow{"noneExpected_ok",       "OK",         0,   0,      1,  100, "absent"},
    ReplyRow{"noneExpected_empty",    "",           0,   0,      1,  116, "absent"},
    ReplyRow{"noneExpected_some",     "OK\r\n",     4,   0,      1,  176, "absent"},
    ReplyRow{"oneTooShort",           "00007\r",    6,   7,      0,  176, "absent"},
    ReplyRow{"oneTooLong",            "00007\r\n\n", 8,  7,      0,  176, "absent"}),
    nameOfRow<ReplyRow>);
// clang-format on

TEST_F(ReplyChecks, aRemoteWrongLengthOfOwner0Is171)
{
    RW_VAR var = variable(AREA_DM, 0, 1);
    var.ownerType = 0;
    var.linkId = elsewhere;
    add(var, 7);
    QByteArray reply("00007\r");
    EXPECT_EQ(DealDataOfRemoteArea(&reply, 6), 171);
}

struct RemotePreReadRow {
    const char *name;
    int framesDone;
    int code;

    friend std::ostream &operator<<(std::ostream &out, const RemotePreReadRow &row)
    {
        return out << row.name;
    }
};

class RemotePreRead : public InFlight, public testing::WithParamInterface<RemotePreReadRow>
{
};

TEST_P(RemotePreRead, isDecodedAndReportedByTheFramesDone)
{
    addBitWrite(elsewhere);
    settings.framesDone = GetParam().framesDone;
    QByteArray reply("00005\r\n");
    EXPECT_EQ(DealDataOfRemoteArea(&reply, 7), GetParam().code);
    EXPECT_EQ(secondFrame(), "WRS DM0.U 1 00013\r");
    EXPECT_EQ(image(1, 10), "absent");
}

INSTANTIATE_TEST_SUITE_P(FramesDone, RemotePreRead,
                         testing::Values(RemotePreReadRow{"none", 0, 1}, RemotePreReadRow{"one", 1, 100},
                                         RemotePreReadRow{"two", 2, 1}),
                         nameOfRow<RemotePreReadRow>);

TEST_F(ReplyChecks, withoutASettingsBlockNoFrameCountsAsDone)
{
    addBitWrite(elsewhere);
    PLC_driver.comInfo = nullptr;
    QByteArray reply("00005\r\n");
    EXPECT_EQ(DealDataOfRemoteArea(&reply, 7), 1); // as with 0 frames done
}

TEST_F(ReplyChecks, aRemotePreReadThatFailsIsNotDecoded)
{
    addBitWrite(elsewhere);
    QByteArray reply("00005\r\n");
    EXPECT_EQ(DealDataOfRemoteArea(&reply, 0), 146);
    EXPECT_EQ(DealDataOfRemoteArea(&reply, 6), 176);
    EXPECT_EQ(secondFrame(), "WRS DM0.U 1 00000\r");
}
} // namespace
