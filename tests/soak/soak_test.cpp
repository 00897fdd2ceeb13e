// SPDX-License-Identifier: MIT
// The ledger: kv-host and two simulated PLCs, with random faults, for as long as one likes. Every
// write that the host has taken is found in the PLC, or was reported as failed; none is lost
// without a word, none is reported twice; and the host does not grow.
//
// Three hosts at once, on the same two PLCs:
//   a long-lived one made of kv-host's own parts in this process, which writes and reads without
//   end; the program `kv-host watch`, which runs from the beginning to the end; the program
//   `kv-host write`, run again and again.
//
//     KV_SOAK_SECONDS=600 KV_TEST_SEED=1 kv_soak_test
#include "fault_dice.h"
#include "jobs.h"
#include "places.h"
#include "plc_url.h"
#include "process_size.h"
#include "test_bench.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <cstdlib>
#include <iostream>
#include <optional>
#include <random>

namespace
{
using namespace kvhost;
using soak::End;
using soak::ProcessSize;

constexpr int timeoutMs = 150;
constexpr int retries = 3;
constexpr Ms roundLimit{90000}; // a write whose end is not known by then never ends
constexpr Ms calmLimit{20000};  // the longest pause between two attempts to connect is 5 s
constexpr int writesARound = 60;
constexpr int roundsPerProgram = 12; // then the program writes instead of this process
constexpr int roundsPerCalm = 8;     // then there are no faults, and no write may fail

// What may come on top after the warm-up. One request that is never forgotten costs 200 bytes and
// more, and ten minutes have some 7000; what an allocator holds back differs by a few hundred KiB
// from one moment to the next. Descriptors and threads are looked at while nothing goes on, and
// then not one more is in order.
constexpr long mostGrowthKiB = 1024;

// The address sanitizer holds back what was freed, to tell who uses it later: then memory grows
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
    long writes = 0, elements = 0, done = 0, failed = 0;
    long strikes = 0, disconnections = 0;
};

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
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
        SessionSettings settings;
        settings.timeout = Ms(timeoutMs);
        settings.retries = retries;
        for (int station = 1; station <= 2; ++station) {
            QString problem;
            auto target = parsePlc(QStringLiteral("%1=%2").arg(station).arg(plc(station).url()), &problem);
            ASSERT_TRUE(target) << problem.toStdString();
            settings.targets.push_back(*target);
        }
        session = std::make_unique<Session>(settings);
        QString problem;
        ASSERT_TRUE(session->load(QFileInfo(KV_HOST_PATH).absolutePath(), &problem)) << problem.toStdString();
        session->start();
        showScreen();
        watch = std::make_unique<QProcess>();
        watch->setStandardOutputFile(QProcess::nullDevice());
        watch->setStandardErrorFile(QProcess::nullDevice());
        watch->start(KV_HOST_PATH, host() + QStringList{"watch", "1/DM1001:100", "2/R10100.U:8", "2/TS1001:4",
                                                        "--every", "100ms"});
        ASSERT_TRUE(watch->waitForStarted());
    }

    void TearDown() override
    {
        session->stop();
        watch->terminate();
        EXPECT_TRUE(watch->waitForFinished(5000)) << "kv-host watch does not end";
        qInstallMessageHandler(nullptr);
    }

    // What the long-lived host reads all the time, while it writes.
    void showScreen()
    {
        std::vector<Variable> screen;
        for (const char *text : {"1/DM1001:200", "1/T1001:3", "2/EM1:50", "2/MR10100.U:10", "1/Z2"}) {
            Variable variable;
            QString problem;
            variable.address = parseAddress(QString::fromLatin1(text), &problem).value();
            screen.push_back(variable);
        }
        session->readCyclically(screen, Ms(200));
    }

    QStringList host()
    {
        return {"--plc",     "1=" + plc(1).url(),
                "--plc",     "2=" + plc(2).url(),
                "--timeout", QStringLiteral("%1ms").arg(timeoutMs),
                "--format",  "csv"};
    }

    SimulatedPlc &plc(int station) { return station == 1 ? first : second; }

    // --- a round ---

    // Everything once, while nothing is wrong yet.
    void firstRound()
    {
        const std::vector<soak::Write> writes = places.drawAll();
        const std::vector<End> ends = writeHere(writes, false);
        ++count.calmRounds;
        if (ends.size() == writes.size())
            settle(writes, ends, true);
    }

    void round()
    {
        const bool calm = ++count.rounds % roundsPerCalm == 0;
        const bool byProgram = count.rounds % roundsPerProgram == 5;
        const std::vector<soak::Write> writes = places.draw(writesARound);
        if (!calm)
            disturb();
        const std::vector<End> ends = byProgram ? writeByProgram(writes) : writeHere(writes, !calm);
        soothe();
        fence();
        count.calmRounds += calm ? 1 : 0;
        count.programRounds += byProgram ? 1 : 0;
        if (ends.size() == writes.size())
            settle(writes, ends, calm);
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
    void soothe()
    {
        for (int station = 1; station <= 2; ++station) {
            for (const QByteArray &entry : plc(station).control("faults").split(';')) {
                const QByteArray behind = entry.mid(entry.indexOf(", done ") + 7);
                count.strikes += entry.contains(", done ") ? behind.split(',').value(0).toLong() : 0;
            }
            plc(station).control("clear");
            plc(station).control("listen on");
        }
        const bool ready =
            waitFor([this] { return session->link(1).ready && session->link(2).ready; }, calmLimit);
        EXPECT_TRUE(ready) << "round " << count.rounds << ": no link although all faults are gone";
    }

    std::vector<End> writeHere(const std::vector<soak::Write> &writes, bool mayDisconnect)
    {
        Job job(session.get(), RequestKind::Write);
        for (const soak::Write &write : writes)
            add(job, write.text);
        Breaks breaks = mayDisconnect ? planBreaks() : Breaks();
        const Time limit = Clock::now() + roundLimit;
        bool ended = false;
        while (!ended && Clock::now() < limit) {
            breakLinks(breaks);
            ended = session->waitUntil([&job] { return job.step(); }, std::min(limit, Clock::now() + Ms(20)));
        }
        if (!ended) {
            ADD_FAILURE() << "round " << count.rounds << ": writes without an end; " << inForce.toStdString();
            return {};
        }
        std::vector<End> ends;
        for (const PartResult &part : job.results()) {
            EXPECT_TRUE(part.state == RequestState::Done || part.state == RequestState::Failed);
            EXPECT_EQ(part.state == RequestState::Failed, !part.reason.isEmpty()) << "a failure tells why";
            ends.push_back(part.state == RequestState::Done ? End::Done : End::Failed);
        }
        return ends;
    }

    static void add(Job &job, const QString &text)
    {
        const int equals = int(text.indexOf('='));
        QString problem;
        const auto address = parseAddress(text.left(equals), &problem);
        ASSERT_TRUE(address) << problem.toStdString();
        const auto data =
            encodeValues(*address, text.mid(equals + 1).split(','), WordOrder::LowFirst, &problem);
        ASSERT_TRUE(data) << problem.toStdString();
        job.add(*address, *data);
    }

    // A write that the host gave up by itself, because its station was away, is still in the
    // driver's list. It goes out before this one does; so nothing is on its way any more when this
    // one is done.
    void fence()
    {
        Job job(session.get(), RequestKind::Write);
        for (const char *place : {"1/EM60000=", "2/EM60000="})
            add(job, place + QString::number(count.rounds % 65536));
        EXPECT_TRUE(waitFor([&job] { return job.step(); }, calmLimit)) << "a write without an end";
        for (const PartResult &part : job.results())
            EXPECT_EQ(part.state, RequestState::Done) << "without a fault: " << part.reason.toStdString();
    }

    // The program tells each value in a line of its own: once, good or bad.
    std::vector<End> writeByProgram(const std::vector<soak::Write> &writes)
    {
        QStringList arguments = host() + QStringList{"write", "--yes"};
        for (const soak::Write &write : writes)
            arguments << write.text;
        const Ended run = ::run(arguments, int(roundLimit.count()));
        EXPECT_TRUE(run.code >= 0 && run.code <= 5 && run.code != 2) << run.code << run.err.toStdString();
        EXPECT_FALSE(run.err.contains("more than once")) << run.err.toStdString();
        const QVector<Told> told = toldIn(run.out);
        std::vector<End> ends;
        int line = 0;
        for (const soak::Write &write : writes) {
            bool good = true;
            for (std::size_t i = 0; i < write.sets.size() && line < told.size(); ++i)
                good = told[line++].quality == "good" && good;
            ends.push_back(good ? End::Done : End::Failed);
        }
        std::size_t values = 0;
        for (const soak::Write &write : writes)
            values += write.sets.size();
        if (std::size_t(told.size()) == values)
            return ends;
        ADD_FAILURE() << "round " << count.rounds << ": " << values << " values written, " << told.size()
                      << " told; exit code " << run.code << "\n"
                      << run.err.toStdString();
        return {};
    }

    void settle(const std::vector<soak::Write> &writes, const std::vector<End> &ends, bool calm)
    {
        const QStringList wrong = places.check(writes, ends, [this](int station, const QByteArray &devices) {
            return plc(station).control("get " + devices);
        });
        for (const QString &line : wrong)
            ADD_FAILURE() << "round " << count.rounds << ": " << line.toStdString()
                          << "\nfaults: " << inForce.toStdString();
        for (std::size_t i = 0; i < writes.size(); ++i) {
            ++count.writes;
            count.elements += long(writes[i].sets.size());
            ++(ends[i] == End::Done ? count.done : count.failed);
            EXPECT_FALSE(calm && ends[i] == End::Failed)
                << "round " << count.rounds << ": failed without a fault: " << writes[i].text.toStdString();
        }
        inForce.clear();
    }

    // --- connections that break, as when a cable is pulled or a PLC restarts ---

    struct Breaks {
        int station = 0;
        Time off, on;
        bool isOff = false;
    };

    Breaks planBreaks()
    {
        Breaks breaks;
        if (dice.between(0, 2) != 0)
            return breaks;
        breaks.station = dice.between(1, 2);
        breaks.off = Clock::now() + Ms(dice.between(0, 200));
        breaks.on = breaks.off + Ms(dice.between(0, 1) * dice.between(50, 800));
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

    bool waitFor(const std::function<bool()> &done, Ms most)
    {
        const Time limit = Clock::now() + most;
        while (!done() && Clock::now() < limit)
            session->waitUntil(done, std::min(limit, Clock::now() + Ms(20)));
        return done();
    }

    // --- sizes ---

    struct Sizes {
        ProcessSize here, watch;
    };

    // While nothing goes on but the reading: all links are ready, those of the
    // watching program too.
    Sizes sizes()
    {
        const auto linked = [this] { return soak::sizeOf(watch->processId()).sockets == 2; };
        EXPECT_TRUE(waitFor(linked, calmLimit)) << "kv-host watch has not one link to each PLC";
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

    static void tell(const char *when, const Sizes &now)
    {
        std::cout << when << ": writer " << now.here.text() << "; watch " << now.watch.text() << std::endl;
    }

    void tellCount() const
    {
        std::cout << count.rounds << " rounds (" << count.calmRounds << " without faults, "
                  << count.programRounds << " by the program), " << count.writes << " writes of "
                  << count.elements << " elements: " << count.done << " done and found, " << count.failed
                  << " reported as failed; " << count.strikes << " answers and connections struck, "
                  << count.disconnections << " times disconnected; " << places.compared()
                  << " elements compared" << std::endl;
    }

    const unsigned seed;
    const std::chrono::seconds span;
    SimulatedPlc first, second;
    soak::Places places;
    soak::FaultDice dice;
    std::unique_ptr<Session> session;
    std::unique_ptr<QProcess> watch;
    Count count;
    QByteArray inForce; // faults of this round
};

TEST_F(Soak, everyWriteIsFoundInThePlcOrReportedAsFailedAndTheHostsStayAsTheyAre)
{
    const Time begin = Clock::now();
    const Time warm = begin + span / 4;
    const Time end = begin + span;
    Time nextWord = begin + std::chrono::minutes(1);
    std::optional<Sizes> atFirst;
    firstRound();
    while (Clock::now() < end && !HasFatalFailure() && watch->state() == QProcess::Running) {
        round();
        if (!atFirst && Clock::now() >= warm) {
            atFirst = sizes();
            tell("after the warm-up", *atFirst);
        }
        if (Clock::now() >= nextWord) {
            tellCount();
            tell("now", sizes());
            nextWord += std::chrono::minutes(1);
        }
    }
    EXPECT_EQ(watch->state(), QProcess::Running) << "kv-host watch has ended";
    const Sizes atLast = sizes();
    tellCount();
    tell("at the end", atLast);
    ASSERT_TRUE(atFirst);
    expectFlat("the writing host", atFirst->here, atLast.here);
    expectFlat("kv-host watch", atFirst->watch, atLast.watch);
    EXPECT_EQ(session->requests().surplusReports(), 0) << "ends that were reported more than once";
    EXPECT_GT(count.done, 0);
    EXPECT_GT(count.strikes, 0) << "no fault has struck";
    EXPECT_GE(count.calmRounds, 1);
}
} // namespace
