// SPDX-License-Identifier: MIT
#include "engine/link_life.h"

#include <gtest/gtest.h>

namespace kvlink
{
namespace
{

using S = LinkState;
using E = LinkEvent;
using A = LinkAction;

// A life that has come to \a state.
LinkLife lifeIn(S state)
{
    LinkLife life(1);
    const E way[] = {E::Start, E::Resolved, E::Connected, E::Answered};
    for (const E event : way) {
        if (life.state() == state)
            return life;
        life.on(event);
    }
    if (state == S::Waiting)
        life.on(E::Failed);
    return life;
}

TEST(LinkLife, LeadsFromStateToState)
{
    // clang-format off
    const struct { S state; E event; S next; A action; } rows[] = {
        {S::Stopped,    E::Start,     S::Resolving,  A::Open},
        {S::Resolving,  E::Resolved,  S::Connecting, A::Connect},
        {S::Resolving,  E::Connected, S::Greeting,   A::Greet},
        {S::Resolving,  E::TimedOut,  S::Waiting,    A::GiveUp},
        {S::Resolving,  E::Failed,    S::Waiting,    A::GiveUp},
        {S::Connecting, E::Connected, S::Greeting,   A::Greet},
        {S::Connecting, E::TimedOut,  S::Waiting,    A::GiveUp},
        {S::Connecting, E::Failed,    S::Waiting,    A::GiveUp},
        {S::Greeting,   E::Answered,  S::Ready,      A::EnterReady},
        {S::Greeting,   E::Failed,    S::Waiting,    A::GiveUp},
        {S::Ready,      E::Answered,  S::Ready,      A::Trust},
        {S::Ready,      E::Failed,    S::Waiting,    A::LeaveReady},
        {S::Waiting,    E::TimedOut,  S::Resolving,  A::Open},
        {S::Resolving,  E::Stop,      S::Stopped,    A::Close},
        {S::Connecting, E::Stop,      S::Stopped,    A::Close},
        {S::Greeting,   E::Stop,      S::Stopped,    A::Close},
        {S::Ready,      E::Stop,      S::Stopped,    A::Close},
        {S::Waiting,    E::Stop,      S::Stopped,    A::Close},
    };
    // clang-format on
    for (const auto &row : rows) {
        LinkLife life = lifeIn(row.state);
        ASSERT_EQ(life.state(), row.state);
        EXPECT_EQ(life.on(row.event), row.action) << int(row.state) << ' ' << int(row.event);
        EXPECT_EQ(life.state(), row.next) << int(row.state) << ' ' << int(row.event);
    }
}

TEST(LinkLifeDeathTest, APairWithoutARowAsserts)
{
#if defined(QT_NO_DEBUG) && !defined(QT_FORCE_ASSERTS)
    GTEST_SKIP() << "built without assertions";
#endif
    EXPECT_DEATH(lifeIn(S::Ready).on(E::Connected), "no row");
    EXPECT_DEATH(lifeIn(S::Waiting).on(E::Answered), "no row");
}

TEST(BackOff, DoublesFromAFifthOfASecondToFiveSeconds)
{
    BackOff backOff(7);
    // Without chance: 0.2, 0.4, 0.8, 1.6, 3.2, 5, 5. A quarter more or less, within 0.2 and 5 s.
    const struct {
        Duration least, most;
    } rows[] = {{200ms, 250ms}, {300ms, 500ms}, {600ms, 1s}, {1200ms, 2s},
                {2400ms, 4s},   {3750ms, 5s},   {3750ms, 5s}};
    for (const auto &row : rows) {
        const Duration pause = backOff.next();
        EXPECT_GE(pause, row.least);
        EXPECT_LE(pause, row.most);
    }
    backOff.reset();
    EXPECT_LE(backOff.next(), 250ms);
}

TEST(BackOff, DiffersFromSeedToSeedAndNotWithOne)
{
    BackOff one(1);
    BackOff same(1);
    BackOff other(2);
    one.next(), same.next(), other.next();
    const Duration pause = one.next();
    EXPECT_EQ(same.next(), pause);
    EXPECT_NE(other.next(), pause);
}

// From its own default seed, 5489, the generator's first numbers are known: 14514284786278117030
// and 4620546740167642908. Of 2^64 these are 0.786821 and 0.250480.
TEST(BackOff, GivesTheSamePausesEverywhere)
{
    BackOff backOff(5489);
    EXPECT_EQ(backOff.next(), Duration(228682)); // 200 ms * (0.75 + 0.5 * 0.786821)
    EXPECT_EQ(backOff.next(), Duration(350096)); // 400 ms * (0.75 + 0.5 * 0.250480)
}

TEST(LinkLife, ConnectingIsBounded)
{
    EXPECT_EQ(longestConnecting(1ms), 500ms);
    EXPECT_EQ(longestConnecting(1s), 2s);
    EXPECT_EQ(longestConnecting(1min), 3s);
}

} // namespace
} // namespace kvlink
