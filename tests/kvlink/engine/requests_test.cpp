// SPDX-License-Identifier: MIT
// Whose turn it is, and what becomes of a request that the driver does not take, of an answer that
// it does not take, and of requests that a loss of the link or an E1 meets half-way.
#include "engine/bench.h"
#include "support/fake_transport.h"

namespace kvlink
{
namespace
{

// --- a driver that does what a row says ----------------------------------------------------------

class FakeDriver final : public Driver
{
public:
    bool takesReads = true;
    bool takesWrites = true;
    Result result = Result::Done;

    void beginRead(int, int, int) override { begin(takesReads, "RDS DM0.U 1\r"); }
    void beginWrite(const WriteUnits &) override { begin(takesWrites, "WRS DM0.U 1 00005\r"); }
    QByteArray frame() const override { return m_frame; }
    int replyLength() const override { return m_frame.startsWith("RDS") ? 7 : 4; }
    Result answer(const QByteArray &) override
    {
        m_frame.clear();
        return result;
    }
    bool ended() const override { return m_frame.isEmpty(); }
    UnitBlock block(int readArea, int firstUnit, int count) const override
    {
        return {readArea, firstUnit, count, QByteArray("\7\0", 2), {}, {}, {}};
    }

private:
    void begin(bool takes, const QByteArray &frame) { m_frame = takes ? frame : QByteArray(); }

    QByteArray m_frame;
};

QByteArray answerTo(const QByteArray &frame)
{
    if (frame.startsWith("CR"))
        return "CC\r\n";
    return frame.startsWith("RDS") ? "00007\r\n" : "OK\r\n";
}

// DM0 on demand, over a connection whose PLC answers at once.
class Refusing : public ::testing::Test
{
protected:
    void SetUp() override
    {
        wire.opensAtOnce();
        wire.onSend([this](const QByteArray &frame) {
            frames.push_back(frame);
            wire.comes(answerTo(frame));
        });
        engine.addTags({engineTag(1, QStringLiteral("DM0"), Duration(0))});
        engine.start();
        for (int i = 0; i < 3; ++i)
            engine.step(events);
        ASSERT_TRUE(engine.link().isReady());
        frames.clear();
    }
    void step() { engine.step(events); }

