// SPDX-License-Identifier: MIT
// The ledger: kvlink and two simulated PLCs, with random faults, for as long as one likes. Each
// write ends once, and the PLC's own memory bears it out: what is done is there, what was refused
// or not sent is not, what is unknown may be. No pulse is given twice, and the hosts do not grow.
//
// Three hosts at once, on the same two PLCs:
//   two links of kvlink in this process, which write and read without end;
//   the program `kv-host watch`, which runs from the beginning to the end;
//   the program `kv-host write`, run again and again.
//
//     KV_SOAK_SECONDS=600 KV_TEST_SEED=1 kv_soak_test
#include "fault_dice.h"
#include "places.h"
#include "process_size.h"
#include "simulated_plc.h"

#include <kvlink/plc.h>

#include <gtest/gtest.h>
#include <QCoreApplication>
#include <QFile>
#include <QHash>
#include <QProcess>
#include <QTemporaryDir>

#include <cstdlib>
#include <iostream>
#include <optional>
#include <random>

namespace
{

using kvlink::Outcome;
using soak::End;
using soak::ProcessSize;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr auto timeout = 150ms;
constexpr auto roundLimit = 90s;    // a write whose end is not known by then never ends
constexpr auto calmLimit = 20s;     // the longest pause between two attempts to connect is 5 s
constexpr auto shortExpiry = 300ms; // of some writes
constexpr auto longExpiry = 60s;
constexpr int writesARound = 60;
constexpr int roundsPerProgram = 12; // then the program writes instead of this process
constexpr int roundsPerCalm = 8;     // then there are no faults, and no write may fail
constexpr int pulsesARound = 2;
constexpr auto pulseLength = 120ms; // many scans, so that the program sees each edge on a busy machine, too

// The program of the PLC counts the edges of the relays that are pulsed.
constexpr char program[] = "when MR90000 rises then count DM64000\nwhen MR90001 rises then count DM64001\n";
const char *const pulsedRelays[] = {"MR90000", "MR90001"};
const char *const pulseCounters[] = {"DM64000", "DM64001"};

// What may come on top after the warm-up. One request that is never forgotten costs 200 bytes and
// more, and ten minutes have some 7000; what an allocator holds back differs by a few hundred KiB
// from one moment to the next. Descriptors and threads are looked at while nothing goes on, and
// then not one more is in order.
constexpr long mostGrowthKiB = 1024;

// The address sanitizer holds back what was freed, to say who uses it later: then memory grows
// whatever the hosts do.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool memoryTells = false;
#elif defined(__has_feature)
constexpr bool memoryTells = !__has_feature(address_sanitizer);
#else
constexpr bool memoryTells = true;
#endif

long numberFrom(const char *variable, long otherwise)
{
    const char *given = std::getenv(variable);
    return given != nullptr ? std::strtol(given, nullptr, 10) : otherwise;
}

struct Count {
    long rounds = 0, calmRounds = 0, programRounds = 0;
    long writes = 0, elements = 0;
    long done = 0, refused = 0, notSent = 0, unknown = 0, cancelled = 0, expired = 0;
    long pulses = 0;
    long strikes = 0, disconnections = 0;
};

// A write of a round, handed out.
struct Handed {
    kvlink::WriteId id = 0;
    kvlink::Tag tag;
    std::optional<kvlink::WriteResult> result;
};

End endOf(Outcome outcome)
{
    if (outcome == Outcome::Done)
        return End::Done;
    return outcome == Outcome::Unknown ? End::Unknown : End::NotThere;
}

class Soak : public testing::Test
{
protected:
    Soak()
        : seed(unsigned(numberFrom("KV_TEST_SEED", long(std::random_device()() & 0x7FFFFFFFU)))),
          span(numberFrom("KV_SOAK_SECONDS", 60)), places({1, 2}, seed), dice(seed + 1)
    {
        std::cout << "KV_TEST_SEED=" << seed << " KV_SOAK_SECONDS=" << span.count() << std::endl;
    }

    void SetUp() override
    {
        QFile file(folder.filePath("edges.program"));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(program);
        file.close();
        for (int station = 1; station <= 2; ++station)
            plcs.push_back(
                std::make_unique<SimulatedPlc>(QStringList{"--scan", "5", "--program", file.fileName()}));
        for (int station = 1; station <= 2; ++station)
            link(station);
        watch = std::make_unique<QProcess>();
        watch->setStandardOutputFile(QProcess::nullDevice());
        watch->setStandardErrorFile(QProcess::nullDevice());
        watch->start(KV_HOST_PATH, host() + QStringList{"watch", "1/DM1001:100", "2/R10100.U:8", "2/TS1001:3",
                                                        "--every", "100ms"});
        ASSERT_TRUE(watch->waitForStarted());
    }

