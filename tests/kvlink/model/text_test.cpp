// SPDX-License-Identifier: MIT
// What programs show and check of an address without a PLC.
#include <kvlink/text.h>

#include <gtest/gtest.h>

#include <algorithm>

namespace kvlink
{
namespace
{

AddressInfo info(const char *address)
{
    QString problem;
    return AddressInfo::parse(QString::fromLatin1(address), problem).value();
}

TEST(Addresses, knowTheirNamesAndWhatTheyHold)
{
    EXPECT_EQ(info("dm100.d:2").name().toStdString(), "DM100.D:2");
    EXPECT_EQ(info("dm100.d:2").nameOfValue(1).toStdString(), "DM102.D");
    EXPECT_EQ(info("dm100.d:2").device().toStdString(), "DM");
    EXPECT_EQ(info("dm100.d:2").values(), 2);
    EXPECT_EQ(info("dm100.d:2").units(), 4);
    EXPECT_EQ(info("R1015:2").units(), 2); // the bit of one word and of the next
    EXPECT_EQ(info("DM1.STR:5").units(), 3);
    EXPECT_EQ(info("R1").kind(), ValueKind::Bit);
    EXPECT_EQ(info("DM1").kind(), ValueKind::Whole);
    EXPECT_EQ(info("DM1.H").kind(), ValueKind::Hex);
    EXPECT_EQ(info("DM1.F").kind(), ValueKind::Real);
    EXPECT_EQ(info("DM1.STR:5").kind(), ValueKind::Text);
    QString problem;
    EXPECT_FALSE(AddressInfo::parse("R1016", problem));
    EXPECT_TRUE(problem.startsWith("R1016: ")) << problem.toStdString();
}

TEST(Addresses, knowWhatCanBeWrittenAndPulsed)
{
    EXPECT_FALSE(info("T5").isWritable());
    EXPECT_FALSE(info("CTH0.C").isWritable());
    EXPECT_TRUE(info("TC5").isWritable());
    EXPECT_TRUE(info("R5").isBit());
    EXPECT_TRUE(info("DM5.3").isBit());
    EXPECT_FALSE(info("R5:2").isBit());
    EXPECT_FALSE(info("T5").isBit());
    EXPECT_FALSE(info("DM5").isBit());
}

struct OverlapRow {
    const char *one, *other;
    bool overlaps;
};

class Overlaps : public testing::TestWithParam<OverlapRow>
{
};

TEST_P(Overlaps, areWhereBothHaveABit)
{
    EXPECT_EQ(info(GetParam().one).overlaps(info(GetParam().other)), GetParam().overlaps);
    EXPECT_EQ(info(GetParam().other).overlaps(info(GetParam().one)), GetParam().overlaps);
}

const OverlapRow overlapRows[] = {
    {"DM100", "DM100", true},    {"DM100", "DM101", false},  {"DM99.D", "DM100", true},
    {"DM98.D", "DM100", false},  {"DM100.5", "DM100", true}, {"DM100.5", "DM100.6", false},
    {"DM100", "EM100", false},   {"R1015", "R1000.U", true}, {"R1100", "R1000.U", false},
    {"R1000:17", "R1100", true}, {"T5", "TC5", false},       {"TC5", "TC5", true},
    {"TC5", "TS5", false},       {"CTH0", "CTH0.C", false},  {"DM0.STR:4", "DM1", true},
    {"B1F", "B10.U", true},
};

INSTANTIATE_TEST_SUITE_P(Rows, Overlaps, testing::ValuesIn(overlapRows));

TEST(TypedValues, areWhatThePlcWillHold)
{
    TagSettings scaled;
    scaled.scale = 0.1;
    const LinkSettings link;
    QString problem;
    EXPECT_EQ(info("DM1").valueFromText("2.54", scaled, link, problem), Value(2.5));
    EXPECT_EQ(info("DM1").valueFromText("7", {}, link, problem), Value(qint64(7)));
    EXPECT_EQ(info("R1").valueFromText("on", {}, link, problem), Value(true));
    EXPECT_EQ(info("DM1:2").valueFromText("1,2", {}, link, problem),
              Value(std::vector<Scalar>{qint64(1), qint64(2)}));
    EXPECT_EQ(info("DM1.STR:4").valueFromText("ab", {}, link, problem), Value(QStringLiteral("ab")));
    for (const char *wrong : {"70000", "-1", "1.5", "", "x", "1,2"})
        EXPECT_FALSE(info("DM1").valueFromText(QString::fromLatin1(wrong), {}, link, problem)) << wrong;
    EXPECT_FALSE(info("DM1:2").valueFromText("1", {}, link, problem));
}

TEST(ValuesOfAList, areTakenOneByOne)
{
    const Value list = std::vector<Scalar>{qint64(1), QStringLiteral("b")};
    EXPECT_EQ(valueAt(list, 0), Value(qint64(1)));
    EXPECT_EQ(valueAt(list, 1), Value(QStringLiteral("b")));
    EXPECT_EQ(valueAt(list, 2), Value());
    EXPECT_EQ(valueAt(list, -1), Value());
    EXPECT_EQ(valueAt(Value(2.5), 0), Value(2.5));
    EXPECT_EQ(valueAt(Value(2.5), 1), Value());
    EXPECT_EQ(info("DM1.H").shown(Value(qint64(0x1A2))).toStdString(), "01A2");
    EXPECT_EQ(info("DM1").shown(Value()).toStdString(), "");
}

TEST(Devices, areAllForAHelpPage)
{
    const std::vector<DeviceInfo> devices = deviceInfos();
    EXPECT_EQ(devices.size(), 24U);
    EXPECT_EQ(devices.front().name.toStdString(), "R");
    EXPECT_EQ(devices.front().range.toStdString(), "R0 to R199915");
    for (const DeviceInfo &device : devices)
        EXPECT_EQ(device.isWritable, device.name != "T" && device.name != "C") << device.name.toStdString();
}

struct HelpRow {
    const char *name, *writtenAs, *formats;
};

// clang-format off
const HelpRow helpRows[] = {
    {"R",   "R15 R100:16 R100.U",              "bit; channel .U .S .D .L .H .F .STR:n"},
    {"VB",  "VBF VB1F0:4 VB10.U",              "bit; channel .U .S .D .L .H .F .STR:n"},
    {"T",   "T5 T0:8",                         "bit"},
    {"DM",  "DM100 DM100.5 DM100.F DM100-DM109", "U; .S .D .L .H .F .STR:n, bit .0-.15"},
    {"W",   "W1A W1A.3 W10.F W10-W1F",         "U; .S .D .L .H .F .STR:n, bit .0-.15"},
    {"TC",  "TC1 TC1.L",                       "D; .L .H .F"},
    {"Z",   "Z1 Z1.L",                         "D; .L .H .F"},
    {"CTH", "CTH1 CTH1.L",                     "D; .L .H .F, contact .C"},
};
// clang-format on

TEST(Devices, showHowTheyAreWritten)
{
    const std::vector<DeviceInfo> devices = deviceInfos();
    for (const HelpRow &row : helpRows) {
        const auto device = std::find_if(devices.begin(), devices.end(), [&row](const DeviceInfo &one) {
            return one.name == QLatin1String(row.name);
        });
        ASSERT_NE(device, devices.end()) << row.name;
        EXPECT_EQ(device->writtenAs.toStdString(), row.writtenAs);
        EXPECT_EQ(device->formats.toStdString(), row.formats) << row.name;
    }
}

TEST(Devices, haveExamplesThatAreAddresses)
{
    for (const DeviceInfo &device : deviceInfos()) {
        for (const QString &example : device.writtenAs.split(' ')) {
            QString problem;
            EXPECT_TRUE(AddressInfo::parse(example, problem)) << problem.toStdString();
        }
    }
}

} // namespace
} // namespace kvlink
