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

TEST(PushButtons, EndAsTheirPressAndTheirReleaseDidTogether)
{
    // clang-format off
    const struct { Outcome press, release; Outcome outcome; Reason reason; int plcError; const char *text; } rows[] = {
        {Outcome::Done,    Outcome::Done,    Outcome::Done,    Reason::None,       0, "of the press"},
        {Outcome::Unknown, Outcome::Done,    Outcome::Unknown, Reason::None,       0, "of the press"},
        {Outcome::Unknown, Outcome::Refused, Outcome::Unknown, Reason::None,       0, "of the press"},
        {Outcome::Done,    Outcome::Refused, Outcome::Unknown, Reason::PartlyDone, 4, "only the first part is confirmed: pressed; the release: E4"},
        {Outcome::Done,    Outcome::Unknown, Outcome::Unknown, Reason::PartlyDone, 4, "only the first part is confirmed: pressed; the release: E4"},
    };
    // clang-format on
    for (const auto &row : rows) {
        PushButtons buttons;
        buttons.begin(releaseOfStroke(), std::nullopt, now);
        WriteEnd press = endOf(WriteKind::Press, row.press);
        press.text = QStringLiteral("of the press");
        press.sent = 3;
        buttons.ended(press, now);
        WriteEnd release = endOf(WriteKind::Release, row.release);
        release.text = QStringLiteral("E4");
        release.plcError = 4;
        const std::optional<WriteEnd> stroke = buttons.ended(release, now);
        ASSERT_TRUE(stroke);
        EXPECT_EQ(stroke->id, id);
        EXPECT_EQ(stroke->kind, WriteKind::Press);
        EXPECT_EQ(stroke->outcome, row.outcome);
        EXPECT_EQ(stroke->reason, row.reason);
        EXPECT_EQ(int(stroke->plcError), row.plcError);
        EXPECT_EQ(stroke->text.toStdString(), row.text);
        EXPECT_EQ(stroke->sent, 3) << "the 1 is what counts";
    }
}

TEST(PushButtons, EndWithALinkThatIsStopped)
{
    PushButtons buttons;
    buttons.begin(releaseOfStroke(), std::nullopt, now);
    buttons.ended(endOf(WriteKind::Press, Outcome::Done), now);
    const std::vector<WriteEnd> ends = buttons.stop();
    ASSERT_EQ(ends.size(), 1U);
    EXPECT_EQ(ends[0].outcome, Outcome::Unknown);
    EXPECT_EQ(ends[0].reason, Reason::PartlyDone);
    EXPECT_EQ(ends[0].text.toStdString(),
              "only the first part is confirmed: pressed; the release: the link was "
              "stopped; nothing was sent");
    EXPECT_TRUE(buttons.isEmpty());
    EXPECT_TRUE(buttons.stop().empty());
}

TEST(PushButtons, AreReleasedOneByOne)
{
    PushButtons buttons;
    for (const WriteId one : {WriteId(7), WriteId(8)}) {
        QueuedWrite release = releaseOfStroke();
        release.id = one;
        buttons.begin(release, std::nullopt, now);
        WriteEnd press = endOf(WriteKind::Press, Outcome::Done);
        press.id = one;
        buttons.ended(press, now);
    }
    buttons.release(8, now + 200ms);
    EXPECT_EQ(buttons.nextDue(), now + 200ms);
    const std::vector<QueuedWrite> due = buttons.takeDue(now + 200ms);
    ASSERT_EQ(due.size(), 1U);
    EXPECT_EQ(due[0].id, 8U);
    EXPECT_EQ(buttons.nextDue(), now + 500ms);
    buttons.release(7, now + 600ms); // later than its lease
    EXPECT_EQ(buttons.nextDue(), now + 500ms);
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