    void TearDown() override
    {
        links.clear();
        watch->terminate();
        EXPECT_TRUE(watch->waitForFinished(5000)) << "kv-host watch does not end";
    }

    // A long-lived link: it reads all the time, while it writes.
    void link(int station)
    {
        kvlink::LinkSettings settings;
        settings.url = plc(station).url();
        settings.timeout = timeout;
        auto link = std::make_unique<kvlink::Plc>(settings);
        ASSERT_TRUE(link->problem().isEmpty()) << link->problem().toStdString();
        for (const char *address : {"DM1001:200", "T1001:3", "EM1:50", "MR10100.U:10", "Z2"}) {
            kvlink::TagSettings tag;
            tag.address = QString::fromLatin1(address);
            tag.period = 200ms;
            QString problem;
            ASSERT_TRUE(link->tag(tag, &problem).isValid()) << problem.toStdString();
        }
        QObject::connect(link.get(), &kvlink::Plc::writeFinished, link.get(),
                         [this, station](const kvlink::WriteResult &result) { take(station, result); });
        ASSERT_TRUE(link->start());
        links.push_back(std::move(link));
    }

    QStringList host()
    {
        return {"--plc", "1=" + plc(1).url(), "--plc", "2=" + plc(2).url(), "--timeout",
                "150ms", "--format",          "csv"};
    }

    SimulatedPlc &plc(int station) { return *plcs[std::size_t(station - 1)]; }
    kvlink::Plc &linkOf(int station) { return *links[std::size_t(station - 1)]; }

    void take(int station, const kvlink::WriteResult &result)
    {
        Handed *handed = open[station].value(result.id, nullptr);
        if (handed == nullptr) {
            ADD_FAILURE() << "round " << count.rounds
                          << ": an end of a write that is not open: " << result.text.toStdString();
            return;
        }
        handed->result = result;
        open[station].remove(result.id);
    }

    // --- a round ---

    // Everything once, while nothing is wrong yet.
    void firstRound()
    {
        const std::vector<soak::Write> writes = places.drawAll();
        const std::vector<End> ends = writeHere(writes, true);
        ++count.calmRounds;
        if (ends.size() == writes.size())
            settle(writes, ends);
    }

    void round()
    {
        const bool isCalm = ++count.rounds % roundsPerCalm == 0;
        const bool isByProgram = count.rounds % roundsPerProgram == 5;
        const std::vector<soak::Write> writes = places.draw(writesARound);
        if (!isCalm)
            disturb();
        const std::vector<End> ends = isByProgram ? writeByProgram(writes) : writeHere(writes, isCalm);
        if (!isByProgram)
            pulse(isCalm);
        heal();
        fence();
        count.calmRounds += isCalm ? 1 : 0;
        count.programRounds += isByProgram ? 1 : 0;
        if (ends.size() == writes.size())
            settle(writes, ends);
    }

    void disturb()
    {
        for (int station = 1; station <= 2; ++station) {
            for (const QByteArray &fault : dice.draw()) {
                plc(station).control("fault " + fault);
                inForce += (inForce.isEmpty() ? "" : "; ") + QByteArray::number(station) + ": " + fault;
            }
        }
    }

    // Takes the faults away, and waits until both links are ready again.
    void heal()
    {
        for (int station = 1; station <= 2; ++station) {
            for (const QByteArray &entry : plc(station).control("faults").split(';')) {
                const QByteArray rest = entry.mid(entry.indexOf(", done ") + 7);
                count.strikes += entry.contains(", done ") ? rest.split(',').value(0).toLong() : 0;
            }
            plc(station).control("clear");
            plc(station).control("listen on");
        }
        const bool isReady =
            waitFor([this] { return linkOf(1).link().isReady() && linkOf(2).link().isReady(); }, calmLimit);
        EXPECT_TRUE(isReady) << "round " << count.rounds << ": no link although all faults are gone";
    }

