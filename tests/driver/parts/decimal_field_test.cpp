// SPDX-License-Identifier: MIT
// The fast path of the reply decoder. What it declines goes the slow way and comes out right all
// the same, so that nothing but these rows tells a fast path that declines what it should convert.
#include "replies/decimal_field.h"

#include <gtest/gtest.h>

#include <ostream>

namespace
{
constexpr qint64 nothing = -1;

struct FieldRow {
    const char *name;
    const char *text;
    qint64 value;

    friend std::ostream &operator<<(std::ostream &out, const FieldRow &row) { return out << row.name; }
};

constexpr auto fieldName = [](const auto &row) { return std::string(row.param.name); };

// What the fast path makes of a field; nothing where it leaves it to the slow way.
template <int width>
qint64 converted(const char *text)
{
    constexpr auto positions = std::make_integer_sequence<int, width>();
    return digitsAlone(text, positions) ? valueOfDigits(text, positions) : nothing;
}

class FiveDigits : public testing::TestWithParam<FieldRow>
{
};

TEST_P(FiveDigits, areConvertedOrDeclined)
{
    EXPECT_EQ(converted<5>(GetParam().text), GetParam().value);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Words, FiveDigits, testing::Values(
    FieldRow{"zero",         "00000",  0},
    FieldRow{"one",          "00001",  1},
    FieldRow{"firstDigits",  "01234",  1234},
    FieldRow{"lastDigits",   "56789",  56789},
    FieldRow{"highestWord",  "65535",  65535},
    FieldRow{"nines",        "99999",  99999},
    FieldRow{"whatFollows",  "12345 6", 12345},
    FieldRow{"blank",        " 1234",  nothing},
    FieldRow{"plus",         "+1234",  nothing},
    FieldRow{"minus",        "-0001",  nothing},
    FieldRow{"slash",        "0000/",  nothing},
    FieldRow{"colon",        ":0000",  nothing},
    FieldRow{"letter",       "00a00",  nothing},
    FieldRow{"endOfText",    "1234",   nothing},
    FieldRow{"beyondAscii",  "\xB2""0000", nothing}), fieldName);
// clang-format on

class TenDigits : public testing::TestWithParam<FieldRow>
{
};

TEST_P(TenDigits, areConvertedOrDeclined)
{
    EXPECT_EQ(converted<10>(GetParam().text), GetParam().value);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(DoubleWords, TenDigits, testing::Values(
    FieldRow{"zero",        "0000000000", 0},
    FieldRow{"allDigits",   "9876543210", 9876543210},
    FieldRow{"highestInt",  "2147483647", 2147483647},
    FieldRow{"nines",       "9999999999", 9999999999},
    FieldRow{"minus",       "-000000001", nothing},
    FieldRow{"lateBlank",   "000000000 ", nothing}), fieldName);
// clang-format on

template <int width>
concept HasFields = requires(const char *text)
{
    decimalField<width>(text);
};

// 18 nines are below the highest of 64 bits, 19 are not.
TEST(WidthOfAField, isAtMostWhat64BitsHold)
{
    EXPECT_TRUE(HasFields<18>);
    EXPECT_FALSE(HasFields<19>);
    EXPECT_EQ(converted<18>("999999999999999999"), 999999999999999999);
}
} // namespace
