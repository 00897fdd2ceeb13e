// A station's link: opened, greeted, given up for a while, found again. Time is handed in.
#include "link_keeper.h"
#include "station_watch.h"

#include <gtest/gtest.h>

namespace kvhost
{
namespace
{

using State = StationWatch::State;
using Action = StationWatch::Action;

class Watch : public testing::Test
{
protected:
    static StationWatch::Limits limits()
    {
        StationWatch::Limits l;
        l.connect = Ms(2000);
        l.answer = Ms(1000);
        l.silence = Ms(300);
        return l;
    }

    Time at(int ms) const { return m_start + Ms(ms); }

    void makeReady(StationWatch *watch, int ms)
    {
        ASSERT_EQ(watch->step(at(ms)), Action::Open);
        watch->linkOpened(at(ms));
        ASSERT_EQ(watch->step(at(ms)), Action::SendGreeting);
        watch->greetingAnswered(at(ms), "CC\r\n");
        ASSERT_TRUE(watch->ready());
    }

    const Time m_start = Time(std::chrono::hours(1));
};

TEST_F(Watch, opensGreetsAndIsReady)
{
    StationWatch watch(limits());
    EXPECT_FALSE(watch.ready());
    EXPECT_EQ(watch.step(at(0)), Action::Open);
    EXPECT_EQ(watch.step(at(0)), Action::Nothing);
    watch.linkOpened(at(5));
    EXPECT_EQ(watch.step(at(5)), Action::SendGreeting);
    EXPECT_EQ(watch.step(at(5)), Action::Nothing);
    EXPECT_FALSE(watch.ready());
    watch.greetingAnswered(at(9), "CC\r\n");
    EXPECT_TRUE(watch.ready());
    EXPECT_EQ(watch.trouble(), Trouble::None);
    EXPECT_EQ(watch.reconnects(), 0);
}

TEST_F(Watch, waitsTwiceAsLongAfterEachRefusalUpToFiveSeconds)
{
    StationWatch watch(limits());
    int now = 0;
    for (const int delay : {200, 400, 800, 1600, 3200, 5000, 5000}) {
        ASSERT_EQ(watch.step(at(now)), Action::Open) << delay;
        watch.linkFailed(at(now), "refused");
        EXPECT_EQ(watch.step(at(now)), Action::Close);
        EXPECT_EQ(watch.step(at(now + delay - 1)), Action::Nothing) << delay;
        now += delay;
    }
    EXPECT_EQ(watch.failures(), 7);
    EXPECT_EQ(watch.trouble(), Trouble::NoLink);
}

TEST_F(Watch, aConnectionThatIsNeverMadeIsGivenUpInTime)
{
    StationWatch watch(limits());
    watch.step(at(0));
    EXPECT_EQ(watch.step(at(1999)), Action::Nothing);
    EXPECT_EQ(watch.step(at(2000)), Action::Close);
    EXPECT_EQ(watch.state(), State::Waiting);
    EXPECT_EQ(watch.nextDeadline(), at(2200));
}

TEST_F(Watch, aPlcThatAcceptsAndIsSilentIsNotReady)
{
    StationWatch watch(limits());
    watch.step(at(0));
    watch.linkOpened(at(10));
    watch.step(at(10));
    EXPECT_EQ(watch.step(at(1010)), Action::Close);
    EXPECT_EQ(watch.trouble(), Trouble::NoAnswer);
}

TEST_F(Watch, aRefusedGreetingIsToldAsSuch)
{
    StationWatch watch(limits());
    watch.step(at(0));
    watch.linkOpened(at(0));
    watch.step(at(0));
    watch.greetingAnswered(at(1), "E1\r\n");
    EXPECT_EQ(watch.trouble(), Trouble::Refused);
    EXPECT_TRUE(watch.reason().contains("E1"));
}

TEST_F(Watch, aTimeOutClosesAndOpensAnew)
{
    StationWatch watch(limits());
    makeReady(&watch, 0);
    watch.answered();
    watch.noAnswer(at(1000));
    EXPECT_FALSE(watch.ready());
    EXPECT_EQ(watch.step(at(1000)), Action::Close);
    EXPECT_EQ(watch.step(at(1199)), Action::Nothing);
    makeReady(&watch, 1200);
    EXPECT_EQ(watch.reconnects(), 1);
}

TEST_F(Watch, aConnectionThatWorksForNothingDoesNotResetTheBackOff)
{
    StationWatch watch(limits());
    makeReady(&watch, 0);
    watch.linkFailed(at(1), "reset"); // accepted, greeted, reset: over and over
    watch.step(at(1));
    makeReady(&watch, 201);
    watch.linkFailed(at(202), "reset");
    watch.step(at(202));
    EXPECT_EQ(watch.nextDeadline(), at(602));
    makeReady(&watch, 602);
    watch.answered(); // a request was answered: now it may begin anew
    watch.linkFailed(at(603), "reset");
    EXPECT_EQ(watch.nextDeadline(), at(803));
}

TEST_F(Watch, aSerialLineIsWaitedSilentAndEmptiedNotReopened)
{
    StationWatch::Limits line = limits();
    line.line = true;
    StationWatch watch(line);
    makeReady(&watch, 0);
    watch.noAnswer(at(1000));
    EXPECT_EQ(watch.state(), State::Settling);
    EXPECT_EQ(watch.step(at(1299)), Action::Nothing);
    watch.bytesWhileSettling(at(1299)); // a late answer: the silence begins anew
    EXPECT_EQ(watch.step(at(1598)), Action::Nothing);
    EXPECT_EQ(watch.step(at(1599)), Action::Discard);
    EXPECT_EQ(watch.step(at(1599)), Action::SendGreeting);
    watch.greetingAnswered(at(1605), "CC\r\n");
    EXPECT_TRUE(watch.ready());
}

TEST_F(Watch, aLineThatIsNeverSilentIsNotWaitedForForEver)
{
    StationWatch::Limits line = limits();
    line.line = true;
    StationWatch watch(line);
    makeReady(&watch, 0);
    watch.noAnswer(at(1000));
    for (int ms = 1000; ms < 2200; ms += 100)
        watch.bytesWhileSettling(at(ms));
    EXPECT_EQ(watch.step(at(2200)), Action::Discard); // four times the silence
}

TEST_F(Watch, repeatedGiveUpsSwitchAStationOff)
{
    StationWatch watch(limits());
    makeReady(&watch, 0);
    watch.gaveUp(at(10), Ms(4000));
    EXPECT_TRUE(watch.ready());
    EXPECT_FALSE(watch.onProbation());
    watch.gaveUp(at(20), Ms(4000));
    EXPECT_FALSE(watch.ready());
    EXPECT_TRUE(watch.onProbation());
    watch.step(at(20));
    makeReady(&watch, 220);
    EXPECT_TRUE(watch.onProbation()); // it opened its link, but has answered no request yet
    watch.answered();
    EXPECT_FALSE(watch.onProbation());
}

TEST_F(Watch, besideOthersAStationRestsLongerTheMoreItCostThem)
{
    StationWatch::Limits l = limits();
    l.restFactor = 12;
    StationWatch watch(l);
    makeReady(&watch, 0);
    watch.gaveUp(at(10), Ms(1000));
    watch.gaveUp(at(20), Ms(1000));
    EXPECT_EQ(watch.nextDeadline(), at(12020));
}

TEST_F(Watch, greetsAgainAPlcThatMayHaveForgottenItsLink)
{
    StationWatch watch(limits());
    makeReady(&watch, 0);
    watch.greetAgain(at(50));
    EXPECT_FALSE(watch.ready());
    EXPECT_EQ(watch.step(at(50)), Action::SendGreeting);
    watch.greetingAnswered(at(51), "CC\r\n");
    EXPECT_TRUE(watch.ready());
    EXPECT_EQ(watch.reconnects(), 0); // the connection is the same
}

TEST_F(Watch, eventsOfAnotherStateChangeNothing)
{
    StationWatch watch(limits());
    watch.greetingAnswered(at(0), "CC\r\n");
    watch.linkOpened(at(0));
    watch.noAnswer(at(0));
    watch.outOfStep(at(0));
    watch.greetAgain(at(0));
    watch.bytesWhileSettling(at(0));
    EXPECT_EQ(watch.state(), State::Waiting);
    EXPECT_EQ(watch.step(at(0)), Action::Open);
}

} // namespace
} // namespace kvhost
