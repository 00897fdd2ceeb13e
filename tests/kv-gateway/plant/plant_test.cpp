// SPDX-License-Identifier: MIT
// The plant against simulated PLCs: values, writes, buttons, and a new configuration.
#include "plant/plant.h"

#include "simulated_plc.h"

#include <QCoreApplication>
#include <QDeadlineTimer>

#include <gtest/gtest.h>

namespace kvgateway
{
namespace
{

using namespace std::chrono_literals;
using kvlink::Outcome;

struct Recorder : PlantObserver {
    void sampleChanged(const TagConfig &tag, const kvlink::Sample &sample) override
    {
        samples[tag.name] = sample;
    }
    void linkChanged(const QString &plc, const kvlink::LinkStatus &status) override { links[plc] = status; }
    bool writeAsked(const WriteReport & /*report*/) override
    {
        ++asked;
        return canRecord;
    }
    void writeEnded(const WriteReport &report) override { ended.push_back(report); }

    QHash<QString, kvlink::Sample> samples;
    QHash<QString, kvlink::LinkStatus> links;
    std::vector<WriteReport> ended;
    int asked = 0;
    bool canRecord = true;
};

TagConfig tag(const char *name, const char *address)
{
    TagConfig tag;
    tag.settings.name = QString(name).section('.', 1);
    tag.settings.address = address;
    tag.settings.period = 20ms;
    tag.name = name;
    return tag;
}

class PlantTest : public testing::Test
{
protected:
    PlantTest()
    {
        PlcConfig plc;
        plc.name = "a";
        plc.link.url = sim.url();
        plc.tags = {tag("a.speed", "DM100.S"), tag("a.run", "R500"), tag("a.fixed", "DM101")};
        plc.tags[0].min = -10;
        plc.tags[0].max = 1500;
        plc.tags[2].settings.access = kvlink::Access::ReadOnly;
        config.plcs = {plc};
    }

    bool until(const std::function<bool()> &isThere)
    {
        const QDeadlineTimer end(patienceMs);
        while (!isThere() && !end.hasExpired())
            QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 10);
        return isThere();
    }
    bool apply()
    {
        QString problem;
        const bool isDone = plant.apply(config, problem);
        EXPECT_EQ(problem.toStdString(), "");
        return isDone;
    }
    bool reads(const char *name, const char *value)
    {
        return until([&] {
            const int index = plant.table()->find(name);
            const kvlink::Sample sample = index < 0 ? kvlink::Sample() : plant.table()->sample(index);
            return sample.isGood() && sample.toText() == value;
        });
    }
    WriteReport write(const char *name, const kvlink::Value &value)
    {
        WriteOrder order;
        order.tag = name;
        order.value = value;
        order.who = "anna";
        order.correlation = "c1";
        std::optional<WriteReport> end;
        plant.write(order, [&](const WriteReport &report) { end = report; });
        EXPECT_TRUE(until([&] { return end.has_value(); }));
        return end.value_or(WriteReport());
    }

