// SPDX-License-Identifier: MIT
// What is asked first of all that is due, and what a request says of itself; without a link.
#include "engine/reader.h"

#include <gtest/gtest.h>

namespace kvlink
{
namespace
{

constexpr SteadyTime now{1h};

class ReaderTest : public ::testing::Test
{
protected:
    // Words of DM that no request joins: a gap costs more than a request there.
    ValueBook::Slot add(int word, Duration period)
    {
        QString problem;
        EngineTag tag;
        tag.tag = Tag(quint32(word));
        tag.place = parsePlace(QStringLiteral("DM%1").arg(word), problem).value_or(Place());
        tag.period = period;
        const ValueBook::Slot slot = book.add(tag);
        reader.add({slot}, false, now);
        return slot;
    }
    // The word that is asked next; -1: none.
    int next(SteadyTime at) { return reader.next(request, at) ? request.block.first : -1; }
    void answer(SteadyTime at)
    {
        reader.answered(request, {10, request.block.first, 1, QByteArray("\7\0", 2), {}, {}, {}},
                        {at, WallTime(1s)});
    }

    ValueBook book{Coding()};
    LinkSettings settings;
    Reader reader{book, settings, 0.01};
    ReadRequest request;
};

TEST_F(ReaderTest, AsksForWhatHasToEndFirst)
{
    add(100, 1s);
    add(200, 100ms);
    add(300, 10s);
    EXPECT_FALSE(reader.isDue());
    reader.linkReady(now);
    EXPECT_TRUE(reader.isDue());
    EXPECT_EQ(next(now), 200);
    EXPECT_EQ(request.period, Duration(100ms));
    EXPECT_EQ(request.due, now);
    EXPECT_EQ(next(now), 100);
    EXPECT_EQ(next(now), 300);
    EXPECT_EQ(request.period, Duration(10s));
    EXPECT_EQ(next(now), -1);
    EXPECT_FALSE(reader.isDue());
    EXPECT_EQ(reader.nextDeadline(), now + 100ms);
}

// A long period that is late is not held up forever by a short one.
TEST_F(ReaderTest, AsksForALateLongPeriodBeforeAShortOne)
{
    add(100, 1s);
    add(150, 1s);
    add(200, 300ms);
    reader.linkReady(now);
    EXPECT_EQ(next(now), 200);
    EXPECT_EQ(next(now), 100);
    reader.tick(now + 950ms, true); // due again at 900 ms, to end at 1200 ms
    EXPECT_EQ(next(now + 950ms), 150);
    EXPECT_EQ(next(now + 950ms), 200);
}

TEST_F(ReaderTest, AsksForTheShorterPeriodOfTwoThatEndTogether)
{
    add(100, 200ms);
    add(150, 200ms);
    add(200, 100ms);
    reader.linkReady(now);
    EXPECT_EQ(next(now), 200);
    EXPECT_EQ(next(now), 100);
    reader.tick(now + 100ms, true); // to end at 200 ms, as the other does
    EXPECT_EQ(next(now + 100ms), 200);
    EXPECT_EQ(next(now + 100ms), 150);
}

TEST_F(ReaderTest, AsksWhatSomebodyAskedForBeforeAPassThatIsInTime)
{
    const ValueBook::Slot wanted = add(900, Duration(0));
    add(100, 100ms);
    add(200, 100ms);
    reader.linkReady(now);
    EXPECT_EQ(next(now), 100);
    reader.readNow(7, {wanted}, now + 100ms); // the pass should end just then
    EXPECT_EQ(next(now + 100ms), 900);
    EXPECT_EQ(request.period, Duration(0));
    EXPECT_EQ(request.due, now + 100ms);
    EXPECT_EQ(next(now + 100ms), 200);
    EXPECT_EQ(reader.takeEnded(), std::vector<ReadId>{7});
}

TEST_F(ReaderTest, AsksAPassThatIsLateBeforeWhatSomebodyAskedForSince)
{
    const ValueBook::Slot wanted = add(900, Duration(0));
    add(100, 100ms);
    add(200, 100ms);
    reader.linkReady(now);
    EXPECT_EQ(next(now), 100);
    reader.readNow(7, {wanted}, now + 101ms);
    EXPECT_EQ(next(now + 101ms), 200);
    EXPECT_EQ(next(now + 101ms), 900);
}

TEST_F(ReaderTest, AsksForNewTagsAfterAPassThatIsLate)
{
    add(100, 100ms);
    add(200, 100ms);
    reader.linkReady(now);
    EXPECT_EQ(next(now), 100);
    EngineTag fresh = book.tag(book.find(Tag(200)));
    fresh.tag = Tag(300);
    QString problem;
    fresh.place = parsePlace(QStringLiteral("DM300"), problem).value_or(Place());
    reader.add({book.add(fresh)}, true, now + 101ms);
    // It belongs to the pass as well, which asks for it before the read of its own does.
    EXPECT_EQ(next(now + 101ms), 200);
    EXPECT_EQ(request.period, Duration(100ms));
    EXPECT_EQ(next(now + 101ms), 300);
    EXPECT_EQ(request.period, Duration(100ms));
    EXPECT_EQ(next(now + 101ms), 300);
    EXPECT_EQ(request.period, Duration(0));
}

TEST_F(ReaderTest, TellsWhenAValueIsStaleAtTheLatest)
{
    add(100, 1s);
    reader.linkReady(now);
    ASSERT_EQ(next(now), 100);
    EXPECT_EQ(reader.nextDeadline(), now + 3s);
    answer(now + 500ms);
    book.changes().clear();
    reader.tick(now + 2999ms, false);
    EXPECT_EQ(book.sample(0).quality, Quality::Good);
    reader.tick(now + 3s, false);
    EXPECT_EQ(book.sample(0).quality, Quality::Stale);
}

TEST_F(ReaderTest, TakesTheShortestPeriodThereIs)
{
    add(100, 1us);
    add(200, Duration(0));
    add(300, -1s);
    EXPECT_EQ(reader.plan().requests.size(), 1);
}

TEST_F(ReaderTest, AnswersToTagsThatWereRemovedMeanwhileDoNothing)
{
    const ValueBook::Slot slot = add(100, 1s);
    reader.linkReady(now);
    ASSERT_EQ(next(now), 100);
    reader.remove(slot);
    book.remove(slot);
    answer(now + 1ms);
    reader.refused(request, 0, now + 1ms);
    reader.failed(request, Reason::NoAnswer);
    EXPECT_TRUE(book.changes().empty());
    const ValueBook::Slot onDemand = add(200, Duration(0));
    reader.remove(onDemand); // it is in no pass
    EXPECT_EQ(next(now + 1s), -1);
}

} // namespace
} // namespace kvlink
