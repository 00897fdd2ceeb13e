// SPDX-License-Identifier: MIT
// Plc from outside: tags, values, writes and signals, against kv-sim over TCP.
#include "simulated_plc.h"

#include <kvlink/plc.h>

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>

#include <algorithm>
#include <atomic>
#include <map>
#include <thread>

using namespace kvlink;

namespace
{
constexpr int patienceMs = 10000;

LinkSettings settingsFor(const QString &url)
{
    LinkSettings settings;
    settings.url = url;
    settings.driver = QStringLiteral(KV_DRIVER_PATH);
    return settings;
}

TagSettings at(const char *address, Duration period = 20ms)
{
    TagSettings settings;
    settings.address = QString::fromLatin1(address);
    settings.period = period;
    return settings;
}

// Runs the event loop until the condition holds. False when it does not for long.
template <class Condition>
bool soon(Condition condition)
{
    QElapsedTimer clock;
    clock.start();
    while (!condition()) {
        if (clock.elapsed() > patienceMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents | QEventLoop::AllEvents, 10);
        QThread::yieldCurrentThread();
    }
    return true;
}

// A link to a kv-sim of its own, and what it has reported.
class PlcTest : public testing::Test
{
protected:
    PlcTest() : plc(settingsFor(sim.url()))
    {
        QObject::connect(&plc, &Plc::changed, [this](Tag tag, const Sample &sample) {
            ++changes;
            shown[tag] = sample;
        });
        QObject::connect(&plc, &Plc::writeFinished,
                         [this](const WriteResult &result) { ends[result.id] = result; });
        QObject::connect(&plc, &Plc::readFinished, [this](ReadId id) { reads.push_back(id); });
        QObject::connect(&plc, &Plc::queryFinished,
                         [this](const QueryResult &result) { answers[result.id] = result; });
    }

    void start()
    {
        ASSERT_TRUE(plc.start()) << plc.problem().toStdString();
        ASSERT_TRUE(plc.waitForLink(10s)) << plc.link().problem.toStdString();
    }
    bool ended(WriteId id)
    {
        return soon([&] { return ends.count(id) > 0; });
    }
    // "done", "not sent: expired", ...
    std::string end(WriteId id)
    {
        if (!ended(id))
            return "no end";
        const WriteResult &result = ends[id];
        const std::string outcome = outcomeName(result.outcome).toStdString();
        return result.reason == Reason::None ? outcome
                                             : outcome + ": " + reasonText(result.reason).toStdString();
    }

