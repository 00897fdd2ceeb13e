// SPDX-License-Identifier: MIT
#include "api/tag_table.h"

#include <gtest/gtest.h>

using namespace kvlink;

namespace
{
TagSettings named(const char *name)
{
    TagSettings settings;
    settings.name = QString::fromLatin1(name);
    return settings;
}

std::string nameOf(const TagEntry &entry)
{
    TagSettings settings;
    entry.copyTo(settings);
    return settings.name.toStdString();
}

TEST(TagEntry, keepsTheTextsOfATag)
{
    TagSettings given;
    given.address = QStringLiteral("dm100.f");
    given.name = QStringLiteral("Füllstand");
    given.unit = QStringLiteral("m³");
    TagSettings kept;
    TagEntry(given).copyTo(kept);
    EXPECT_EQ(kept.address, given.address);
    EXPECT_EQ(kept.name, given.name);
    EXPECT_EQ(kept.unit, given.unit);

    given.name.clear();
    given.unit.clear();
    TagEntry(given).copyTo(kept);
    EXPECT_EQ(kept.address, given.address);
    EXPECT_EQ(kept.name, QString());
    EXPECT_EQ(kept.unit, QString());
}

TEST(TagTable, findsWhatWasAdded)
{
    TagTable table;
    const Tag first = table.add(named("first"));
    const Tag second = table.add(named("second"));
    EXPECT_TRUE(first.isValid());
    EXPECT_EQ(nameOf(*table.find(first)), "first");
    EXPECT_EQ(nameOf(*table.find(second)), "second");
    EXPECT_EQ(table.find(Tag()), nullptr);
    EXPECT_EQ(table.find(Tag(3)), nullptr);
    EXPECT_EQ(table.find(Tag(4000000000U)), nullptr);
}

TEST(TagTable, neverGivesAnIdOutAgain)
{
    TagTable table;
    const Tag first = table.add(named("first"));
    table.remove(first);
    table.remove(first);
    EXPECT_EQ(table.find(first), nullptr);
    EXPECT_NE(table.add(named("second")), first);
}

TEST(TagTable, keepsTheOthersWhenWholePagesGo)
{
    TagTable table;
    std::vector<Tag> all;
    for (int i = 0; i < 1000; ++i)
        all.push_back(table.add(named("")));
    for (int i = 0; i < 1000; ++i) {
        if (i != 300 && i != 999)
            table.remove(all[std::size_t(i)]);
    }
    EXPECT_EQ(table.tags(), (std::vector<Tag>{all[300], all[999]}));
    EXPECT_EQ(table.add(named("")).id(), 1001U);
}
} // namespace
