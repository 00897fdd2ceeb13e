// SPDX-License-Identifier: MIT
// What a step brought: nothing only if all lists are empty.
#include "engine/events.h"

#include <gtest/gtest.h>

namespace kvlink
{
namespace
{

TEST(Events, AreThereWhenOneListHoldsAnything)
{
    void (*const additions[])(Events &) = {
        [](Events &events) { events.changes.emplace_back(); },
        [](Events &events) { events.writes.emplace_back(); },
        [](Events &events) { events.links.emplace_back(); },
        [](Events &events) { events.reads.emplace_back(); },
        [](Events &events) { events.queries.emplace_back(); },
    };
    Events events;
    EXPECT_TRUE(events.isEmpty());
    for (const auto add : additions) {
        add(events);
        EXPECT_FALSE(events.isEmpty());
        events.clear();
        EXPECT_TRUE(events.isEmpty());
    }
}

} // namespace
} // namespace kvlink
