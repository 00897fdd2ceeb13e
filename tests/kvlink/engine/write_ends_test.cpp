// SPDX-License-Identifier: MIT
// How writes end: the outcome of each state of a write, and what is said to people.
#include "engine/write_ends.h"

#include <gtest/gtest.h>

namespace kvlink
{
namespace
{

TEST(WriteEnds, SayHowFarAWriteCame)
{
    // clang-format off
    const struct { std::size_t part; Reason doubt; int refusal; Outcome outcome; Reason reason; int plcError; const char *text; } rows[] = {
        {0, Reason::None,     -1, Outcome::NotSent, Reason::Cancelled,  0, "cancelled; nothing was sent"},
        {0, Reason::None,     0,  Outcome::Refused, Reason::PlcError,   0, "the PLC answered E0; nothing was changed"},
        {0, Reason::None,     4,  Outcome::Refused, Reason::PlcError,   4, "the PLC answered E4; nothing was changed"},
        {0, Reason::NoAnswer, -1, Outcome::Unknown, Reason::NoAnswer,   0, "sent, no answer in 1.5s; it may have been carried out"},
        {0, Reason::LinkLost, 4,  Outcome::Unknown, Reason::LinkLost,   0, "sent, then the link was lost; it may have been carried out"},
        {1, Reason::None,     -1, Outcome::Unknown, Reason::PartlyDone, 0, "only the first part is confirmed: 1 of 3 requests"},
        {2, Reason::NoAnswer, 4,  Outcome::Unknown, Reason::PartlyDone, 0, "only the first part is confirmed: 2 of 3 requests"},
    };
    // clang-format on
    int number = 0;
    for (const auto &row : rows) {
        ++number;
        QueuedWrite write;
        write.requests.resize(3);
        write.part = row.part;
        write.doubt = row.doubt;
        write.refusal = row.refusal;
        WriteEnds ends(1500ms);
        ends.addAsFarAsSent(write, Reason::Cancelled);
        const std::vector<WriteEnd> taken = ends.take();
        ASSERT_EQ(taken.size(), 1U) << number;
        EXPECT_EQ(taken[0].outcome, row.outcome) << number;
        EXPECT_EQ(taken[0].reason, row.reason) << number;
        EXPECT_EQ(int(taken[0].plcError), row.plcError) << number;
        EXPECT_EQ(taken[0].text.toStdString(), row.text) << number;
    }
}

TEST(WriteEnds, BelongToTheirWrites)
{
    QueuedWrite release;
    release.id = 7;
    release.tag = Tag(3);
    release.kind = WriteKind::Release;
    release.sent = 2;
    QueuedWrite late;
    late.id = 8;
    late.options.expires = 2s;
    WriteEnds ends(1s);
    ends.add(release, Outcome::Done, Reason::None);
    ends.add(late, Outcome::NotSent, Reason::Expired);
    const std::vector<WriteEnd> taken = ends.take();
    ASSERT_EQ(taken.size(), 2U);
    EXPECT_EQ(taken[0].id, 7U);
    EXPECT_EQ(taken[0].tag, Tag(3));
    EXPECT_EQ(taken[0].kind, WriteKind::Release);
    EXPECT_EQ(taken[0].sent, 2);
    EXPECT_EQ(taken[1].id, 8U);
    EXPECT_EQ(taken[1].text.toStdString(), "expired after 2s; nothing was sent");
    EXPECT_TRUE(ends.take().empty()) << "each is taken once";
}

TEST(WriteEnds, SayWhatIsWrongInTheWordsOfWhoeverKnows)
{
    WriteEnds ends(1s);
    ends.add({}, Outcome::NotSent, Reason::QueueFull, QStringLiteral("4"));
    EXPECT_EQ(ends.take().at(0).text.toStdString(), "4 writes wait already; nothing was sent");
}

} // namespace
} // namespace kvlink