    SimulatedPlc sim;
    Config config;
    Recorder recorder;
    Plant plant{recorder};
};

TEST_F(PlantTest, tableFollowsThePlc)
{
    sim.control("set DM100=5");
    ASSERT_TRUE(apply());
    EXPECT_TRUE(reads("a.speed", "5"));
    EXPECT_TRUE(until([&] { return plant.table()->link(0).isReady(); }));
    sim.control("set DM100=6");
    EXPECT_TRUE(reads("a.speed", "6"));
    EXPECT_EQ(recorder.samples["a.speed"].toInt(), 6);
    EXPECT_TRUE(recorder.links["a"].isReady());
}

TEST_F(PlantTest, aLostLinkKeepsTheLastValue)
{
    sim.control("set DM100=5");
    ASSERT_TRUE(apply());
    ASSERT_TRUE(reads("a.speed", "5"));
    sim.stop();
    EXPECT_TRUE(until([&] { return plant.table()->sample(0).quality == kvlink::Quality::Bad; }));
    EXPECT_EQ(plant.table()->sample(0).toInt(), 5);
}

TEST_F(PlantTest, valuesOfAnEarlierRunComeBackUntilThePlcAnswers)
{
    sim.stop();
    const kvlink::Sample old{qint64(42), kvlink::Quality::Stale, kvlink::Reason::None,
                             0,          kvlink::WallTime(1s),   {}};
    plant.setLastSamples({{"a.speed", old}});
    ASSERT_TRUE(apply());
    EXPECT_EQ(plant.table()->sample(0).toInt(), 42);
    EXPECT_EQ(plant.table()->sample(0).quality, kvlink::Quality::Stale);
    sim.startAgain();
    EXPECT_TRUE(reads("a.speed", "0"));
}

TEST_F(PlantTest, aWriteIsCarriedOutAndReported)
{
    sim.control("set DM100=5");
    ASSERT_TRUE(apply());
    ASSERT_TRUE(reads("a.speed", "5"));
    const WriteReport report = write("a.speed", qint64(-7));
    EXPECT_EQ(report.outcome, Outcome::Done);
    EXPECT_EQ(report.plc, "a");
    EXPECT_EQ(report.oldValue, kvlink::Value(qint64(5)));
    EXPECT_EQ(report.order.who, "anna");
    EXPECT_NE(report.time, kvlink::WallTime{});
    EXPECT_EQ(sim.control("get DM100"), "65529");
    ASSERT_EQ(recorder.ended.size(), 1u);
    EXPECT_EQ(recorder.ended[0].order.correlation, "c1");
}

struct RefusedRow {
    const char *row;
    const char *tag;
    kvlink::Value value;
    kvlink::Reason reason;
    const char *hint;
};

class RefusedWrite : public PlantTest, public testing::WithParamInterface<RefusedRow>
{
};

TEST_P(RefusedWrite, isNotSentAndSaysWhy)
{
    ASSERT_TRUE(apply());
    ASSERT_TRUE(reads("a.speed", "0"));
    const WriteReport report = write(GetParam().tag, GetParam().value);
    EXPECT_EQ(report.outcome, Outcome::NotSent);
    EXPECT_EQ(report.reason, GetParam().reason);
    EXPECT_NE(report.text.toStdString().find(GetParam().hint), std::string::npos)
        << report.text.toStdString();
    EXPECT_EQ(sim.control("get DM100"), "00000");
    EXPECT_EQ(recorder.ended.size(), 1u);
}

using List = std::vector<kvlink::Scalar>;
const RefusedRow refusedRows[] = {
    {"aboveMax", "a.speed", qint64(1501), kvlink::Reason::InvalidValue,
     "1501 is above the largest value of a.speed, 1500"},
    {"belowMin", "a.speed", -10.5, kvlink::Reason::InvalidValue,
     "-10.5 is below the least value of a.speed, -10"},
    {"textPastTheLimits", "a.speed", QString("1501"), kvlink::Reason::InvalidValue, "must be a number"},
    {"bitPastTheLimits", "a.speed", true, kvlink::Reason::InvalidValue, "must be a number"},
    {"listPastTheLimits", "a.speed", List{qint64(1), qint64(2000)}, kvlink::Reason::InvalidValue,
     "2000 is above"},
    {"nothing", "a.speed", {}, kvlink::Reason::InvalidValue, "must be a number"},
    {"readOnly", "a.fixed", qint64(1), kvlink::Reason::NotPermitted, "a.fixed is read-only"},
    {"unknown", "a.sped", qint64(1), kvlink::Reason::InvalidValue, "no tag \"a.sped\""},
    {"outOfTheDevicesRange", "a.run", qint64(7), kvlink::Reason::InvalidValue, "R500"},
};

INSTANTIATE_TEST_SUITE_P(Rows, RefusedWrite, testing::ValuesIn(refusedRows),
                         [](const auto &row) { return std::string(row.param.row); });

TEST_F(PlantTest, limitsThemselvesMayBeWritten)
{
    ASSERT_TRUE(apply());
    ASSERT_TRUE(reads("a.speed", "0"));
    EXPECT_EQ(write("a.speed", qint64(1500)).outcome, Outcome::Done);
    EXPECT_EQ(write("a.speed", qint64(-10)).outcome, Outcome::Done);
}

TEST_F(PlantTest, whatCannotBeRecordedIsNotSent)
{
    ASSERT_TRUE(apply());
    ASSERT_TRUE(reads("a.speed", "0"));
    recorder.canRecord = false;
    EXPECT_EQ(write("a.speed", qint64(1)).outcome, Outcome::NotSent);
    EXPECT_EQ(sim.control("get DM100"), "00000");
}

TEST_F(PlantTest, aButtonIsDownAsLongAsItIsRenewed)
{
    ASSERT_TRUE(apply());
    ASSERT_TRUE(reads("a.run", "0"));
    std::optional<WriteReport> end;
    WriteOrder order;
    order.tag = "a.run";
    order.who = "anna";
    const ButtonId button = plant.press(order, [&](const WriteReport &report) { end = report; });
    ASSERT_GT(button, 0u);
    const QDeadlineTimer longerThanTheLease(900);
    while (!longerThanTheLease.hasExpired()) {
        EXPECT_TRUE(plant.renew(button, "anna"));
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 20);
    }
    EXPECT_EQ(sim.control("get R500"), "1");
    EXPECT_FALSE(plant.renew(button, "bert"));
    EXPECT_FALSE(plant.release(button, "bert"));
    EXPECT_TRUE(plant.release(button, "anna"));
    EXPECT_TRUE(until([&] { return end.has_value(); }));
    EXPECT_EQ(end->outcome, Outcome::Done);
    EXPECT_EQ(sim.control("get R500"), "0");
    EXPECT_FALSE(plant.renew(button, "anna"));
}