    kvlink::WriteOptions optionsFor(bool isCalm)
    {
        kvlink::WriteOptions options;
        options.expires = longExpiry;
        if (isCalm)
            return options;
        options.attempts = dice.between(1, 3);
        options.whenOffline = dice.between(0, 1) == 0 ? kvlink::WhenOffline::Fail : kvlink::WhenOffline::Wait;
        if (dice.between(0, 4) == 0)
            options.expires = shortExpiry;
        return options;
    }

    std::vector<End> writeHere(const std::vector<soak::Write> &writes, bool isCalm)
    {
        std::vector<Handed> handed(writes.size());
        QHash<QString, kvlink::Tag> tags; // of this round: order is kept for each tag
        Breaks breaks = isCalm ? Breaks() : planBreaks();
        for (std::size_t i = 0; i < writes.size(); ++i) {
            const int station = writes[i].station;
            kvlink::Tag &tag = tags[writes[i].text.section('=', 0, 0)];
            if (!tag.isValid()) {
                kvlink::TagSettings settings;
                settings.address = writes[i].address();
                settings.period = 0ms;
                tag = linkOf(station).tag(settings);
            }
            handed[i].tag = tag;
            handed[i].id = linkOf(station).writeText(tag, writes[i].typed(), optionsFor(isCalm));
            open[station].insert(handed[i].id, &handed[i]);
        }
        const Clock::time_point limit = Clock::now() + roundLimit;
        while (isAnyOpen() && Clock::now() < limit) {
            breakLinks(breaks);
            if (!isCalm && dice.between(0, 40) == 0)
                cancelOne(handed, writes);
            waitFor([this] { return !isAnyOpen(); }, 20ms);
        }
        for (auto tag = tags.begin(); tag != tags.end(); ++tag)
            linkOf(tag.key().section('/', 0, 0).toInt()).removeTag(*tag);
        return endsOf(handed, writes, isCalm);
    }

    void cancelOne(const std::vector<Handed> &handed, const std::vector<soak::Write> &writes)
    {
        const auto i = std::size_t(dice.between(0, int(handed.size()) - 1));
        if (!handed[i].result)
            linkOf(writes[i].station).cancel(handed[i].id);
    }

    bool isAnyOpen() const { return !open.value(1).isEmpty() || !open.value(2).isEmpty(); }

    std::vector<End> endsOf(const std::vector<Handed> &handed, const std::vector<soak::Write> &writes,
                            bool isCalm)
    {
        std::vector<End> ends;
        for (std::size_t i = 0; i < handed.size(); ++i) {
            if (!handed[i].result) {
                ADD_FAILURE() << "round " << count.rounds
                              << ": a write without an end: " << writes[i].text.toStdString() << "; "
                              << inForce.toStdString();
                open.clear();
                return {};
            }
            const kvlink::WriteResult &result = *handed[i].result;
            EXPECT_FALSE(result.text.isEmpty()) << "an end says why";
            EXPECT_FALSE(isCalm && result.outcome != Outcome::Done)
                << "round " << count.rounds << ", without a fault: " << writes[i].text.toStdString() << ": "
                << result.text.toStdString();
            countEnd(result);
            ends.push_back(endOf(result.outcome));
        }
        return ends;
    }

    void countEnd(const kvlink::WriteResult &result)
    {
        count.done += result.outcome == Outcome::Done ? 1 : 0;
        count.refused += result.outcome == Outcome::Refused ? 1 : 0;
        count.notSent += result.outcome == Outcome::NotSent ? 1 : 0;
        count.unknown += result.outcome == Outcome::Unknown ? 1 : 0;
        count.cancelled += result.reason == kvlink::Reason::Cancelled ? 1 : 0;
        count.expired += result.reason == kvlink::Reason::Expired ? 1 : 0;
    }