    FakeClock clock;
    FakeTransport wire;
    FakeDriver driver;
    std::vector<QByteArray> frames;
    LinkSettings settings;
    Engine engine{clock, wire, driver, settings, 1};
    Events events;
};

TEST_F(Refusing, AReadThatTheDriverDoesNotTakeIsOutOfRangeAndTheNextOneGoes)
{
    driver.takesReads = false;
    engine.readNow(7, {Tag(1)});
    step();
    step();
    EXPECT_EQ(engine.sample(Tag(1)).quality, Quality::Bad);
    EXPECT_EQ(engine.sample(Tag(1)).reason, Reason::OutOfRange);
    EXPECT_EQ(events.reads, std::vector<ReadId>{7});
    EXPECT_TRUE(frames.empty());
    EXPECT_TRUE(engine.link().isReady());
    driver.takesReads = true;
    engine.readNow(8, {Tag(1)});
    step();
    step();
    EXPECT_EQ(engine.sample(Tag(1)).toInt(), 7);
    EXPECT_TRUE(engine.sample(Tag(1)).isGood());
}

TEST_F(Refusing, AWriteThatTheDriverDoesNotTakeIsNotSentAndTheNextOneGoes)
{
    driver.takesWrites = false;
    engine.write({1, Tag(1), qint64(5), {}});
    step();
    ASSERT_EQ(events.writes.size(), 1U);
    EXPECT_EQ(events.writes[0].outcome, Outcome::NotSent);
    EXPECT_EQ(events.writes[0].reason, Reason::InvalidValue);
    EXPECT_EQ(events.writes[0].text.toStdString(), "the driver does not take it; nothing was sent");
    EXPECT_TRUE(frames.empty());
    EXPECT_EQ(engine.sample(Tag(1)).quality, Quality::Never) << "the tag itself has no fault";
    driver.takesWrites = true;
    engine.write({2, Tag(1), qint64(5), {}});
    step();
    step();
    ASSERT_EQ(events.writes.size(), 2U);
    EXPECT_EQ(events.writes[1].outcome, Outcome::Done);
}

TEST_F(Refusing, AnAnswerThatTheDriverDoesNotTakeIsCorrupted)
{
    driver.result = Driver::Result::Failed;
    engine.readNow(7, {Tag(1)});
    step();
    step();
    EXPECT_EQ(engine.sample(Tag(1)).quality, Quality::Bad);
    EXPECT_EQ(engine.sample(Tag(1)).reason, Reason::Corrupted);
    engine.write({1, Tag(1), qint64(5), {.attempts = 1}});
    step();
    step();
    ASSERT_EQ(events.writes.size(), 1U);
    EXPECT_EQ(events.writes[0].outcome, Outcome::Unknown);
    EXPECT_EQ(events.writes[0].reason, Reason::Corrupted);
    EXPECT_TRUE(engine.link().isReady()) << "its shape was right: nothing is in doubt but this answer";
}

// --- turns ---------------------------------------------------------------------------------------

char letterOf(const QByteArray &frame)
{
    if (frame.startsWith("RDS"))
        return 'R';
    return frame.startsWith('?') ? 'Q' : 'W';
}

// A letter for each frame that was sent, without the first so many: reads, questions, writes.
std::string turns(const Bench &bench, std::size_t without)
{
    std::string all;
    for (std::size_t i = without; i < bench.wire.frames().size(); ++i)
        all += letterOf(bench.wire.frames()[i]);
    return all;
}

TEST(Turns, LeaveEveryThirdRequestToReadsThatAreDue)
{
    Bench bench;
    for (quint32 id = 1; id <= 9; ++id) // a request each
        bench.add({engineTag(id, QStringLiteral("DM%1").arg(id * 1000), 1s)});
    bench.engine.start();
    ASSERT_TRUE(bench.runUntilReady()); // the first read is on its way
    const std::size_t from = bench.wire.frames().size();
    for (int i = 0; i < 4; ++i)
        bench.write(1, qint64(i));
    for (QueryId id = 1; id <= 4; ++id)
        bench.engine.query(id, "?K");
    bench.run(50ms);
    EXPECT_EQ(turns(bench, from), "WWRWWRQQRQQRRRRR");
}

TEST(Turns, AreTakenByWritesAtOnceWhereTheReadThatWasDueHasNothingLeftToAsk)
{
    Bench bench;
    bench.add({engineTag(1, "DM0", 10s), engineTag(2, "DM500", Duration(0))});
    bench.engine.start();
    ASSERT_TRUE(bench.runUntilReady()); // the only read is on its way
    const std::size_t from = bench.wire.frames().size();
    for (int i = 0; i < 6; ++i)
        bench.write(2, qint64(i));
    bench.afterStep = [&](const Events &) {
        EXPECT_TRUE(bench.wire.owesAnswer() || bench.hasEnded(6)) << "the line is idle while writes wait";
    };
    bench.run(20ms);
    EXPECT_TRUE(bench.hasEnded(6));
    EXPECT_EQ(turns(bench, from), "WWWWWW");
}

TEST(Turns, KeepThePauseBetweenTwoRequestsButNotInsideOne)
{
    LinkSettings settings;
    settings.gap = 10ms;
    Bench bench(settings);
    bench.add({engineTag(1, "DM0", Duration(0)), engineTag(2, "DM5.3", Duration(0))});
    bench.engine.start();
    ASSERT_TRUE(bench.runUntilReady());
    std::vector<Duration> sent;
    const SteadyTime began = bench.clock.now();
    bench.wire.trace = [&](const char *what, const QByteArray &) {
        if (std::string_view(what) == "sent")
            sent.push_back(bench.clock.now() - began);
    };
    bench.write(1, qint64(1));
    bench.write(2, true);
    bench.write(1, qint64(2));
    bench.run(100ms);
    // 2 ms each; the word of a bit is read and written without a pause between.
    EXPECT_EQ(sent, (std::vector<Duration>{0ms, 12ms, 14ms, 26ms}));
}

// --- a link that is lost half-way ----------------------------------------------------------------

LinkSettings quick()
{
    LinkSettings settings;
    settings.timeout = 100ms;
    return settings;
}

TEST(LostHalfWay, AReadIsBadForWantOfALink)
{
    Bench bench(quick());
    bench.add({engineTag(1, "DM0", 1s)});
    bench.engine.start();
    bench.run(999ms);
    bench.wire.isFrozen = true;
    bench.run(10ms); // the next read is on its way
    ASSERT_TRUE(bench.wire.owesAnswer());
    bench.wire.cut();
    bench.step();
    EXPECT_EQ(bench.text(1), "bad 0 (no link)");
    EXPECT_EQ(bench.engine.link().problem, QStringLiteral("connection reset"));
    EXPECT_EQ(bench.engine.statistics().noAnswers, 1U);
}

TEST(LostHalfWay, AWriteSaysThatTheLinkWasLost)
{
    Bench bench(quick());
    bench.add({engineTag(1, "DM0", Duration(0))});
    bench.engine.start();
    ASSERT_TRUE(bench.runUntilReady());
    bench.wire.isFrozen = true;
    const WriteId id = bench.write(1, qint64(5), {.attempts = 1});
    bench.step();
    bench.wire.cut();
    bench.step();
    EXPECT_EQ(bench.result(id).outcome, Outcome::Unknown);
    EXPECT_EQ(bench.result(id).reason, Reason::LinkLost);
}

TEST(LostHalfWay, QuestionsFailWithWhatHappened)
{
    for (const bool isCut : {true, false}) {
        Bench bench(quick());
        bench.engine.start();
        ASSERT_TRUE(bench.runUntilReady());
        bench.wire.isFrozen = true;
        bench.engine.query(1, "?K"); // in hand
        bench.engine.query(2, "?M"); // waits
        bench.step();
        if (isCut)
            bench.wire.cut();
        bench.run(100ms);
        ASSERT_EQ(bench.events.queries.size(), 2U);
        EXPECT_FALSE(bench.events.queries[0].answered);
        EXPECT_EQ(bench.events.queries[0].problem.toStdString(), isCut ? "the link was lost" : "no answer");
        EXPECT_EQ(bench.events.queries[1].problem.toStdString(),
                  isCut ? "connection reset" : "no answer in 100ms");
    }
}

TEST(LostHalfWay, NothingIsLostWhenALinkIsStoppedThatWasNotStarted)
{
    Bench bench(quick());
    bench.add({engineTag(1, "DM0", Duration(0))});
    bench.engine.query(1, "?K");
    bench.engine.readNow(2, {Tag(1)});
    const WriteId id = bench.write(1, qint64(5), {.whenOffline = WhenOffline::Wait});
    bench.engine.stop();
    bench.step();
    EXPECT_TRUE(bench.events.queries.empty());
    EXPECT_TRUE(bench.events.reads.empty());
    EXPECT_FALSE(bench.hasEnded(id));
    bench.engine.start();
    bench.run(50ms);
    EXPECT_EQ(bench.events.queries.size(), 1U);
    EXPECT_EQ(bench.events.reads.size(), 1U);
    EXPECT_EQ(bench.result(id).outcome, Outcome::Done);
}

TEST(LostHalfWay, QuestionsFailWhereTheLinkNeverComesAndWhereItIsStopped)
{
    Bench bench(quick());
    bench.wire.door = ModelWire::Door::Refuses;
    bench.engine.query(1, "?K");
    bench.engine.start();
    bench.run(10ms);
    ASSERT_EQ(bench.events.queries.size(), 1U);
    EXPECT_EQ(bench.events.queries[0].problem.toStdString(), "connection refused");
    bench.engine.stop();
    bench.engine.query(2, "?K");
    bench.step();
    EXPECT_EQ(bench.events.queries.size(), 1U) << "a stopped link may be started";
    bench.engine.start();
    bench.engine.stop();
    bench.step();
    ASSERT_EQ(bench.events.queries.size(), 2U);
    EXPECT_EQ(bench.events.queries[1].problem.toStdString(), "the link was stopped");
}

// --- a PLC that was restarted --------------------------------------------------------------------

TEST(Restarted, AReleaseIsGreetedForEvenIfTheRequestBeforeItWasToo)
{
    Bench bench(quick());
    bench.add({engineTag(1, "R500", Duration(0)), engineTag(2, "DM0", Duration(0))});
    bench.engine.start();
    ASSERT_TRUE(bench.runUntilReady());
    bench.engine.press(70, Tag(1));
    bench.run(10ms);
    bench.plc.restart();
    bench.engine.readNow(1, {Tag(2)});
    bench.run(5500us); // E1, the greeting; asked again and carried out, the answer is on its way
    bench.plc.restart();
    bench.engine.stop();
    bench.run(50ms);
    EXPECT_EQ(bench.result(70).outcome, Outcome::Done);
    EXPECT_EQ(bench.plc.value("R", 5), 0U);
    EXPECT_EQ(bench.plc.count("CR"), 3);
}

TEST(Restarted, APlcThatIsNotGreetedIsNotGreetedForAnE1Either)
{
    LinkSettings settings = quick();
    settings.open = Open::None;
    Bench bench(settings);
    bench.plc.wantsGreeting = false;
    bench.add({engineTag(1, "DM0", Duration(0))});
    bench.engine.start();
    ASSERT_TRUE(bench.runUntilReady());
    bench.plc.wantsGreeting = true; // answers E1 to all
    const WriteId id = bench.write(1, qint64(5));
    bench.run(50ms);
    EXPECT_EQ(bench.result(id).outcome, Outcome::Refused);
    EXPECT_EQ(bench.result(id).plcError, 1);
    EXPECT_EQ(bench.plc.count("CR"), 0);
}

// What was refused was not carried out, whatever becomes of the greeting after it.
TEST(Restarted, AWriteThatWasRefusedAndCouldNotBeSentAgainIsRefused)
{
    Bench bench(quick());
    bench.add({engineTag(1, "DM0", Duration(0))});
    bench.engine.start();
    ASSERT_TRUE(bench.runUntilReady());
    bench.plc.restart();
    bench.wire.faults = {{}, {.losesAnswer = true}}; // E1 comes, the answer to CR does not
    bench.wire.door = ModelWire::Door::Refuses;
    const WriteId id = bench.write(1, qint64(5), {.whenOffline = WhenOffline::Wait, .expires = 2s});
    bench.run(3s);
    EXPECT_EQ(bench.result(id).outcome, Outcome::Refused);
    EXPECT_EQ(bench.result(id).text.toStdString(), "the PLC answered E1; nothing was changed");
    EXPECT_EQ(bench.engine.statistics().writesRefused, 1U);
    EXPECT_EQ(bench.engine.statistics().plcErrors, 1U);
}

// --- a bit of a word -----------------------------------------------------------------------------

TEST(BitOfAWord, ThatExpiresWhileItsWordIsReadIsNotSentAndLeavesNothingBehind)
{
    Bench bench(quick());
    bench.add({engineTag(1, "DM0.3", Duration(0)), engineTag(2, "DM9", Duration(0))});
    bench.engine.start();
    ASSERT_TRUE(bench.runUntilReady());
    bench.wire.back = 10ms;
    const WriteId id = bench.write(1, true, {.expires = 5ms});
    bench.run(11ms);
    EXPECT_EQ(bench.result(id).outcome, Outcome::NotSent);
    EXPECT_EQ(bench.result(id).reason, Reason::Expired);
    EXPECT_TRUE(bench.driver->ended());
    EXPECT_EQ(bench.plc.count("WRS"), 0);
    const WriteId next = bench.write(2, qint64(4));
    bench.run(20ms);
    EXPECT_EQ(bench.result(next).outcome, Outcome::Done);
}

} // namespace
} // namespace kvlink
