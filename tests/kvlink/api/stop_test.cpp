// SPDX-License-Identifier: MIT
// Stopping takes at most half a second, whatever the other side does.
#include "simulated_plc.h"

#include <kvlink/plc.h>

#include <gtest/gtest.h>

#include <QElapsedTimer>

#include <vector>

using namespace kvlink;

namespace
{
constexpr int longestStopMs = 500;

LinkSettings settingsFor(const QString &url)
{
    LinkSettings settings;
    settings.url = url;
    settings.timeout = 1min;
    settings.driver = QStringLiteral(KV_DRIVER_PATH);
    return settings;
}

// \return how long the stop took
qint64 stopped(Plc &plc)
{
    QElapsedTimer clock;
    clock.start();
    plc.stop();
    return clock.elapsed();
}

struct FaultRow {
    const char *name;
    const char *option; // for kv-sim: what it does wrong

    friend std::ostream &operator<<(std::ostream &out, const FaultRow &row) { return out << row.name; }
};

class StopUnderFault : public testing::TestWithParam<FaultRow>
{
};

TEST_P(StopUnderFault, takesHalfASecondAtMost)
{
    const char *option = GetParam().option;
    SimulatedPlc sim(*option == '\0' ? QStringList()
                                     : QStringList{QStringLiteral("--fault"), QString::fromLatin1(option)});
    Plc plc(settingsFor(sim.url()));
    TagSettings tag;
    tag.address = QStringLiteral("DM0:1000");
    tag.period = 1ms;
    plc.tag(tag);
    ASSERT_TRUE(plc.start());
    plc.waitForLink(50ms);
    EXPECT_LE(stopped(plc), longestStopMs);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Faults, StopUnderFault, testing::Values(
    FaultRow{"none",      ""},
    FaultRow{"refuse",    "refuse"},
    FaultRow{"blackhole", "blackhole"},
    FaultRow{"silent",    "silent cmd RDS"},
    FaultRow{"slow",      "slow:100 cmd RDS"},
    FaultRow{"torn",      "torn cmd RDS"},
    FaultRow{"doubled",   "doubled cmd RDS"}),
    [](const auto &row) { return std::string(row.param.name); });
// clang-format on

TEST(Stop, aButtonThatIsPressedIsReleasedFirst)
{
    SimulatedPlc sim;
    Plc plc(settingsFor(sim.url()));
    TagSettings relay;
    relay.address = QStringLiteral("R500");
    relay.period = 0ms;
    const Tag tag = plc.tag(relay);
    ASSERT_TRUE(plc.start());
    ASSERT_TRUE(plc.waitForLink(10s));
    const std::unique_ptr<Momentary> button = plc.momentary(tag);
    button->press();
    QElapsedTimer clock;
    clock.start();
    while (sim.tell("get R500") != "ok 1" && clock.elapsed() < 10000)
        button->renew();
    ASSERT_EQ(sim.tell("get R500"), "ok 1");
    button->renew();
    EXPECT_LE(stopped(plc), longestStopMs);
    EXPECT_EQ(sim.tell("get R500"), "ok 0");
}

TEST(Stop, anAddressThatSwallowsPacketsDoesNotHoldItUp)
{
    Plc plc(settingsFor(QStringLiteral("tcp://192.0.2.1"))); // of the block that is never routed
    ASSERT_TRUE(plc.start());
    plc.waitForLink(50ms);
    EXPECT_LE(stopped(plc), longestStopMs);
}

TEST(Stop, aNameThatIsNotKnownDoesNotHoldItUp)
{
    Plc plc(settingsFor(QStringLiteral("tcp://no-such-plc.invalid")));
    ASSERT_TRUE(plc.start());
    plc.waitForLink(50ms);
    EXPECT_LE(stopped(plc), longestStopMs);
}

TEST(Stop, startAndStopMayFollowEachOtherQuickly)
{
    SimulatedPlc sim;
    Plc plc(settingsFor(sim.url()));
    for (int round = 0; round < 50; ++round) {
        ASSERT_TRUE(plc.start());
        ASSERT_TRUE(plc.start()) << "starting twice does nothing";
        EXPECT_LE(stopped(plc), longestStopMs);
        plc.stop();
    }
}

TEST(ManyLinks, ofThem256FitOneProcess)
{
    SimulatedPlc sim;
    sim.tell("set DM0=7");
    std::vector<std::unique_ptr<Plc>> plcs;
    std::vector<Tag> tags;
    for (int i = 0; i < 256; ++i) {
        plcs.push_back(std::make_unique<Plc>(settingsFor(sim.url())));
        TagSettings tag;
        tag.address = QStringLiteral("DM0");
        tag.period = 0ms;
        tags.push_back(plcs.back()->tag(tag));
        ASSERT_TRUE(plcs.back()->start()) << i << ": " << plcs.back()->problem().toStdString();
    }
    for (std::size_t i = 0; i < plcs.size(); ++i)
        EXPECT_EQ(plcs[i]->read({tags[i]}, 10s).front().toInt(), 7) << i;
    QElapsedTimer clock;
    clock.start();
    plcs.clear();
    EXPECT_LE(clock.elapsed(), 256 * longestStopMs);
}
} // namespace
