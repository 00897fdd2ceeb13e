// SPDX-License-Identifier: MIT
// Times and values as texts, row by row.
#include "text/json_text.h"
#include "text/time_text.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <gtest/gtest.h>

#include <cmath>

namespace kvgateway
{
namespace
{

using namespace std::chrono_literals;

struct TimeRow {
    const char *row;
    const char *text;
    const char *shown; // empty: refused
};

class Times : public testing::TestWithParam<TimeRow>
{
};

TEST_P(Times, areReadAndShown)
{
    QString problem;
    const auto time = timeFromText(GetParam().text, problem);
    EXPECT_EQ(time ? timeText(*time).toStdString() : "", GetParam().shown);
    EXPECT_EQ(problem.contains("write it as 2026-05-04T08:15:02Z"), !time);
}

const TimeRow timeRows[] = {
    {"milliseconds", "2026-05-04T08:15:02.113Z", "2026-05-04T08:15:02.113Z"},
    {"seconds", "2026-05-04T08:15:02Z", "2026-05-04T08:15:02.000Z"},
    {"minutes", "2026-05-04T08:15Z", "2026-05-04T08:15:00.000Z"},
    {"date", "2026-05-04", "2026-05-04T00:00:00.000Z"},
    {"withoutZoneIsUtc", "2026-05-04T08:15:02", "2026-05-04T08:15:02.000Z"},
    {"east", "2026-05-04T10:15:02+02:00", "2026-05-04T08:15:02.000Z"},
    {"west", "2026-05-03T23:15:02-09:00", "2026-05-04T08:15:02.000Z"},
    {"spaces", " 2026-05-04 ", "2026-05-04T00:00:00.000Z"},
    {"beyond32BitsOfSeconds", "2106-02-07T06:28:16.250Z", "2106-02-07T06:28:16.250Z"},
    {"empty", "", ""},
    {"word", "yesterday", ""},
    {"thirteenthMonth", "2026-13-01", ""},
    {"hourAlone", "2026-05-04T08", ""},
    {"more", "2026-05-04T08:15:02Zx", ""},
    {"number", "1777882502", ""},
};

INSTANTIATE_TEST_SUITE_P(Rows, Times, testing::ValuesIn(timeRows),
                         [](const auto &row) { return std::string(row.param.row); });

TEST(TimeText, countsFromTheEpoch)
{
    EXPECT_EQ(timeText(kvlink::WallTime(1500us)), "1970-01-01T00:00:00.001Z");
    EXPECT_EQ(timeText(kvlink::WallTime(std::chrono::seconds(2'147'483'648))), "2038-01-19T03:14:08.000Z");
    EXPECT_EQ(timeText(kvlink::WallTime(std::chrono::seconds(4'294'967'296))), "2106-02-07T06:28:16.000Z");
}

std::string shown(const kvlink::Value &value)
{
    QByteArray out;
    appendJson(out, value);
    return out.toStdString();
}

TEST(JsonText, showsEachKindOfValue)
{
    EXPECT_EQ(shown({}), "null");
    EXPECT_EQ(shown(true), "true");
    EXPECT_EQ(shown(qint64(-2147483648)), "-2147483648");
    EXPECT_EQ(shown(0.1), "0.1");
    EXPECT_EQ(shown(std::nan("")), "null");
    EXPECT_EQ(shown(QString("a \"b\" \\ \n\t")), R"("a \"b\" \\ \n\u0009")");
    EXPECT_EQ(shown(std::vector<kvlink::Scalar>{qint64(1), false}), "[1,false]");
}

TEST(JsonText, saysWhyASampleIsBad)
{
    kvlink::Sample sample;
    QByteArray out;
    appendSample(out, sample);
    EXPECT_EQ(out, R"("value":null,"quality":"never")");

    sample = {qint64(5), kvlink::Quality::Bad, kvlink::Reason::NoLink, 0, kvlink::WallTime(2s), {}};
    out.clear();
    appendSample(out, sample);
    EXPECT_EQ(out, R"("value":5,"quality":"bad","reason":"no link","time":"1970-01-01T00:00:02.000Z")");
}

std::string read(const char *json)
{
    QString problem;
    const QJsonArray one = QJsonDocument::fromJson(QByteArray("[") + json + "]").array();
    const auto value = valueFromJson(one.at(0), problem);
    if (!value)
        return "! " + problem.toStdString();
    return std::to_string(value->index()) + " " + shown(*value);
}

TEST(JsonText, takesValuesThatSomebodySent)
{
    EXPECT_EQ(read("true"), "1 true");
    EXPECT_EQ(read("5"), "2 5");
    EXPECT_EQ(read("5.5"), "3 5.5");
    EXPECT_EQ(read("1e300"), "3 1e+300");
    EXPECT_EQ(read("\"on\""), "4 \"on\"");
    EXPECT_EQ(read("[1,2.5]"), "5 [1,2.5]");
    EXPECT_EQ(read(R"("\ud83c\udfed")"), "4 \"\U0001f3ed\"");
    for (const char *half : {R"("\ud83c")", R"("\udfed")", R"([1,"a\ud83cb"])"})
        EXPECT_NE(read(half).find("half a character"), std::string::npos) << half;
    EXPECT_NE(read("null").find("must be true, false, a number"), std::string::npos);
    EXPECT_NE(read("{}").find("must be true, false, a number"), std::string::npos);
    EXPECT_NE(read("[[1]]").find("numbers and texts only"), std::string::npos);
}

TEST(JsonText, jsonValuesAreTheSame)
{
    EXPECT_EQ(jsonValue(qint64(5)), QJsonValue(5));
    EXPECT_TRUE(jsonValue({}).isNull());
    EXPECT_EQ(jsonValue(std::vector<kvlink::Scalar>{true, QString("x")}), QJsonValue(QJsonArray{true, "x"}));
}

} // namespace
} // namespace kvgateway
