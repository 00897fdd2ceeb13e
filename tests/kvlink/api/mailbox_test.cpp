// SPDX-License-Identifier: MIT
// The mailbox between a link's thread and its watchers: what waits, in which order, and
// who hears of it.
#include "api/mailbox.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include <poll.h>

using namespace kvlink;

namespace
{
WriteResult ended(WriteId id)
{
    WriteResult result;
    result.id = id;
    result.outcome = Outcome::Done;
    return result;
}

class MailboxTest : public testing::Test
{
protected:
    MailboxTest() : tags(mailbox.addTags(std::vector<TagSettings>(3))) {}

    void change(Tag tag)
    {
        Events events;
        events.changes.push_back({tag, Sample()});
        mailbox.put(events);
    }
    void end(WriteId id)
    {
        Events events;
        events.writes.push_back(ended(id));
        mailbox.put(events);
    }
    void linkGoes(LinkState state)
    {
        LinkStatus status;
        status.state = state;
        Events events;
        events.links.push_back(status);
        mailbox.put(events);
    }

    // Takes one entry: "tag 1", "write 7", "link waiting", "read 8", "query 9", or "-".
    std::string taken()
    {
        const std::optional<Event> event = mailbox.take();
        if (!event)
            return "-";
        if (const auto *change = std::get_if<Events::Change>(&*event))
            return "tag " + std::to_string(change->tag.id());
        if (const auto *result = std::get_if<WriteResult>(&*event))
            return "write " + std::to_string(result->id);
        if (const auto *status = std::get_if<LinkStatus>(&*event))
            return "link " + linkStateName(status->state).toStdString();
        if (const auto *read = std::get_if<ReadDone>(&*event))
            return "read " + std::to_string(read->id);
        return "query " + std::to_string(std::get<QueryResult>(*event).id);
    }

    bool isReadable()
    {
        pollfd look{mailbox.descriptor(), POLLIN, 0};
        return ::poll(&look, 1, 0) == 1;
    }