    // Pulses a relay of each PLC under the faults that are left: the PLC counts at most one edge
    // for each pulse.
    void pulse(bool isCalm)
    {
        for (int i = 0; i < pulsesARound; ++i) {
            const int station = dice.between(1, 2);
            // A pulse whose release was lost with the link left the relay on: no edge would come.
            plc(station).control(QByteArray("set ") + pulsedRelays[i] + "=0");
            waitFor([] { return false; }, pulseLength);
            const QByteArray before = plc(station).control(QByteArray("get ") + pulseCounters[i]);
            kvlink::TagSettings settings;
            settings.address = QString::fromLatin1(pulsedRelays[i]);
            settings.period = 0ms;
            const kvlink::Tag tag = linkOf(station).tag(settings);
            Handed handed;
            handed.id = linkOf(station).pulse(tag, pulseLength);
            open[station].insert(handed.id, &handed);
            waitFor([this] { return !isAnyOpen(); }, roundLimit);
            ASSERT_TRUE(handed.result)
                << "round " << count.rounds << ": a pulse without an end; " << inForce.toStdString();
            linkOf(station).removeTag(tag);
            ++count.pulses;
            waitFor([] { return false; }, pulseLength); // a few scans
            const int edges =
                plc(station).control(QByteArray("get ") + pulseCounters[i]).toInt() - before.toInt();
            EXPECT_LE(edges, 1) << "round " << count.rounds << ": a pulse was given twice; "
                                << inForce.toStdString();
            EXPECT_FALSE(handed.result->outcome == Outcome::Done && edges != 1)
                << "round " << count.rounds << ": a pulse that is done is not there; "
                << inForce.toStdString();
            EXPECT_FALSE(endOf(handed.result->outcome) == End::NotThere && edges != 0)
                << "round " << count.rounds << ": a pulse that was not sent is there";
            EXPECT_FALSE(isCalm && handed.result->outcome != Outcome::Done)
                << handed.result->text.toStdString();
        }
    }

    // Nothing is on its way any more once this is done.
    void fence()
    {
        for (int station = 1; station <= 2; ++station) {
            kvlink::TagSettings settings;
            settings.address = QStringLiteral("EM60000");
            settings.period = 0ms;
            const kvlink::Tag tag = linkOf(station).tag(settings);
            kvlink::WriteOptions options; // the second of two answers may cost the link only now
            options.whenOffline = kvlink::WhenOffline::Wait;
            const kvlink::WriteResult result =
                linkOf(station).writeAndWait(tag, qint64(count.rounds % 65536), options);
            EXPECT_EQ(result.outcome, Outcome::Done) << "without a fault: " << result.text.toStdString();
            linkOf(station).removeTag(tag);
        }
    }

    // The program shows each value in a line of its own: once, with the outcome of its write.
    std::vector<End> writeByProgram(const std::vector<soak::Write> &writes)
    {
        QStringList arguments = host() + QStringList{"write", "--yes"};
        for (const soak::Write &write : writes)
            arguments << write.text;
        QProcess process;
        process.start(KV_HOST_PATH, arguments);
        EXPECT_TRUE(process.waitForFinished(int(std::chrono::milliseconds(roundLimit).count())));
        const int code = process.exitCode();
        EXPECT_TRUE(code >= 0 && code <= 5 && code != 2)
            << code << process.readAllStandardError().toStdString();
        QList<QByteArray> outcomes;
        for (const QByteArray &line : process.readAllStandardOutput().split('\n')) {
            const QList<QByteArray> fields = line.split(',');
            if (fields.size() > 6 && fields[0] != "time")
                outcomes << fields[6];
        }
        std::vector<End> ends;
        int line = 0;
        for (const soak::Write &write : writes) {
            const QByteArray outcome = outcomes.value(line);
            if (outcome == "done")
                ends.push_back(End::Done);
            else
                ends.push_back(outcome == "unknown" ? End::Unknown : End::NotThere);
            line += int(write.sets.size());
        }
        if (line == outcomes.size())
            return ends;
        ADD_FAILURE() << "round " << count.rounds << ": " << line << " values written, " << outcomes.size()
                      << " shown; exit code " << code;
        return {};
    }

    void settle(const std::vector<soak::Write> &writes, const std::vector<End> &ends)
    {
        const QStringList wrong = places.check(writes, ends, [this](int station, const QByteArray &devices) {
            return plc(station).control("get " + devices);
        });
        for (const QString &line : wrong)
            ADD_FAILURE() << "round " << count.rounds << ": " << line.toStdString()
                          << "\nfaults: " << inForce.toStdString();
        for (const soak::Write &write : writes) {
            ++count.writes;
            count.elements += long(write.sets.size());
        }
        inForce.clear();
    }

    // --- connections that break, as when a cable is pulled or a PLC restarts ---

    struct Breaks {
        int station = 0;
        Clock::time_point off, on;
        bool isOff = false;
    };

    Breaks planBreaks()
    {
        Breaks breaks;
        if (dice.between(0, 2) != 0)
            return breaks;
        breaks.station = dice.between(1, 2);
        breaks.off = Clock::now() + std::chrono::milliseconds(dice.between(0, 200));
        breaks.on = breaks.off + std::chrono::milliseconds(dice.between(0, 1) * dice.between(50, 800));
        return breaks;
    }

