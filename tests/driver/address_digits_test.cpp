// SPDX-License-Identifier: MIT
// The numbers in address texts convert as Qt converts them: a few digits alone take a shorter way
// than all other texts, and nobody may be able to tell which way was taken.
#include "driver_test.h"

#include <QStringList>

#include <limits>
#include <optional>

namespace
{
// A number as Qt has it.
std::optional<qint64> qtNumber(const QString &text, int base)
{
    bool ok = false;
    const int value = text.toInt(&ok, base);
    return ok ? std::optional<qint64>(value) : std::nullopt;
}

std::optional<qint64> wordAndBit(const QString &word, int base, const QString &bit)
{
    const auto wordNumber = qtNumber(word, base);
    const auto bitNumber = qtNumber(bit, 10);
    return wordNumber && bitNumber ? std::optional<qint64>(*wordNumber * 16 + *bitNumber) : std::nullopt;
}

std::optional<qint64> channelAndBit(const QString &typed)
{
    const QString text = "00" + typed;
    return wordAndBit(text.left(text.size() - 2), 10, text.right(2));
}

std::optional<qint64> channel(const QString &typed)
{
    return qtNumber(QString("00" + typed).chopped(2), 10);
}

std::optional<qint64> hexWord(const QString &typed)
{
    return qtNumber(QString("0" + typed).chopped(1), 16);
}

std::optional<qint64> hex(const QString &typed)
{
    return qtNumber(typed, 16);
}

std::optional<qint64> decimal(const QString &typed)
{
    return qtNumber(typed, 10);
}

std::optional<qint64> pointBit(const QString &typed)
{
    const QStringList parts = typed.split('.');
    return parts.size() == 2 ? wordAndBit(parts[0], 10, parts[1]) : std::nullopt;
}

std::optional<qint64> hexPointBit(const QString &typed)
{
    const QStringList parts = typed.split('.');
    return parts.size() == 2 ? wordAndBit(parts[0], 16, parts[1]) : std::nullopt;
}

struct FormRow {
    const char *name;
    int area;
    std::optional<qint64> (*address)(const QString &typed);

    friend std::ostream &operator<<(std::ostream &out, const FormRow &row) { return out << row.name; }
};

class AddressForm : public DriverTest, public testing::WithParamInterface<FormRow>
{
};

// Digits of both bases and the characters next to them, the prefix of hexadecimal numbers, a point,
// signs, spaces, and a digit that is none of ours: the Arabic 5.
const QString characters = QString::fromUtf8("05/:aFgx.-+ \xD9\xA5");

// All texts of up to four characters.
TEST_P(AddressForm, takesEveryNumberForWhatQtTakesIt)
{
    QStringList texts(QString(""));
    for (qsizetype i = 0; i < texts.size(); ++i) {
        const QString text = texts[int(i)];
        const qint64 address = GetParam().address(text).value_or(-1);
        ASSERT_EQ(PLCAddressChangeIntef(GetParam().area, text), address) << text.toStdString();
        ASSERT_EQ(takeLines().size(), address == -1 ? 1U : 0U) << text.toStdString();
        if (text.size() < 4)
            for (const QChar character : characters)
                texts += text + character;
    }
    EXPECT_EQ(texts.size(), 1 + 13 + 13 * 13 + 13 * 13 * 13 + 13 * 13 * 13 * 13);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Forms, AddressForm, testing::Values(
    FormRow{"channelAndBit", AREA_R,      channelAndBit},
    FormRow{"channel",       AREA_R_WORD, channel},
    FormRow{"hex",           AREA_W,      hex},
    FormRow{"hexWord",       AREA_B_WORD, hexWord},
    FormRow{"decimal",       AREA_DM,     decimal},
    FormRow{"pointBit",      AREA_DM_BIT, pointBit},
    FormRow{"hexPointBit",   AREA_W_BIT,  hexPointBit}),
    [](const auto &row) { return std::string(row.param.name); });
// clang-format on

struct LongRow {
    const char *name;
    int area;
    const char *typed;
    int address;

    friend std::ostream &operator<<(std::ostream &out, const LongRow &row) { return out << row.name; }
};

class LongAddress : public DriverTest, public testing::WithParamInterface<LongRow>
{
};

TEST_P(LongAddress, isTheNumber)
{
    EXPECT_EQ(PLCAddressChangeIntef(GetParam().area, GetParam().typed), GetParam().address);
}

// Texts about as long as the shorter way goes.
// clang-format off
INSTANTIATE_TEST_SUITE_P(Digits, LongAddress, testing::Values(
    LongRow{"sixDecimal",       AREA_DM,     "123456",   123456},
    LongRow{"sevenDecimal",     AREA_DM,     "9876543",  9876543},
    LongRow{"eightDecimal",     AREA_DM,     "98765432", 98765432},
    LongRow{"sixHex",           AREA_W,      "ABCDEF",   11259375},
    LongRow{"sevenHex",         AREA_W,      "fffffff",  268435455},
    LongRow{"eightHex",         AREA_W,      "10000000", 268435456},
    LongRow{"channelOfSix",     AREA_R,      "199915",   31999}, // 1999 * 16 + 15
    LongRow{"channelOfEleven",  AREA_R,      "13421772715", std::numeric_limits<int>::max()},
    LongRow{"wordOfSevenAndBit", AREA_DM_BIT, "9876543.7", 158024695},
    LongRow{"longerThanAnyAddress", AREA_DM, "0000000000000000000000000000000000000000012", 12}),
    [](const auto &row) { return std::string(row.param.name); });
// clang-format on
} // namespace