    SimulatedPlc sim;
    Plc plc;
    std::map<Tag, Sample> shown;
    std::map<WriteId, WriteResult> ends;
    std::vector<ReadId> reads;
    std::map<QueryId, QueryResult> answers;
    int changes = 0;
};

// --- before the start ----------------------------------------------------------------------------

TEST(PlcSettings, whatIsWrongIsSaidAtOnce)
{
    const Plc shortAddress(settingsFor(QStringLiteral("tcp://192.168.1")));
    EXPECT_NE(shortAddress.problem(), QString());
    LinkSettings noDriver = settingsFor(QStringLiteral("tcp://127.0.0.1"));
    noDriver.driver = QStringLiteral("/nowhere/driver.so");
    Plc plc(noDriver);
    EXPECT_TRUE(plc.problem().contains(QLatin1String("/nowhere/driver.so"))) << plc.problem().toStdString();
    EXPECT_FALSE(plc.start());
    QString problem;
    EXPECT_FALSE(plc.tag(QStringLiteral("DM0"), &problem).isValid());
    EXPECT_EQ(problem, plc.problem());
    EXPECT_FALSE(plc.tag(QStringLiteral("D100"), &problem).isValid());
    EXPECT_NE(problem, plc.problem()) << "the address is wrong as well";
    EXPECT_EQ(plc.sample(Tag(1)).quality, Quality::Never);
    EXPECT_EQ(plc.tagSettings(Tag(1)).address, QString());
    EXPECT_TRUE(plc.plan().requests.isEmpty());
    EXPECT_EQ(plc.statistics().requests, 0U);
    EXPECT_EQ(plc.writeAndWait(Tag(1), 5).outcome, Outcome::NotSent);
    EXPECT_EQ(plc.cancelAll(), 0);
    plc.stop();
}

TEST_F(PlcTest, aWrongAddressIsRefusedWithASentence)
{
    QString problem;
    EXPECT_FALSE(plc.tag(QStringLiteral("D100"), &problem).isValid());
    EXPECT_NE(problem, QString());
    EXPECT_TRUE(plc.tag(QStringLiteral("DM100"), &problem).isValid());
    EXPECT_EQ(problem, QString());

    TagSettings scaled = at("DM100");
    scaled.scale = 0.0;
    EXPECT_FALSE(plc.tag(scaled, &problem).isValid());
    EXPECT_EQ(problem, QLatin1String("a scale must be a number other than 0"));
}

TEST_F(PlcTest, ofManyTagsTheWrongOnesAreNamed)
{
    QStringList problems;
    const std::vector<Tag> tags = plc.addTags({at("DM1"), at("nonsense"), at("dm2.d")}, &problems);
    ASSERT_EQ(tags.size(), 3U);
    ASSERT_EQ(problems.size(), 3);
    EXPECT_TRUE(tags[0].isValid());
    EXPECT_FALSE(tags[1].isValid());
    EXPECT_TRUE(tags[2].isValid());
    EXPECT_EQ(problems[0], QString());
    EXPECT_NE(problems[1], QString());
    EXPECT_EQ(problems[2], QString());
    EXPECT_EQ(plc.tags(), (std::vector<Tag>{tags[0], tags[2]}));
    EXPECT_EQ(plc.tagSettings(tags[2]).name, QLatin1String("DM2.D"));
    EXPECT_EQ(plc.tagSettings(tags[2]).address, QLatin1String("dm2.d"));
}

TEST_F(PlcTest, aTagKeepsItsSettings)
{
    TagSettings given;
    given.address = QStringLiteral("dm100.5");
    given.name = QStringLiteral("valve");
    given.period = 3s;
    given.scale = 2.0;
    given.offset = -1.0;
    given.unit = QStringLiteral("mm");
    given.deadband = 0.5;
    given.access = Access::ReadOnly;
    given.everySample = true;
    given.command = true;
    const Tag tag = plc.tag(given);
    plc.setPeriod(tag, 4s);
    plc.setPeriod(tag, -1s);
    const TagSettings kept = plc.tagSettings(tag);
    EXPECT_EQ(kept.address, given.address);
    EXPECT_EQ(kept.name, given.name);
    EXPECT_EQ(kept.period, Duration(4s));
    EXPECT_EQ(kept.scale, 2.0);
    EXPECT_EQ(kept.offset, -1.0);
    EXPECT_EQ(kept.unit, given.unit);
    EXPECT_EQ(kept.deadband, 0.5);
    EXPECT_EQ(kept.access, Access::ReadOnly);
    EXPECT_TRUE(kept.everySample);
    EXPECT_TRUE(kept.command);
    EXPECT_EQ(plc.tagSettings(plc.tag(QStringLiteral("dm7.d:2"))).name, QLatin1String("DM7.D:2"));
}

TEST_F(PlcTest, thePlanIsThereBeforeTheStart)
{
    plc.addTags({at("DM0"), at("DM1"), at("EM0")});
    const ReadPlan plan = plc.plan();
    ASSERT_EQ(plan.requests.size(), 2);
    EXPECT_EQ(plan.requests[0].frame, QLatin1String("RDS DM0.U 2"));
    EXPECT_FALSE(plan.measured);
}

TEST_F(PlcTest, beforeTheStartWritesAndReadsEndAtOnce)
{
    const Tag tag = plc.tag(QStringLiteral("DM100"));
    EXPECT_EQ(end(plc.write(tag, 5)), "not sent: " + reasonText(Reason::Stopped).toStdString());
    const ReadId read = plc.readNow({tag});
    EXPECT_TRUE(soon([&] { return reads == std::vector<ReadId>{read}; }));
    EXPECT_EQ(plc.read({tag}, 1h).front().quality, Quality::Never);
    EXPECT_FALSE(plc.waitForLink(1h));
    EXPECT_EQ(plc.link().state, LinkState::Stopped);
}

// --- values --------------------------------------------------------------------------------------

TEST_F(PlcTest, changesComeAsSignalsInTheThreadOfThePlc)
{
    const Tag word = plc.tag(at("DM100"));
    const Tag real = plc.tag(at("DM102.F"));
    std::thread::id thread;
    QObject::connect(&plc, &Plc::changed, [&] { thread = std::this_thread::get_id(); });
    sim.tell("set DM100=5");
    sim.tell("set DM102=0,16320"); // 1.5
    start();
    EXPECT_TRUE(soon([&] { return shown[word].toInt() == 5 && shown[real].toDouble() == 1.5; }));
    EXPECT_TRUE(shown[word].isGood());
    EXPECT_EQ(thread, std::this_thread::get_id());
    sim.tell("set DM100=65535");
    EXPECT_TRUE(soon([&] { return shown[word].toInt() == 65535; }));
    EXPECT_EQ(plc.sample(word).toInt(), 65535);
}

// Only good samples bring an answer: on a busy machine a tag of 1 ms becomes stale in between, and
// that is reported with the time of the answer that was good last.
TEST_F(PlcTest, aLoggerSeesEachAnswerOnce)
{
    TagSettings logged = at("DM100", 1ms);
    logged.everySample = true;
    std::vector<SteadyTime> seen;
    QObject::connect(&plc, &Plc::changed, [&](Tag, const Sample &sample) {
        if (sample.isGood())
            seen.push_back(sample.steadyTime);
    });
    plc.tag(logged);
    start();
    EXPECT_TRUE(soon([&] { return seen.size() >= 200; }));
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
    EXPECT_EQ(std::adjacent_find(seen.begin(), seen.end()), seen.end());
}

TEST_F(PlcTest, theTimeOfASampleIsThatOfTheLastAnswerAlsoWhenNothingChanged)
{
    const Tag word = plc.tag(at("DM100"));
    start();
    EXPECT_TRUE(soon([&] { return shown[word].isGood(); }));
    const SteadyTime first = shown[word].steadyTime;
    EXPECT_TRUE(soon([&] { return plc.sample(word).steadyTime > first; }));
    EXPECT_EQ(changes, 1);
    EXPECT_GT(plc.sample(word).time, shown[word].time);
}

TEST_F(PlcTest, tagsComeAndGoWhileTheLinkRuns)
{
    start();
    sim.tell("set DM7=7");
    const Tag tag = plc.tag(at("DM7"));
    EXPECT_TRUE(soon([&] { return shown[tag].toInt() == 7; }));
    plc.removeTag(tag);
    const int before = changes;
    sim.tell("set DM7=8");
    const Tag other = plc.tag(at("DM7"));
    EXPECT_TRUE(soon([&] { return shown[other].toInt() == 8; }));
    EXPECT_EQ(shown[tag].toInt(), 7);
    EXPECT_EQ(changes, before + 1);
    EXPECT_EQ(plc.sample(tag).quality, Quality::Never);
    EXPECT_EQ(end(plc.write(tag, 5)), "not sent: " + reasonText(Reason::InvalidValue).toStdString());
}

TEST_F(PlcTest, readsOnDemand)
{
    const Tag tag = plc.tag(at("DM10:3", 0ms));
    sim.tell("set DM10=1,2,3");
    start();
    EXPECT_EQ(plc.read({tag}, 10s).front().toText(), QLatin1String("1,2,3"));
    EXPECT_EQ(plc.read({tag}, Duration::max()).front().toText(), QLatin1String("1,2,3"));
    sim.tell("set DM10=4");
    const ReadId read = plc.readNow({tag});
    EXPECT_TRUE(soon([&] { return reads == std::vector<ReadId>{read}; }));
    EXPECT_EQ(shown[tag].toText(), QLatin1String("4,2,3")) << "the sample comes before the end of the read";
}

TEST_F(PlcTest, aSlowReceiverSeesTheNewestSampleOnce)
{
    const Tag counter = plc.tag(at("DM0", 1ms));
    sim.tell("scan 1");
    start();
    // Nobody takes signals for a while: the counter is read again and again meanwhile.
    while (plc.statistics().answers < 50)
        QThread::yieldCurrentThread();
    plc.stop();
    const qint64 newest = plc.sample(counter).toInt();
    changes = 0;
    QCoreApplication::processEvents();
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(shown[counter].toInt(), newest);
}

TEST_F(PlcTest, withoutAnEventLoopWaitForChangeEmits)
{
    const Tag word = plc.tag(at("DM100"));
    sim.tell("set DM100=5");
    start();
    while (shown[word].toInt() != 5)
        ASSERT_TRUE(plc.waitForChange(10s));
    plc.stop();
    while (plc.waitForChange(0ms)) {
    }
    EXPECT_FALSE(plc.waitForChange(1ms));
}

TEST(PlcWithoutLoop, aThreadOfItsOwnNeedsNoApplicationLoop)
{
    SimulatedPlc sim;
    sim.tell("set DM100=5");
    qint64 seen = 0;
    std::thread worker([&] {
        Plc plc(settingsFor(sim.url()));
        const Tag word = plc.tag(at("DM100"));
        QObject::connect(&plc, &Plc::changed, [&](Tag, const Sample &sample) { seen = sample.toInt(); });
        plc.start();
        while (seen != 5 && plc.waitForChange(10s)) {
        }
        EXPECT_EQ(plc.sample(word).toInt(), 5);
    });
    worker.join();
    EXPECT_EQ(seen, 5);
}

TEST_F(PlcTest, aSlotMayDoAnything)
{
    const Tag word = plc.tag(at("DM100"));
    const Tag target = plc.tag(at("DM200"));
    sim.tell("set DM100=5");
    bool done = false;
    QObject::connect(&plc, &Plc::changed, [&](Tag tag, const Sample &sample) {
        if (done || tag != word || !sample.isGood())
            return;
        done = true;
        plc.addTags({at("DM300"), at("DM301")});
        EXPECT_EQ(plc.writeAndWait(target, 42).outcome, Outcome::Done);
        EXPECT_EQ(plc.read({word}, 10s).front().toInt(), 5);
        plc.statistics();
        plc.plan();
        plc.stop();
    });
    start();
    EXPECT_TRUE(soon([&] { return done; }));
    EXPECT_EQ(sim.tell("get DM200"), "ok 00042");
    EXPECT_EQ(plc.link().state, LinkState::Stopped);
}

TEST(PlcLife, aSlotMayDestroyThePlc)
{
    SimulatedPlc sim;
    auto plc = std::make_unique<Plc>(settingsFor(sim.url()));
    plc->addTags({at("DM0"), at("EM0")});
    QObject::connect(plc.get(), &Plc::changed, [&] { plc.reset(); });
    plc->start();
    EXPECT_TRUE(soon([&] { return plc == nullptr; }));
}

// --- writes --------------------------------------------------------------------------------------

TEST_F(PlcTest, aWriteEndsOnceAndIsThere)
{
    const Tag speed = plc.tag(at("DM200.S"));
    start();
    EXPECT_EQ(end(plc.write(speed, -5)), "done");
    EXPECT_EQ(sim.tell("get DM200.S"), "ok -00005");
    EXPECT_EQ(plc.writeAndWait(speed, 7).outcome, Outcome::Done);
    EXPECT_EQ(ends.size(), 1U) << "the end of a write that is waited for is no signal";
}

TEST_F(PlcTest, textsAreWrittenAsTyped)
{
    const Tag word = plc.tag(at("DM200"));
    const Tag list = plc.tag(at("DM210:3"));
    start();
    EXPECT_EQ(end(plc.writeText(word, QStringLiteral("0x1F"))), "done");
    EXPECT_EQ(sim.tell("get DM200"), "ok 00031");
    EXPECT_EQ(end(plc.writeText(list, QStringLiteral("1,2,3"))), "done");
    EXPECT_EQ(sim.tell("get DM210 3"), "ok 00001 00002 00003");
    EXPECT_EQ(end(plc.writeText(word, QStringLiteral("many"))),
              "not sent: " + reasonText(Reason::InvalidValue).toStdString());
}

TEST_F(PlcTest, whatIsWrongWithAWriteEndsIt)
{
    TagSettings guarded = at("DM200");
    guarded.access = Access::ReadOnly;
    const Tag word = plc.tag(at("DM100"));
    const Tag readOnly = plc.tag(guarded);
    start();
    WriteOptions never;
    never.expires = 0s;
    EXPECT_EQ(end(plc.write(word, 70000)), "not sent: " + reasonText(Reason::InvalidValue).toStdString());
    EXPECT_EQ(end(plc.write(word, 5, never)), "not sent: " + reasonText(Reason::InvalidValue).toStdString());
    EXPECT_EQ(end(plc.write(Tag(), 5)), "not sent: " + reasonText(Reason::InvalidValue).toStdString());
    EXPECT_EQ(end(plc.write(readOnly, 5)), "not sent: " + reasonText(Reason::NotPermitted).toStdString());
    EXPECT_EQ(sim.tell("get DM100"), "ok 00000");
    EXPECT_EQ(plc.statistics().writesNotSent, 4U);
}

TEST_F(PlcTest, aPulseGoesOnAndOff)
{
    const Tag relay = plc.tag(at("R100", 0ms));
    const Tag word = plc.tag(at("DM100", 0ms));
    start();
    const WriteId pulse = plc.pulse(relay, 50ms);
    EXPECT_EQ(end(pulse), "done");
    EXPECT_EQ(sim.tell("get R100"), "ok 0");
    const std::string counted = sim.tell("statistics");
    EXPECT_NE(counted.find(" RS="), std::string::npos) << counted;
    EXPECT_NE(counted.find(" ST="), std::string::npos) << counted;
    EXPECT_EQ(end(plc.pulse(word, 50ms)), "not sent: " + reasonText(Reason::InvalidValue).toStdString());
    EXPECT_EQ(end(plc.pulse(relay, 1ms)), "not sent: " + reasonText(Reason::InvalidValue).toStdString());
}

TEST_F(PlcTest, aPushButtonHoldsWhileItIsRenewedAndReleasesWithItsObject)
{
    const Tag relay = plc.tag(at("R100", 0ms));
    start();
    auto button = plc.momentary(relay);
    ASSERT_TRUE(button);
    const WriteId press = button->press();
    EXPECT_EQ(button->press(), press) << "it is pressed already";
    EXPECT_TRUE(button->isPressed());
    EXPECT_TRUE(soon([&] {
        button->renew();
        return sim.tell("get R100") == "ok 1";
    }));
    EXPECT_EQ(ends.size(), 0U);
    button.reset();
    EXPECT_EQ(end(press), "done");
    EXPECT_EQ(sim.tell("get R100"), "ok 0");
    EXPECT_EQ(plc.momentary(plc.tag(QStringLiteral("DM0"))), nullptr);
    EXPECT_EQ(plc.momentary(Tag()), nullptr);
}

TEST_F(PlcTest, aPushButtonThatIsNotRenewedReleasesByItself)
{
    const Tag relay = plc.tag(at("R100", 0ms));
    start();
    const auto button = plc.momentary(relay);
    const WriteId press = button->press();
    EXPECT_TRUE(soon([&] { return sim.tell("get R100") == "ok 1"; }));
    EXPECT_EQ(end(press), "done");
    EXPECT_EQ(sim.tell("get R100"), "ok 0");
}

TEST(PlcLife, aPushButtonMayOutliveItsPlc)
{
    SimulatedPlc sim;
    std::unique_ptr<Momentary> button;
    {
        Plc plc(settingsFor(sim.url()));
        plc.start();
        button = plc.momentary(plc.tag(QStringLiteral("R100")));
    }
    button->press();
    button->renew();
    button->release();
    EXPECT_FALSE(button->isPressed());
}

TEST_F(PlcTest, whatWaitsCanBeCancelled)
{
    const Tag word = plc.tag(at("DM100"));
    sim.stop();
    plc.start();
    WriteOptions waits;
    waits.whenOffline = WhenOffline::Wait;
    waits.expires = 1h;
    const WriteId first = plc.write(word, 1, waits);
    const WriteId second = plc.write(word, 2, waits);
    const WriteId third = plc.write(word, 3, waits);
    EXPECT_TRUE(plc.cancel(first));
    EXPECT_FALSE(plc.cancel(first));
    EXPECT_EQ(plc.cancelAll(), 2);
    for (const WriteId id : {first, second, third})
        EXPECT_EQ(end(id), "not sent: " + reasonText(Reason::Cancelled).toStdString());
}

// --- the link ------------------------------------------------------------------------------------

TEST_F(PlcTest, aLostLinkMakesValuesBadAndComesBack)
{
    const Tag word = plc.tag(at("DM100"));
    sim.tell("set DM100=5");
    start();
    EXPECT_TRUE(soon([&] { return shown[word].isGood(); }));
    sim.stop();
    EXPECT_TRUE(soon([&] { return shown[word].quality == Quality::Bad; }));
    EXPECT_EQ(shown[word].reason, Reason::NoLink);
    EXPECT_EQ(shown[word].toInt(), 5) << "the last value is kept";
    EXPECT_FALSE(plc.link().isReady());
    sim.startAgain();
    sim.tell("set DM100=6");
    EXPECT_TRUE(soon([&] { return shown[word].isGood() && shown[word].toInt() == 6; }));
    EXPECT_EQ(plc.statistics().linkLosses, 1U);
}

TEST_F(PlcTest, thePlcAnswersQuestionsAboutItself)
{
    start();
    const QueryId model = plc.query(QStringLiteral("?K"));
    const QueryId harm = plc.query(QStringLiteral("M0"));
    EXPECT_TRUE(soon([&] { return answers.size() == 2; }));
    EXPECT_TRUE(answers[model].answered);
    EXPECT_EQ(answers[model].answer, QLatin1String("57"));
    EXPECT_FALSE(answers[harm].answered);
    EXPECT_EQ(answers[harm].problem, QLatin1String("'M0' is not a question to a PLC; ask ?K, ?M or ?E"));
}

TEST_F(PlcTest, stopEndsEveryWriteAndStartBeginsAgain)
{
    const Tag word = plc.tag(at("DM100"));
    sim.stop();
    plc.start();
    WriteOptions waits;
    waits.whenOffline = WhenOffline::Wait;
    waits.expires = 1h;
    const WriteId write = plc.write(word, 1, waits);
    plc.stop();
    EXPECT_EQ(end(write), "not sent: " + reasonText(Reason::Stopped).toStdString());
    sim.startAgain();
    start();
    EXPECT_EQ(end(plc.write(word, 2)), "done");
    EXPECT_EQ(sim.tell("get DM100"), "ok 00002");
}

TEST_F(PlcTest, stopWakesThoseWhoWait)
{
    const Tag word = plc.tag(at("DM100", 0ms));
    sim.stop();
    plc.start();
    WriteOptions waits;
    waits.whenOffline = WhenOffline::Wait;
    waits.expires = 1h;
    std::thread reader([&] { EXPECT_FALSE(plc.read({word}, 1h).front().isGood()); });
    std::thread writer([&] { EXPECT_EQ(plc.writeAndWait(word, 1, waits).outcome, Outcome::NotSent); });
    plc.stop();
    reader.join();
    writer.join();
}

TEST_F(PlcTest, stopEndsAReadThatWaitsForItsAnswer)
{
    const Tag word = plc.tag(at("DM100", 0ms));
    start();
    sim.tell("fault silent");
    const ReadId signalled = plc.readNow({word});
    std::thread reader([&] { EXPECT_FALSE(plc.read({word}, 1h).front().isGood()); });
    std::thread asker([&] { plc.read({word}, 1h); });
    while (plc.statistics().requests < 1)
        QThread::yieldCurrentThread();
    plc.stop();
    reader.join();
    asker.join();
    EXPECT_TRUE(soon([&] { return reads == std::vector<ReadId>{signalled}; }));
}

TEST_F(PlcTest, aReadOfNothingEndsAtOnce)
{
    start();
    EXPECT_TRUE(plc.read({}, 10s).empty());
    const ReadId nothing = plc.readNow({});
    const ReadId unknown = plc.readNow({Tag(99)});
    EXPECT_TRUE(soon([&] { return reads == std::vector<ReadId>{nothing, unknown}; }));
}

// --- threads -------------------------------------------------------------------------------------

// Everything at the same time, for the thread sanitizer and for the promise that nothing hangs.
TEST_F(PlcTest, everyCallMayComeFromEveryThread)
{
    constexpr int rounds = 30;
    const Tag word = plc.tag(at("DM0", 1ms));
    const Tag relay = plc.tag(at("R500", 0ms));
    sim.tell("scan 1");
    start();
    std::atomic<int> running{6};
    std::vector<std::thread> threads;
    const auto run = [&](auto work) {
        threads.emplace_back([&running, work] {
            for (int i = 0; i < rounds; ++i)
                work();
            --running;
        });
    };
    run([&] { plc.read({word}, 10s); });
    run([&] { plc.writeAndWait(relay, true); });
    run([&] { plc.removeTag(plc.tag(at("DM5", 1ms))); });
    run([&] {
        plc.cancel(plc.write(relay, false));
        plc.setPeriod(word, 2ms);
        plc.statistics();
        plc.plan();
    });
    run([&] {
        const auto button = plc.momentary(relay);
        button->press();
        button->renew();
    });
    run([&] {
        plc.sample(word);
        plc.link();
        plc.tags();
        plc.tagSettings(word);
        plc.query(QStringLiteral("?K"));
        plc.readNow({word, relay});
        plc.waitForLink(1ms);
    });
    EXPECT_TRUE(soon([&] { return running == 0; }));
    for (std::thread &one : threads)
        one.join();
    plc.stop();
    QCoreApplication::processEvents();
    EXPECT_EQ(reads.size(), std::size_t(rounds));
    EXPECT_EQ(answers.size(), std::size_t(rounds));
    EXPECT_EQ(ends.size(), std::size_t(2 * rounds)) << "of writes and of presses";
}

// A start and a stop from two threads leave the link's state true to what it does.
TEST_F(PlcTest, startAndStopMayMeet)
{
    for (int round = 0; round < 50; ++round) {
        std::thread starter([&] { plc.start(); });
        std::thread stopper([&] { plc.stop(); });
        starter.join();
        stopper.join();
        const bool runs = plc.start(); // known from here on
        EXPECT_TRUE(runs);
        EXPECT_TRUE(plc.waitForLink(10s)) << round;
        plc.stop();
        EXPECT_EQ(plc.link().state, LinkState::Stopped);
    }
}
} // namespace