    void breakLinks(Breaks &breaks)
    {
        if (breaks.station != 0 && !breaks.isOff && Clock::now() >= breaks.off) {
            breaks.isOff = true;
            if (breaks.on > breaks.off)
                plc(breaks.station).control("listen off");
            plc(breaks.station).control("disconnect");
            ++count.disconnections;
        }
        if (breaks.isOff && Clock::now() >= breaks.on) {
            plc(breaks.station).control("listen on");
            breaks = Breaks();
        }
    }

    static bool waitFor(const std::function<bool()> &isSo, Clock::duration most)
    {
        const Clock::time_point limit = Clock::now() + most;
        while (!isSo() && Clock::now() < limit)
            QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 10);
        return isSo();
    }

    // --- sizes ---

    struct Sizes {
        ProcessSize here, watch;
    };

    // While nothing goes on but the reading: all links are ready, those of the
    // watching program too.
    Sizes sizes()
    {
        const auto isLinked = [this] { return soak::sizeOf(watch->processId()).sockets == 2; };
        EXPECT_TRUE(waitFor(isLinked, calmLimit)) << "kv-host watch has not one link to each PLC";
        return {soak::sizeOf(QCoreApplication::applicationPid()), soak::sizeOf(watch->processId())};
    }

    static void expectFlat(const char *who, const ProcessSize &before, const ProcessSize &after)
    {
        EXPECT_GT(before.residentKiB, 0) << who << " was not there";
        if (memoryTells) {
            EXPECT_LE(after.residentKiB, before.residentKiB + mostGrowthKiB) << who;
        }
        EXPECT_LE(after.descriptors, before.descriptors) << who;
        EXPECT_LE(after.threads, before.threads) << who;
    }

    static void show(const char *when, const Sizes &now)
    {
        std::cout << when << ": writer " << now.here.text() << "; watch " << now.watch.text() << std::endl;
    }

    void showCount() const
    {
        std::cout << count.rounds << " rounds (" << count.calmRounds << " without faults, "
                  << count.programRounds << " by the program), " << count.writes << " writes of "
                  << count.elements << " elements; here " << count.done << " done, " << count.refused
                  << " refused, " << count.notSent << " not sent (" << count.cancelled << " cancelled, "
                  << count.expired << " expired), " << count.unknown << " unknown; " << count.pulses
                  << " pulses; " << count.strikes << " answers and connections struck, "
                  << count.disconnections << " times disconnected; " << places.compared()
                  << " elements compared" << std::endl;
    }

    const unsigned seed;
    const std::chrono::seconds span;
    QTemporaryDir folder;
    std::vector<std::unique_ptr<SimulatedPlc>> plcs;
    soak::Places places;
    soak::FaultDice dice;
    std::vector<std::unique_ptr<kvlink::Plc>> links;
    std::unique_ptr<QProcess> watch;
    QHash<int, QHash<kvlink::WriteId, Handed *>> open; // by station: writes without an end
    Count count;
    QByteArray inForce; // faults of this round
};

TEST_F(Soak, everyWriteEndsOnceAndThePlcBearsItOut)
{
    const Clock::time_point begin = Clock::now();
    const Clock::time_point warm = begin + span / 4;
    const Clock::time_point end = begin + span;
    Clock::time_point nextWord = begin + 1min;
    std::optional<Sizes> atFirst;
    ASSERT_TRUE(
        waitFor([this] { return linkOf(1).link().isReady() && linkOf(2).link().isReady(); }, calmLimit));
    firstRound();
    while (Clock::now() < end && !HasFatalFailure() && watch->state() == QProcess::Running) {
        round();
        if (!atFirst && Clock::now() >= warm) {
            atFirst = sizes();
            show("after the warm-up", *atFirst);
        }
        if (Clock::now() >= nextWord) {
            showCount();
            show("now", sizes());
            nextWord += 1min;
        }
    }
    EXPECT_EQ(watch->state(), QProcess::Running) << "kv-host watch has ended";
    const Sizes atLast = sizes();
    showCount();
    show("at the end", atLast);
    ASSERT_TRUE(atFirst);
    expectFlat("the writing host", atFirst->here, atLast.here);
    expectFlat("kv-host watch", atFirst->watch, atLast.watch);
    EXPECT_GT(count.done, 0);
    EXPECT_GT(count.strikes, 0) << "no fault has struck";
    EXPECT_GE(count.calmRounds, 1);
}

} // namespace
