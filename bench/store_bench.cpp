// SPDX-License-Identifier: MIT
// What the store of kv-gateway costs: one scenario a run, one line of JSON as its result.
//
//   insert SECONDS RATE TAGS FOLDER   rows a second, all tags in turn; 0: as many as are taken
//   year FOLDER                       ten tags: one changes every 10 s, the others every 5 min
//
// CPU time is that of this process, memory its resident set at the end.
#include "store/history_reader.h"
#include "store/history_writer.h"
#include "store/store.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <numeric>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

namespace
{

using namespace std::chrono_literals;
using namespace kvgateway;
using SteadyClock = std::chrono::steady_clock;

double secondsSince(SteadyClock::time_point start)
{
    return std::chrono::duration<double>(SteadyClock::now() - start).count();
}

double cpuSeconds()
{
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval &time) { return double(time.tv_sec) + double(time.tv_usec) / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

double residentMb()
{
    std::ifstream file("/proc/self/statm");
    long size = 0;
    long resident = 0;
    file >> size >> resident;
    return double(resident) * double(::sysconf(_SC_PAGESIZE)) / 1e6;
}

[[noreturn]] void fail(const QString &text)
{
    std::fprintf(stderr, "store_bench: %s\n", qPrintable(text));
    std::exit(3);
}

QStringList tagNames(int count)
{
    QStringList names;
    for (int i = 0; i < count; ++i)
        names += QStringLiteral("line%1.tag%2").arg(i % 10).arg(i);
    return names;
}

HistoryRow rowOf(const QString &tag, kvlink::WallTime time, qint64 value)
{
    HistoryRow row{tag, {}};
    row.sample.quality = kvlink::Quality::Good;
    row.sample.time = time;
    row.sample.value = double(value % 1000) / 10;
    return row;
}

void printTimes(const char *name, const CommitTimes &times)
{
    const quint64 total = std::accumulate(times.counts.begin(), times.counts.end(), quint64(0));
    std::printf(", \"%s\": {\"count\": %llu, \"mean_s\": %.4f, \"slowest_below_s\": ", name, total,
                total == 0 ? 0 : times.sum / double(total));
    std::size_t slowest = 0;
    for (std::size_t i = 0; i < times.counts.size(); ++i)
        slowest = times.counts[i] == 0 ? slowest : i;
    std::printf("%.4f}", slowest < CommitTimes::bounds.size() ? CommitTimes::bounds[slowest] : HUGE_VAL);
}

int insert(double seconds, double rate, int tags, const QString &folder)
{
    const MachineClock clock;
    StoreSettings settings;
    settings.folder = folder;
    Store store(settings, clock);
    QString problem;
    if (!store.start(problem))
        fail(problem);
    const QStringList names = tagNames(tags);
    const auto start = SteadyClock::now();
    const double cpuBefore = cpuSeconds();
    qint64 added = 0;
    qint64 mostQueued = 0;
    while (secondsSince(start) < seconds) {
        const qint64 queued = store.status().queuedHistoryRows;
        mostQueued = std::max(mostQueued, queued);
        const double due = rate > 0 ? rate * secondsSince(start) - double(added) : double(100'000 - queued);
        std::vector<HistoryRow> rows;
        for (; double(rows.size()) < due; ++added)
            rows.push_back(rowOf(names.at(int(added % tags)), clock.wall(), added));
        store.addHistory(std::move(rows));
        std::this_thread::sleep_for(10ms);
    }
    if (!store.flush(60s))
        fail(store.status().historyProblem);
    const double took = secondsSince(start);
    const StoreStatus status = store.status();
    std::printf("{\"rows\": %llu, \"seconds\": %.2f, \"rows_a_minute\": %.0f, \"cpu_share\": %.4f, "
                "\"dropped\": %llu, "
                "\"most_queued\": %lld, \"memory_mb\": %.1f, \"bytes_a_row\": %.1f",
                status.historyRows, took, double(status.historyRows) / took * 60,
                (cpuSeconds() - cpuBefore) / took, status.droppedHistoryRows, mostQueued, residentMb(),
                double(status.historyBytes) / double(added));
    printTimes("commits", status.historyCommits);
    std::printf("}\n");
    return 0;
}

struct Times {
    double median = 0, worst = 0; // ms
};

template <typename Ask>
Times timed(Ask ask)
{
    constexpr int rounds = 51;
    std::vector<double> times;
    for (int i = 0; i < rounds; ++i) {
        const auto start = SteadyClock::now();
        ask();
        times.push_back(secondsSince(start) * 1000);
    }
    std::sort(times.begin(), times.end());
    return {times[rounds / 2], times.back()};
}

constexpr auto yearLength = std::chrono::hours(24 * 365);

void writeYear(const QString &folder, kvlink::WallTime begin)
{
    OpenProblem problem;
    const auto writer = HistoryWriter::open(folder, problem);
    if (!writer)
        fail(problem.text);
    const QStringList names = tagNames(10);
    std::vector<HistoryRow> rows;
    qint64 value = 0;
    for (kvlink::WallTime time = begin; time < begin + yearLength; time += 10s) {
        rows.push_back(rowOf(names.at(0), time, ++value));
        if (value % 30 == 0)
            for (int i = 1; i < names.size(); ++i)
                rows.push_back(rowOf(names.at(i), time, value));
        if (rows.size() < 20'000)
            continue;
        if (writer->write(rows, time) != Written::Done ||
            (writer->isMergeDue(kvlink::SteadyTime(time - begin)) &&
             writer->merge(kvlink::SteadyTime(time - begin)) != Written::Done))
            fail(writer->problem());
        rows.clear();
    }
    if (writer->write(rows, begin + yearLength) != Written::Done)
        fail(writer->problem());
}

int year(const QString &folder)
{
    const kvlink::WallTime begin = std::chrono::floor<std::chrono::days>(MachineClock().wall()) - yearLength;
    const auto start = SteadyClock::now();
    writeYear(folder, begin);
    const double wrote = secondsSince(start);
    QString problem;
    const auto first = SteadyClock::now();
    const auto reader = HistoryReader::open(folder, problem);
    if (!reader)
        fail(problem);
    const auto trend = [&](std::chrono::hours length, int points) {
        const auto found = reader->trend({tagNames(1).at(0), {begin, begin + length}, points}, problem);
        if (!found || found->points.empty())
            fail(problem);
        return found->points.size();
    };
    const std::size_t points = trend(yearLength, 1000);
    const double firstMs = secondsSince(first) * 1000;
    const Times yearTrend = timed([&] { trend(yearLength, 1000); });
    const Times week = timed([&] { trend(std::chrono::hours(7 * 24), 1000); });
    const Times day = timed([&] { trend(std::chrono::hours(15), 1000); });
    const Times page = timed([&] {
        if (!reader->raw({tagNames(1).at(0), {begin + yearLength / 2, endOfTime}, {}, 1000}, problem))
            fail(problem);
    });
    std::printf(
        "{\"write_s\": %.1f, \"points\": %zu, \"first_trend_ms\": %.2f, \"year_ms\": %.2f, "
        "\"year_worst_ms\": %.2f, "
        "\"week_ms\": %.2f, \"week_worst_ms\": %.2f, \"hours15_ms\": %.2f, \"hours15_worst_ms\": %.2f, "
        "\"page_ms\": %.2f, \"page_worst_ms\": %.2f}\n",
        wrote, points, firstMs, yearTrend.median, yearTrend.worst, week.median, week.worst, day.median,
        day.worst, page.median, page.worst);
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    const std::string scenario = argc > 1 ? argv[1] : "";
    if (scenario == "insert" && argc == 6)
        return insert(std::atof(argv[2]), std::atof(argv[3]), std::atoi(argv[4]),
                      QString::fromLocal8Bit(argv[5]));
    if (scenario == "year" && argc == 3)
        return year(QString::fromLocal8Bit(argv[2]));
    std::fprintf(stderr, "usage: store_bench insert SECONDS RATE TAGS FOLDER | year FOLDER\n");
    return 2;
}