TEST_F(PlantTest, aButtonThatNobodyRenewsReleases)
{
    ASSERT_TRUE(apply());
    ASSERT_TRUE(reads("a.run", "0"));
    std::optional<WriteReport> end;
    WriteOrder order;
    order.tag = "a.run";
    ASSERT_GT(plant.press(order, [&](const WriteReport &report) { end = report; }), 0u);
    EXPECT_TRUE(until([&] { return end.has_value(); }));
    EXPECT_EQ(sim.control("get R500"), "0");
}

TEST_F(PlantTest, onlyBitsAreButtons)
{
    ASSERT_TRUE(apply());
    std::optional<WriteReport> end;
    WriteOrder order;
    order.tag = "a.speed";
    EXPECT_EQ(plant.press(order, [&](const WriteReport &report) { end = report; }), 0u);
    ASSERT_TRUE(end.has_value());
    EXPECT_EQ(end->outcome, Outcome::NotSent);
}

TEST_F(PlantTest, aNewConfigurationKeepsTheLinkThatStays)
{
    sim.control("set DM100=5");
    sim.control("set DM300=9");
    ASSERT_TRUE(apply());
    ASSERT_TRUE(reads("a.speed", "5"));
    const auto oldTable = plant.table();
    const auto connects = plant.plc(0)->statistics().connects;
    config.plcs[0].tags.erase(config.plcs[0].tags.begin() + 1);
    config.plcs[0].tags.push_back(tag("a.level", "DM300"));
    ASSERT_TRUE(apply());
    EXPECT_TRUE(oldTable->isClosed());
    EXPECT_NE(oldTable->run(), plant.table()->run());
    EXPECT_EQ(plant.table()->sample(0).toInt(), 5) << "the sample of a tag that stays is kept";
    EXPECT_TRUE(plant.table()->link(0).isReady());
    EXPECT_EQ(plant.table()->find("a.run"), -1);
    EXPECT_TRUE(reads("a.level", "9"));
    sim.control("set DM100=6");
    EXPECT_TRUE(reads("a.speed", "6"));
    EXPECT_EQ(plant.plc(0)->statistics().connects, connects);
}

TEST_F(PlantTest, aTagWithAnotherAddressForgetsItsValue)
{
    sim.control("set DM100=5");
    ASSERT_TRUE(apply());
    ASSERT_TRUE(reads("a.speed", "5"));
    config.plcs[0].tags[0].settings.address = "DM200.S";
    ASSERT_TRUE(apply());
    EXPECT_EQ(plant.table()->sample(0).quality, kvlink::Quality::Never);
    EXPECT_TRUE(reads("a.speed", "0"));
}

TEST_F(PlantTest, aBadConfigurationLeavesTheOldOneRunning)
{
    ASSERT_TRUE(apply());
    ASSERT_TRUE(reads("a.speed", "0"));
    const auto oldTable = plant.table();
    config.plcs[0].tags.push_back(tag("a.wrong", "Q5"));
    QString problem;
    EXPECT_FALSE(plant.apply(config, problem));
    EXPECT_TRUE(problem.startsWith("a.wrong: ")) << problem.toStdString();
    EXPECT_EQ(plant.table(), oldTable);
    sim.control("set DM100=6");
    EXPECT_TRUE(reads("a.speed", "6"));
}

TEST_F(PlantTest, linksThatGoAndComeLeaveTheOthersAlone)
{
    SimulatedPlc second;
    ASSERT_TRUE(apply());
    ASSERT_TRUE(reads("a.speed", "0"));
    const auto connects = plant.plc(0)->statistics().connects;
    PlcConfig other;
    other.name = "b";
    other.link.url = second.url();
    other.tags = {tag("b.level", "DM1")};
    config.plcs.insert(config.plcs.begin(), other);
    ASSERT_TRUE(apply());
    EXPECT_TRUE(reads("b.level", "0"));
    config.plcs.erase(config.plcs.begin());
    ASSERT_TRUE(apply());
    EXPECT_EQ(plant.table()->find("b.level"), -1);
    EXPECT_EQ(plant.plc(0)->statistics().connects, connects);
    sim.control("set DM100=6");
    EXPECT_TRUE(reads("a.speed", "6"));
}

TEST_F(PlantTest, writesOfAStoppedPlantEnd)
{
    ASSERT_TRUE(apply());
    ASSERT_TRUE(reads("a.speed", "0"));
    int ends = 0;
    WriteOrder order;
    order.tag = "a.speed";
    order.value = qint64(1);
    for (int i = 0; i < 20; ++i)
        plant.write(order, [&](const WriteReport & /*report*/) { ++ends; });
    plant.stop();
    EXPECT_EQ(ends, 20);
}

} // namespace
} // namespace kvgateway
