// SPDX-License-Identifier: MIT
// Where an answer ends, and whether it has the shape that its request calls for.
#include "engine/answer_check.h"
#include "engine/answer_splitter.h"

#include <gtest/gtest.h>

namespace kvlink
{
namespace
{

using Shape = AnswerShape;
using Kind = AnswerKind;

TEST(AnswerShape, FollowsFromTheFrame)
{
    const struct {
        const char *frame;
        Shape shape;
    } rows[] = {
        {"CR\r\n", Shape::Greeting},
        {"?K\r", Shape::Line},
        {"WRS DM0.U 1 00005\r", Shape::Acknowledgement},
        {"ST R500\r", Shape::Acknowledgement},
        {"RDS DM0.U 3\r", Shape::Words},
        {"RDS ZF0.U 3\r", Shape::Words},
        {"RDS Z1.D 2\r", Shape::DoubleWords},
        {"RDS AT0.D 2\r", Shape::DoubleWords},
        {"RDS T0.D 2\r", Shape::Triples},
        {"RDS CTH0.D 1\r", Shape::Triples},
        {"RDS CR0.U 1\r", Shape::Words},
        {"RS CR5\r", Shape::Acknowledgement},
    };
    for (const auto &row : rows)
        EXPECT_EQ(shapeFor(row.frame), row.shape) << row.frame;
}

TEST(AnswerCheck, TakesOnlyWhatFits)
{
    // clang-format off
    const struct { Shape shape; int length; const char *answer; Kind kind; int plcError; } rows[] = {
        {Shape::Greeting,        4,  "CC\r\n",                             Kind::Good, 0},
        {Shape::Greeting,        4,  "OK\r\n",                             Kind::Malformed, 0},
        {Shape::Greeting,        4,  "E1\r\n",                             Kind::Error, 1},
        {Shape::Acknowledgement, 4,  "OK\r\n",                             Kind::Good, 0},
        {Shape::Acknowledgement, 4,  "CC\r\n",                             Kind::Malformed, 0},
        {Shape::Acknowledgement, 4,  "E0\r\n",                             Kind::Error, 0},
        {Shape::Acknowledgement, 4,  "E6\r\n",                             Kind::Error, 6},
        {Shape::Acknowledgement, 4,  "EX\r\n",                             Kind::Malformed, 0},
        {Shape::Acknowledgement, 4,  "e0\r\n",                             Kind::Malformed, 0},
        {Shape::Words,           7,  "00000\r\n",                          Kind::Good, 0},
        {Shape::Words,           13, "00001 65535\r\n",                    Kind::Good, 0},
        {Shape::Words,           13, "00001 65535 \r",                     Kind::Malformed, 0},
        {Shape::Words,           13, "00001,65535\r\n",                    Kind::Malformed, 0},
        {Shape::Words,           13, "00001 6553a\r\n",                    Kind::Malformed, 0},
        {Shape::Words,           7,  "0000/\r\n",                          Kind::Malformed, 0}, // next to 0
        {Shape::Words,           7,  "0000:\r\n",                          Kind::Malformed, 0}, // next to 9
        {Shape::Words,           13, "00001\r\n",                          Kind::Malformed, 0},
        {Shape::Words,           13, "00001 65535 00001\r\n",              Kind::Malformed, 0},
        {Shape::Words,           13, "+0001 -0005\r\n",                    Kind::Malformed, 0},
        {Shape::Words,           12, "0000000000\r\n",                     Kind::Malformed, 0},
        {Shape::DoubleWords,     12, "4294967295\r\n",                     Kind::Good, 0},
        {Shape::DoubleWords,     23, "4294967295 0000000000\r\n",          Kind::Good, 0},
        {Shape::DoubleWords,     12, "00000 0000\r\n",                     Kind::Malformed, 0},
        {Shape::Triples,         25, "1,0000000005,0000000100\r\n",        Kind::Good, 0},
        {Shape::Triples,         25, "1 0000000005 0000000100\r\n",        Kind::Good, 0},
        {Shape::Triples,         25, "1,000000005,00000000100\r\n",        Kind::Malformed, 0},
        {Shape::Triples,         25, "E0\r\n",                             Kind::Error, 0},
        {Shape::Line,            1,  "57\r\n",                             Kind::Malformed, 0},
        {Shape::Line,            -1, "57\r\n",                             Kind::Good, 0},
        {Shape::Line,            0,  "57\r\n",                             Kind::Good, 0},
        {Shape::Line,            0,  "\r\n",                               Kind::Malformed, 0},
        {Shape::Line,            0,  "E1\r\n",                             Kind::Error, 1},
        {Shape::Words,           7,  "",                                   Kind::Malformed, 0},
    };
    // clang-format on
    for (const auto &row : rows) {
        const AnswerVerdict verdict = checkAnswer(row.shape, row.length, row.answer);
        EXPECT_EQ(verdict.kind, row.kind) << row.answer;
        EXPECT_EQ(verdict.plcError, row.plcError) << row.answer;
    }
}

TEST(AnswerSplitter, EndsAtTheLengthOrTheLineEndHoweverTheBytesAreCut)
{
    const struct {
        int length;
        const char *bytes;
        const char *answer;
        const char *surplus;
        bool complete;
    } rows[] = {
        {7, "00005\r\n", "00005\r\n", "", true},
        {13, "E1\r\n", "E1\r\n", "", true},
        {7, "00005\r\nOK\r\n", "00005\r\n", "OK\r\n", true},
        {4, "00005\r\n", "0000", "5\r\n", true},
        {13, "00005 0000", "00005 0000", "", false},
        {0, "57\r\n", "57\r\n", "", true},
        {-1, "57\r\n", "57\r\n", "", true},
        {1, "57\r\n", "5", "7\r\n", true},
        {9, "\n\r\n1", "\n\r\n", "1", true},
        {9, "5\n0\r\n1", "5\n0\r\n", "1", true},
        {7, "", "", "", false},
    };
    for (const auto &row : rows) {
        const QByteArray bytes(row.bytes);
        for (int cut = 0; cut <= bytes.size(); ++cut) {
            AnswerSplitter splitter(row.length);
            splitter.feed(bytes.left(cut));
            splitter.feed(bytes.mid(cut));
            EXPECT_EQ(splitter.complete(), row.complete) << row.bytes << " cut at " << cut;
            EXPECT_EQ(splitter.answer(), row.answer) << row.bytes << " cut at " << cut;
            EXPECT_EQ(splitter.surplus(), row.surplus) << row.bytes << " cut at " << cut;
        }
    }
}

TEST(AnswerSplitter, AnEndlessAnswerEnds)
{
    AnswerSplitter splitter(0);
    splitter.feed(QByteArray(70000, 'x'));
    EXPECT_TRUE(splitter.complete());
    EXPECT_EQ(splitter.answer().size(), 65536);
}

TEST(Copies, AreWholeAnswersOrTheBeginningOfOne)
{
    const struct {
        const char *surplus;
        bool copies;
    } rows[] = {
        {"", true},  {"OK\r\n", true},  {"OK\r\nOK\r\n", true}, {"OK", true},
        {"O", true}, {"KO\r\n", false}, {"E0\r\n", false},      {"OK\r\nE0\r\n", false},
    };
    for (const auto &row : rows)
        EXPECT_EQ(isCopies(row.surplus, "OK\r\n"), row.copies) << row.surplus;
    EXPECT_FALSE(isCopies("x", ""));
}

quint32 numberAt(const QByteArray &image, int i)
{
    quint32 number = 0;
    for (int byte = 3; byte >= 0; --byte)
        number = number << 8 | quint8(image[i * 4 + byte]);
    return number;
}

TEST(LargeNumbers, ComeOutOfTheAnswerWhereTheDriverHoldsZero)
{
    UnitBlock z{16, 1, 3, QByteArray(12, '\0'), {}, {}, {}};
    takeLargeNumbers(z, Shape::DoubleWords, "2147483647 2147483648 4294967295\r\n");
    EXPECT_EQ(numberAt(z.whole, 0), 0U); // small enough for the driver: left alone
    EXPECT_EQ(numberAt(z.whole, 1), 2147483648U);
    EXPECT_EQ(numberAt(z.whole, 2), 4294967295U);

    UnitBlock timers{6, 0, 2, {}, QByteArray(2, '\0'), QByteArray(8, '\0'), QByteArray(8, '\0')};
    takeLargeNumbers(timers, Shape::Triples, "1,3000000000,0000000005 0,0000000007,4000000000\r\n");
    EXPECT_EQ(numberAt(timers.current, 0), 3000000000U);
    EXPECT_EQ(numberAt(timers.set, 0), 0U);
    EXPECT_EQ(numberAt(timers.current, 1), 0U);
    EXPECT_EQ(numberAt(timers.set, 1), 4000000000U);

    UnitBlock counter{21, 0, 1, {}, QByteArray(1, '\0'), QByteArray(4, '\0'), {}}; // has no set value
    takeLargeNumbers(counter, Shape::Triples, "1,3000000000,4000000000\r\n");
    EXPECT_EQ(numberAt(counter.current, 0), 3000000000U);
    EXPECT_TRUE(counter.set.isEmpty());

    UnitBlock comparator{22, 0, 1, {}, QByteArray(1, '\0'), {}, QByteArray(4, '\0')}; // has no current value
    takeLargeNumbers(comparator, Shape::Triples, "1,3000000000,4000000000\r\n");
    EXPECT_TRUE(comparator.current.isEmpty());
    EXPECT_EQ(numberAt(comparator.set, 0), 4000000000U);
}

TEST(LargeNumbers, LeaveAnImageAloneThatIsTooSmallForThem)
{
    UnitBlock z{16, 1, 2, QByteArray(7, 'x'), {}, {}, {}}; // one number and three quarters
    takeLargeNumbers(z, Shape::DoubleWords, "4294967295 4294967295\r\n");
    EXPECT_EQ(z.whole, QByteArray("\xFF\xFF\xFF\xFFxxx"));
    UnitBlock three{16, 1, 1, QByteArray(3, 'x'), {}, {}, {}};
    takeLargeNumbers(three, Shape::DoubleWords, "4294967295\r\n");
    EXPECT_EQ(three.whole, QByteArray("xxx"));
}

} // namespace
} // namespace kvlink
