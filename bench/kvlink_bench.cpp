// SPDX-License-Identifier: MIT
// What kvlink costs: one scenario a run, one line of JSON as its result.
//
//   pass SECONDS URL...                        120 words of each PLC, again when all have answered
//   rate SECONDS PERIOD_MS WORDS URL...        updates of each PLC, against those that were due
//   addresses SECONDS PERIOD_MS URL ADDRESS... passes over some addresses of one PLC
//   floats SECONDS FLOATS WRITES URL...        32-bit floats once a second, and writes among them
//   flat SECONDS URL                           120 words of one PLC without a pause
//   tags COUNT URL                             registering many tags, and one more while they run
//
// CPU time is that of this process, memory its resident set at the end; the PLCs are processes
// of their own.
#include <kvlink/plc.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

namespace
{

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Plcs = std::vector<std::unique_ptr<kvlink::Plc>>;

double secondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

double cpuSeconds()
{
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval &time) { return double(time.tv_sec) + double(time.tv_usec) / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

long residentKb()
{
    std::ifstream file("/proc/self/statm");
    long size = 0;
    long resident = 0;
    file >> size >> resident;
    return resident * (::sysconf(_SC_PAGESIZE) / 1024);
}

double percentile(std::vector<double> values, double share)
{
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    return values[std::min(values.size() - 1, std::size_t(share * double(values.size())))];
}

[[noreturn]] void fail(const QString &text)
{
    std::fprintf(stderr, "kvlink_bench: %s\n", qPrintable(text));
    std::exit(3);
}

Plcs connectAll(char **urls, int count)
{
    Plcs plcs;
    for (int i = 0; i < count; ++i) {
        plcs.push_back(std::make_unique<kvlink::Plc>(QString::fromLocal8Bit(urls[i])));
        if (!plcs.back()->problem().isEmpty())
            fail(plcs.back()->problem());
    }
    return plcs;
}

kvlink::Tag addTag(kvlink::Plc &plc, const QString &address, kvlink::Duration period)
{
    kvlink::TagSettings settings;
    settings.address = address;
    settings.period = period;
    QString problem;
    const kvlink::Tag tag = plc.tag(settings, &problem);
    if (!tag.isValid())
        fail(problem);
    return tag;
}

void waitReady(const kvlink::Plc &plc)
{
    const auto start = Clock::now();
    while (!plc.link().isReady()) {
        if (secondsSince(start) > 10)
            fail(QStringLiteral("no link to %1: %2").arg(plc.settings().url, plc.link().problem));
        std::this_thread::sleep_for(1ms);
    }
}

// As a program with nothing else to do: it sleeps in between.
void serveEvents(double seconds)
{
    QEventLoop loop;
    QTimer::singleShot(int(seconds * 1000), &loop, &QEventLoop::quit);
    loop.exec();
}

void startAll(const Plcs &plcs)
{
    for (const auto &plc : plcs)
        plc->start();
    for (const auto &plc : plcs)
        waitReady(*plc);
}

// One request of 120 words to each PLC, and again when all have answered.
int pass(double seconds, Plcs plcs)
{
    std::vector<kvlink::Tag> tags;
    for (const auto &plc : plcs)
        tags.push_back(addTag(*plc, QStringLiteral("DM0:120"), 0ms));
    startAll(plcs);
    std::vector<double> passes;
    std::size_t waiting = 0;
    for (const auto &plc : plcs)
        QObject::connect(plc.get(), &kvlink::Plc::readFinished, [&] { --waiting; });
    const double cpu = cpuSeconds();
    const auto start = Clock::now();
    while (secondsSince(start) < seconds) {
        const auto begin = Clock::now();
        waiting = plcs.size();
        for (std::size_t i = 0; i < plcs.size(); ++i)
            plcs[i]->readNow({tags[i]});
        while (waiting > 0)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        passes.push_back(secondsSince(begin) * 1000);
    }
    std::printf("{\"plcs\": %zu, \"passes\": %zu, \"median_ms\": %.3f, \"p99_ms\": %.3f, \"cpu\": %.4f}\n",
                plcs.size(), passes.size(), percentile(passes, 0.5), percentile(passes, 0.99),
                (cpuSeconds() - cpu) / secondsSince(start));
    return 0;
}

// Passes that each PLC reached of those that were due.
int rate(double seconds, int periodMs, int words, Plcs plcs)
{
    for (const auto &plc : plcs)
        addTag(*plc, QStringLiteral("DM0:%1").arg(words), std::chrono::milliseconds(periodMs));
    for (const auto &plc : plcs)
        plc->start();
    std::this_thread::sleep_for(2s); // past the start, which is no part of it
    std::vector<quint64> before;
    for (const auto &plc : plcs)
        before.push_back(plc->statistics().answers);
    const double cpu = cpuSeconds();
    const auto start = Clock::now();
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    const double took = secondsSince(start);
    const double share = (cpuSeconds() - cpu) / took;
    std::printf("{\"due\": %.1f, \"cpu\": %.4f, \"rss_kb\": %ld, \"answers\": [", took * 1000 / periodMs,
                share, residentKb());
    for (std::size_t i = 0; i < plcs.size(); ++i)
        std::printf("%s%llu", i == 0 ? "" : ", ",
                    static_cast<unsigned long long>(plcs[i]->statistics().answers - before[i]));
    std::puts("]}");
    return 0;
}

// Passes over some addresses of one PLC, asked for more often than its line can do.
int passesOf(double seconds, int periodMs, const Plcs &plcs, const QStringList &addresses)
{
    kvlink::Plc &plc = *plcs.front();
    for (const QString &address : addresses)
        addTag(plc, address, std::chrono::milliseconds(periodMs));
    startAll(plcs);
    std::this_thread::sleep_for(1s);
    const auto passesSoFar = [&plc] { return plc.statistics().periods.front().passes; };
    const quint64 before = passesSoFar();
    const auto start = Clock::now();
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    const quint64 passes = passesSoFar() - before;
    std::printf("{\"passes\": %llu, \"took\": %.4f}\n", static_cast<unsigned long long>(passes),
                secondsSince(start));
    return 0;
}

// Time from handing out each write to its confirmation, in ms.
std::vector<double> timedWrites(const Plcs &plcs, int count)
{
    std::map<kvlink::WriteId, Clock::time_point> handedOut;
    std::vector<double> times;
    int wrong = 0;
    std::vector<kvlink::Tag> targets;
    for (const auto &plc : plcs) {
        targets.push_back(addTag(*plc, QStringLiteral("EM0"), 0ms));
        QObject::connect(plc.get(), &kvlink::Plc::writeFinished, [&](const kvlink::WriteResult &result) {
            wrong += result.outcome == kvlink::Outcome::Done ? 0 : 1;
            times.push_back(
                std::chrono::duration<double, std::milli>(
                    result.steadyTime - std::chrono::time_point_cast<kvlink::Duration>(handedOut[result.id]))
                    .count());
        });
    }
    for (int i = 0; i < count; ++i) {
        const std::size_t plc = std::size_t(i) % plcs.size();
        const auto now = Clock::now();
        handedOut.clear();
        const std::size_t before = times.size();
        handedOut[plcs[plc]->write(targets[plc], qint64(i))] = now;
        while (times.size() == before)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        const auto next = now + 37ms; // wanders through the second in which the reads are due
        while (Clock::now() < next) {
            QCoreApplication::processEvents();
            std::this_thread::sleep_for(1ms);
        }
    }
    if (wrong > 0)
        fail(QStringLiteral("%1 of %2 writes were not confirmed").arg(wrong).arg(count));
    return times;
}

int floats(double seconds, int count, int writes, Plcs plcs)
{
    const auto begin = Clock::now();
    for (const auto &plc : plcs) {
        std::vector<kvlink::TagSettings> settings(static_cast<std::size_t>(count));
        for (int i = 0; i < count; ++i) {
            settings[std::size_t(i)].address = QStringLiteral("DM%1.F").arg(2 * i);
            settings[std::size_t(i)].period = 1s;
        }
        plc->addTags(settings);
    }
    const double registering = secondsSince(begin);
    quint64 changes = 0;
    for (const auto &plc : plcs)
        QObject::connect(plc.get(), &kvlink::Plc::changed, [&] { ++changes; });
    startAll(plcs);
    serveEvents(3);
    quint64 missed = 0;
    for (const auto &plc : plcs)
        missed += plc->statistics().missedPasses;
    changes = 0;
    const double cpu = cpuSeconds();
    const auto start = Clock::now();
    serveEvents(seconds);
    const double took = secondsSince(start);
    const double share = (cpuSeconds() - cpu) / took;
    quint64 missedSince = 0;
    for (const auto &plc : plcs)
        missedSince += plc->statistics().missedPasses;
    const std::vector<double> times = timedWrites(plcs, writes);
    std::printf("{\"tags\": %zu, \"registering_s\": %.3f, \"cpu\": %.4f, \"rss_kb\": %ld, \"missed\": %llu, "
                "\"changes_a_second\": %.0f, \"write_median_ms\": %.3f, \"write_max_ms\": %.3f}\n",
                plcs.size() * std::size_t(count), registering, share, residentKb(),
                static_cast<unsigned long long>(missedSince - missed), double(changes) / took,
                percentile(times, 0.5), percentile(times, 1.0));
    return 0;
}

int flat(double seconds, Plcs plcs)
{
    kvlink::Plc &plc = *plcs.front();
    addTag(plc, QStringLiteral("DM0:120"), 1us); // always due
    startAll(plcs);
    const quint64 before = plc.statistics().answers;
    const double cpu = cpuSeconds();
    const auto start = Clock::now();
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    const double took = secondsSince(start);
    const double used = cpuSeconds() - cpu;
    const auto answers = double(plc.statistics().answers - before);
    std::printf("{\"answers\": %.0f, \"words_a_second\": %.0f, \"cpu_us\": %.3f}\n", answers,
                answers * 120 / took, used * 1e6 / answers);
    return 0;
}

int tags(int count, Plcs plcs)
{
    kvlink::Plc &plc = *plcs.front();
    std::vector<kvlink::TagSettings> settings(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        settings[std::size_t(i)].address =
            i < 60000 ? QStringLiteral("DM%1").arg(i) : QStringLiteral("EM%1").arg(i - 60000);
        settings[std::size_t(i)].name = QStringLiteral("tag%1").arg(i);
    }
    const auto begin = Clock::now();
    plc.addTags(settings);
    plc.start();
    waitReady(plc);
    while (plc.statistics().answers == 0)
        std::this_thread::sleep_for(1ms);
    const double start = secondsSince(begin);
    std::this_thread::sleep_for(1s);
    std::vector<double> more;
    for (int i = 0; i < 20; ++i) {
        const auto one = Clock::now();
        const kvlink::Tag tag = addTag(plc, QStringLiteral("FM%1").arg(i * 100), 500ms);
        while (plc.sample(tag).quality == kvlink::Quality::Never && secondsSince(one) < 5)
            std::this_thread::sleep_for(100us);
        more.push_back(secondsSince(one) * 1000);
    }
    std::printf("{\"tags\": %d, \"start_s\": %.3f, \"one_more_ms\": %.3f, \"rss_kb\": %ld}\n", count, start,
                percentile(more, 0.5), residentKb());
    return 0;
}

int usage()
{
    std::fprintf(stderr, "use: kvlink_bench pass SECONDS URL... | rate SECONDS PERIOD_MS WORDS URL... |\n"
                         "     floats SECONDS FLOATS WRITES URL... | flat SECONDS URL | tags COUNT URL\n");
    return 2;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication app(argc, argv);
    const std::string scenario = argc > 1 ? argv[1] : "";
    const auto urls = [&](int first) { return connectAll(argv + first, argc - first); };
    if (scenario == "pass" && argc > 3)
        return pass(std::atof(argv[2]), urls(3));
    if (scenario == "rate" && argc > 5)
        return rate(std::atof(argv[2]), std::atoi(argv[3]), std::atoi(argv[4]), urls(5));
    if (scenario == "addresses" && argc > 5) {
        QStringList addresses;
        for (int i = 5; i < argc; ++i)
            addresses << QString::fromLocal8Bit(argv[i]);
        return passesOf(std::atof(argv[2]), std::atoi(argv[3]), connectAll(argv + 4, 1), addresses);
    }
    if (scenario == "floats" && argc > 5)
        return floats(std::atof(argv[2]), std::atoi(argv[3]), std::atoi(argv[4]), urls(5));
    if (scenario == "flat" && argc == 4)
        return flat(std::atof(argv[2]), urls(3));
    if (scenario == "tags" && argc == 4)
        return tags(std::atoi(argv[2]), urls(3));
    return usage();
}
