// SPDX-License-Identifier: MIT
// The row of events alone: its order, and which changes of the link it keeps.
#include "api/event_row.h"

#include <gtest/gtest.h>

using namespace kvlink;

namespace
{
LinkStatus statusOf(int number)
{
    LinkStatus status;
    status.nextTry = Duration(number);
    return status;
}

TEST(EventRow, givesEachEventWithWhatItCarriesInTheOrderOfArrival)
{
    EventRow row;
    EXPECT_TRUE(row.isEmpty());
    WriteResult write;
    write.id = 5;
    QueryResult query;
    query.id = 6;
    row.add(Tag(3));
    row.add(write);
    row.add(statusOf(4));
    row.add(query);
    row.add(ReadDone{7});
    write.id = 8;
    row.add(write);
    EXPECT_EQ(row.size(), 6U);
    EXPECT_EQ(std::get<Events::Change>(row.take()).tag, Tag(3));
    EXPECT_EQ(std::get<WriteResult>(row.take()).id, 5U);
    EXPECT_EQ(std::get<LinkStatus>(row.take()).nextTry, Duration(4));
    EXPECT_EQ(std::get<QueryResult>(row.take()).id, 6U);
    EXPECT_EQ(std::get<ReadDone>(row.take()).id, 7U);
    EXPECT_EQ(std::get<WriteResult>(row.take()).id, 8U);
    EXPECT_TRUE(row.isEmpty());
}

TEST(EventRow, keepsTheLast64ChangesOfTheLinkAndAllElse)
{
    EventRow row;
    for (int number = 1; number <= 100; ++number) {
        row.add(statusOf(number));
        row.add(ReadDone{quint64(number)});
    }
    EXPECT_EQ(row.size(), 164U);
    int nextStatus = 37; // 1 to 36 are gone
    ReadId nextRead = 1;
    while (!row.isEmpty()) {
        const Event event = row.take();
        if (const auto *status = std::get_if<LinkStatus>(&event))
            EXPECT_EQ(status->nextTry, Duration(nextStatus++));
        else
            EXPECT_EQ(std::get<ReadDone>(event).id, nextRead++);
    }
    EXPECT_EQ(nextStatus, 101);
    EXPECT_EQ(nextRead, 101U);
}
} // namespace
