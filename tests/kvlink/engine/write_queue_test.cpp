// SPDX-License-Identifier: MIT
// The queue alone: what is sent next, and how each write ends.
#include "engine/write_outcomes.h"
#include "engine/write_queue.h"

#include <gtest/gtest.h>

#include <sstream>

namespace kvlink
{
namespace
{

constexpr SteadyTime start{1h};

QueuedWrite queued(WriteId id, quint32 tag = 1, const WriteOptions &options = {}, int requests = 1)
{
    QueuedWrite write;
    write.id = id;
    write.tag = Tag(tag);
    write.options = options;
    for (int i = 0; i < requests; ++i)
        write.requests.push_back({int(id), QString::number(i), {}, 1});
    return write;
}

class WriteQueueTest : public ::testing::Test
{
protected:
    // "3 done none, ..."
    std::string ends()
    {
        std::ostringstream out;
        for (const WriteEnd &end : queue.takeEnded())
            out << (out.str().empty() ? "" : ", ") << end.id << ' ' << qPrintable(outcomeName(end.outcome))
                << ' ' << int(end.reason) << (end.sent > 0 ? " sent " + std::to_string(end.sent) : "");
        return out.str();
    }
    // Begins and sends the next request; \return the id of its write.
    WriteId send(SteadyTime at = start)
    {
        const auto id = WriteId(queue.begin().area);
        EXPECT_TRUE(queue.sending(at));
        return id;
    }
    static std::string number(Reason reason) { return std::to_string(int(reason)); }

