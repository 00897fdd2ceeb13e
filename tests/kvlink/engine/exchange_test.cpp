// SPDX-License-Identifier: MIT
// One frame out, one answer in: how an exchange ends, by rows, without a driver or a PLC.
#include "engine/exchange.h"
#include "support/fake_transport.h"

#include <gtest/gtest.h>

namespace kvlink
{
namespace
{

constexpr SteadyTime start{1h};
using End = Exchange::End;

class ExchangeTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        wire.opensAtOnce();
        wire.open();
    }

    FakeTransport wire;
    Exchange exchange{wire, 1s};
};

TEST_F(ExchangeTest, EndsByWhatComes)
{
    // clang-format off
    const struct { const char *frame; int length; const char *comes; End end; int plcError; } rows[] = {
        {"RDS DM0.U 1\r",       7,  "00005\r\n",                 End::Answered,  0},
        {"RDS DM0.U 1\r",       7,  "E0\r\n",                    End::PlcError,  0},
        {"RDS DM0.U 1\r",       7,  "E1\r\n",                    End::PlcError,  1},
        {"RDS DM0.U 1\r",       7,  "OK\r\n",                    End::Corrupted, 0},
        {"RDS DM0.U 1\r",       7,  "0000x\r\n",                 End::Corrupted, 0},
        {"RDS DM0.U 2\r",       13, "00005\r\n",                 End::Corrupted, 0}, // of one unit
        {"RDS DM0.U 1\r",       7,  "00005\r\n00005\r\n",        End::Answered,  0}, // a copy
        {"RDS DM0.U 1\r",       7,  "00005\r\n00006\r\n",        End::Corrupted, 0},
        {"WRS DM0.U 1 00005\r", 4,  "OK\r\n",                    End::Answered,  0},
        {"WRS DM0.U 1 00005\r", 4,  "E4\r\nOK\r\n",              End::Corrupted, 0},
        {"CR\r\n",              4,  "CC\r\n",                    End::Answered,  0},
        {"?K\r",                0,  "57\r\n",                    End::Answered,  0},
    };
    // clang-format on
    for (const auto &row : rows) {
        exchange.reset();
        exchange.begin(row.frame, row.length, start);
        EXPECT_EQ(wire.takeSent(), row.frame);
        EXPECT_FALSE(exchange.advance(start).has_value());
        wire.comes(row.comes);
        const auto ended = exchange.advance(start + 3ms);
        ASSERT_TRUE(ended.has_value()) << row.comes;
        EXPECT_EQ(ended->end, row.end) << row.comes;
        if (row.end == End::PlcError) {
            EXPECT_EQ(ended->plcError, row.plcError) << row.comes;
        }
        EXPECT_EQ(ended->took, Duration(3ms));
        EXPECT_FALSE(exchange.isOpen());
    }
}

TEST_F(ExchangeTest, IsGivenUpAfterTheTimeOut)
{
    exchange.begin("RDS DM0.U 1\r", 7, start);
    EXPECT_EQ(exchange.deadline(), start + 1s);
    wire.comes("00005");
    EXPECT_FALSE(exchange.advance(start + 999ms).has_value());
    const auto ended = exchange.advance(start + 1s);
    ASSERT_TRUE(ended.has_value());
    EXPECT_EQ(ended->end, End::NoAnswer);
}

TEST_F(ExchangeTest, OnASerialLineTheCharactersHaveTimeOfTheirOwn)
{
    wire.setSecondsPerByte(0.001);
    exchange.begin("RDS DM0.U 1\r", 7, start);
    EXPECT_EQ(exchange.deadline(), start + 1s + 19ms); // 12 there, 7 back
    for (const int anyLength : {0, -1}) {
        exchange.begin("?K\r", anyLength, start);
        EXPECT_EQ(exchange.deadline(), start + 1s + 3ms);
    }
}

