// Where an answer ends, and whether it looks like the answer to its request.
#include "answer_check.h"
#include "answer_splitter.h"

#include <gtest/gtest.h>

namespace kvhost
{
namespace
{

struct SplitRow {
    const char *row;
    int length;
    const char *bytes;
    bool complete;
    const char *answer;
    const char *surplus;
};

class AnswerEnd : public testing::TestWithParam<SplitRow>
{
};

TEST_P(AnswerEnd, isTheSameHoweverTheBytesAreCut)
{
    const SplitRow &row = GetParam();
    const QByteArray bytes(row.bytes);
    for (int first = 0; first <= bytes.size(); ++first) {
        for (int second = first; second <= bytes.size(); ++second) {
            AnswerSplitter splitter(row.length);
            splitter.feed(bytes.left(first));
            splitter.feed(bytes.mid(first, second - first));
            splitter.feed(bytes.mid(second));
            EXPECT_EQ(splitter.complete(), row.complete) << first << " " << second;
            EXPECT_EQ(splitter.answer().toStdString(), row.answer) << first << " " << second;
            EXPECT_EQ(splitter.surplus().toStdString(), row.surplus) << first << " " << second;
        }
    }
}

const SplitRow splitRows[] = {
    {"nothing", 7, "", false, "", ""},
    {"part", 7, "0001", false, "0001", ""},
    {"whole", 7, "00011\r\n", true, "00011\r\n", ""},
    {"errorBeforeItsLength", 7, "E1\r\n", true, "E1\r\n", ""},
    {"lengthBeforeTheLineEnd", 4, "00011\r\n", true, "0001", "1\r\n"},
    {"doubled", 4, "OK\r\nOK\r\n", true, "OK\r\n", "OK\r\n"},
    {"followedByAPart", 4, "CC\r\n0", true, "CC\r\n", "0"},
    {"anyLengthByLineEnd", -1, "57\r\n", true, "57\r\n", ""},
    {"lineFeedAlone", 7, "00\n11", false, "00\n11", ""},
};

INSTANTIATE_TEST_SUITE_P(Rows, AnswerEnd, testing::ValuesIn(splitRows),
                         [](const auto &row) { return std::string(row.param.row); });

TEST(AnswerEnd, withoutLengthAndLineEndStopsSomewhere)
{
    AnswerSplitter splitter(-1);
    splitter.feed(QByteArray(64 * 1024, 'x'));
    EXPECT_TRUE(splitter.complete());
}

struct CheckRow {
    const char *row;
    const char *frame;
    int replyLength;
    const char *answer;
    AnswerKind kind;
    const char *code = "";
    std::vector<int> tooLarge = {};
};

class AnswerCheck : public testing::TestWithParam<CheckRow>
{
};

TEST_P(AnswerCheck, tellsItsKind)
{
    const CheckRow &row = GetParam();
    const AnswerVerdict verdict = checkAnswer(row.frame, row.replyLength, row.answer);
    EXPECT_EQ(verdict.kind, row.kind);
    EXPECT_EQ(verdict.errorCode.toStdString(), row.code);
    EXPECT_EQ(std::vector<int>(verdict.tooLarge.begin(), verdict.tooLarge.end()), row.tooLarge);
}

// clang-format off
const CheckRow checkRows[] = {
    {"words",          "RDS DM100.U 3\r", 19, "00001 00002 65535\r\n", AnswerKind::Good},
    {"readError",      "RDS DM100.U 3\r", 19, "E0\r\n",                AnswerKind::Error, "E0"},
    {"errorLowerCase", "RDS DM100.U 3\r", 19, "e1\r\n",                AnswerKind::Error, "E1"},
    {"garbledDigit",   "RDS DM100.U 3\r", 19, "00001 0?002 65535\r\n", AnswerKind::Malformed},
    {"garbledBlank",   "RDS DM100.U 3\r", 19, "00001?00002 65535\r\n", AnswerKind::Malformed},
    {"commaForBlank",  "RDS DM100.U 3\r", 19, "00001,00002 65535\r\n", AnswerKind::Malformed},
    {"tooShort",       "RDS DM100.U 3\r", 19, "00001 00002\r\n",       AnswerKind::Malformed},
    {"noLineEnd",      "RDS DM100.U 3\r", 19, "00001 00002 6553512",   AnswerKind::Malformed},
    {"ackToARead",     "RDS DM100.U 1\r",  7, "OK\r\n",                AnswerKind::Malformed},
    {"okLengthOfRead", "RDS DM100.U 1\r",  7, "OK000\r\n",             AnswerKind::Malformed},
    {"minusSign",      "RDS DM100.U 1\r",  7, "-0001\r\n",             AnswerKind::Malformed},
    {"index",          "RDS Z1.D 2\r",    23, "0000000001 2147483647\r\n", AnswerKind::Good},
    {"indexTooLarge",  "RDS Z1.D 2\r",    23, "0000000001 2147483648\r\n", AnswerKind::Good, "", {1}},
    {"trimmer",        "RDS AT0.D 1\r",   12, "3000000000\r\n",        AnswerKind::Good, "", {0}},
    {"timerCommas",    "RDS T0.D 1\r",    25, "1,0000000050,0000000100\r\n", AnswerKind::Good},
    {"timerBlanks",    "RDS T0.D 1\r",    25, "1 0000000050 0000000100\r\n", AnswerKind::Good},
    {"timerTooLarge",  "RDS T0.D 1\r",    25, "0,0000000050,4294967295\r\n", AnswerKind::Good, "", {0}},
    {"timerCut",       "RDS T0.D 1\r",    25, "1,0000000050,000000010x\r\n", AnswerKind::Malformed},
    {"counterCth",     "RDS CTH0.D 1\r",  25, "0,0000000000,0000000000\r\n", AnswerKind::Good},
    {"written",        "WRS DM0.U 1 00005\r", 4, "OK\r\n",             AnswerKind::Good},
    {"writeRefused",   "WRS DM0.U 1 00005\r", 4, "E4\r\n",             AnswerKind::Error, "E4"},
    // The driver would take any four bytes for an acknowledgement.
    {"writeGotCC",     "ST R5\r",          4, "CC\r\n",                AnswerKind::Malformed},
    {"writeGarbled",   "ST R5\r",          4, "O?\r\n",                AnswerKind::Malformed},
    {"opened",         "CR\r\n",           4, "CC\r\n",                AnswerKind::Good},
    {"openedWithOK",   "CR\r\n",           4, "OK\r\n",                AnswerKind::Malformed},
    {"openingRefused", "CR\r\n",           4, "E1\r\n",                AnswerKind::Error, "E1"},
    {"empty",          "RDS DM0.U 1\r",    7, "",                      AnswerKind::Malformed},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(Rows, AnswerCheck, testing::ValuesIn(checkRows),
                         [](const auto &row) { return std::string(row.param.row); });

TEST(AnswerLook, knowsWhatSomeRequestWouldBeAnswered)
{
    EXPECT_TRUE(looksLikeAnAnswer("00001 00002\r\n"));
    EXPECT_TRUE(looksLikeAnAnswer("0000000001\r\n"));
    EXPECT_TRUE(looksLikeAnAnswer("1,0000000050,0000000100\r\n"));
    EXPECT_TRUE(looksLikeAnAnswer("OK\r\n"));
    EXPECT_FALSE(looksLikeAnAnswer("0001\r\n"));
    EXPECT_FALSE(looksLikeAnAnswer("\r\n"));
    EXPECT_FALSE(looksLikeAnAnswer("00001"));
    EXPECT_FALSE(looksLikeAnAnswer(""));
}

} // namespace
} // namespace kvhost
