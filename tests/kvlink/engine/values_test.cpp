// SPDX-License-Identifier: MIT
// The value book, the rhythm of a period, and answer times; by rows, without a link.
#include "engine/pass_clock.h"
#include "engine/statistics.h"
#include "engine/value_book.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

namespace kvlink
{
namespace
{

EngineTag tagOf(quint32 id, const char *address, double deadband = 0.0)
{
    QString problem;
    EngineTag tag;
    tag.tag = Tag(id);
    tag.place = parsePlace(QString::fromLatin1(address), problem).value_or(Place());
    tag.deadband = deadband;
    return tag;
}

// DM from 0 on.
UnitBlock words(std::initializer_list<int> values)
{
    UnitBlock block{10, 0, int(values.size()), {}, {}, {}, {}};
    for (const int value : values) {
        block.whole.append(char(value & 0xFF));
        block.whole.append(char(value >> 8 & 0xFF));
    }
    return block;
}

Moment moment(int second)
{
    return {SteadyTime(1s * second), WallTime(1s * second)};
}

std::string told(ValueBook &book)
{
    std::string all;
    for (const Events::Change &change : book.changes())
        all += (all.empty() ? "" : ", ") + std::to_string(change.tag.id()) + ' ' +
               qualityName(change.sample.quality).toStdString() + ' ' + change.sample.toText().toStdString();
    book.changes().clear();
    return all;
}

TEST(ValueBook, TellsWhatHasChangedAndKeepsTheTimeOfTheRest)
{
    ValueBook book({});
    const auto one = book.add(tagOf(1, "DM0"));
    const auto two = book.add(tagOf(2, "DM1.S"));
    EXPECT_EQ(book.sample(one).quality, Quality::Never);
    for (const auto slot : {one, two})
        book.take(slot, words({5, 65535}), moment(1), false);
    EXPECT_EQ(told(book), "1 good 5, 2 good -1");
    for (const auto slot : {one, two})
        book.take(slot, words({5, 0}), moment(2), false);
    EXPECT_EQ(told(book), "2 good 0");
    EXPECT_EQ(book.sample(one).steadyTime, SteadyTime(2s));
    EXPECT_EQ(book.sample(one).time, WallTime(2s));
    book.take(one, words({5, 0}), moment(3), true);
    EXPECT_EQ(told(book), "1 good 5"); // somebody asked
}

TEST(ValueBook, ABadValueKeepsTheLastGoodOneAndItsTime)
{
    ValueBook book({});
    const auto slot = book.add(tagOf(1, "DM0"));
    book.fail(slot, Reason::PlcError, 0, false);
    EXPECT_EQ(told(book), "1 bad ");
    book.take(slot, words({5}), moment(1), false);
    book.changes().clear();
    book.fail(slot, Reason::PlcError, 1, false);
    EXPECT_EQ(told(book), "1 bad 5");
    book.fail(slot, Reason::PlcError, 1, false);
    EXPECT_EQ(told(book), ""); // nothing new
    const Sample sample = book.sample(slot);
    EXPECT_EQ(sample.reason, Reason::PlcError);
    EXPECT_EQ(sample.plcError, 1);
    EXPECT_EQ(sample.steadyTime, SteadyTime(1s));
    book.take(slot, words({5}), moment(2), false);
    EXPECT_EQ(told(book), "1 good 5");
    EXPECT_EQ(book.sample(slot).reason, Reason::None);
    EXPECT_EQ(book.sample(slot).plcError, 0);
}

TEST(ValueBook, QualitiesFollowEachOther)
{
    ValueBook book({});
    const auto slot = book.add(tagOf(1, "DM0"));
    book.age(slot);
    book.setPending(slot);
    EXPECT_EQ(told(book), ""); // never read: neither stale nor pending
    book.take(slot, words({5}), moment(1), false);
    book.setPending(slot);
    book.age(slot);
    book.age(slot);
    book.setPending(slot);
    EXPECT_EQ(told(book), "1 good 5, 1 pending 5, 1 stale 5, 1 pending 5");
    book.loseAll(false);
    book.setPending(slot);
    book.age(slot);
    EXPECT_EQ(told(book), "1 bad 5");
}

TEST(ValueBook, ALostLinkMakesAllBadAndMayKeepWhyAReadFailed)
{
    ValueBook book({});
    const auto asked = book.add(tagOf(1, "DM0"));
    const auto other = book.add(tagOf(2, "DM1"));
    book.fail(asked, Reason::NoAnswer, 0, false);
    book.loseAll(true);
    EXPECT_EQ(book.sample(asked).reason, Reason::NoAnswer);
    EXPECT_EQ(book.sample(other).reason, Reason::NoLink);
    book.loseAll(false);
    EXPECT_EQ(book.sample(asked).reason, Reason::NoLink);
}

TEST(ValueBook, ALostLinkKeepsOnlyWhyARequestGotNoGoodAnswer)
{
    const struct {
        Reason reason, kept;
    } rows[] = {
        {Reason::NoAnswer, Reason::NoAnswer},
        {Reason::Corrupted, Reason::Corrupted},
        {Reason::PlcError, Reason::NoLink},
        {Reason::OutOfRange, Reason::NoLink},
    };
    for (const auto &row : rows) {
        ValueBook book({});
        const auto slot = book.add(tagOf(1, "DM0"));
        book.fail(slot, row.reason, 0, false);
        book.loseAll(true);
        EXPECT_EQ(book.sample(slot).reason, row.kept) << int(row.reason);
    }
}

TEST(ValueBook, OnlyAnErrorOfThePlcHasACode)
{
    ValueBook book({});
    const auto slot = book.add(tagOf(1, "DM0.F"));
    void (*const changes[])(ValueBook &, ValueBook::Slot) = {
        [](ValueBook &, ValueBook::Slot) {},
        [](ValueBook &one, ValueBook::Slot at) { one.age(at); },
        [](ValueBook &one, ValueBook::Slot at) { one.setPending(at); },
        [](ValueBook &one, ValueBook::Slot) { one.loseAll(false); },
        [](ValueBook &one, ValueBook::Slot at) { one.fail(at, Reason::NoAnswer, 0, false); },
        [](ValueBook &one, ValueBook::Slot at) {
            one.take(at, words({0, 0x7F80}), moment(2), false);
        }, // infinite
    };
    EXPECT_EQ(book.sample(slot).plcError, 0);
    for (const auto change : changes) {
        book.fail(slot, Reason::PlcError, 4, false);
        EXPECT_EQ(book.sample(slot).plcError, 4);
        book.take(slot, words({0, 0x3F80}), moment(1), false);
        change(book, slot);
        EXPECT_EQ(book.sample(slot).plcError, 0);
    }
    book.fail(slot, Reason::PlcError, 4, false);
    book.loseAll(false);
    EXPECT_EQ(book.sample(slot).plcError, 0);
    book.changes().clear();
    book.fail(slot, Reason::PlcError, 4, false);
    book.fail(slot, Reason::PlcError, 5, false); // another one is told
    EXPECT_EQ(told(book), "1 bad 1, 1 bad 1");
}

TEST(ValueBook, AnAnswerThatDoesNotCoverATagChangesNothing)
{
    ValueBook book({});
    const auto slot = book.add(tagOf(1, "DM1:2"));
    book.take(slot, words({1, 2}), moment(1), true);
    EXPECT_EQ(told(book), "");
    EXPECT_EQ(book.sample(slot).quality, Quality::Never);
}

TEST(ValueBook, ARemovedTagIsNotToldOfALostLink)
{
    ValueBook book({});
    book.remove(book.add(tagOf(1, "DM0")));
    book.loseAll(false);
    EXPECT_EQ(told(book), "");
}

TEST(ValueBook, TagsThatFollowARemovedOneKeepTheirValuesApart)
{
    ValueBook book({});
    book.remove(book.add(tagOf(1, "DM0")));
    const auto one = book.add(tagOf(2, "DM0"));
    const auto two = book.add(tagOf(3, "DM1"));
    EXPECT_NE(one, two);
    for (const auto slot : {one, two})
        book.take(slot, words({5, 6}), moment(1), false);
    EXPECT_EQ(book.sample(one).toInt(), 5);
    EXPECT_EQ(book.sample(two).toInt(), 6);
    EXPECT_EQ(book.find(Tag(2)), one);
    EXPECT_EQ(book.find(Tag(3)), two);
}

// 0.5 is 3F000000h, 1 is 3F800000h, 1.5 is 3FC00000h, 2 is 40000000h.
TEST(ValueBook, RealNumbersHaveADeadbandToo)
{
    ValueBook book({});
    const auto one = book.add(tagOf(1, "DM0.F", 1.0));
    const auto list = book.add(tagOf(2, "DM0.F:2", 1.0));
    for (const int high : {0x3F00, 0x3F80, 0x3FC0}) {
        for (const auto slot : {one, list})
            book.take(slot, words({0, 0x3F80, 0, high}), moment(1), false);
    }
    EXPECT_EQ(told(book), "1 good 1, 2 good 1,0.5, 2 good 1,1.5");
    book.take(one, words({0, 0x3FC0}), moment(2), false);
    EXPECT_EQ(told(book), ""); // from 1 to 1.5
    book.take(one, words({0, 0x4000}), moment(3), false);
    EXPECT_EQ(told(book), "1 good 2");
}

TEST(ValueBook, BitsAndTextsAreToldWhateverTheirDeadband)
{
    ValueBook book({});
    const auto bit = book.add(tagOf(1, "DM0.0", 5.0));
    const auto text = book.add(tagOf(2, "DM0.STR:2", 5.0));
    for (const int value : {0x4141, 0x4142, 0x4142}) {
        for (const auto slot : {bit, text})
            book.take(slot, words({value}), moment(1), false);
    }
    EXPECT_EQ(told(book), "1 good 1, 2 good AA, 1 good 0, 2 good AB");
}

TEST(ValueBook, SmallStepsAreToldOnceTheyAreALargeOne)
{
    ValueBook book({});
    const auto slot = book.add(tagOf(1, "DM0", 3.0));
    std::string all;
    for (const int value : {10, 11, 12, 13, 12, 11, 10, 16}) {
        book.take(slot, words({value}), moment(value), false);
        all += told(book) + ';';
    }
    EXPECT_EQ(all, "1 good 10;;;1 good 13;;;1 good 10;1 good 16;");
    book.take(slot, words({15}), moment(99), false);
    EXPECT_EQ(book.sample(slot).toInt(), 15); // what is asked for is the newest all the same
}

TEST(ValueBook, AListIsToldWhenOneOfItsValuesHasMovedFarEnough)
{
    ValueBook book({});
    const auto slot = book.add(tagOf(1, "DM0:2", 3.0));
    book.take(slot, words({10, 10}), moment(1), false);
    book.take(slot, words({12, 8}), moment(2), false);
    book.take(slot, words({12, 7}), moment(3), false);
    EXPECT_EQ(told(book), "1 good 10,10, 1 good 12,7");
}

TEST(ValueBook, NanIsBadAndKeepsTheLastNumber)
{
    ValueBook book({});
    const auto slot = book.add(tagOf(1, "DM0.F"));
    const auto take = [&](float value) {
        quint32 bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        book.take(slot, words({int(bits & 0xFFFF), int(bits >> 16)}), moment(1), false);
    };
    take(1.5F);
    take(std::nanf(""));
    take(std::nanf(""));
    EXPECT_EQ(told(book), "1 good 1.5, 1 bad 1.5");
    EXPECT_EQ(book.sample(slot).reason, Reason::NotRepresentable);
    take(1.5F);
    EXPECT_EQ(told(book), "1 good 1.5");
}

TEST(ValueBook, ASlotIsUsedAgainAndAnIdNever)
{
    ValueBook book({});
    const auto slot = book.add(tagOf(1, "DM0", 1.0));
    book.take(slot, words({5}), moment(1), false);
    book.remove(slot);
    book.changes().clear();
    EXPECT_EQ(book.find(Tag(1)), ValueBook::noSlot);
    book.take(slot, words({6}), moment(1), false); // an answer that comes too late
    book.fail(slot, Reason::NoAnswer, 0, false);
    EXPECT_EQ(told(book), "");
    EXPECT_EQ(book.add(tagOf(2, "DM0", 1.0)), slot);
    EXPECT_EQ(book.sample(slot).quality, Quality::Never);
    EXPECT_FALSE(book.sample(slot).hasValue());
}

// --- the rhythm ----------------------------------------------------------------------------------

TEST(PassClock, KeepsItsPhaseAndCountsWhatItMissed)
{
    // clang-format off
    const struct { int at; char what; bool running; int due; int missed; const char *why; } rows[] = {
        {   0, 'n', true,    0, 0, "the first pass begins the rhythm"},
        {  10, 'e', false,   0, 0, "ended"},
        {  90, 't', false,   0, 0, "not due"},
        { 105, 't', true,  100, 0, "late, but due at 100"},
        { 205, 't', true,  100, 1, "not ended: the pass at 200 is missed"},
        { 250, 'e', false, 100, 1, "ended"},
        { 260, 't', false, 100, 1, "back in phase: 300, not 350"},
        { 300, 't', true,  300, 1, "due"},
        { 310, 'a', false, 300, 2, "the link is lost: it counts as missed"},
        { 555, 'o', false, 300, 4, "400 and 500 while there was no link"},
        { 560, 'n', true,  560, 4, "the link is back: at once"},
        { 570, 'e', false, 560, 4, "ended"},
        { 600, 't', true,  600, 4, "and then in phase"},
        { 601, 'e', false, 600, 4, "ended"},
        {1201, 't', true, 1200, 9, "700 to 1100 were slept through, 1200 is made"},
        {1450, 'e', false, 1200, 11, "ended late: 1300 and 1400 are missed"},
        {1460, 'a', false, 1200, 11, "no pass was under way"},
    };
    // clang-format on
    PassClock clock(100ms);
    EXPECT_EQ(clock.next(), SteadyTime::max());
    for (const auto &row : rows) {
        const SteadyTime now = SteadyTime(1h) + row.at * 1ms;
        if (row.what == 'n')
            clock.passNow(now);
        else if (row.what == 'e')
            clock.ended(now);
        else if (row.what == 'a')
            clock.abandon();
        else
            clock.tick(now, row.what == 't');
        EXPECT_EQ(clock.isRunning(), row.running) << row.why;
        EXPECT_EQ(clock.due(), SteadyTime(1h) + row.due * 1ms) << row.why;
        EXPECT_EQ(clock.missed(), quint64(row.missed)) << row.why;
    }
}

TEST(PassClock, TellsTheMeanOfTheLastTenPasses)
{
    PassClock clock(100ms);
    SteadyTime now{1h};
    clock.passNow(now);
    clock.ended(now);
    EXPECT_EQ(clock.reached(), Duration(0));
    now += 400ms;
    clock.passNow(now);
    clock.ended(now);
    EXPECT_EQ(clock.reached(), Duration(400ms));
    const auto pass = [&] {
        now += 100ms;
        clock.tick(now, true);
        clock.ended(now);
    };
    for (int i = 0; i < 9; ++i)
        pass();
    EXPECT_EQ(clock.reached(), Duration(130ms)); // 400 ms and nine of 100
    pass();
    EXPECT_EQ(clock.reached(), Duration(100ms)); // the first is forgotten
    EXPECT_EQ(clock.passes(), 12U);
}

// --- times ---------------------------------------------------------------------------------------

TEST(AnswerTimes, AreNearestRanksOfTheLastTenThousand)
{
    AnswerTimes times;
    LinkStatistics statistics;
    times.fill(statistics);
    EXPECT_EQ(statistics.answerMax, Duration(0));
    for (int i = 0; i < 10000; ++i)
        times.add(1h); // forgotten
    for (int i = 1; i <= 10000; ++i)
        times.add(Duration(i));
    times.fill(statistics);
    EXPECT_EQ(statistics.answerMin, Duration(1));
    EXPECT_EQ(statistics.answerMedian, Duration(5000));
    EXPECT_EQ(statistics.answer90, Duration(9000));
    EXPECT_EQ(statistics.answer99, Duration(9900));
    EXPECT_EQ(statistics.answerMax, Duration(10000));
}

TEST(AnswerTimes, OfFewAnswersAreNearestRanksToo)
{
    AnswerTimes one;
    one.add(Duration(7));
    LinkStatistics statistics;
    one.fill(statistics);
    EXPECT_EQ(statistics.answerMedian, Duration(7));
    EXPECT_EQ(statistics.answer99, Duration(7));
    AnswerTimes many;
    for (int i = 1; i <= 99; ++i)
        many.add(Duration(i));
    many.fill(statistics);
    EXPECT_EQ(statistics.answerMedian, Duration(50)); // 49.5, 89.1 and 98.01 of 99
    EXPECT_EQ(statistics.answer90, Duration(90));
    EXPECT_EQ(statistics.answer99, Duration(99));
}

TEST(AnswerTimes, ForgetTheOldestFirst)
{
    AnswerTimes times;
    for (int i = 1; i <= 10001; ++i)
        times.add(Duration(i));
    LinkStatistics statistics;
    times.fill(statistics);
    EXPECT_EQ(statistics.answerMin, Duration(2));
    times.add(Duration(20000));
    times.fill(statistics);
    EXPECT_EQ(statistics.answerMin, Duration(3));
    EXPECT_EQ(statistics.answerMax, Duration(20000));
}

TEST(AnswerTimes, BeyondAnHourAreToldAsThatLong)
{
    AnswerTimes times;
    times.add(Duration(0));
    times.add(2h); // more than 32 bits of microseconds
    LinkStatistics statistics;
    times.fill(statistics);
    EXPECT_EQ(statistics.answerMin, Duration(0));
    EXPECT_EQ(statistics.answerMax, Duration(4294967295));
}

TEST(AnswerTimes, AreAllCountedByTheirBounds)
{
    AnswerTimes times;
    for (const Duration took : {Duration(0), Duration(1ms), Duration(1001us), Duration(2500us),
                                Duration(40ms), Duration(5s), Duration(5000001us), Duration(1h)})
        times.add(took);
    LinkStatistics statistics;
    times.fill(statistics);
    // clang-format off
    //                       1 ms 2.5  5 10 25 50 100 250 500 1 s 2.5  5 more
    const quint64 counts[] = {2,    2, 0, 0, 0, 1,  0,  0,  0,  0,  0, 1,   2};
    // clang-format on
    ASSERT_EQ(statistics.answerCounts.size(), std::size(counts));
    EXPECT_TRUE(std::equal(std::begin(counts), std::end(counts), statistics.answerCounts.begin()));
    EXPECT_EQ(statistics.answerSum, Duration(0ms + 1ms + 1001us + 2500us + 40ms + 5s + 5000001us + 1h));
}

TEST(RequestCost, IsWhatRemainsOfAnAnswerTimeWithoutTheLine)
{
    RequestCost cost(0.001); // a millisecond a byte
    EXPECT_FALSE(cost.isMeasured());
    EXPECT_DOUBLE_EQ(cost.turnaround(), 0.010);
    for (int i = 0; i < 7; ++i)
        cost.add(120ms, 100);
    EXPECT_FALSE(cost.isMeasured());
    cost.add(120ms, 100);
    EXPECT_TRUE(cost.isMeasured());
    EXPECT_NEAR(cost.turnaround(), 0.020, 1e-9);
    EXPECT_DOUBLE_EQ(cost.perByte(), 0.001);
    // A tenth of what is new.
    cost.add(220ms, 100);
    EXPECT_NEAR(cost.turnaround(), 0.030, 1e-9);
    cost.add(50ms, 100); // faster than the line: nothing remains
    EXPECT_NEAR(cost.turnaround(), 0.027, 1e-9);
}

} // namespace
} // namespace kvlink
