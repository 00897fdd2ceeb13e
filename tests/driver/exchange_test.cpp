// SPDX-License-Identifier: MIT
// Whole exchanges between host, driver and PLC, from the first handshake on.
#include "transcript.h"

#include <gtest/gtest-spi.h>

namespace
{
class Exchange : public TranscriptTest
{
protected:
    static void read(int area, int address, int count, int station = 1)
    {
        RW_VAR var = variable(area, address, count, station);
        AddListReadVar(&var);
    }

    static void readOnce(int area, const char *address, int count, int ownerId, int station = 1)
    {
        RW_VAR var = variable(area, 0, count, station);
        var.addressText = QString::fromLatin1(address);
        var.ownerId = ownerId;
        AddListOnceReadVar(&var, 0);
    }

    static int set(int area, const char *address, const char *dataHex, int count, int ownerId,
                   int station = 1)
    {
        return SetRegisterData(QString(), area, QString::fromLatin1(address), station, bytes(dataHex), count,
                               5, ownerId);
    }

    static std::string get(int area, const char *address, int count, int station = 1)
    {
        QByteArray out;
        EXPECT_EQ(GetRegisterData(0, area, QString::fromLatin1(address), station, &out, count), 1);
        return hex(out);
    }
};

// --- opening and cyclic reads -------------------------------------------------------------------

TEST_F(Exchange, theFirstReadOpensTheLink)
{
    read(AREA_DM, 100, 3);
    play(R"(
        > CR\r\n -> 4
        line init handshake
        line Handshake(RW_Var)
        < CC\r\n = 1
        > RDS DM100.U 3\r -> 19
        < 00001 00002 65535\r\n = 1
        > RDS DM100.U 3\r -> 19
        < 00004 00005 00006\r\n = 1
    )");
    EXPECT_EQ(get(AREA_DM, "100", 3), "04 00 05 00 06 00");
}

TEST_F(Exchange, aRefusedLinkIsAskedForAgainEachTime)
{
    read(AREA_DM, 100, 1);
    play(R"(
        > CR\r\n
        line init handshake
        line Handshake(RW_Var)
        < E1\r\n = 201
        > CR\r\n
        line Handshake(RW_Var)
        silence = 201
        > CR\r\n
        line Handshake(RW_Var)
        < CC = 201
        > CR\r\n
        line Handshake(RW_Var)
        < CC\r\n = 1
        > RDS DM100.U 1\r
        < 00009\r\n = 1
    )");
    EXPECT_EQ(get(AREA_DM, "100", 1), "09 00");
}

TEST_F(Exchange, theReadListGoesRoundAndTellsWhenAPassIsOver)
{
    link(1);
    read(AREA_R, 10, 2);
    read(AREA_Z, 1, 2);
    read(AREA_T, 3, 1);
    play(R"(
        > RDS R1000.U 2\r -> 13
        < 00008 32768\r\n = 1
        > RDS Z1.D 2\r -> 23
        < 0000000001 2147483647\r\n = 1
        > RDS T3.D 1\r -> 25
        < 1,0000001234,0000005000\r\n = 1
    )");
    EXPECT_EQ(settings.cycleDone, 0);
    play(R"(
        > RDS R1000.U 2\r
        < 00001 00000\r\n = 1
    )");
    EXPECT_EQ(settings.cycleDone, 1);
    EXPECT_EQ(get(AREA_R, "1000", 2), "01 00");
    EXPECT_EQ(get(AREA_R_WORD, "1100", 1), "00 00");
    EXPECT_EQ(get(AREA_Z, "1", 2), "01 00 00 00 FF FF FF 7F");
    EXPECT_EQ(get(AREA_T, "3", 1), "01");
    EXPECT_EQ(get(AREA_T_DWORD, "3", 1), "D2 04 00 00");
    EXPECT_EQ(get(AREA_TS, "3", 1), "88 13 00 00");
}

TEST_F(Exchange, withNothingToDoTheDriverIsIdle)
{
    play(R"(
        idle
        idle
    )");
    EXPECT_EQ(settings.cycleDone, 1);
}

TEST_F(Exchange, aListOfScreenVariablesIsReadInBlocks)
{
    link(1);
    QList<HOSTVAR> screen;
    for (const char *address : {"0", "63", "200"})
        screen.append(HOSTVAR{0, AREA_DM, 1, 0, 0, QString::fromLatin1(address), QString(), 2});
    EXPECT_EQ(ReCreatReadVarList(&screen), 3);
    EXPECT_EQ(takeLines(), (Lines{"************ fenzu ***********", "1 10 0 64", "1 10 64 1", "1 10 200 2"}));
    // Owner type 0 and the failure of a cyclic read: nobody asked for it in particular.
    settings.maxRetries = 0;
    play(R"(
        > RDS DM0.U 64\r -> 385
        silence = 41
        callback error 0 1 empty
        > CR\r\n
        line Handshake(RW_Var)
        < CC\r\n = 1
        > RDS DM64.U 1\r -> 7
        < 00640\r\n = 1
        > RDS DM200.U 2\r
        < 00200 00201\r\n = 1
        > RDS DM0.U 64\r
    )");
    EXPECT_EQ(get(AREA_DM, "200", 2), "C8 00 C9 00");
}

// --- one-shot reads -----------------------------------------------------------------------------

TEST_F(Exchange, aOneShotReadIsMadeOnceAndReported)
{
    link(1);
    read(AREA_DM, 0, 1);
    readOnce(AREA_C_DWORD, "7", 2, 60);    // two 16-bit registers: one counter
    readOnce(AREA_EM_BIT, "20.15", 2, 61); // two bits over two words
    play(R"(
        > RDS C7.D 1\r -> 25
        < 0,0000000003,0000000010\r\n = 1
        callback notify 77 5 60 1
        > RDS EM20.U 2\r -> 13
        < 32768 00001\r\n = 1
        callback notify 77 5 61 1
        > RDS DM0.U 1\r
        < 00000\r\n = 1
        > RDS DM0.U 1\r
    )");
    EXPECT_EQ(get(AREA_C_DWORD, "7", 1), "03 00 00 00");
    EXPECT_EQ(get(AREA_CS, "7", 1), "0A 00 00 00");
    EXPECT_EQ(get(AREA_EM_BIT, "20.15", 2), "01 01");
}

TEST_F(Exchange, aLongOneShotReadIsReportedWithItsLastPiece)
{
    link(1);
    settings.maxBlockLength = 2;
    readOnce(AREA_W, "FE", 5, 60);
    play(R"(
        > RDS WFE.U 2\r
        < 00001 00002\r\n = 1
        > RDS W100.U 2\r
        < 00003 00004\r\n = 1
        > RDS W102.U 1\r
        < 00005\r\n = 1
        callback notify 77 5 60 1
        idle
    )");
    EXPECT_EQ(get(AREA_W, "FE", 5), "01 00 02 00 03 00 04 00 05 00");
}

// --- writes -------------------------------------------------------------------------------------

TEST_F(Exchange, aWordWriteIsAcknowledgedAndReported)
{
    link(1);
    EXPECT_EQ(set(AREA_DM, "200", "34 12 01 00", 2, 60), 1);
    play(R"(
        > WRS DM200.U 2 04660 00001\r -> 4
        < OK\r\n = 1
        callback notify 77 5 60 1
        idle
    )");
    EXPECT_EQ(get(AREA_DM, "200", 2), "34 12 01 00");
}

TEST_F(Exchange, relaysAreSetAndResetOneByOne)
{
    link(1);
    EXPECT_EQ(set(AREA_R, "1015", "01 00", 2, 60), 2);
    EXPECT_EQ(set(AREA_VB, "1AF", "01", 1, 61), 3);
    play(R"(
        > ST R1015\r -> 4
        < OK\r\n = 1
        > RS R1100\r -> 4
        < OK\r\n = 1
        callback notify 77 5 60 1
        > ST VB1af\r -> 4
        < OK\r\n = 1
        callback notify 77 5 61 1
        idle
    )");
    EXPECT_EQ(get(AREA_R, "1015", 2), "01 00");
}

TEST_F(Exchange, aBitOfAWordIsReadChangedAndWritten)
{
    EXPECT_EQ(set(AREA_DM_BIT, "100.5", "01", 1, 60), 1);
    EXPECT_EQ(set(AREA_DM_BIT, "100.0", "00", 1, 61), 2);
    play(R"(
        > CR\r\n
        line init handshake
        line Handshake(RW_Var)
        < CC\r\n = 1
        > RDS DM100.U 1\r -> 7
        < 00005\r\n = 1
        > WRS DM100.U 1 00037\r -> 4
        < OK\r\n = 1
        callback notify 77 5 60 1
        > RDS DM100.U 1\r -> 7
        < 00037\r\n = 1
        > WRS DM100.U 1 00036\r -> 4
        < OK\r\n = 1
        callback notify 77 5 61 1
        idle
    )");
    EXPECT_EQ(get(AREA_DM_BIT, "100.5", 1), "01");
    EXPECT_EQ(get(AREA_DM_BIT, "100.0", 1), "00");
}

TEST_F(Exchange, bothFramesOfABitWriteAreTriedAgainWhereTheyStand)
{
    link(1);
    set(AREA_W_BIT, "1A.15", "01", 1, 60);
    settings.maxRetries = 3;
    play(R"(
        > RDS W1A.U 1\r
        silence = 0
        > RDS W1A.U 1\r
        < 00001\r\n = 1
        > WRS W1A.U 1 32769\r
        < E4\r\n = 0
        > WRS W1A.U 1 32769\r
        silence = 0
        > WRS W1A.U 1 32769\r
        < OK\r\n = 1
        callback notify 77 5 60 1
        idle
    )");
}

TEST_F(Exchange, aTimerContactIsWrittenAsAnEmptyFrame)
{
    link(1);
    RW_VAR var = write(AREA_T, 3, 1, "01");
    AddListWriteVar(&var, 1);
    play(R"(
        > (empty) -> 4
        line write default
        < OK\r\n = 1
        callback notify 77 5 50 1
        idle
    )");
    EXPECT_EQ(get(AREA_T, "3", 1), "01");
}

TEST_F(Exchange, aWriteWithoutAFrameIsDroppedAndTheNextOneGoesOut)
{
    link(1);
    RW_VAR var = write(AREA_CTH, 3, 1, "01", 1);
    AddListWriteVar(&var, 1);
    set(AREA_DM, "1", "02 00", 1, 60);
    play(R"(
        idle
        line WriteRegister default 1 8 3 1
        > WRS DM1.U 1 00002\r
        < OK\r\n = 1
        callback notify 77 5 60 1
    )");
}

TEST_F(Exchange, sixWritesLetACyclicReadThrough)
{
    link(1);
    read(AREA_EM, 7, 1);
    for (const char *address : {"1", "2", "3", "4", "5", "6"})
        set(AREA_DM, address, "09 00", 1, 60);
    play(R"(
        > WRS DM1.U 1 00009\r
        < OK\r\n = 1
        > WRS DM2.U 1 00009\r
        < OK\r\n = 1
        > WRS DM3.U 1 00009\r
        < OK\r\n = 1
        > WRS DM4.U 1 00009\r
        < OK\r\n = 1
        > WRS DM5.U 1 00009\r
        < OK\r\n = 1
        > RDS EM7.U 1\r
        < 00001\r\n = 1
        > WRS DM6.U 1 00009\r
        < OK\r\n = 1
        callback notify 77 5 60 1
        > RDS EM7.U 1\r
    )");
}

// On purpose: the handshake takes one of the five turns, so four writes follow it before the read.
TEST_F(Exchange, theHandshakeTakesATurn)
{
    read(AREA_EM, 7, 1);
    for (const char *address : {"1", "2", "3", "4", "5"})
        set(AREA_DM, address, "09 00", 1, 60);
    play(R"(
        > CR\r\n
        line init handshake
        line Handshake(RW_Var)
        < CC\r\n = 1
        > WRS DM1.U 1 00009\r
        < OK\r\n = 1
        > WRS DM2.U 1 00009\r
        < OK\r\n = 1
        > WRS DM3.U 1 00009\r
        < OK\r\n = 1
        > WRS DM4.U 1 00009\r
        < OK\r\n = 1
        > RDS EM7.U 1\r
        < 00001\r\n = 1
        > WRS DM5.U 1 00009\r
        < OK\r\n = 1
        callback notify 77 5 60 1
    )");
}

TEST_F(Exchange, newWritesWaitWhileAFrameIsInFlight)
{
    link(1);
    read(AREA_DM, 0, 1);
    play("> RDS DM0.U 1\\r");
    set(AREA_DM, "5", "05 00", 1, 60);
    play(R"(
        > RDS DM0.U 1\r
        < 00000\r\n = 1
        > WRS DM5.U 1 00005\r
        < OK\r\n = 1
        callback notify 77 5 60 1
    )");
}

// --- failures -----------------------------------------------------------------------------------

TEST_F(Exchange, aReadIsTriedThreeTimesAndTheLinkOpenedAgain)
{
    link(1);
    read(AREA_DM, 0, 1);
    play(R"(
        > RDS DM0.U 1\r
        silence = 0
        > RDS DM0.U 1\r
        < 00000\r = 0
        > RDS DM0.U 1\r
        silence = 46
        callback error 5 1 empty
        > CR\r\n
        line Handshake(RW_Var)
        < CC\r\n = 1
        > RDS DM0.U 1\r
        < 00003\r\n = 1
    )");
    EXPECT_EQ(get(AREA_DM, "0", 1), "03 00");
}

TEST_F(Exchange, theLastFailureNamesTheCode)
{
    link(1);
    settings.maxRetries = 1;
    read(AREA_DM, 0, 1);
    play(R"(
        > RDS DM0.U 1\r
        silence = 0
        > RDS DM0.U 1\r
        < E0\r\n = 76
        callback error 5 1 empty
    )");
}

TEST_F(Exchange, aWriteGivenUpTakesTheOtherWritesOfItsRequesterAlong)
{
    link(1);
    settings.maxRetries = 1;
    set(AREA_DM, "1", "01 00", 1, 60);
    set(AREA_DM, "2", "02 00", 1, 60);
    set(AREA_DM, "3", "03 00", 1, 61);
    set(AREA_DM, "4", "04 00", 1, 60);
    play(R"(
        > WRS DM1.U 1 00001\r
        < E4\r\n = 0
        > WRS DM1.U 1 00001\r
        < E4\r\n = 16
        callback notify 77 5 60 2
        callback error 5 1 empty
        > CR\r\n
        line Handshake(RW_Var)
        < CC\r\n = 1
        > WRS DM3.U 1 00003\r
        < OK\r\n = 1
        callback notify 77 5 61 1
        idle
    )");
}

TEST_F(Exchange, aBitWriteGivenUpAfterItsReadBeginsWithNothing)
{
    link(1);
    settings.maxRetries = 0;
    read(AREA_EM, 0, 1);
    set(AREA_DM_BIT, "100.5", "01", 1, 60);
    play(R"(
        > RDS DM100.U 1\r
        < 00000\r\n = 1
        > WRS DM100.U 1 00032\r
        < E4\r\n = 16
        callback notify 77 5 60 2
        callback error 5 1 empty
        > CR\r\n
        line Handshake(RW_Var)
        < CC\r\n = 1
        > RDS EM0.U 1\r
    )");
}

// On purpose: while the last request has failed, a write is not mirrored when its frame is built.
// SetRegisterData mirrors it instead, if it is called meanwhile.
TEST_F(Exchange, afterAFailureAPendingWriteIsNotShownBeforeItIsSent)
{
    link(1);
    link(2);
    settings.maxRetries = 0;
    set(AREA_DM, "1", "11 00", 1, 60, 1);
    set(AREA_DM, "2", "22 00", 1, 61, 2);
    play(R"(
        > WRS DM1.U 1 00017\r
        silence = 46
        callback notify 77 5 60 2
        callback error 5 1 empty
        > WRS DM2.U 1 00034\r
    )");
    EXPECT_EQ(image(1, 10, 2, 2), "11 00") << "the first was mirrored before it failed";
    EXPECT_EQ(image(2, 10), "absent");
    set(AREA_DM, "3", "33 00", 1, 62, 2);
    EXPECT_EQ(image(2, 10, 6, 2), "33 00");
    play(R"(
        < OK\r\n = 1
        callback notify 77 5 61 1
        > WRS DM3.U 1 00051\r
    )");
}

TEST_F(Exchange, aOneShotReadGivenUpIsReportedAndForgotten)
{
    link(1);
    settings.maxRetries = 0;
    settings.maxBlockLength = 1;
    readOnce(AREA_DM, "10", 3, 60);
    readOnce(AREA_DM, "20", 1, 61);
    play(R"(
        > RDS DM10.U 1\r
        silence = 46
        callback notify 77 5 60 2
        callback error 5 1 empty
        > CR\r\n
        line Handshake(RW_Var)
        < CC\r\n = 1
        > RDS DM20.U 1\r
        < 00020\r\n = 1
        callback notify 77 5 61 1
        idle
    )");
}

// --- several stations ---------------------------------------------------------------------------

TEST_F(Exchange, eachStationOpensItsOwnLinkAndKeepsItsOwnValues)
{
    read(AREA_DM, 0, 1, 1);
    read(AREA_DM, 0, 1, 2);
    play(R"(
        > CR\r\n
        line init handshake
        line Handshake(RW_Var)
        < CC\r\n = 1
        > RDS DM0.U 1\r
        < 00011\r\n = 1
        > CR\r\n
        line init handshake
        line Handshake(RW_Var)
        < CC\r\n = 1
        > RDS DM0.U 1\r
        < 00022\r\n = 1
        > RDS DM0.U 1\r
        < 00012\r\n = 1
    )");
    EXPECT_EQ(get(AREA_DM, "0", 1, 1), "0C 00");
    EXPECT_EQ(get(AREA_DM, "0", 1, 2), "16 00");
}

TEST_F(Exchange, oneStationGivenUpDoesNotDisturbTheOther)
{
    link(1);
    link(2);
    settings.maxRetries = 0;
    read(AREA_DM, 10, 1, 1);
    read(AREA_DM, 20, 1, 2);
    play(R"(
        > RDS DM10.U 1\r
        silence = 46
        callback error 5 1 empty
        > RDS DM20.U 1\r
        < 00020\r\n = 1
        > CR\r\n
        line Handshake(RW_Var)
        silence = 201
        > CR\r\n
        line Handshake(RW_Var)
    )");
}

TEST_F(Exchange, switchedOffStationsArePassedOverUntilTheyAreOnAgain)
{
    link(1);
    link(2);
    read(AREA_DM, 10, 1, 1);
    read(AREA_DM, 20, 1, 2);
    readOnce(AREA_EM, "20", 1, 60, 2);
    set(AREA_FM, "20", "01 00", 1, 61, 2);
    EnableEthernet(2, 0);
    play(R"(
        > RDS DM10.U 1\r
        < 00010\r\n = 1
        > RDS DM10.U 1\r
        < 00010\r\n = 1
    )");
    EnCommStation(-1, 0);
    play(R"(
        > WRS FM20.U 1 00001\r
        < OK\r\n = 1
        callback notify 77 5 61 1
        > RDS EM20.U 1\r
        < 00020\r\n = 1
        callback notify 77 5 60 1
        > RDS DM20.U 1\r
        < 00020\r\n = 1
        > RDS DM10.U 1\r
    )");
}

TEST_F(Exchange, whileEveryStationIsOffTheDriverIsIdle)
{
    link(1);
    read(AREA_DM, 10, 1);
    set(AREA_DM, "1", "01 00", 1, 60);
    EnableEthernet(1, 0);
    play(R"(
        idle
        idle
    )");
    EXPECT_EQ(settings.cycleDone, 1);
    EnableEthernet(1, 1);
    play("> WRS DM1.U 1 00001\\r");
}

// --- remote areas -------------------------------------------------------------------------------

TEST_F(Exchange, remoteRequestsGoOutWithoutAHandshake)
{
    settings.remoteMode = 1;
    RW_VAR var = variable(AREA_AT, 0, 2, 2);
    var.linkId = 9;
    AddListReadVar(&var);
    RW_VAR once = variable(AREA_DM, 300, 2, 2);
    once.linkId = 9;
    AddListOnceReadVar(&once, 1);
    RW_VAR toWrite = write(AREA_DM, 100, 1, "34 12", 0);
    toWrite.linkId = 9;
    AddListWriteVar(&toWrite, 1);
    play(R"(
        # nobody answers for station 0, so the host hands in a text of its own with length 0
        > hex 18 05 01 09 00 00 0A 00 00 00 64 00 01 00 00 00 00 00 00 00 00 34 12 DC -> 0
    )");
    QByteArray standIn("OK");
    DataCom(&standIn, 0);
    EXPECT_EQ(PLC_driver.currentVar.result, 100);
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 50 1"});
    play(R"(
        > hex 00 05 00 09 02 00 0A 00 00 01 2C 00 02 00 00 00 00 00 00 00 00 49 -> 13
        < 00001 00002\r\n = 100
        > hex 00 05 00 09 02 00 17 00 00 00 00 00 02 00 00 00 00 00 00 00 00 29 -> 23
        < 0000000001 0000000002\r\n = 100
        > hex 00 05 00 09 02 00 17 00 00 00 00 00 02 00 00 00 00 00 00 00 00 29 -> 23
        silence = 0
        > hex 00 05 00 09 02 00 17 00 00 00 00 00 02 00 00 00 00 00 00 00 00 29 -> 23
        < 0000000001\r\n = 0
        > hex 00 05 00 09 02 00 17 00 00 00 00 00 02 00 00 00 00 00 00 00 00 29 -> 23
        < E1\r\n = 176
        callback error 5 1 empty
        > hex 00 05 00 09 02 00 17 00 00 00 00 00 02 00 00 00 00 00 00 00 00 29 -> 23
    )");
    EXPECT_EQ(image(0, 10, 200, 2), "34 12") << "the write was mirrored";
    EXPECT_EQ(image(2, 10), "absent") << "replies of remote reads are not decoded";
    EXPECT_EQ(image(2, 23), "absent");
}

// --- the player itself: it must fail when it should ---------------------------------------------

class TranscriptPlayer : public Exchange
{
protected:
    // How many failures the script gives, with their texts run together.
    int failures(const char *script)
    {
        testing::TestPartResultArray results;
        {
            using Reporter = testing::ScopedFakeTestPartResultReporter;
            Reporter reporter(Reporter::INTERCEPT_ONLY_CURRENT_THREAD, &results);
            play(script);
        }
        for (int i = 0; i < results.size(); ++i)
            text += results.GetTestPartResult(i).message();
        return results.size();
    }

