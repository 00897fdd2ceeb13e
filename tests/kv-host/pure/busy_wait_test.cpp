// When a wait for an answer looks busily, and when it goes to sleep at once.
#include "busy_wait.h"

#include <gtest/gtest.h>

#include <vector>

namespace kvhost
{

namespace
{

using std::chrono::microseconds;

Time at(int us)
{
    return Time(std::chrono::seconds(1000)) + microseconds(us);
}

/// An answer that was waited for from begin to end, and the wait that begins at next.
struct Row {
    const char *row;
    int begin, end, next; ///< in us
    bool busy;
};

// clang-format off
const Row ROWS[] = {
    {"answered in 249 us, asked again at once",  0, 249, 249, true},
    {"answered in 250 us",                       0, 250, 250, false},
    {"answered in 30 ms, as PLCs do",            0, 30000, 30000, false},
    {"asked again after 499 us",                 0, 40, 539, true},
    {"asked again after a pause of 500 us",      0, 40, 540, false},
};
// clang-format on

TEST(BusyWait, isWorthItWhereAnswersAreFastAndRequestsFollowEachOther)
{
    for (const Row &row : ROWS) {
        BusyWait wait;
        wait.answered(at(row.begin), at(row.end), false);
        const microseconds expected(row.busy ? 100 : 0);
        EXPECT_EQ(wait.allowance(at(row.next)), expected) << row.row;
    }
}

TEST(BusyWait, firstWaitSleeps)
{
    EXPECT_EQ(BusyWait().allowance(at(0)), Clock::duration::zero());
    EXPECT_EQ(BusyWait().allowance(Time{}), Clock::duration::zero());
}

TEST(BusyWait, restsForAHundredWaitsAfterOneInVain)
{
    BusyWait wait;
    wait.answered(at(0), at(100), true); // within the hundred microseconds it may take
    EXPECT_EQ(wait.allowance(at(100)), microseconds(100));
    wait.answered(at(100), at(201), true); // one more
    int now = 201;
    for (int sleeps = 0; sleeps < 100; ++sleeps) {
        ASSERT_EQ(wait.allowance(at(now)), Clock::duration::zero()) << sleeps;
        wait.answered(at(now), at(now + 50), false);
        now += 50;
    }
    EXPECT_EQ(wait.allowance(at(now)), microseconds(100));
}

TEST(BusyWait, aSleepThatTakesLongIsNoReasonToRest)
{
    BusyWait wait;
    wait.answered(at(0), at(5000), false);
    wait.answered(at(5000), at(5080), false);
    EXPECT_EQ(wait.allowance(at(5080)), microseconds(100));
}

} // namespace

} // namespace kvhost
