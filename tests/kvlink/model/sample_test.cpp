// SPDX-License-Identifier: MIT
// Conversions of samples, and the names that people see.
#include <kvlink/link.h>
#include <kvlink/write.h>

#include <QVariantList>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace kvlink
{
namespace
{

Sample holding(const Value &value)
{
    Sample sample;
    sample.value = value;
    return sample;
}

TEST(SampleValue, nothingConvertsToNothing)
{
    const Sample none;
    EXPECT_FALSE(none.hasValue());
    EXPECT_FALSE(none.toBool());
    EXPECT_EQ(none.toInt(), 0);
    EXPECT_TRUE(std::isnan(none.toDouble()));
    EXPECT_EQ(none.toText(), QString());
    EXPECT_FALSE(none.toVariant().isValid());
    EXPECT_FALSE(holding(std::vector<Scalar>()).toVariant().toList().size() > 0);
    EXPECT_EQ(holding(std::vector<Scalar>()).toInt(), 0);
    EXPECT_EQ(holding(std::vector<Scalar>()).toText(), QString());
}

TEST(SampleValue, convertsBits)
{
    const Sample on = holding(true);
    EXPECT_TRUE(on.hasValue());
    EXPECT_TRUE(on.toBool());
    EXPECT_EQ(on.toInt(), 1);
    EXPECT_EQ(on.toDouble(), 1.0);
    EXPECT_EQ(on.toText(), QStringLiteral("1"));
    EXPECT_EQ(on.toVariant(), QVariant(true));
    EXPECT_FALSE(holding(false).toBool());
    EXPECT_EQ(holding(false).toText(), QStringLiteral("0"));
}

TEST(SampleValue, convertsWholeNumbers)
{
    const Sample number = holding(qint64(4294967295));
    EXPECT_TRUE(number.toBool());
    EXPECT_EQ(number.toInt(), 4294967295);
    EXPECT_EQ(number.toDouble(), 4294967295.0);
    EXPECT_EQ(number.toText(), QStringLiteral("4294967295"));
    EXPECT_EQ(number.toVariant(), QVariant(qlonglong(4294967295)));
    EXPECT_FALSE(holding(qint64(0)).toBool());
    EXPECT_EQ(holding(qint64(-1)).toText(), QStringLiteral("-1"));
}

TEST(SampleValue, convertsRealNumbers)
{
    const Sample number = holding(-1.5);
    EXPECT_TRUE(number.toBool());
    EXPECT_EQ(number.toInt(), -2);
    EXPECT_EQ(holding(1.4).toInt(), 1);
    EXPECT_EQ(number.toDouble(), -1.5);
    EXPECT_EQ(number.toText(), QStringLiteral("-1.5"));
    EXPECT_EQ(number.toVariant(), QVariant(-1.5));
    EXPECT_FALSE(holding(0.0).toBool());
    EXPECT_TRUE(holding(0.25).toBool());
}

TEST(SampleValue, keepsWholeNumbersWithinTheirRange)
{
    EXPECT_EQ(holding(1e30).toInt(), std::numeric_limits<qint64>::max());
    EXPECT_EQ(holding(-1e30).toInt(), std::numeric_limits<qint64>::min());
    EXPECT_EQ(holding(9223372036854775808.0).toInt(), std::numeric_limits<qint64>::max());
    EXPECT_EQ(holding(-9223372036854775808.0).toInt(), std::numeric_limits<qint64>::min());
    EXPECT_EQ(holding(std::numeric_limits<double>::quiet_NaN()).toInt(), 0);
    EXPECT_FALSE(holding(std::numeric_limits<double>::quiet_NaN()).toBool());
}

TEST(SampleValue, convertsTextsThatSpellNumbers)
{
    EXPECT_EQ(holding(QStringLiteral("12")).toInt(), 12);
    EXPECT_EQ(holding(QStringLiteral("1.5")).toDouble(), 1.5);
    EXPECT_TRUE(holding(QStringLiteral("1")).toBool());
    EXPECT_FALSE(holding(QStringLiteral("0")).toBool());
    const Sample text = holding(QStringLiteral("LOT 7"));
    EXPECT_FALSE(text.toBool());
    EXPECT_EQ(text.toInt(), 0);
    EXPECT_TRUE(std::isnan(text.toDouble()));
    EXPECT_EQ(text.toText(), QStringLiteral("LOT 7"));
    EXPECT_EQ(text.toVariant(), QVariant(QStringLiteral("LOT 7")));
}

TEST(SampleValue, convertsTheFirstOfAList)
{
    const Sample list = holding(std::vector<Scalar>{qint64(3), 1.5, true});
    EXPECT_TRUE(list.toBool());
    EXPECT_EQ(list.toInt(), 3);
    EXPECT_EQ(list.toDouble(), 3.0);
    EXPECT_EQ(list.toText(), QStringLiteral("3,1.5,1"));
    EXPECT_EQ(list.toVariant(), QVariant(QVariantList{qlonglong(3), 1.5, true}));
}

TEST(SampleValue, showsFloatsWithTheDigitsThatBringThemBack)
{
    EXPECT_EQ(holding(double(12345678.0F)).toText(), QStringLiteral("12345678"));
    EXPECT_EQ(holding(double(0.1F)).toText(), QStringLiteral("0.1"));
    EXPECT_EQ(holding(0.1).toText(), QStringLiteral("0.1"));
    EXPECT_EQ(holding(double(16777217)).toText(), QStringLiteral("16777217"));
    EXPECT_EQ(holding(3 * 0.1).toText(), QStringLiteral("0.3"));
    EXPECT_EQ(holding(1e20).toText(), QStringLiteral("1e+20"));
    EXPECT_EQ(holding(1e300).toText(), QStringLiteral("1e+300"));
    EXPECT_EQ(holding(0.0001F).toText(), QStringLiteral("0.0001"));
    EXPECT_EQ(holding(0.00001F).toText(), QStringLiteral("1e-05"));
    EXPECT_EQ(holding(0.0).toText(), QStringLiteral("0"));
}

TEST(SampleReason, isThereForBadSamplesOnly)
{
    Sample sample;
    sample.reason = Reason::NoLink;
    EXPECT_EQ(sample.reasonText(), QString());
    sample.quality = Quality::Bad;
    EXPECT_EQ(sample.reasonText(), QStringLiteral("no link"));
    sample.reason = Reason::PlcError;
    EXPECT_EQ(sample.reasonText(), QStringLiteral("the PLC answered E0"));
    sample.plcError = 4;
    EXPECT_EQ(sample.reasonText(), QStringLiteral("the PLC answered E4"));
    sample.quality = Quality::Stale;
    EXPECT_EQ(sample.reasonText(), QString());
}

TEST(Names, ofQualities)
{
    EXPECT_EQ(qualityName(Quality::Never), QStringLiteral("never"));
    EXPECT_EQ(qualityName(Quality::Good), QStringLiteral("good"));
    EXPECT_EQ(qualityName(Quality::Stale), QStringLiteral("stale"));
    EXPECT_EQ(qualityName(Quality::Bad), QStringLiteral("bad"));
    EXPECT_EQ(qualityName(Quality::Pending), QStringLiteral("pending"));
}

TEST(Names, ofOutcomes)
{
    EXPECT_EQ(outcomeName(Outcome::Done), QStringLiteral("done"));
    EXPECT_EQ(outcomeName(Outcome::Refused), QStringLiteral("refused"));
    EXPECT_EQ(outcomeName(Outcome::NotSent), QStringLiteral("not sent"));
    EXPECT_EQ(outcomeName(Outcome::Unknown), QStringLiteral("unknown"));
}

TEST(Names, ofLinkStates)
{
    EXPECT_EQ(linkStateName(LinkState::Stopped), QStringLiteral("stopped"));
    EXPECT_EQ(linkStateName(LinkState::Resolving), QStringLiteral("resolving"));
    EXPECT_EQ(linkStateName(LinkState::Connecting), QStringLiteral("connecting"));
    EXPECT_EQ(linkStateName(LinkState::Greeting), QStringLiteral("greeting"));
    EXPECT_EQ(linkStateName(LinkState::Ready), QStringLiteral("ready"));
    EXPECT_EQ(linkStateName(LinkState::Waiting), QStringLiteral("waiting"));
}

TEST(Names, ofReasons)
{
    EXPECT_EQ(reasonText(Reason::None), QString());
    EXPECT_EQ(reasonText(Reason::NoLink), QStringLiteral("no link"));
    EXPECT_EQ(reasonText(Reason::NoAnswer), QStringLiteral("no answer"));
    EXPECT_EQ(reasonText(Reason::Corrupted), QStringLiteral("the answer was corrupted"));
    EXPECT_EQ(reasonText(Reason::PlcError), QStringLiteral("the PLC answered an error"));
    EXPECT_EQ(reasonText(Reason::OutOfRange), QStringLiteral("out of range"));
    EXPECT_EQ(reasonText(Reason::NotRepresentable), QStringLiteral("not representable"));
    EXPECT_EQ(reasonText(Reason::Offline), QStringLiteral("offline"));
    EXPECT_EQ(reasonText(Reason::Expired), QStringLiteral("expired"));
    EXPECT_EQ(reasonText(Reason::Cancelled), QStringLiteral("cancelled"));
    EXPECT_EQ(reasonText(Reason::Replaced), QStringLiteral("replaced by a newer value"));
    EXPECT_EQ(reasonText(Reason::NotPermitted), QStringLiteral("not permitted"));
    EXPECT_EQ(reasonText(Reason::InvalidValue), QStringLiteral("the value does not fit"));
    EXPECT_EQ(reasonText(Reason::LinkLost), QStringLiteral("the link was lost"));
    EXPECT_EQ(reasonText(Reason::PartlyDone), QStringLiteral("carried out in part"));
    EXPECT_EQ(reasonText(Reason::Stopped), QStringLiteral("the link was stopped"));
    EXPECT_EQ(reasonText(Reason::QueueFull), QStringLiteral("too many writes wait"));
}

} // namespace
} // namespace kvlink
