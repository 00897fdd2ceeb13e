// SPDX-License-Identifier: MIT
// Tag files: every way that people's tables come out, and every bad line named with its number.
#include "tags/tag_file.h"

#include <gtest/gtest.h>

#include <iostream>
#include <random>

namespace kvtags
{
namespace
{

std::string shownTag(const Variable &tag)
{
    const kvlink::TagSettings &settings = tag.settings;
    QString text = settings.name + "=" + tag.place();
    if (tag.isScaled())
        text += QStringLiteral(" *%1+%2").arg(settings.scale).arg(settings.offset);
    if (!settings.unit.isEmpty())
        text += " " + settings.unit;
    if (settings.access == kvlink::Access::ReadOnly)
        text += " r";
    if (settings.deadband > 0.0)
        text += QStringLiteral(" db%1").arg(settings.deadband);
    if (settings.command)
        text += " command";
    if (!tag.comment.isEmpty())
        text += " #" + tag.comment;
    return text.toStdString();
}

std::string shownFile(const TagFile &file)
{
    std::string text;
    for (const Variable &tag : file.tags)
        text += shownTag(tag) + "\n";
    return text;
}

struct GoodRow {
    const char *row;
    QByteArray file;
    const char *tags;
    FileEncoding encoding = FileEncoding::Utf8;
};

class GoodTagFile : public testing::TestWithParam<GoodRow>
{
};

TEST_P(GoodTagFile, isTaken)
{
    const TagFile file = parseTags(GetParam().file, GetParam().encoding);
    for (const TagFault &fault : file.faults)
        ADD_FAILURE() << fault.line << ": " << fault.why.toStdString();
    EXPECT_EQ(shownFile(file), GetParam().tags);
}

QByteArray utf16(const char *mark, const char *text, bool isLittleEndian)
{
    QByteArray bytes = mark;
    for (const char *c = text; *c != '\0'; ++c) {
        bytes += isLittleEndian ? *c : '\0';
        bytes += isLittleEndian ? '\0' : *c;
    }
    return bytes;
}

const GoodRow goodRows[] = {
    {"empty", "", ""},
    {"onlyAHeader", "name,address\n", ""},
    {"twoColumns", "level,DM100\nrun,R1015\n", "level=DM100\nrun=R1015\n"},
    {"withoutLastLineEnd", "level,DM100", "level=DM100\n"},
    {"crlf", "name,address\r\nlevel,DM100\r\n", "level=DM100\n"},
    {"mark", "\xEF\xBB\xBFname,address\nlevel,DM100\n", "level=DM100\n"},
    {"semicolons", "name;address\nlevel;DM100\n", "level=DM100\n"},
    {"tabs", "name\taddress\tunit\nlevel\tDM100\tmm\n", "level=DM100 mm\n"},
    {"namedSeparator", "sep=;\r\nname;address\r\nlevel, old;DM100\r\n", "level, old=DM100\n"},
    {"commasInQuotesSeparateNothing", "\"a,b,c\";DM100\n", "a,b,c=DM100\n"},
    {"decimalComma", "name;address;scale\nlevel;DM100;0,1\n", "level=DM100 *0.1+0\n"},
    {"otherOrder", "comment,address,name\nthe level,DM100,level\n", "level=DM100 #the level\n"},
    {"capitalHeader", "NAME,Address\nlevel,DM100\n", "level=DM100\n"},
    {"emptyColumnsOfASpreadsheet", "name,address,,\nlevel,DM100,,\n", "level=DM100\n"},
    {"allColumns", "t,DM5,S,3,0.1,-40,C,r,0.5,oven,no\n", "t=3/DM5.S *0.1+-40 C r db0.5 #oven\n"},
    {"commandRelay", "name,address,command\nstart,R500,yes\n", "start=R500 command\n"},
    {"remarksAndEmptyLines", "# tags, \"mine\n\nlevel,DM100\n,,\n", "level=DM100\n"},
    {"quotes", "\"a, b\",DM100,,,,,,rw,,\"say \"\"hi\"\"\"\n", "a, b=DM100 #say \"hi\"\n"},
    {"quotedLineEnd", "a,DM1,,,,,,rw,,\"two\nlines\"\nb,DM2\n", "a=DM1 #two\nlines\nb=DM2\n"},
    {"spacesAround", "  level , DM100 \n", "level=DM100\n"},
    {"typeWords", "a,DM0,float\nb,DM2,int16\nc,DM4,uint32\nd,DM6,dint\n",
     "a=DM0.F\nb=DM2.S\nc=DM4.D\nd=DM6.L\n"},
    {"typeText", "a,DM0,STR:8\n", "a=DM0.STR:8\n"},
    {"typeWithCount", "a,DM0:3,F\n", "a=DM0.F:3\n"},
    {"typeBit", "a,R5,bit\n", "a=R5\n"},
    {"utf8", "pompe \xC3\xA9t\xC3\xA9,DM1\n", "pompe \xC3\xA9t\xC3\xA9=DM1\n"},
    {"utf16LittleEndian", utf16("\xFF\xFE", "name,address\r\nlevel,DM1\r\n", true), "level=DM1\n"},
    {"utf16BigEndian", utf16("\xFE\xFF", "level,DM1\n", false), "level=DM1\n"},
    {"utf16WithoutMark", utf16("", "level,DM1\n", true), "level=DM1\n", FileEncoding::Utf16},
    {"windows1252",
     "\x80 pro St\xFC"
     "ck,DM1\n",
     "\xE2\x82\xAC pro St\xC3\xBC"
     "ck=DM1\n",
     FileEncoding::Windows1252},
    {"shiftJis", "\x83\x8C\x83x\x83\x8B,DM1\n", "\xE3\x83\xAC\xE3\x83\x99\xE3\x83\xAB=DM1\n",
     FileEncoding::ShiftJis},
    // Whoever fills an rw column has said for each tag whether it may be written.
    {"emptyAccessIsReadOnly", "name,address,rw\na,DM1,\nb,DM2,rw\nc,DM3,r\n", "a=DM1 r\nb=DM2\nc=DM3 r\n"},
    {"noAccessColumnIsWritable", "name,address\na,DM1\n", "a=DM1\n"},
    {"aContactIsReadOnly", "name,address\na,T5\nb,CTH0.C\nc,TC5\n", "a=T5 r\nb=CTH0.C r\nc=TC5\n"},
};

INSTANTIATE_TEST_SUITE_P(Rows, GoodTagFile, testing::ValuesIn(goodRows),
                         [](const auto &row) { return std::string(row.param.row); });

struct BadRow {
    const char *row;
    QByteArray file;
    int line;
    const char *hint;
};

class BadTagLine : public testing::TestWithParam<BadRow>
{
};

TEST_P(BadTagLine, isNamedWithItsNumber)
{
    const TagFile file = parseTags(GetParam().file);
    ASSERT_EQ(file.faults.size(), 1);
    EXPECT_EQ(file.faults[0].line, GetParam().line);
    EXPECT_TRUE(file.faults[0].why.contains(GetParam().hint)) << file.faults[0].why.toStdString();
}

const BadRow badRows[] = {
    {"badAddress", "a,DM1\nb,R1016\nc,DM2\n", 2, "after R1015 comes R1100"},
    {"outOfRange", "a,DM1\nb,DM65535\n", 2, "DM0 to DM65534"},
    {"noAddress", "name,address\na\n", 2, "address of 'a' is missing"},
    {"noName", ",DM1\n", 1, "name is missing"},
    {"twice", "a,DM1\na,DM2\n", 2, "used twice"},
    {"scaleText", "a,DM1,,,x\n", 1, "scale 'x' is not a number"},
    {"scaleZero", "a,DM1,,,0\n", 1, "scale 0"},
    {"scaleInfinite", "a,DM1,,,inf\n", 1, "is not a number"},
    {"access", "a,DM1,,,,,,maybe\n", 1, "r or rw"},
    {"command", "a,DM1,,,,,,,,,perhaps\n", 1, "yes or no"},
    {"deadbandNegative", "a,DM1,,,,,,,-1\n", 1, "negative"},
    {"unknownType", "a,DM1,quad\n", 1, "type 'quad'"},
    {"typeAndFormat", "a,DM1.S,F\n", 1, "take one of them"},
    {"stationTwice", "a,2/DM1,,3\n", 1, "station"},
    {"stationText", "a,DM1,,x\n", 1, "station"},
    {"openQuote", "a,DM1\nb,\"DM2\n", 2, "never closed"},
    {"afterQuote", "\"a\"b,DM1\n", 1, "after a closing quote"},
    {"afterQuotedLines", "a,DM1,,,,,,,,\"x\ny\nz\"\nb,Q\n", 4, "is not a device"},
    {"headerWithoutAddress", "name,comment\na,b\n", 1, "are both needed"},
    {"misspeltColumn", "name,address,scael\na,DM1,0.1\n", 1, "did you mean 'scale'?"},
    {"repeatedColumn", "name,address,unit,unit\na,DM1,C,C\n", 1, "'unit' is there twice"},
    {"moreFieldsThanColumns", "name,address\na,DM1,x\n", 2, "more fields than columns; the first is 'x'"},
    {"headerInAnotherLanguage", "Bezeichnung;Adresse;Einheit\nStand;DM1;mm\n", 1,
     "use these names: name, address"},
    {"zeroByte", QByteArray("a,DM1\nb,DM2\n\0c,DM3\n", 19), 3, "control character (code 0)"},
    {"escape", "a,DM1\nb\x1b[2J,DM2\n", 2, "control character (code 27)"},
    {"windows1252WithoutItsName",
     "a,DM1\nSt\xFC"
     "ck,DM2\n",
     2, "byte fc is not text in UTF-8"},
};

INSTANTIATE_TEST_SUITE_P(Rows, BadTagLine, testing::ValuesIn(badRows),
                         [](const auto &row) { return std::string(row.param.row); });

TEST(TagFiles, goodLinesAreTakenBesideBadOnes)
{
    const TagFile file = parseTags("a,DM1\nb,Q5\nc,DM2\n");
    EXPECT_EQ(shownFile(file), "a=DM1\nc=DM2\n");
}

const QStringList twoExtras{"period", "min"};

TEST(TagFiles, cellsOfFurtherColumnsAreHandedOn)
{
    const TagFile file =
        parseTags("name,MIN,address,period\na,-5,DM1,2s\n\nb,,DM2\n", FileEncoding::Utf8, twoExtras);
    ASSERT_EQ(file.tags.size(), 2u);
    EXPECT_EQ(file.tags[0].extras, QStringList({"2s", "-5"}));
    EXPECT_EQ(file.tags[0].line, 2);
    EXPECT_EQ(file.tags[1].extras, QStringList({"", ""}));
    EXPECT_EQ(file.tags[1].line, 4);
}

TEST(TagFiles, furtherColumnsNeedAHeader)
{
    const TagFile file = parseTags("a,DM1,,,,,,,,,,2s\n", FileEncoding::Utf8, twoExtras);
    ASSERT_EQ(file.faults.size(), 1);
    EXPECT_TRUE(file.faults[0].why.contains("more fields than columns; the first is '2s'"));
}

struct ExtraRow {
    const char *row;
    QByteArray file;
    const char *hint;
};

class BadFurtherColumn : public testing::TestWithParam<ExtraRow>
{
};

TEST_P(BadFurtherColumn, isNamed)
{
    const TagFile file = parseTags(GetParam().file, FileEncoding::Utf8, twoExtras);
    ASSERT_EQ(file.faults.size(), 1);
    EXPECT_TRUE(file.faults[0].why.contains(GetParam().hint)) << file.faults[0].why.toStdString();
}

const ExtraRow extraRows[] = {
    {"misspelt", "name,address,perod\na,DM1,2s\n", "did you mean 'period'?"},
    {"repeated", "name,address,min,min\na,DM1,1,1\n", "'min' is there twice"},
    {"ofAnotherProgram", "name,address,max\na,DM1,1\n", "command, period, min"},
};

INSTANTIATE_TEST_SUITE_P(Rows, BadFurtherColumn, testing::ValuesIn(extraRows),
                         [](const auto &row) { return std::string(row.param.row); });

TEST(TagFiles, oneThatIsNotThereIsNamed)
{
    EXPECT_TRUE(readTagFile("/nonexistent/tags.csv", FileEncoding::Utf8).problem.contains("cannot be read"));
}

// Whatever the bytes are, reading ends, and each line is either a tag or a fault.
TEST(TagFiles, anyBytesAreSurvived)
{
    const std::string seeds[] = {"name,address,type\n\"a\",DM100,F\nb;R1015:4\n#x\n",
                                 "a,DM0.STR:8,,3,0.1,,u,rw,1,\"c\"\"\n"};
    constexpr char bytes[] = "\",;\n\r#abDMR0159.:/-\xEF\xBB\xBF\xFF\xFE \t=";
    const std::string alphabet(bytes, sizeof bytes); // with its zero
    const unsigned seed = std::random_device{}();
    std::cout << "seed " << seed << "\n";
    std::mt19937 random(seed);
    for (int round = 0; round < 5000; ++round) {
        std::string text = seeds[random() % 2];
        for (auto change = random() % 12; change > 0; --change) {
            const std::size_t at = random() % (text.size() + 1);
            if (random() % 3 == 0 && at < text.size())
                text.erase(at, 1 + random() % 3);
            else
                text.insert(at, 1, alphabet[random() % alphabet.size()]);
        }
        const TagFile file = parseTags(QByteArray::fromStdString(text));
        const auto lines =
            std::count(text.begin(), text.end(), '\n') + std::count(text.begin(), text.end(), '\r') + 1;
        ASSERT_LE(file.tags.size() + std::size_t(file.faults.size()), std::size_t(lines)) << text;
        for (const TagFault &fault : file.faults) {
            ASSERT_GE(fault.line, 1);
            ASSERT_LE(fault.line, lines);
            ASSERT_FALSE(fault.why.isEmpty());
        }
    }
}

} // namespace
} // namespace kvtags