TEST_F(ExchangeTest, AnAnswerIsOwedUntilItCameOrCanComeNoMore)
{
    const struct {
        const char *comes;
        SteadyTime owedUntil;
    } rows[] = {
        {"00005\r\n", {}},
        {"E0\r\n", {}},
        {"0000x\r\n", start + 1s}, // perhaps of another request
        {"0000", start + 1s},
    };
    for (const auto &row : rows) {
        exchange.reset();
        exchange.begin("RDS DM0.U 1\r", 7, start);
        wire.comes(row.comes);
        exchange.advance(start + 1s);
        EXPECT_EQ(exchange.owedUntil(), row.owedUntil) << row.comes;
    }
}

TEST_F(ExchangeTest, CopiesMayComeWithTheAnswerAndGoOnAfterIt)
{
    exchange.begin("RDS DM0.U 1\r", 7, start);
    wire.comes("00005\r\n00005\r\n000");
    EXPECT_EQ(exchange.advance(start)->end, End::Answered);
    EXPECT_EQ(exchange.strayBytes(), 10U);
    wire.comes("05\r\n");
    EXPECT_TRUE(exchange.drain());
    EXPECT_EQ(exchange.strayBytes(), 14U);
    wire.comes("05\r\n");
    EXPECT_FALSE(exchange.drain()) << "no copy begins so";
}

TEST_F(ExchangeTest, EndsWithTheReasonOfALostConnection)
{
    exchange.begin("RDS DM0.U 1\r", 7, start);
    wire.fails("connection reset");
    const auto ended = exchange.advance(start);
    ASSERT_TRUE(ended);
    EXPECT_EQ(ended->end, End::LinkLost);
    EXPECT_EQ(ended->problem, QStringLiteral("connection reset"));
    EXPECT_FALSE(ended->isAnswer());
    EXPECT_FALSE(exchange.isOpen());
}

TEST_F(ExchangeTest, AnAnswerThatCameBeforeTheConnectionBrokeCounts)
{
    exchange.begin("RDS DM0.U 1\r", 7, start);
    wire.comes("00005\r\n");
    wire.fails("connection reset");
    EXPECT_EQ(exchange.advance(start)->end, End::Answered);
    exchange.begin("RDS DM0.U 1\r", 7, start);
    EXPECT_EQ(exchange.advance(start)->end, End::LinkLost);
}

TEST_F(ExchangeTest, CountsWhatNobodyAskedFor)
{
    EXPECT_TRUE(exchange.drain());
    wire.comes("00005\r\n");
    EXPECT_FALSE(exchange.drain()); // there was no answer yet that it could be a copy of
    exchange.reset();
    exchange.begin("RDS DM0.U 1\r", 7, start);
    wire.comes("00005\r\n");
    exchange.advance(start);
    wire.comes("0000");
    EXPECT_TRUE(exchange.drain());
    wire.comes("5\r\n");
    EXPECT_TRUE(exchange.drain()); // a copy in two pieces
    wire.comes("00007\r\n");
    EXPECT_FALSE(exchange.drain());
    EXPECT_EQ(exchange.strayBytes(), 21U);
    EXPECT_EQ(exchange.bytesSent(), 12U);
    EXPECT_EQ(exchange.bytesReceived(), 28U);
}

TEST_F(ExchangeTest, ALateAnswerIsNoCopyOfAnEarlierOne)
{
    exchange.begin("RDS DM0.U 1\r", 7, start);
    wire.comes("00005\r\n");
    ASSERT_EQ(exchange.advance(start)->end, End::Answered);
    exchange.begin("RDS DM0.U 1\r", 7, start);
    ASSERT_EQ(exchange.advance(start + 1s)->end, End::NoAnswer);
    wire.comes("00005\r\n");
    EXPECT_FALSE(exchange.drain());
}

TEST_F(ExchangeTest, NothingIsACopyAfterAReset)
{
    exchange.begin("RDS DM0.U 1\r", 7, start);
    wire.comes("00005\r\n");
    ASSERT_EQ(exchange.advance(start)->end, End::Answered);
    exchange.reset();
    wire.comes("00005\r\n");
    EXPECT_FALSE(exchange.drain());
}

} // namespace
} // namespace kvlink
