// SPDX-License-Identifier: MIT
// What the driver costs a panel's CPU, compared with the same work done without a driver.
//
// Each figure is a ratio within one run. The plain loops below are the yardstick, measured on the
// same machine in the same minute. Times are CPU time of the calling thread in nanoseconds. Other
// work on the machine can only add to them, so compare the smallest of several repetitions:
//   driver_bench --benchmark_repetitions=9 --benchmark_enable_random_interleaving=true
//                --benchmark_min_time=0.05
//
//   benchmark                    against                             at most
//   exchangeWords                plainWords                          1.5
//   exchangeDwords               plainDwords                         2
//   exchangeTriples              plainTriples                        2
//   readWords                    3 * plainMemcpy + parseWordAddress  1
//   readBit                      130 / 530 * plainWords              1
//   readWhileDecoding/threads:4  readWhileDecoding/threads:1         1.1: CPU time of a call
//   rebuild/100000               rebuild/10000                       12
//   writePending                 5000 ns                             1
//   passOverSwitchedOff/*        200,000 ns                          1
//   exchangeOfList/8000          exchangeOfList/100                  1.3
// Heap allocations of one exchange: counter "allocations" of exchangeWords, -Dwords and -Triples.
//
// Cost over size: exchangeOfLength/N (words in the block; compare plainWordsOfLength/N),
// rebuild/N (variables), exchangeOfStations/N (one turn of the scheduler and its exchange, blocks
// of N stations in the read list), exchangeOfList/N (the same for N blocks of one station).
#include "allocation_count.h"

#include <Communication_Protocol.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string>
#include <thread>

