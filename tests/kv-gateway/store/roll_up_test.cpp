// SPDX-License-Identifier: MIT
#include "store/roll_up.h"

#include <gtest/gtest.h>

#include <map>
#include <vector>

namespace kvgateway
{
namespace
{

struct Row {
    qint64 time;
    std::optional<double> value;
};

struct Expected {
    qint64 start;
    double min, max, mean;
    qint64 good, count;
    std::optional<double> last;
};

constexpr auto bad = std::nullopt;

struct Case {
    const char *what;
    RollUp::Between between;
    std::vector<Row> rows;
    qint64 until;
    std::vector<Expected> buckets; // width 100
};

// clang-format off
const Case cases[] = {
    {"a value holds until the next row", RollUp::Between::Skip,
     {{0, 10}, {75, 30}}, 100,
     {{0, 10, 30, 15, 100, 2, 30}}},
    {"a flicker weighs as long as it lasted", RollUp::Between::Skip,
     {{0, 0}, {10, 1000}, {11, 0}}, 100,
     {{0, 0, 1000, 10, 100, 3, 0}}},
    {"the value before counts in the next stretch", RollUp::Between::Skip,
     {{0, 10}, {150, 20}}, 200,
     {{0, 10, 10, 10, 100, 1, 10}, {100, 10, 20, 15, 100, 1, 20}}},
    {"stretches without a row are skipped", RollUp::Between::Skip,
     {{50, 4}, {350, 8}}, 350,
     {{0, 4, 4, 4, 50, 1, 4}, {300, 4, 8, 4, 50, 1, 8}}},
    {"or filled", RollUp::Between::Fill,
     {{50, 4}, {350, 8}}, 350,
     {{0, 4, 4, 4, 50, 1, 4}, {100, 4, 4, 4, 100, 0, 4}, {200, 4, 4, 4, 100, 0, 4}, {300, 4, 8, 4, 50, 1, 8}}},
    {"a bad row ends the value", RollUp::Between::Skip,
     {{0, 10}, {40, bad}}, 100,
     {{0, 10, 10, 10, 40, 1, bad}}},
    {"a gap has no weight", RollUp::Between::Skip,
     {{0, 10}, {25, bad}, {75, 30}}, 100,
     {{0, 10, 30, 20, 50, 2, 30}}},
    {"bad rows alone leave nothing", RollUp::Between::Skip, {{0, bad}, {40, bad}}, 100, {}},
    {"a value that is ended at once is known, without a weight", RollUp::Between::Skip,
     {{30, 7}, {30, bad}}, 100,
     {{0, 7, 7, 7, 0, 1, bad}}},
    {"a row at the border belongs to the stretch that begins", RollUp::Between::Skip,
     {{0, 1}, {100, 2}}, 150,
     {{0, 1, 1, 1, 100, 1, 1}, {100, 2, 2, 2, 50, 1, 2}}},
    {"after the clock went back nothing holds from the future", RollUp::Between::Skip,
     {{150, 5}, {50, 9}}, 100,
     {{0, 9, 9, 9, 50, 1, 9}, {100, 5, 5, 5, 0, 1, 5}}},
    {"times before the epoch", RollUp::Between::Skip,
     {{-150, 2}, {-50, 4}}, 0,
     {{-200, 2, 2, 2, 50, 1, 2}, {-100, 2, 4, 3, 100, 1, 4}}},
};
// clang-format on

TEST(RollUp, DistributesRows)
{
    for (const Case &one : cases) {
        SCOPED_TRACE(one.what);
        std::map<qint64, Bucket> buckets;
        RollUp rollUp(100, one.between, [&](qint64 start) -> Bucket & { return buckets[start]; }, {});
        for (const Row &row : one.rows)
            rollUp.take(row.time, row.value);
        rollUp.advance(one.until);
        ASSERT_EQ(buckets.size(), one.buckets.size());
        for (const Expected &expected : one.buckets) {
            ASSERT_EQ(buckets.count(expected.start), 1U) << expected.start;
            const Bucket &bucket = buckets[expected.start];
            EXPECT_DOUBLE_EQ(bucket.min, expected.min);
            EXPECT_DOUBLE_EQ(bucket.max, expected.max);
            EXPECT_DOUBLE_EQ(bucket.mean, expected.mean);
            EXPECT_EQ(bucket.good, expected.good);
            EXPECT_EQ(bucket.count, expected.count);
            EXPECT_EQ(bucket.last, expected.last);
        }
    }
}

TEST(RollUp, StretchesAddUp)
{
    Bucket sum;
    sum.add({1, 3, 2, 10, 2, 3});
    sum.add({});
    EXPECT_EQ(sum.last, std::nullopt); // nothing held at the end of the second
    sum.add({5, 7, 6, 30, 4, 5});
    EXPECT_DOUBLE_EQ(sum.min, 1);
    EXPECT_DOUBLE_EQ(sum.max, 7);
    EXPECT_DOUBLE_EQ(sum.mean, 5); // (2 * 10 + 6 * 30) / 40
    EXPECT_EQ(sum.good, 40);
    EXPECT_EQ(sum.count, 6);
}

TEST(RollUp, StretchesCountFromTheEpoch)
{
    struct {
        qint64 time, start;
    } const rows[] = {{0, 0},           {59'999, 0},   {60'000, 60'000},
                      {61'500, 60'000}, {-1, -60'000}, {-60'000, -60'000}};
    for (const auto &row : rows)
        EXPECT_EQ(bucketStart(row.time, 60'000), row.start) << row.time;
}

} // namespace
} // namespace kvgateway
