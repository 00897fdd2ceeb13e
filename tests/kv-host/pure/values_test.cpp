// Bytes of the driver into shown values, and typed values into bytes.
#include "values.h"

#include <gtest/gtest.h>

namespace kvhost
{
namespace
{

Address place(const char *text)
{
    QString problem;
    return parseAddress(text, &problem).value();
}

struct Row {
    const char *row;
    const char *address;
    const char *hexBytes; // low byte first, as the driver gives and takes them
    const char *shown;    // joined by blanks
    WordOrder order = WordOrder::LowFirst;
};

class ValueText : public testing::TestWithParam<Row>
{
};

TEST_P(ValueText, isShownAndTyped)
{
    const Row &row = GetParam();
    const QByteArray bytes = QByteArray::fromHex(row.hexBytes);
    QStringList texts;
    for (const Value &value : decodeValues(place(row.address), bytes, row.order))
        texts << shown(value);
    EXPECT_EQ(texts.join(' ').toStdString(), row.shown);

    QString problem;
    const auto back = encodeValues(place(row.address), texts, row.order, &problem);
    ASSERT_TRUE(back) << problem.toStdString();
    EXPECT_EQ(back->toHex().toStdString(), bytes.toHex().toStdString());
}

// clang-format off
const Row rows[] = {
    {"word",          "DM0",        "3930",         "12345"},
    {"wordTop",       "DM0.U",      "FFFF",         "65535"},
    {"signedMinus",   "DM0.S",      "FFFF",         "-1"},
    {"signedLowest",  "DM0.S",      "0080",         "-32768"},
    {"hex",           "DM0.H",      "2B1A",         "1A2B"},
    {"hexPadded",     "DM0.H",      "0F00",         "000F"},
    {"words",         "DM0:3",      "010002000300", "1 2 3"},
    {"doubleLowFirst","DM0.D",      "4E61BC00",     "12345678"},
    {"doubleHighFirst","DM0.D",     "BC004E61",     "12345678", WordOrder::HighFirst},
    {"doubleTop",     "DM0.D",      "FFFFFFFF",     "4294967295"},
    {"longMinus",     "DM0.L",      "FFFFFFFF",     "-1"},
    {"longLowest",    "DM0.L",      "00000080",     "-2147483648"},
    {"floatOneHalf",  "DM0.F",      "0000C03F",     "1.5"},
    {"floatSwapped",  "DM0.F",      "C03F0000",     "1.5", WordOrder::HighFirst},
    {"text",          "DM0.STR:5",  "65486C6C006F", "Hello"},
    {"bits",          "R0:4",       "01000001",     "1 0 0 1"},
    {"bitOfWord",     "DM0.5",      "01",           "1"},
    {"dword",         "TC0",        "D2040000",     "1234"},
    {"dwordHex",      "Z1.H",       "EFBEADDE",     "DEADBEEF"},
    {"dwordLong",     "CC0.L",      "FEFFFFFF",     "-2"},
    // A double word of the driver is one element: the word order does not concern it.
    {"dwordOrder",    "TC0",        "D2040000",     "1234", WordOrder::HighFirst},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(Rows, ValueText, testing::ValuesIn(rows),
                         [](const auto &row) { return std::string(row.param.row); });

TEST(Values, missingBytesCountAsZero)
{
    EXPECT_EQ(
        shown(decodeValues(place("DM0.D"), QByteArray("\x01", 1), WordOrder::LowFirst)[0]).toStdString(),
        "1");
}

TEST(Values, textEndsAtAZero)
{
    EXPECT_EQ(
        shown(decodeValues(place("DM0.STR:4"), QByteArray::fromHex("004100 42"), WordOrder::LowFirst)[0])
            .toStdString(),
        "A");
}

struct TypedRow {
    const char *row;
    const char *address;
    const char *typed;
    const char *hexBytes; // null: refused
};

class TypedValue : public testing::TestWithParam<TypedRow>
{
};

TEST_P(TypedValue, becomesBytes)
{
    const TypedRow &row = GetParam();
    QString problem;
    const auto bytes = encodeValues(place(row.address), QString::fromLatin1(row.typed).split('|'),
                                    WordOrder::LowFirst, &problem);
    ASSERT_EQ(bytes.has_value(), row.hexBytes != nullptr) << problem.toStdString();
    if (bytes)
        EXPECT_EQ(bytes->toHex().toStdString(), row.hexBytes);
    else
        EXPECT_FALSE(problem.isEmpty());
}

// clang-format off
const TypedRow typedRows[] = {
    {"on",             "R0",        "on",     "01"},
    {"offCapital",     "R0",        "OFF",    "00"},
    {"trueWord",       "DM0.3",     "true",   "01"},
    {"bitTwo",         "R0",        "2",      nullptr},
    {"prefixedHex",    "DM0",       "0x1A2B", "2b1a"},
    {"hexDigits",      "DM0.H",     "ff",     "ff00"},
    {"tooLarge",       "DM0",       "65536",  nullptr},
    {"minusUnsigned",  "DM0",       "-1",     nullptr},
    {"minusSigned",    "DM0.S",     "-32769", nullptr},
    {"noNumber",       "DM0",       "12a",    nullptr},
    {"empty",          "DM0",       "",       nullptr},
    {"fraction",       "DM0",       "1.5",    nullptr},
    {"floatInfinite",  "DM0.F",     "inf",    nullptr},
    {"floatExponent",  "DM0.F",     "1e1",    "00002041"},
    {"textTooLong",    "DM0.STR:3", "abcd",   nullptr},
    {"textPadded",     "DM0.STR:4", "ab",     "62610000"},
    {"twoForOne",      "DM0",       "1|2",    nullptr},
    {"oneForTwo",      "DM0:2",     "1",      nullptr},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(Rows, TypedValue, testing::ValuesIn(typedRows),
                         [](const auto &row) { return std::string(row.param.row); });

} // namespace
} // namespace kvhost
