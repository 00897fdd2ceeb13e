// SPDX-License-Identifier: MIT
// The stream of changes without a server: what it says, and when it ends.
#include "http/event_stream.h"

#include "store/fake_clock.h"

#include <gtest/gtest.h>

namespace kvgateway
{
namespace
{

using namespace std::chrono_literals;
using State = StreamSource::State;

class EventStreamTest : public testing::Test
{
protected:
    EventStreamTest()
    {
        std::vector<TableTag> tags(1);
        tags[0].config.name = "line1.speed";
        table = std::make_shared<LiveTable>("run", std::vector<QString>{"line1"}, std::move(tags));
    }
    // As the server does it.
    State next(QByteArray &out) { return stream.mayGoOn() ? stream.read(out) : State::End; }

    FakeClock clock;
    std::shared_ptr<LiveTable> table;
    bool mayRead = true;
    int asked = 0;
    EventStream stream{[this] { return table; },
                       TagChoice::of({}),
                       [this] {
                           ++asked;
                           return mayRead;
                       },
                       {},
                       clock};
};

TEST_F(EventStreamTest, asksEverySecondWhetherItMayGoOn)
{
    QByteArray out;
    EXPECT_EQ(next(out), State::Data);
    clock.advance(999ms);
    EXPECT_EQ(next(out = {}), State::Wait);
    EXPECT_EQ(asked, 0) << "it was let in just now";
    clock.advance(1ms);
    EXPECT_EQ(next(out), State::Wait);
    EXPECT_EQ(asked, 1);
    mayRead = false;
    table->update(0, good(0, qint64(7)));
    clock.advance(999ms);
    EXPECT_EQ(next(out), State::Data);
    table->update(0, good(0, qint64(8)));
    clock.advance(1ms);
    EXPECT_EQ(next(out = {}), State::End);
    EXPECT_EQ(out, "") << "nothing more is said";
}

} // namespace
} // namespace kvgateway
