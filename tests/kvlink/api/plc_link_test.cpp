// SPDX-License-Identifier: MIT
// A link that cannot be: whoever asks it gets an answer, and every write its end.
#include "api/plc_core.h"

#include <gtest/gtest.h>

using namespace kvlink;

namespace
{
PlcLink::Parts faultyParts()
{
    PlcLink::Parts parts;
    parts.fault = PlcLink::Fault::Address;
    parts.problem = QStringLiteral("no such address");
    return parts;
}

TEST(LinkWithAFault, takesNoCommandsAndFindsNothing)
{
    PlcLink link(LinkSettings(), faultyParts());
    EXPECT_FALSE(link.start());
    EXPECT_EQ(link.problem(), QStringLiteral("no such address"));
    bool ran = false;
    EXPECT_FALSE(link.post([&](Engine &) { ran = true; }));
    link.call([&](Engine &) { ran = true; });
    EXPECT_EQ(link.look([](const Engine &) { return 7; }), 0);
    link.look([&](const Engine &) { ran = true; });
    EXPECT_FALSE(ran);
    EXPECT_FALSE(link.engineTagOf(Tag(1)));
    link.stop();
    EXPECT_EQ(link.mailbox().link().state, LinkState::Stopped);
}

TEST(LinkWithAFault, endsEachWriteAndCountsIt)
{
    PlcLink link(LinkSettings(), faultyParts());
    PlcWrites writes(link);
    const WriteId unknown = writes.write(Tag(1), Value(1), WriteOptions());
    const WriteId typed = writes.writeText(Tag(1), QStringLiteral("1"), WriteOptions());
    const WriteId awaited = writes.pulse(Tag(1), 100ms, PlcWrites::End::Awaited);
    writes.press(70, Tag(1));
    EXPECT_EQ(writes.unsent(), 4U);
    EXPECT_FALSE(writes.cancel(unknown));
    EXPECT_EQ(writes.cancelAll(), 0);

    const std::optional<WriteResult> ended = writes.waitForWrite(awaited, 0ms);
    ASSERT_TRUE(ended);
    EXPECT_EQ(ended->text.toStdString(), "there is no such tag; nothing was sent");
    const struct {
        WriteId id;
        Reason reason;
    } rows[] = {{unknown, Reason::InvalidValue}, {typed, Reason::InvalidValue}, {70, Reason::Stopped}};
    for (const auto &row : rows) {
        const std::optional<Event> event = link.mailbox().take();
        ASSERT_TRUE(event);
        const auto *result = std::get_if<WriteResult>(&*event);
        ASSERT_NE(result, nullptr);
        EXPECT_EQ(result->id, row.id);
        EXPECT_EQ(result->outcome, Outcome::NotSent);
        EXPECT_EQ(result->reason, row.reason);
    }
    EXPECT_FALSE(link.mailbox().take());
}

TEST(LinkWithAFault, countsWritesThatWereNotSent)
{
    PlcCore core(LinkSettings(), faultyParts());
    core.writes().press(70, Tag(1));
    EXPECT_EQ(core.statistics().writesNotSent, 1U);
    EXPECT_TRUE(core.plan().requests.empty());
    EXPECT_EQ(core.samples({Tag(1), Tag(2)}).size(), 2U);
}
} // namespace
