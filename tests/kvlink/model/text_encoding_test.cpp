// SPDX-License-Identifier: MIT
// Encodings of texts, both ways; what an encoding lacks is refused and never replaced.
#include "model/text_encoding.h"

#include <gtest/gtest.h>

namespace kvlink
{
namespace
{

TEST(TextEncoding, hasNames)
{
    EXPECT_EQ(encodingName(TextEncoding::Utf8), QStringLiteral("UTF-8"));
    EXPECT_EQ(encodingName(TextEncoding::ShiftJis), QStringLiteral("Shift-JIS"));
    EXPECT_EQ(encodingName(TextEncoding::Latin1), QStringLiteral("Latin-1"));
}

TEST(TextEncoding, bringsBackEveryByteOfLatin1)
{
    QByteArray all;
    for (int byte = 1; byte < 256; ++byte)
        all += char(byte);
    const auto text = textFromBytes(all, TextEncoding::Latin1);
    ASSERT_TRUE(text);
    EXPECT_EQ(text->size(), 255);
    EXPECT_EQ(bytesFromText(*text, TextEncoding::Latin1), all);
}

TEST(TextEncoding, bringsBackAsciiInAll)
{
    QByteArray ascii;
    for (int byte = 1; byte < 128; ++byte)
        ascii += char(byte);
    for (const auto encoding : {TextEncoding::Utf8, TextEncoding::ShiftJis, TextEncoding::Latin1}) {
        const auto text = textFromBytes(ascii, encoding);
        ASSERT_TRUE(text);
        EXPECT_EQ(*text, QString::fromLatin1(ascii));
        EXPECT_EQ(bytesFromText(*text, encoding), ascii);
    }
}

TEST(TextEncoding, ofNothingIsNothing)
{
    for (const auto encoding : {TextEncoding::Utf8, TextEncoding::ShiftJis, TextEncoding::Latin1}) {
        EXPECT_EQ(textFromBytes({}, encoding), QString());
        EXPECT_EQ(bytesFromText({}, encoding), QByteArray());
    }
}

TEST(TextEncoding, refusesHalfAPairOfSurrogates)
{
    const QString half(QChar(0xD83D));
    EXPECT_FALSE(bytesFromText(half, TextEncoding::Utf8));
    EXPECT_FALSE(bytesFromText(half, TextEncoding::ShiftJis));
    EXPECT_FALSE(bytesFromText(half, TextEncoding::Latin1));
}

} // namespace
} // namespace kvlink
