// Tag files: every way that people's tables come out, and every bad line told with its number.
#include "tags_csv.h"

#include <gtest/gtest.h>

#include <iostream>
#include <random>

namespace kvhost
{
namespace
{

std::string shownTag(const Variable &tag)
{
    QString text = tag.name + "=" + tag.address.name();
    if (tag.scaled())
        text += QStringLiteral(" *%1+%2").arg(tag.scale).arg(tag.offset);
    if (!tag.unit.isEmpty())
        text += " " + tag.unit;
    if (!tag.writable)
        text += " r";
    if (tag.deadband > 0.0)
        text += QStringLiteral(" db%1").arg(tag.deadband);
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
    const char *file;
    const char *tags;
};

class GoodTagFile : public testing::TestWithParam<GoodRow>
{
};

TEST_P(GoodTagFile, isTaken)
{
    const TagFile file = parseTags(GetParam().file);
    for (const TagFault &fault : file.faults)
        ADD_FAILURE() << fault.line << ": " << fault.why.toStdString();
    EXPECT_EQ(shownFile(file), GetParam().tags);
}

const GoodRow goodRows[] = {
    {"empty", "", ""},
    {"onlyAHeader", "name,address\n", ""},
    {"twoColumns", "level,DM100\nrun,R1015\n", "level=DM100\nrun=R1015\n"},
    {"withoutLastLineEnd", "level,DM100", "level=DM100\n"},
    {"crlf", "name,address\r\nlevel,DM100\r\n", "level=DM100\n"},
    {"mark", "\xEF\xBB\xBFname,address\nlevel,DM100\n", "level=DM100\n"},
    {"semicolons", "name;address\nlevel;DM100\n", "level=DM100\n"},
    {"decimalComma", "name;address;scale\nlevel;DM100;0,1\n", "level=DM100 *0.1+0\n"},
    {"otherOrder", "comment,address,name\nthe level,DM100,level\n", "level=DM100 #the level\n"},
    {"capitalHeader", "NAME,Address\nlevel,DM100\n", "level=DM100\n"},
    {"allColumns", "t,DM5,S,3,0.1,-40,C,r,0.5,oven\n", "t=3/DM5.S *0.1+-40 C r db0.5 #oven\n"},
    {"remarksAndEmptyLines", "# tags, \"mine\n\nlevel,DM100\n,,\n", "level=DM100\n"},
    {"quotes", "\"a, b\",DM100,,,,,,,,\"say \"\"hi\"\"\"\n", "a, b=DM100 #say \"hi\"\n"},
    {"quotedLineEnd", "a,DM1,,,,,,,,\"two\nlines\"\nb,DM2\n", "a=DM1 #two\nlines\nb=DM2\n"},
    {"blanksAround", "  level , DM100 \n", "level=DM100\n"},
    {"typeWords", "a,DM0,float\nb,DM2,int16\nc,DM4,uint32\nd,DM6,dint\n",
     "a=DM0.F\nb=DM2.S\nc=DM4.D\nd=DM6.L\n"},
    {"typeText", "a,DM0,STR:8\n", "a=DM0.STR:8\n"},
    {"typeWithCount", "a,DM0:3,F\n", "a=DM0.F:3\n"},
    {"typeBit", "a,R5,bit\n", "a=R5\n"},
    {"utf8", "pompe \xC3\xA9t\xC3\xA9,DM1\n", "pompe \xC3\xA9t\xC3\xA9=DM1\n"},
};

INSTANTIATE_TEST_SUITE_P(Rows, GoodTagFile, testing::ValuesIn(goodRows),
                         [](const auto &row) { return std::string(row.param.row); });

struct BadRow {
    const char *row;
    const char *file;
    int line;
    const char *hint;
};

class BadTagLine : public testing::TestWithParam<BadRow>
{
};

TEST_P(BadTagLine, isToldWithItsNumber)
{
    const TagFile file = parseTags(GetParam().file);
    ASSERT_EQ(file.faults.size(), 1);
    EXPECT_EQ(file.faults[0].line, GetParam().line);
    EXPECT_TRUE(file.faults[0].why.contains(GetParam().hint)) << file.faults[0].why.toStdString();
}

const BadRow badRows[] = {
    {"badAddress", "a,DM1\nb,R1016\nc,DM2\n", 2, "after R1015 comes R1100"},
    {"noAddress", "name,address\na\n", 2, "address of 'a' is missing"},
    {"noName", ",DM1\n", 1, "name is missing"},
    {"twice", "a,DM1\na,DM2\n", 2, "used twice"},
    {"scaleText", "a,DM1,,,x\n", 1, "scale 'x' is no number"},
    {"scaleZero", "a,DM1,,,0\n", 1, "scale 0"},
    {"scaleInfinite", "a,DM1,,,inf\n", 1, "is no number"},
    {"access", "a,DM1,,,,,,maybe\n", 1, "r or rw"},
    {"deadbandNegative", "a,DM1,,,,,,,-1\n", 1, "negative"},
    {"unknownType", "a,DM1,quad\n", 1, "type 'quad'"},
    {"typeAndFormat", "a,DM1.S,F\n", 1, "take one of them"},
    {"stationTwice", "a,2/DM1,,3\n", 1, "station"},
    {"stationText", "a,DM1,,x\n", 1, "station"},
    {"openQuote", "a,DM1\nb,\"DM2\n", 2, "never closed"},
    {"afterQuote", "\"a\"b,DM1\n", 1, "after a closing quote"},
    {"afterQuotedLines", "a,DM1,,,,,,,,\"x\ny\nz\"\nb,Q\n", 4, "is no device"},
    {"headerWithoutAddress", "name,comment\na,b\n", 1, "are both needed"},
};

INSTANTIATE_TEST_SUITE_P(Rows, BadTagLine, testing::ValuesIn(badRows),
                         [](const auto &row) { return std::string(row.param.row); });

TEST(TagFiles, goodLinesAreTakenBesideBadOnes)
{
    const TagFile file = parseTags("a,DM1\nb,Q5\nc,DM2\n");
    EXPECT_EQ(shownFile(file), "a=DM1\nc=DM2\n");
}

TEST(TagFiles, oneThatIsNotThereIsTold)
{
    EXPECT_TRUE(readTagFile("/nonexistent/tags.csv").problem.contains("cannot be read"));
}

// Whatever the bytes are, reading ends, and each line is either a tag or a fault.
TEST(TagFiles, anyBytesAreSurvived)
{
    const std::string seeds[] = {"name,address,type\n\"a\",DM100,F\nb;R1015:4\n#x\n",
                                 "a,DM0.STR:8,,3,0.1,,u,rw,1,\"c\"\"\n"};
    const std::string alphabet = "\",;\n\r#abDMR0159.:/-\xEF\xBB\xBF\xFF \t=";
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
} // namespace kvhost
