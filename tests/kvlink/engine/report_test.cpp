// SPDX-License-Identifier: MIT
// What the engine says about itself: the plan with its reasons, and the statistics.
#include "engine/bench.h"

namespace kvlink
{
namespace
{

std::string plan(const Engine &engine)
{
    QString all;
    for (const PlannedRequest &request : engine.plan().requests)
        all += QStringLiteral("%1 %2 to %3: %4 of %5 units, %6 tags, %7\n")
                   .arg(request.frame, request.first, request.last)
                   .arg(request.usedUnits)
                   .arg(request.units)
                   .arg(request.tags)
                   .arg(request.why);
    return all.toStdString();
}

TEST(Plan, SaysWhatIsAskedAndWhy)
{
    LinkSettings settings;
    settings.maxBlock = 100;
    Bench bench(settings);
    bench.add({engineTag(1, "DM0"), engineTag(2, "DM10.D"), engineTag(3, "R1015"), engineTag(4, "B1F"),
               engineTag(5, "TC3"), engineTag(6, "T5"), engineTag(7, "W1A"), engineTag(8, "Z1"),
               engineTag(9, "EM0:150")});
    // 5 ms a request and 22 bytes of 0.5 us; a word 3 us.
    EXPECT_EQ(plan(bench.engine), "RDS R1000.U 1 R1000 to R1000: 1 of 1 units, 1 tags, no gaps\n"
                                  "RDS B10.U 1 B10 to B10: 1 of 1 units, 1 tags, no gaps\n"
                                  "RDS T3.D 3 T3 to T5: 2 of 3 units, 2 tags, reads across 1 gap of together "
                                  "1 unit: they cost 0.012 ms, a "
                                  "request 5.01 ms\n"
                                  "RDS DM0.U 12 DM0 to DM11: 3 of 12 units, 2 tags, reads across 1 gap of "
                                  "together 9 units: they cost 0.027 "
                                  "ms, a request 5.01 ms\n"
                                  "RDS EM0.U 100 EM0 to EM99: 100 of 100 units, 1 tags, a piece of a tag "
                                  "that is larger than the largest "
                                  "request, 100 units\n"
                                  "RDS EM100.U 50 EM100 to EM149: 50 of 50 units, 1 tags, a piece of a tag "
                                  "that is larger than the largest "
                                  "request, 100 units\n"
                                  "RDS W1A.U 1 W1A to W1A: 1 of 1 units, 1 tags, no gaps\n"
                                  "RDS Z1.D 1 Z1 to Z1: 1 of 1 units, 1 tags, no gaps\n");
    EXPECT_FALSE(bench.engine.plan().measured);
    // What is planned is what is sent.
    bench.engine.start();
    bench.run(100ms);
    for (const PlannedRequest &request : bench.engine.plan().requests)
        EXPECT_EQ(bench.plc.count(request.frame.toLatin1()), 1) << qPrintable(request.frame);
}

TEST(Plan, CutsLargeTagsBetweenTheirValues)
{
    LinkSettings settings;
    settings.maxBlock = 7;
    Bench bench(settings);
    bench.add({engineTag(1, "DM0.D:5"), engineTag(2, "EM0:10"), engineTag(3, "R0:200")});
    QStringList frames;
    for (const PlannedRequest &request : bench.engine.plan().requests)
        frames << request.frame;
    // Three double words and two; seven words and three; 112 relays and 88 in six words.
    EXPECT_EQ(frames.join(QStringLiteral(", ")).toStdString(),
              "RDS R0.U 7, RDS R700.U 6, RDS DM0.U 6, RDS DM6.U 4, RDS EM0.U 7, RDS EM7.U 3");
}

// At 9600 baud a character of 10 bits takes 1.0417 ms, so a word of 6 characters 6.25 ms. A request
// more costs 22 characters and the 10 ms that are guessed before any answer: 32.9167 ms. A gap of 5
// words, 31.25 ms, is read across; one of 6, 37.5 ms, is not, much less one of 119, 744 ms.
TEST(Plan, WeighsGapsAgainstRequestsAtTheSpeedOfTheLine)
{
    const struct {
        const char *second;
        QStringList frames;
    } rows[] = {
        {"DM6", {QStringLiteral("RDS DM0.U 7")}},
        {"DM7", {QStringLiteral("RDS DM0.U 1"), QStringLiteral("RDS DM7.U 1")}},
        {"DM120", {QStringLiteral("RDS DM0.U 1"), QStringLiteral("RDS DM120.U 1")}},
    };
    for (const auto &row : rows) {
        Bench bench({}, 10.0 / 9600);
        bench.add({engineTag(1, "DM0"), engineTag(2, row.second)});
        const ReadPlan plan = bench.engine.plan();
        EXPECT_FALSE(plan.measured);
        EXPECT_EQ(plan.requestCost, Duration(32917));
        EXPECT_EQ(plan.unitCost, Duration(6250));
        QStringList frames;
        for (const PlannedRequest &request : plan.requests)
            frames << request.frame;
        EXPECT_EQ(frames, row.frames) << row.second;
    }
}

TEST(Plan, FollowsWhatARequestCostsOnThisLink)
{
    Bench bench;
    bench.wire.there = 20us;
    bench.wire.back = 20us; // a gap of 100 words takes longer than a request
    bench.add({engineTag(1, "DM0", 10ms), engineTag(2, "DM101", 10ms)});
    EXPECT_EQ(bench.engine.plan().requests.size(), 1);
    bench.engine.start();
    bench.run(11s);
    EXPECT_TRUE(bench.engine.plan().measured);
    EXPECT_EQ(bench.engine.plan().requests.size(), 2);
    EXPECT_EQ(bench.text(2), "good 0");
}

// At 9600 baud: 12 characters there, 7 back, a PLC that takes 52 ms: 71.792 ms for an answer. Of
// that a line takes 30.208 ms for 7 characters and the 22 of a frame as long as they get; 41.583 ms
// remain, and a request costs those and 22.917 ms.
TEST(Plan, TakesTheTimeOfTheLineOutOfWhatWasMeasured)
{
    Bench bench({}, 10.0 / 9600);
    bench.wire.back = 51ms;
    bench.add({engineTag(1, "DM0", 200ms)});
    bench.engine.start();
    bench.run(11s);
    EXPECT_TRUE(bench.engine.plan().measured);
    EXPECT_NEAR(double(bench.engine.plan().requestCost.count()), 64500.0, 100.0);
}

TEST(Plan, NamesWhatThePlcRefuses)
{
    Bench bench;
    bench.plc.lastUnit["DM"] = 100;
    bench.add({engineTag(1, "DM100"), engineTag(2, "DM101")});
    bench.engine.start();
    bench.run(100ms);
    EXPECT_EQ(plan(bench.engine), "RDS DM100.U 1 DM100 to DM100: 1 of 1 units, 1 tags, no gaps\n"
                                  "RDS DM101.U 1 DM101 to DM101: 1 of 1 units, 1 tags, alone, since the PLC "
                                  "refuses it (E0); asked again every "
                                  "minute\n");
}

TEST(Statistics, CountWhatWentOverTheWire)
{
    Bench bench;
    bench.add({engineTag(1, "DM0", 100ms), engineTag(2, "DM1000", 1s)});
    bench.engine.start();
    bench.run(950ms);
    bench.write(1, qint64(5));
    bench.run(49ms);
    bench.wire.faults.push_back({.losesAnswer = true});
    bench.write(1, qint64(6), {.attempts = 1});
    bench.run(5ms);
    const LinkStatistics statistics = bench.engine.statistics();
    EXPECT_EQ(statistics.connects, 1U);
    EXPECT_EQ(statistics.bytesSent, quint64([&] {
                  int bytes = 0;
                  for (const QByteArray &frame : bench.wire.frames())
                      bytes += int(frame.size());
                  return bytes;
              }()));
    EXPECT_EQ(statistics.requests, quint64(bench.wire.frames().size()) - 1); // the greeting is none
    EXPECT_EQ(statistics.answerMin, Duration(2ms));
    EXPECT_EQ(statistics.answerMax, Duration(2ms));
    ASSERT_EQ(statistics.periods.size(), 2);
    EXPECT_EQ(statistics.periods[0].asked, Duration(100ms));
    EXPECT_EQ(statistics.periods[0].reached, Duration(100ms));
    EXPECT_EQ(statistics.periods[0].passes, 10U);
    EXPECT_EQ(statistics.periods[0].tags, 1);
    EXPECT_EQ(statistics.periods[0].requests, 1);
    EXPECT_EQ(statistics.missedPasses, 0U);
    bench.run(2s);
    EXPECT_EQ(bench.engine.statistics().noAnswers, 1U);
    EXPECT_EQ(bench.engine.statistics().linkLosses, 1U);
    EXPECT_EQ(bench.engine.statistics().writesDone, 1U);
    EXPECT_EQ(bench.engine.statistics().writesUnknown, 1U);
    EXPECT_GT(bench.engine.statistics().missedPasses, 5U);
}

} // namespace
} // namespace kvlink
