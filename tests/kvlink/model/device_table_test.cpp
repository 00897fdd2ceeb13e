// SPDX-License-Identifier: MIT
// The device table against the page of areas that makers of hosts read, and the ranges
// of a KV-8000.
#include "model/device_table.h"

#include <QFile>
#include <QHash>
#include <QStringList>

#include <gtest/gtest.h>

namespace kvlink
{
namespace
{

// One row of the table in docs/areas.md.
struct AreaRow {
    QString device;
    QString element;
    QString addressText;
    int readKey = -1;
    bool written = false;
};

QHash<int, AreaRow> areasPage()
{
    QFile page(QStringLiteral(KV_AREAS_PAGE));
    QHash<int, AreaRow> rows;
    if (!page.open(QIODevice::ReadOnly))
        return rows;
    const QStringList lines = QString::fromUtf8(page.readAll()).split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        // code, name, device, element, text, integer address, read key, image key, read, written
        const QStringList cells = line.split(QLatin1Char('|'));
        bool isRow = false;
        const int code = cells.size() == 12 ? cells[1].trimmed().toInt(&isRow) : -1;
        if (isRow) {
            rows[code] = {cells[3].trimmed(), cells[4].trimmed(), cells[5].trimmed(),
                          cells[7].trimmed().toInt(), cells[10].trimmed() != QLatin1String("not")};
        }
    }
    return rows;
}

QString wordOf(Element element)
{
    switch (element) {
    case Element::Bit:
        return QStringLiteral("bit");
    case Element::Contact:
        return QStringLiteral("contact");
    case Element::Word:
        return QStringLiteral("word");
    case Element::DoubleWord:
        return QStringLiteral("double word");
    }
    return {};
}

// The page's name of a device's own area: a timer is one device there, with three values.
QString pageName(const Device &device)
{
    static const QHash<QString, QString> others = {
        {QStringLiteral("TC"), QStringLiteral("T, current value")},
        {QStringLiteral("TS"), QStringLiteral("TS, set value")},
        {QStringLiteral("CC"), QStringLiteral("C, current value")},
        {QStringLiteral("CS"), QStringLiteral("CS, set value")},
    };
    const QString name = QString::fromLatin1(device.name);
    return others.value(name, name);
}

TEST(DeviceTable, agreesWithThePageOfAreas)
{
    const QHash<int, AreaRow> page = areasPage();
    ASSERT_EQ(page.size(), 40);
    for (const Device &device : devices()) {
        const AreaRow row = page[device.area];
        EXPECT_EQ(row.device.toStdString(), pageName(device).toStdString());
        EXPECT_EQ(row.element.toStdString(), wordOf(device.element).toStdString()) << device.name;
        EXPECT_EQ(row.readKey, device.readArea) << device.name;
        EXPECT_EQ(row.written, device.writable) << device.name;
    }
}

TEST(DeviceTable, hasAllAreasOfThePageOnce)
{
    QHash<int, int> uses;
    for (const Device &device : devices()) {
        for (const int area : {device.area, device.wordArea, device.bitArea}) {
            if (area >= 0)
                ++uses[area];
        }
    }
    for (int area = 0; area <= 39; ++area)
        EXPECT_EQ(uses.value(area), 1) << area;
}

TEST(DeviceTable, hasWordsOfRelaysAndBitsOfWordsAsThePageHasThem)
{
    const QHash<int, AreaRow> page = areasPage();
    for (const Device &device : devices()) {
        const QString name = QString::fromLatin1(device.name);
        if (device.wordArea >= 0) {
            const AreaRow row = page[device.wordArea];
            EXPECT_TRUE(row.device == name + QStringLiteral(" channel") ||
                        row.device == name + QStringLiteral(" word"))
                << device.name;
            EXPECT_EQ(row.readKey, device.readArea) << device.name;
        }
        if (device.bitArea >= 0) {
            const AreaRow row = page[device.bitArea];
            EXPECT_TRUE(row.device == QStringLiteral("bit of ") + name || row.device == name) << device.name;
            EXPECT_EQ(row.readKey, device.readArea) << device.name;
        }
    }
}

// Ranges and longest reads of a KV-8000. R199915 is bit 15 of channel 1999: 1999 * 16 + 15.
struct LimitRow {
    const char *name;
    int lowest, highest, mostUnits;
    const char *range;
};

// clang-format off
const LimitRow limitRows[] = {
    {"R",   0,  31999, 1000, "R0 to R199915"},
    {"B",   0,  32767, 1000, "B0 to B7FFF"},
    {"MR",  0,  63999, 1000, "MR0 to MR399915"},
    {"LR",  0,  15999, 1000, "LR0 to LR99915"},
    {"CR",  0,   1279, 1000, "CR0 to CR7915"},
    {"VB",  0,  63999, 1000, "VB0 to VBF9FF"},
    {"T",   0,   3999,  120, "T0 to T3999"},
    {"C",   0,   3999,  120, "C0 to C3999"},
    {"DM",  0,  65534, 1000, "DM0 to DM65534"},
    {"EM",  0,  65534, 1000, "EM0 to EM65534"},
    {"FM",  0,  32767, 1000, "FM0 to FM32767"},
    {"ZF",  0, 524287, 1000, "ZF0 to ZF524287"},
    {"W",   0,  32767, 1000, "W0 to W7FFF"},
    {"TM",  0,    511,  512, "TM0 to TM511"},
    {"Z",   1,     12,   12, "Z1 to Z12"},
    {"TC",  0,   3999,  120, "TC0 to TC3999"},
    {"TS",  0,   3999,  120, "TS0 to TS3999"},
    {"CC",  0,   3999,  120, "CC0 to CC3999"},
    {"CS",  0,   3999,  120, "CS0 to CS3999"},
    {"CTH", 0,      1,    2, "CTH0 to CTH1"},
    {"CTC", 0,      3,    4, "CTC0 to CTC3"},
    {"AT",  0,      7,    8, "AT0 to AT7"},
    {"CM",  0,   7599, 1000, "CM0 to CM7599"},
    {"VM",  0, 589823, 1000, "VM0 to VM589823"},
};
// clang-format on

TEST(DeviceTable, hasTheLimitsOfAKv8000)
{
    EXPECT_EQ(devices().size(), std::size(limitRows));
    for (const LimitRow &row : limitRows) {
        const Device *device = findDevice(QString::fromLatin1(row.name));
        ASSERT_NE(device, nullptr) << row.name;
        EXPECT_EQ(device->lowest, row.lowest) << row.name;
        EXPECT_EQ(device->highest, row.highest) << row.name;
        EXPECT_EQ(device->mostUnits, row.mostUnits) << row.name;
        EXPECT_STREQ(device->range, row.range);
    }
}

TEST(DeviceTable, knowsWhichValueOfATimerIsMeant)
{
    EXPECT_EQ(findDevice("T")->field, Field::Contact);
    EXPECT_EQ(findDevice("C")->field, Field::Contact);
    EXPECT_EQ(findDevice("TC")->field, Field::Current);
    EXPECT_EQ(findDevice("CC")->field, Field::Current);
    EXPECT_EQ(findDevice("CTH")->field, Field::Current);
    EXPECT_EQ(findDevice("CTC")->field, Field::Set);
    EXPECT_EQ(findDevice("TS")->field, Field::Set);
    EXPECT_EQ(findDevice("CS")->field, Field::Set);
    EXPECT_EQ(findDevice("Z")->field, Field::Whole);
    EXPECT_EQ(findDevice("DM")->field, Field::Whole);
}

TEST(DeviceTable, findsWholeNamesInCapitalLettersOnly)
{
    EXPECT_EQ(findDevice("D"), nullptr);
    EXPECT_EQ(findDevice("dm"), nullptr);
    EXPECT_EQ(findDevice("DMX"), nullptr);
    EXPECT_EQ(findDevice(""), nullptr);
    EXPECT_EQ(findDevice(QString()), nullptr);
    EXPECT_STREQ(findDevice(QStringLiteral("CTC"))->name, "CTC");
}

} // namespace
} // namespace kvlink