    bool says(const char *words) const { return text.find(words) != std::string::npos; }

    std::string text;
};

TEST_F(TranscriptPlayer, takesARightScript)
{
    link(1);
    read(AREA_DM, 0, 1);
    EXPECT_EQ(failures("> RDS DM0.U 1\\r -> 7\n< 00000\\r\\n = 1"), 0) << text;
}

TEST_F(TranscriptPlayer, findsAnotherFrame)
{
    link(1);
    read(AREA_DM, 0, 1);
    EXPECT_EQ(failures("> RDS DM1.U 1\\r"), 1);
    EXPECT_TRUE(says("RDS DM0.U 1")) << text;
}

TEST_F(TranscriptPlayer, findsAnotherReplyLength)
{
    link(1);
    read(AREA_DM, 0, 1);
    EXPECT_EQ(failures("> RDS DM0.U 1\\r -> 8"), 1);
    EXPECT_TRUE(says("length of the reply")) << text;
}

TEST_F(TranscriptPlayer, findsAFrameWhereNoneIsDue)
{
    link(1);
    read(AREA_DM, 0, 1);
    EXPECT_EQ(failures("idle"), 1);
    EXPECT_TRUE(says("RDS DM0.U 1\\r")) << text;
}

TEST_F(TranscriptPlayer, findsAMissingFrame)
{
    EXPECT_EQ(failures("> RDS DM0.U 1\\r"), 1);
    EXPECT_TRUE(says("nothing was sent")) << text;
}

TEST_F(TranscriptPlayer, findsAnotherResult)
{
    link(1);
    read(AREA_DM, 0, 1);
    EXPECT_EQ(failures("> RDS DM0.U 1\\r\n< 00000\\r\\n = 0"), 1);
    EXPECT_TRUE(says("result of DataCom")) << text;
}

TEST_F(TranscriptPlayer, findsAReplyToNothing)
{
    EXPECT_EQ(failures("< OK\\r\\n = 1"), 1);
    EXPECT_TRUE(says("no frame is in flight")) << text;
}

TEST_F(TranscriptPlayer, findsALineNobodyExpected)
{
    read(AREA_DM, 0, 1);
    EXPECT_EQ(failures("> CR\\r\\n\nline init handshake\n< CC\\r\\n = 1"), 1);
    EXPECT_TRUE(says("debug line that stands in no script, before this step: Handshake(RW_Var)")) << text;
}

TEST_F(TranscriptPlayer, findsAMissingLine)
{
    link(1);
    read(AREA_DM, 0, 1);
    EXPECT_EQ(failures("> RDS DM0.U 1\\r\nline init handshake"), 1);
    EXPECT_TRUE(says("expected \"init handshake\", but nothing came")) << text;
}

TEST_F(TranscriptPlayer, findsACallbackNobodyExpectedAtTheEnd)
{
    link(1);
    set(AREA_DM, "1", "01 00", 1, 60);
    EXPECT_EQ(failures("> WRS DM1.U 1 00001\\r\n< OK\\r\\n = 1"), 1);
    EXPECT_TRUE(says("callback that stands in no script, before the end of the script: notify 77 5 60 1"))
        << text;
}

TEST_F(TranscriptPlayer, findsAMissingCallback)
{
    EXPECT_EQ(failures("idle\ncallback notify 77 5 60 1"), 1);
    EXPECT_TRUE(says("but nothing came")) << text;
}

TEST_F(TranscriptPlayer, findsALineThatIsNoScript)
{
    EXPECT_EQ(failures("idle\nwait a while"), 1);
    EXPECT_EQ(failures("< OK\\r\\n"), 1) << "a reply without its result";
    EXPECT_TRUE(says("no line of a script")) << text;
}
} // namespace