namespace
{
constexpr int words = 128;

// -------------------------------------------------------------------------------------------------
// A host with linked stations, and what its PLC answers
// -------------------------------------------------------------------------------------------------

// The settings of a host whose stations 1 to stations have their links open; all lists empty.
void linkedHost(int stations = 1)
{
    static ComInfo settings;
    settings = ComInfo();
    settings.maxBlockLength = words;
    settings.defaultStation = 1;
    settings.maxRetries = 3;
    settings.commMode = 2;
    settings.multiStation = stations > 1 ? 1 : 0;
    SetComInfo(&settings);
    handshake.clear();
    for (int station = 1; station <= stations; ++station)
        handshake[station] = true;
    PLC_driver.readList.clear();
    PLC_driver.writeList.clear();
    PLC_driver.onceReadList.clear();
    PLC_driver.frameQueue.clear();
    PLC_driver.writeTurns = PLC_driver.onceReadTurns = 0;
}

// "00000 00517 01034 ...\r\n": count fields of the given number of digits.
std::string fields(int count, int digits)
{
    std::string reply;
    char field[32];
    for (int i = 0; i < count; ++i) {
        std::snprintf(field, sizeof field, "%0*d ", digits, i * 517 % 65536);
        reply += field;
    }
    reply.back() = '\r';
    return reply + '\n';
}

// "1,0000000050,0000000100 ...\r\n"
std::string triples(int count)
{
    std::string reply;
    char field[32];
    for (int i = 0; i < count; ++i) {
        std::snprintf(field, sizeof field, "%d,%010d,%010d ", i % 2, i * 7, i * 11);
        reply += field;
    }
    reply.back() = '\r';
    return reply + '\n';
}

void addBlock(int area, int address, int count, int station = 1)
{
    RW_VAR var;
    var.area = area;
    var.address = address;
    var.station = station;
    var.count = count;
    AddListReadVar(&var);
}

// -------------------------------------------------------------------------------------------------
// The yardsticks: the digits of each field into bytes, and nothing else
// -------------------------------------------------------------------------------------------------

template <typename Value, int digits>
char *convert(const char *field, char *to)
{
    quint32 number = 0;
    std::from_chars(field, field + digits, number);
    const Value value = Value(number);
    std::memcpy(to, &value, sizeof value);
    return to + sizeof value;
}

// Fields with one separator after each.
template <typename Value, int digits>
void plainFields(benchmark::State &state, int count)
{
    const std::string reply = fields(count, digits);
    std::string bytes(reply.size(), '\0');
    for (auto _ : state) {
        char *to = bytes.data();
        for (size_t at = 0; at + digits <= reply.size(); at += digits + 1)
            to = convert<Value, digits>(reply.data() + at, to);
        benchmark::DoNotOptimize(bytes.data());
        benchmark::ClobberMemory();
    }
}

void plainWords(benchmark::State &state)
{
    plainFields<quint16, 5>(state, words);
}

void plainWordsOfLength(benchmark::State &state)
{
    plainFields<quint16, 5>(state, int(state.range(0)));
}

void plainDwords(benchmark::State &state)
{
    plainFields<quint32, 10>(state, words);
}

void plainTriples(benchmark::State &state)
{
    const std::string reply = triples(words);
    std::string bytes(reply.size(), '\0');
    for (auto _ : state) {
        char *to = bytes.data();
        for (size_t at = 0; at + 23 <= reply.size(); at += 24) {
            to = convert<quint8, 1>(reply.data() + at, to);
            to = convert<quint32, 10>(reply.data() + at + 2, to);
            to = convert<quint32, 10>(reply.data() + at + 13, to);
        }
        benchmark::DoNotOptimize(bytes.data());
        benchmark::ClobberMemory();
    }
}

void plainMemcpy(benchmark::State &state)
{
    const std::string source(words * 2, 'x');
    for (auto _ : state) {
        QByteArray out(words * 2, Qt::Uninitialized);
        std::memcpy(out.data(), source.data(), source.size());
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
}

// -------------------------------------------------------------------------------------------------
// Exchanges
// -------------------------------------------------------------------------------------------------

void exchangeOnce(QByteArray &reply)
{
    benchmark::DoNotOptimize(ComCommunication());
    benchmark::DoNotOptimize(DataCom(&reply, int(reply.size())));
}

// Exchanges for the blocks in the read list, which all have this answer.
void exchangeAll(benchmark::State &state, const std::string &text)
{
    QByteArray reply = QByteArray::fromStdString(text);
    for (qint64 i = 0; i < PLC_driver.readList.size(); ++i)
        exchangeOnce(reply); // the images grow
    const unsigned long before = allocationsOfThisThread();
    for (auto _ : state)
        exchangeOnce(reply);
    const unsigned long made = allocationsOfThisThread() - before;
    state.counters["allocations"] = double(made) / double(state.iterations());
    if (PLC_driver.currentVar.result != 1)
        state.SkipWithError("the exchange failed");
}

void exchange(benchmark::State &state, int area, int count, const std::string &text)
{
    linkedHost();
    addBlock(area, 100, count);
    exchangeAll(state, text);
}

void exchangeWords(benchmark::State &state)
{
    exchange(state, AREA_DM, words, fields(words, 5));
}

void exchangeDwords(benchmark::State &state)
{
    exchange(state, AREA_Z, words, fields(words, 10));
}

void exchangeTriples(benchmark::State &state)
{
    exchange(state, AREA_T, words, triples(words));
}

void exchangeOfLength(benchmark::State &state)
{
    const int count = int(state.range(0));
    exchange(state, AREA_DM, count, fields(count, 5));
}

void exchangeOfStations(benchmark::State &state)
{
    const int stations = int(state.range(0));
    linkedHost(stations);
    for (int station = 1; station <= stations; ++station)
        addBlock(AREA_DM, 100, words, station);
    exchangeAll(state, fields(words, 5));
}

// A device is as long as 100 blocks, so that the images stay as small as those of a real PLC.
void exchangeOfList(benchmark::State &state)
{
    constexpr int blocksOfDevice = 100;
    linkedHost();
    for (int block = 0; block < int(state.range(0)); ++block)
        addBlock(AREA_DM, block % blocksOfDevice * words, words);
    exchangeAll(state, fields(words, 5));
}

// One pass of the scheduler over 8,000 blocks of a switched-off station, with so many blocks of
// another station behind them. None: nothing is sent. The list is turned back each time,
// without counting that.
void passOverSwitchedOff(benchmark::State &state)
{
    constexpr int switchedOff = 8000;
    const int behind = int(state.range(0));
    linkedHost(2);
    for (int block = 0; block < switchedOff; ++block)
        addBlock(AREA_DM, block, 1, 2);
    for (int block = 0; block < behind; ++block)
        addBlock(AREA_DM, block, 1, 1);
    EnableEthernet(2, 0);
    for (auto _ : state) {
        benchmark::DoNotOptimize(ComCommunication());
        state.PauseTiming();
        PLC_driver.frameQueue.clear();
        QList<RW_VAR> &list = PLC_driver.readList;
        std::rotate(list.begin(), list.begin() + behind, list.end());
        state.ResumeTiming();
    }
    EnableEthernet(2, 1);
}

// -------------------------------------------------------------------------------------------------
// Host reads
// -------------------------------------------------------------------------------------------------

void parseAddress(benchmark::State &state, int area, const char *address)
{
    const QString text = QString::fromLatin1(address);
    for (auto _ : state)
        benchmark::DoNotOptimize(PLCAddressChangeIntef(area, text));
}

void parseWordAddress(benchmark::State &state)
{
    parseAddress(state, AREA_DM, "100");
}

void parseBitAddress(benchmark::State &state)
{
    parseAddress(state, AREA_R, "1015");
}

// Each read gets a byte array of its own, as in the yardstick.
void readAgainAndAgain(benchmark::State &state, int area, const char *address, int count)
{
    const QString text = QString::fromLatin1(address);
    for (auto _ : state) {
        QByteArray out;
        benchmark::DoNotOptimize(GetRegisterData(0, area, text, 1, &out, count));
        benchmark::DoNotOptimize(out.data());
    }
}

void readWords(benchmark::State &state)
{
    linkedHost();
    readAgainAndAgain(state, AREA_DM, "100", words);
}

void readBit(benchmark::State &state)
{
    linkedHost();
    readAgainAndAgain(state, AREA_R, "1015", 1);
}

// An exchange thread that decodes blocks of 128 words without a pause, faster than any link.
class ExchangeThread
{
public:
    static void start(const benchmark::State &)
    {
        linkedHost();
        addBlock(AREA_DM, 100, words);
        goOn = true;
        thread = std::thread([] {
            QByteArray reply = QByteArray::fromStdString(fields(words, 5));
            while (goOn)
                exchangeOnce(reply);
        });
    }
    static void stop(const benchmark::State &)
    {
        goOn = false;
        thread.join();
    }

private:
    static inline std::atomic<bool> goOn;
    static inline std::thread thread;
};

void readWhileDecoding(benchmark::State &state)
{
    readAgainAndAgain(state, AREA_DM, "100", words);
}

// -------------------------------------------------------------------------------------------------
// Lists
// -------------------------------------------------------------------------------------------------

void rebuild(benchmark::State &state)
{
    linkedHost();
    QList<HOSTVAR> wanted;
    quint32 random = 12345;
    for (int i = 0; i < int(state.range(0)); ++i) {
        random = random * 1664525U + 1013904223U;
        HOSTVAR var;
        var.area = AREA_DM;
        var.addressText = QString::number(random >> 8 & 0xFFFFF);
        var.count = 1;
        wanted.append(var);
    }
    for (auto _ : state)
        benchmark::DoNotOptimize(ReCreatReadVarList(&wanted));
}

// Words that merge with none of the 1,000 pending ones, twenty at a time: the list is limited to
// 1,024 entries.
void writePending(benchmark::State &state)
{
    constexpr int pending = 1000;
    constexpr int batch = 20;
    linkedHost();
    for (int i = 0; i < pending; ++i)
        SetRegisterData(QString(), AREA_DM, QString::number(i), 1, QByteArray(2, 'x'), 1, 0, i);
    QList<QString> addresses;
    for (int i = 0; i < batch; ++i)
        addresses.append(QString::number(5000 + i));
    const QByteArray data(2, 'y');
    while (state.KeepRunningBatch(batch)) {
        for (const QString &text : addresses)
            benchmark::DoNotOptimize(SetRegisterData(QString(), AREA_DM, text, 1, data, 1, 0, 7));
        state.PauseTiming();
        while (PLC_driver.writeList.size() > pending)
            PLC_driver.writeList.removeLast();
        state.ResumeTiming();
    }
}

BENCHMARK(plainWords);
BENCHMARK(exchangeWords);
BENCHMARK(plainDwords);
BENCHMARK(exchangeDwords);
BENCHMARK(plainTriples);
BENCHMARK(exchangeTriples);
BENCHMARK(plainMemcpy);
BENCHMARK(parseWordAddress);
BENCHMARK(parseBitAddress);
BENCHMARK(readWords);
BENCHMARK(readBit);
BENCHMARK(readWhileDecoding)
    ->Setup(ExchangeThread::start)
    ->Teardown(ExchangeThread::stop)
    ->Threads(1)
    ->Threads(4);
BENCHMARK(writePending);
BENCHMARK(rebuild)->ArgsProduct({{10, 30, 100, 300, 1000, 3000, 10000, 30000, 100000}});
BENCHMARK(plainWordsOfLength)->ArgsProduct({{1, 2, 4, 8, 16, 32, 64, 96, 128}});
BENCHMARK(exchangeOfLength)->ArgsProduct({{1, 2, 4, 8, 16, 32, 64, 96, 128}});
BENCHMARK(exchangeOfStations)->ArgsProduct({{1, 2, 4, 8, 16, 32, 48, 64}});
BENCHMARK(exchangeOfList)->ArgsProduct({{100, 300, 1000, 3000, 8000}});
BENCHMARK(passOverSwitchedOff)->Arg(0)->Arg(1)->Arg(8000);

void silence(QtMsgType, const QMessageLogContext &, const QString &) {}
} // namespace

int main(int argc, char **argv)
{
    qInstallMessageHandler(silence);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 2;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