    WriteQueue queue{1s, 4};
};

TEST_F(WriteQueueTest, ConfirmedIsDone)
{
    queue.add(queued(1), true, start);
    EXPECT_EQ(send(), 1U);
    EXPECT_EQ(ends(), "");
    queue.confirmed();
    EXPECT_EQ(ends(), "1 done 0 sent 1");
    EXPECT_TRUE(queue.isEmpty());
}

TEST_F(WriteQueueTest, GoesInOrder)
{
    for (const WriteId id : {1U, 2U, 3U})
        queue.add(queued(id, quint32(id % 2)), true, start);
    for (const WriteId id : {1U, 2U, 3U}) {
        EXPECT_EQ(send(), id);
        queue.confirmed();
    }
}

TEST_F(WriteQueueTest, OfflineFailsAtOnceUnlessItWaits)
{
    queue.add(queued(1), false, start);
    EXPECT_EQ(ends(), "1 not sent " + number(Reason::Offline));
    queue.add(queued(2, 1, {.whenOffline = WhenOffline::Wait}), false, start);
    EXPECT_EQ(ends(), "");
    queue.linkStaysLost();
    queue.linkLost();
    EXPECT_EQ(ends(), "");
    EXPECT_EQ(send(), 2U);
}

TEST_F(WriteQueueTest, ALostLinkEndsWhatDoesNotWait)
{
    queue.add(queued(1), true, start);
    queue.add(queued(2), true, start);
    queue.add(queued(3, 1, {.whenOffline = WhenOffline::Wait}), true, start);
    send();
    queue.unanswered(Reason::LinkLost);
    queue.linkLost();
    EXPECT_EQ(ends(), "2 not sent " + number(Reason::Offline)); // 1 has a second attempt left
    EXPECT_EQ(send(), 1U);
    queue.unanswered(Reason::NoAnswer);
    EXPECT_EQ(ends(), "1 unknown " + number(Reason::NoAnswer) + " sent 2");
}

TEST_F(WriteQueueTest, IsSentAsOftenAsItMayBe)
{
    for (const int attempts : {1, 2, 5}) {
        queue.add(queued(WriteId(attempts), 1, {.attempts = attempts}), true, start);
        for (int i = 0; i < attempts; ++i) {
            EXPECT_EQ(ends(), "");
            send();
            queue.unanswered(Reason::NoAnswer);
        }
        EXPECT_EQ(ends(), std::to_string(attempts) + " unknown " + number(Reason::NoAnswer) + " sent " +
                              std::to_string(attempts));
    }
}

TEST_F(WriteQueueTest, ExpiresBeforeItIsSentAndNotAfter)
{
    queue.add(queued(1, 1, {.expires = 5s}), true, start);
    EXPECT_EQ(queue.nextExpiry(), start + 5s);
    queue.expire(start + 4999ms);
    EXPECT_EQ(ends(), "");
    queue.expire(start + 5s);
    EXPECT_EQ(ends(), "1 not sent " + number(Reason::Expired));
    EXPECT_EQ(queue.nextExpiry(), SteadyTime::max());

    queue.add(queued(2, 1, {.expires = 5s}), true, start);
    send(start + 4s);
    queue.expire(start + 6s); // in flight: its answer decides
    EXPECT_EQ(ends(), "");
    EXPECT_EQ(queue.nextExpiry(), SteadyTime::max());
    queue.unanswered(Reason::NoAnswer);
    EXPECT_EQ(queue.nextExpiry(), start + 5s);
    queue.expire(start + 6s);
    EXPECT_EQ(ends(), "2 unknown " + number(Reason::NoAnswer) + " sent 1"); // and is not sent again
}

TEST_F(WriteQueueTest, EachExpiresAtItsOwnTimeAndAReleaseNever)
{
    queue.add(queued(1, 1, {.expires = 1s}), true, start);
    queue.add(queued(2, 2, {.expires = 5s}), true, start);
    QueuedWrite release = queued(3, 3, {.expires = 1s});
    release.kind = WriteKind::Release;
    queue.add(std::move(release), true, start);
    queue.expire(start + 1s);
    EXPECT_EQ(ends(), "1 not sent " + number(Reason::Expired));
    queue.expire(start + 5s);
    EXPECT_EQ(ends(), "2 not sent " + number(Reason::Expired));
    EXPECT_EQ(queue.nextExpiry(), SteadyTime::max());
    EXPECT_EQ(send(start + 9s), 3U);
}

TEST_F(WriteQueueTest, AWriteThatExpiresBehindItsReadIsNotSent)
{
    queue.add(queued(1, 1, {.expires = 5s}), true, start);
    queue.begin();
    EXPECT_FALSE(queue.sending(start + 5s));
    queue.letGo();
    queue.expire(start + 5s);
    EXPECT_EQ(ends(), "1 not sent " + number(Reason::Expired));
}

TEST_F(WriteQueueTest, ANewerValueReplacesAnUnsentOneInItsPlace)
{
    queue.add(queued(1, 1), true, start);
    queue.add(queued(2, 2), true, start);
    queue.add(queued(3, 1, {.coalesce = true}), true, start);
    EXPECT_EQ(ends(), "1 not sent " + number(Reason::Replaced));
    EXPECT_EQ(send(), 3U);
    queue.add(queued(4, 1, {.coalesce = true}), true, start); // 3 is in flight
    EXPECT_EQ(ends(), "");
    queue.confirmed();
    EXPECT_EQ(send(), 2U);
}

TEST_F(WriteQueueTest, IsCancelledOnlyBeforeItIsSent)
{
    for (const WriteId id : {1U, 2U, 3U})
        queue.add(queued(id), true, start);
    send();
    EXPECT_FALSE(queue.cancel(1));
    EXPECT_TRUE(queue.cancel(2));
    EXPECT_FALSE(queue.cancel(2));
    EXPECT_EQ(ends(), "2 not sent " + number(Reason::Cancelled));
    queue.unanswered(Reason::NoAnswer);
    EXPECT_FALSE(queue.cancel(1)); // sent already
    EXPECT_EQ(queue.cancelAll(), 1);
    EXPECT_EQ(ends(), "3 not sent " + number(Reason::Cancelled));
}

TEST_F(WriteQueueTest, RefusedChangesNothingUnlessAnEarlierAttemptMayHave)
{
    queue.add(queued(1), true, start);
    send();
    queue.refusedByPlc(4);
    const std::vector<WriteEnd> refused = queue.takeEnded();
    ASSERT_EQ(refused.size(), 1U);
    EXPECT_EQ(refused[0].outcome, Outcome::Refused);
    EXPECT_EQ(refused[0].plcError, 4);
    EXPECT_EQ(refused[0].text, QStringLiteral("the PLC answered E4; nothing was changed"));

    queue.add(queued(2), true, start);
    send();
    queue.unanswered(Reason::NoAnswer);
    send();
    queue.refusedByPlc(0);
    EXPECT_EQ(ends(), "2 unknown " + number(Reason::PlcError) + " sent 2");
}

TEST_F(WriteQueueTest, SeveralRequestsAreDoneTogetherOrPartly)
{
    queue.add(queued(1, 1, {}, 3), true, start);
    for (int part = 0; part < 3; ++part) {
        EXPECT_EQ(queue.begin().addressText, QString::number(part));
        EXPECT_TRUE(queue.sending(start));
        EXPECT_EQ(ends(), "");
        queue.confirmed();
    }
    EXPECT_EQ(ends(), "1 done 0 sent 3");

    queue.add(queued(2, 1, {.attempts = 1}, 3), true, start);
    send();
    queue.confirmed();
    send();
    queue.unanswered(Reason::NoAnswer);
    EXPECT_EQ(ends(), "2 unknown " + number(Reason::PartlyDone) + " sent 2");

    queue.add(queued(3, 1, {}, 2), true, start);
    send();
    queue.confirmed();
    send();
    queue.refusedByPlc(0);
    EXPECT_EQ(ends(), "3 unknown " + number(Reason::PartlyDone) + " sent 2");
}

TEST_F(WriteQueueTest, ABitWhoseWordWasNotReadWasNotSent)
{
    queue.add(queued(1, 1, {.attempts = 2}), true, start);
    for (int i = 0; i < 2; ++i) {
        queue.begin(); // the read; the write never follows
        queue.unanswered(Reason::NoAnswer);
    }
    EXPECT_EQ(ends(), "1 not sent " + number(Reason::NoAnswer));
}

TEST_F(WriteQueueTest, TakesOnlySoMany)
{
    for (const WriteId id : {1U, 2U, 3U, 4U, 5U})
        queue.add(queued(id), true, start);
    EXPECT_EQ(ends(), "5 not sent " + number(Reason::QueueFull));
}

TEST_F(WriteQueueTest, StoppingEndsAllByWhatWasSent)
{
    queue.add(queued(1), true, start);
    queue.add(queued(2, 1, {.whenOffline = WhenOffline::Wait}), true, start);
    send();
    queue.stop();
    EXPECT_EQ(ends(),
              "1 unknown " + number(Reason::Stopped) + " sent 1, 2 not sent " + number(Reason::Stopped));

    queue.add(queued(3), true, start);
    queue.begin(); // a bit of a word: only its read is out
    queue.stop();
    EXPECT_EQ(ends(), "3 not sent " + number(Reason::Stopped));
}

TEST_F(WriteQueueTest, AReleasePassesOthersButNotItsOwnTag)
{
    queue.add(queued(1, 7), true, start);
    queue.add(queued(2, 1), true, start);
    queue.add(queued(3, 8), true, start);
    send();
    QueuedWrite release = queued(9, 1);
    release.kind = WriteKind::Release;
    queue.add(release, true, start);
    queue.confirmed();
    EXPECT_EQ(send(), 2U);
    queue.confirmed();
    EXPECT_EQ(send(), 9U);
}

TEST_F(WriteQueueTest, AReleaseIsRepeatedUntilItIsConfirmedOrTheLinkStaysLost)
{
    QueuedWrite release = queued(9, 1, {.expires = 1ms, .attempts = 1});
    release.kind = WriteKind::Release;
    queue.add(release, false, start);
    queue.linkLost();
    queue.expire(start + 1h);
    EXPECT_EQ(queue.cancelAll(), 0);
    EXPECT_FALSE(queue.cancel(9));
    for (int i = 0; i < 5; ++i) {
        send(start + 2h);
        queue.unanswered(Reason::NoAnswer);
        queue.linkLost();
    }
    EXPECT_EQ(ends(), "");
    queue.linkStaysLost();
    EXPECT_EQ(ends(), "9 unknown " + number(Reason::NoAnswer) + " sent 5");
}

TEST_F(WriteQueueTest, ARefusedReleaseIsTriedThreeTimes)
{
    QueuedWrite release = queued(9, 1, {.attempts = 1});
    release.kind = WriteKind::Release;
    queue.add(release, true, start);
    for (int i = 0; i < 2; ++i) {
        send();
        queue.refusedByPlc(0);
        EXPECT_EQ(ends(), "");
    }
    send();
    queue.refusedByPlc(0);
    EXPECT_EQ(ends(), "9 refused " + number(Reason::PlcError) + " sent 3");
    EXPECT_TRUE(queue.isEmpty());
}

TEST_F(WriteQueueTest, ARemovedTagTakesItsWritesWithItButNoRelease)
{
    queue.add(queued(1, 1), true, start);
    queue.add(queued(2, 2), true, start);
    QueuedWrite release = queued(3, 1);
    release.kind = WriteKind::Release;
    queue.add(release, true, start);
    queue.cancelTag(Tag(1));
    EXPECT_EQ(ends(), "1 not sent " + number(Reason::Cancelled));
    EXPECT_EQ(send(), 3U);
    queue.confirmed();
    EXPECT_EQ(send(), 2U);
}

TEST_F(WriteQueueTest, APressIsNotReplacedByANewerValue)
{
    QueuedWrite press = queued(1, 1);
    press.kind = WriteKind::Press;
    queue.add(press, true, start);
    queue.add(queued(2, 1, {.coalesce = true}), true, start);
    queue.add(queued(3, 1, {.coalesce = true}), true, start);
    EXPECT_EQ(ends(), "2 not sent " + number(Reason::Replaced));
    EXPECT_EQ(send(), 1U);
}

TEST_F(WriteQueueTest, AWriteOfWhichAPartIsDoneIsNeitherCancelledNorReplaced)
{
    queue.add(queued(1, 1, {}, 2), true, start);
    send();
    queue.confirmed();
    EXPECT_FALSE(queue.cancel(1));
    EXPECT_EQ(queue.cancelAll(), 0);
    queue.linkLost();
    queue.add(queued(2, 1, {.coalesce = true}), true, start);
    EXPECT_EQ(ends(), "");
    EXPECT_EQ(queue.begin().addressText, QStringLiteral("1"));
}

TEST_F(WriteQueueTest, AReleasePassesWhatIsUnsentButNotWhatHasBegun)
{
    QueuedWrite release = queued(9, 1);
    release.kind = WriteKind::Release;
    queue.add(queued(1, 7), true, start);
    queue.add(release, true, start);
    EXPECT_EQ(send(), 9U);
    queue.confirmed();
    EXPECT_EQ(send(), 1U);
    queue.unanswered(Reason::NoAnswer);
    queue.add(release, true, start);
    EXPECT_EQ(send(), 1U) << "it was sent, and may have to be sent again";
    queue.confirmed();
    EXPECT_EQ(send(), 9U);
}

TEST_F(WriteQueueTest, WhatTheDriverDoesNotTakeLeavesTheNextOneAsItIs)
{
    queue.add(queued(1), true, start);
    queue.add(queued(2), true, start);
    queue.begin();
    EXPECT_TRUE(queue.isInHand());
    queue.impossible();
    EXPECT_FALSE(queue.isInHand());
    EXPECT_EQ(ends(), "1 not sent " + number(Reason::InvalidValue));
    EXPECT_TRUE(queue.cancel(2));
}

TEST_F(WriteQueueTest, StoppingSaysSoOfWhatWasSentBefore)
{
    queue.add(queued(1), true, start);
    send();
    queue.unanswered(Reason::NoAnswer); // it would be sent once more
    queue.stop();
    EXPECT_EQ(ends(), "1 unknown " + number(Reason::Stopped) + " sent 1");
    EXPECT_EQ(queue.nextExpiry(), SteadyTime::max());
    EXPECT_FALSE(queue.isInHand());
}

TEST_F(WriteQueueTest, StoppingEndsAllButReleasesAndWhatIsInHand)
{
    QueuedWrite release = queued(3, 3);
    release.kind = WriteKind::Release;
    queue.add(queued(1, 1), true, start);
    send();
    queue.add(queued(2, 2), true, start);
    queue.add(release, true, start);
    queue.endButReleases();
    EXPECT_EQ(ends(), "2 not sent " + number(Reason::Stopped));
    queue.confirmed();
    EXPECT_EQ(ends(), "1 done 0 sent 1");
    EXPECT_EQ(send(), 3U);
}

TEST_F(WriteQueueTest, OnlyWhatMayBeSentOnceIsNotGreetedFor)
{
    const struct {
        WriteKind kind;
        int attempts;
        bool once;
    } rows[] = {
        {WriteKind::Plain, 1, true},
        {WriteKind::Plain, 2, false},
        {WriteKind::Press, 1, true},
        {WriteKind::Release, 1, false},
    };
    for (const auto &row : rows) {
        QueuedWrite write = queued(1, 1, {.attempts = row.attempts});
        write.kind = row.kind;
        queue.add(write, true, start);
        EXPECT_EQ(queue.isSentOnce(), row.once) << int(row.kind) << ' ' << row.attempts;
        queue.stop();
    }
}

TEST(Outcomes, RowsSayWhatWasSentAndWhatMayHaveChanged)
{
    for (const OutcomeRow &row : outcomeRows()) {
        EXPECT_EQ(row.leftHost, row.outcome != Outcome::NotSent);
        EXPECT_EQ(row.mayBeCarriedOut, row.outcome == Outcome::Done || row.outcome == Outcome::Unknown);
        const QString text = endText(row.outcome, row.reason, QStringLiteral("7"));
        EXPECT_FALSE(text.contains(QLatin1Char('%'))) << qPrintable(text);
        EXPECT_EQ(text.contains(QStringLiteral("; nothing was")), !row.mayBeCarriedOut) << qPrintable(text);
    }
}

} // namespace
} // namespace kvlink