    Mailbox mailbox;
    std::vector<Tag> tags;
};

TEST_F(MailboxTest, givesEntriesInTheOrderInWhichTheyCame)
{
    change(tags[1]);
    end(7);
    change(tags[0]);
    linkGoes(LinkState::Waiting);
    EXPECT_EQ(taken(), "tag 2");
    EXPECT_EQ(taken(), "write 7");
    EXPECT_EQ(taken(), "tag 1");
    EXPECT_EQ(taken(), "link waiting");
    EXPECT_EQ(taken(), "-");
}

TEST_F(MailboxTest, oneStepGivesTheLinkFirstAndTheEndOfAReadBehindItsSamples)
{
    Events events;
    QueryResult answer;
    answer.id = 9;
    events.reads.push_back(8);
    events.queries.push_back(answer);
    events.writes.push_back(ended(7));
    events.changes.push_back({tags[0], Sample()});
    events.links.push_back(LinkStatus());
    mailbox.put(events);
    EXPECT_EQ(taken(), "link stopped");
    EXPECT_EQ(taken(), "tag 1");
    EXPECT_EQ(taken(), "write 7");
    EXPECT_EQ(taken(), "query 9");
    EXPECT_EQ(taken(), "read 8");
}

TEST_F(MailboxTest, changesThatNobodyTookAreOneEntry)
{
    for (int i = 0; i < 1000; ++i)
        change(tags[0]);
    EXPECT_EQ(mailbox.beginDelivery(), 1U);
    EXPECT_EQ(taken(), "tag 1");
    EXPECT_EQ(taken(), "-");
    change(tags[0]);
    EXPECT_EQ(taken(), "tag 1");
}

TEST_F(MailboxTest, noWriteResultIsDropped)
{
    for (WriteId id = 1; id <= 5000; ++id)
        end(id);
    for (WriteId id = 1; id <= 5000; ++id)
        ASSERT_EQ(taken(), "write " + std::to_string(id));
}

TEST_F(MailboxTest, ofManyLinkChangesTheLast64AreKept)
{
    for (int i = 0; i < 100; ++i)
        linkGoes(LinkState::Waiting);
    linkGoes(LinkState::Ready);
    for (int i = 0; i < 63; ++i)
        ASSERT_EQ(taken(), "link waiting");
    EXPECT_EQ(taken(), "link ready");
    EXPECT_EQ(taken(), "-");
}

TEST_F(MailboxTest, aRemovedTagBringsNothingMore)
{
    change(tags[0]);
    change(tags[1]);
    EXPECT_TRUE(mailbox.removeTag(tags[0]));
    EXPECT_FALSE(mailbox.removeTag(tags[0]));
    change(tags[0]);
    EXPECT_EQ(taken(), "tag 2");
    EXPECT_EQ(taken(), "-");
}

TEST_F(MailboxTest, theHookIsCalledOnceUntilADeliveryBegins)
{
    int calls = 0;
    mailbox.setFilledHook([&] { ++calls; });
    change(tags[0]);
    change(tags[1]);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(mailbox.beginDelivery(), 2U);
    change(tags[2]); // while the delivery is under way
    EXPECT_EQ(calls, 2);
    mailbox.beginDelivery();
    mailbox.setFilledHook({});
    change(tags[2]);
    EXPECT_EQ(calls, 2);
}

TEST_F(MailboxTest, theDescriptorIsReadableWhileAnEntryWaits)
{
    change(tags[0]); // before the descriptor was asked for
    EXPECT_TRUE(isReadable());
    change(tags[1]);
    EXPECT_EQ(taken(), "tag 1");
    EXPECT_TRUE(isReadable());
    EXPECT_EQ(taken(), "tag 2");
    EXPECT_FALSE(isReadable());
    end(7);
    EXPECT_TRUE(isReadable());
    EXPECT_TRUE(isReadable()); // looking does not clear it
}

TEST_F(MailboxTest, anExpectedEndGoesToWhoeverAwaitsIt)
{
    mailbox.expect(7);
    end(6);
    end(7);
    EXPECT_EQ(taken(), "write 6");
    EXPECT_EQ(taken(), "-");
    const std::optional<Event> event = mailbox.await(7, 0ms);
    ASSERT_TRUE(event);
    EXPECT_EQ(std::get<WriteResult>(*event).id, 7U);
    EXPECT_FALSE(mailbox.isExpected(7));
    EXPECT_FALSE(mailbox.await(7, 1h)) << "nothing to wait for";
}

TEST_F(MailboxTest, whatDidNotEndInTimeIsExpectedUntilItIsForgotten)
{
    mailbox.expect(7);
    EXPECT_FALSE(mailbox.await(7, 0ms));
    EXPECT_TRUE(mailbox.isExpected(7));
    mailbox.forget(7);
    end(7);
    EXPECT_EQ(taken(), "write 7");
}

TEST_F(MailboxTest, awaitWakesUpAtTheEnd)
{
    mailbox.expect(7);
    std::thread link([this] { end(7); });
    EXPECT_TRUE(mailbox.await(7, 1h));
    link.join();
}

TEST_F(MailboxTest, waitWakesUpAtAnyEntry)
{
    EXPECT_FALSE(mailbox.wait(0ms));
    std::thread link([this] { change(tags[0]); });
    EXPECT_TRUE(mailbox.wait(1h));
    link.join();
    EXPECT_TRUE(mailbox.wait(0ms));
}

TEST_F(MailboxTest, waitForLinkEndsWhenItIsReadyAndWhenItIsStopped)
{
    EXPECT_FALSE(mailbox.waitForLink(1h)) << "stopped: it will not come";
    mailbox.setLink(LinkState::Resolving);
    EXPECT_FALSE(mailbox.waitForLink(0ms));
    std::thread link([this] { linkGoes(LinkState::Ready); });
    EXPECT_TRUE(mailbox.waitForLink(1h));
    link.join();
    linkGoes(LinkState::Waiting);
    std::thread stopper([this] { mailbox.setLink(LinkState::Stopped); });
    EXPECT_FALSE(mailbox.waitForLink(1h));
    stopper.join();
}

// The longest time there is, as a caller writes it who does not want to give up.
TEST_F(MailboxTest, waitsForever)
{
    constexpr Duration noEnd = Duration::max();
    std::thread link([this] { change(tags[0]); });
    EXPECT_TRUE(mailbox.wait(noEnd));
    link.join();
    mailbox.setLink(LinkState::Resolving);
    std::thread opener([this] { linkGoes(LinkState::Ready); });
    EXPECT_TRUE(mailbox.waitForLink(noEnd));
    opener.join();
    mailbox.expect(7);
    std::thread ender([this] { end(7); });
    EXPECT_TRUE(mailbox.await(7, noEnd));
    ender.join();
}
} // namespace
