// SPDX-License-Identifier: MIT
// When the 0 of a stroke is due, by what became of its 1.
#include "engine/push_buttons.h"

#include <gtest/gtest.h>

namespace kvlink
{
namespace
{

constexpr SteadyTime now{1h};
constexpr SteadyTime never = SteadyTime::max();
constexpr WriteId id = 7;

QueuedWrite releaseOfStroke()
{
    QueuedWrite release;
    release.id = id;
    release.kind = WriteKind::Release;
    return release;
}

WriteEnd endOf(WriteKind kind, Outcome outcome)
{
    WriteEnd end;
    end.id = id;
    end.kind = kind;
    end.outcome = outcome;
    return end;
}

TEST(PushButtons, ReleaseWhenThePressHasComeSoFar)
{
    // clang-format off
    const struct { const char *what; std::optional<Duration> length; Outcome press; SteadyTime due; } rows[] = {
        {"a pulse lasts from its confirmation on", 10s,          Outcome::Done,    now + 10100ms},
        {"so does a short one",                    10ms,         Outcome::Done,    now + 110ms},
        {"a pulse that may have begun ends",       10s,          Outcome::Unknown, now + 100ms},
        {"a button is held as long as its lease",  std::nullopt, Outcome::Done,    now + 500ms},
        {"a button that may be pressed is let go", std::nullopt, Outcome::Unknown, now + 100ms},
    };
    // clang-format on
    for (const auto &row : rows) {
        PushButtons buttons;
        buttons.begin(releaseOfStroke(), row.length, now);
        EXPECT_EQ(buttons.nextDue(), never) << row.what;
        EXPECT_FALSE(buttons.ended(endOf(WriteKind::Press, row.press), now + 100ms)) << row.what;
        EXPECT_EQ(buttons.nextDue(), row.due) << row.what;
        EXPECT_TRUE(buttons.takeDue(row.due - 1us).empty()) << row.what;
        EXPECT_EQ(buttons.takeDue(row.due).size(), 1U) << row.what;
        EXPECT_TRUE(buttons.takeDue(row.due).empty()) << row.what; // once
        EXPECT_TRUE(buttons.ended(endOf(WriteKind::Release, Outcome::Done), row.due)) << row.what;
        EXPECT_TRUE(buttons.isEmpty()) << row.what;
    }
}

TEST(PushButtons, AreNotReleasedWhereThePressDidNotArrive)
{
    for (const Outcome outcome : {Outcome::NotSent, Outcome::Refused}) {
        PushButtons buttons;
        buttons.begin(releaseOfStroke(), 10s, now);
        const std::optional<WriteEnd> stroke = buttons.ended(endOf(WriteKind::Press, outcome), now);
        ASSERT_TRUE(stroke);
        EXPECT_EQ(stroke->outcome, outcome);
        EXPECT_TRUE(buttons.isEmpty());
    }
}

TEST(PushButtons, DoNotKnowTheWritesOfOthers)
{
    PushButtons buttons;
    EXPECT_FALSE(buttons.ended(endOf(WriteKind::Press, Outcome::Done), now));
    EXPECT_TRUE(buttons.isEmpty());
}

TEST(PushButtons, AreHeldAsLongAsTheyAreRenewed)
{
    PushButtons buttons;
    buttons.begin(releaseOfStroke(), std::nullopt, now);
    buttons.ended(endOf(WriteKind::Press, Outcome::Done), now);
    buttons.renew(id, now + 400ms);
    EXPECT_EQ(buttons.nextDue(), now + 900ms);
    buttons.renew(8, now + 600ms); // another button
    EXPECT_EQ(buttons.nextDue(), now + 900ms);
    buttons.release(id, now + 700ms);
    EXPECT_EQ(buttons.nextDue(), now + 700ms);
    buttons.renew(id, now + 700ms); // it was let go
    EXPECT_EQ(buttons.nextDue(), now + 700ms);
}

TEST(PushButtons, PulsesAreNeitherRenewedNorReleased)
{
    PushButtons buttons;
    buttons.begin(releaseOfStroke(), 2s, now);
    buttons.ended(endOf(WriteKind::Press, Outcome::Done), now);
    buttons.renew(id, now + 1900ms);
    buttons.release(id, now + 1s);
    EXPECT_EQ(buttons.nextDue(), now + 2s);
    buttons.releaseAll(now + 1s); // the link is to be stopped
    EXPECT_EQ(buttons.nextDue(), now + 1s);
}

} // namespace
} // namespace kvlink
