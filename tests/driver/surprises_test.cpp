// SPDX-License-Identifier: MIT
// What surprises the maker of a host, and is described in the public header at the call concerned.
#include "driver_test.h"

#include <chrono>
#include <future>
#include <thread>

namespace
{
// --- the record that DataCom returns -------------------------------------------------------------

class Record : public DriverTest
{
protected:
    Record()
    {
        link(1);
        PLC_driver.currentVar.addressText = QStringLiteral("ended before");
    }

    static std::string textOfRecord() { return PLC_driver.currentVar.addressText.toStdString(); }

    static RW_VAR withText(RW_VAR var, const char *text)
    {
        var.addressText = QString::fromLatin1(text);
        return var;
    }
};

TEST_F(Record, isOfTheEarlierRequestWhileARequestIsRepeated)
{
    PLC_driver.readList.append(withText(variable(AREA_DM, 0, 1), "in flight"));
    send();
    EXPECT_EQ(noAnswer(), kvFailed);
    EXPECT_EQ(textOfRecord(), "ended before");
    EXPECT_EQ(answer("00007\r\n"), kvGood);
    EXPECT_EQ(textOfRecord(), "in flight");
}

TEST_F(Record, isOfTheEarlierRequestAfterAHandshake)
{
    handshake.clear();
    PLC_driver.readList.append(withText(variable(AREA_DM, 0, 1), "waits for its link"));
    EXPECT_EQ(send(), "CR\r\n");
    EXPECT_EQ(answer("E1\r\n"), kvHandshakeRefused);
    EXPECT_EQ(textOfRecord(), "ended before");
    EXPECT_EQ(send(), "CR\r\n");
    EXPECT_EQ(answer("CC\r\n"), kvGood);
    EXPECT_EQ(textOfRecord(), "ended before");
    EXPECT_EQ(takeLines(), (Lines{"init handshake", "Handshake(RW_Var)", "Handshake(RW_Var)"}));
}

TEST_F(Record, isOfTheEarlierRequestAfterTheFirstFrameOfABitWrite)
{
    PLC_driver.writeList.append(withText(write(AREA_DM_BIT, 3, 1, "01"), "bit"));
    EXPECT_EQ(send(), "RDS DM0.U 1\r");
    EXPECT_EQ(answer("00000\r\n"), kvGood);
    EXPECT_EQ(textOfRecord(), "ended before");
    EXPECT_EQ(send(), "WRS DM0.U 1 00008\r");
    EXPECT_EQ(answer("OK\r\n"), kvGood);
    EXPECT_EQ(textOfRecord(), "bit");
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 50 1"});
}

TEST_F(Record, isOfTheFirstNewBlockWhenTheListWasRebuiltMeanwhile)
{
    PLC_driver.readList.append(withText(variable(AREA_DM, 0, 1), "in flight"));
    send();
    QList<HOSTVAR> screen{HOSTVAR{0, AREA_EM, 1, 0, 0, QStringLiteral("5"), QString(), 1},
                          HOSTVAR{0, AREA_FM, 1, 0, 0, QStringLiteral("6"), QString(), 1}};
    EXPECT_EQ(ReCreatReadVarList(&screen), 2);
    takeLines();
    EXPECT_EQ(answer("00007\r\n"), kvGood);
    EXPECT_EQ(textOfRecord(), "5");
    EXPECT_EQ(image(1, AREA_DM, 0, 2), "07 00");
    EXPECT_EQ(send(), "RDS FM6.U 1\r");
}

// --- a call that becomes two pieces -------------------------------------------------------------

class TwoPieces : public DriverTest
{
protected:
    static constexpr std::chrono::seconds longEnough{10};

    // Two relays. After a failure each piece is mirrored into the store before the next is queued,
    // so that whoever holds storeMutex stops the call between its pieces.
    static std::future<int> writeElsewhere()
    {
        return std::async(std::launch::async, [] {
            return SetRegisterData(QString(), AREA_R, QStringLiteral("0"), 1, QByteArray(2, '\1'), 2, 5, 50);
        });
    }

    static bool aPieceIsQueued()
    {
        const auto until = std::chrono::steady_clock::now() + longEnough;
        while (std::chrono::steady_clock::now() < until) {
            PLC_driver.listMutex.lock();
            const bool queued = !PLC_driver.writeList.isEmpty();
            PLC_driver.listMutex.unlock();
            if (queued)
                return true;
            std::this_thread::yield();
        }
        return false;
    }
};

TEST_F(TwoPieces, areReportedDoneTwiceWhenTheFirstEndsBeforeTheSecondIsQueued)
{
    link(1);
    PLC_driver.lastFailed = 1;
    PLC_driver.storeMutex.lock();
    std::future<int> call = writeElsewhere();
    ASSERT_TRUE(aPieceIsQueued());

    EXPECT_EQ(send(), "ST R000\r");
    EXPECT_EQ(answer("OK\r\n"), kvGood);
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 50 1"}) << "done, although half of the call is missing";

    PLC_driver.storeMutex.unlock();
    EXPECT_EQ(call.get(), 1);
    EXPECT_EQ(send(), "ST R001\r");
    EXPECT_EQ(answer("OK\r\n"), kvGood);
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 50 1"});
}
} // namespace
