// What the driver costs a panel's CPU, beside what the same work costs without a driver.
//
// Each figure is a ratio within one run: the plain loops below are the yardstick, measured on the same
// machine in the same minute.
#include <Communication_Protocol.h>

#include <benchmark/benchmark.h>

#include <charconv>
#include <cstdio>
#include <cstring>
#include <string>

namespace
{
constexpr int words = 128;

/// The settings of a host with one PLC, its link open.
ComInfo &linkedHost()
{
    static ComInfo settings;
    settings = ComInfo();
    settings.maxBlockLength = words;
    settings.defaultStation = 1;
    settings.maxRetries = 3;
    settings.commMode = 2;
    SetComInfo(&settings);
    handshake[1] = true;
    PLC_driver.readList.clear();
    PLC_driver.writeList.clear();
    PLC_driver.onceReadList.clear();
    PLC_driver.frameQueue.clear();
    PLC_driver.writeTurns = PLC_driver.onceReadTurns = 0;
    return settings;
}

/// "00000 00517 01034 ...\r\n": count fields of the given number of digits.
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

/// "1,0000000050,0000000100 ...\r\n"
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

void addBlock(int area, int address, int count)
{
    RW_VAR var;
    var.area = area;
    var.address = address;
    var.station = 1;
    var.count = count;
    AddListReadVar(&var);
}

/// The yardstick: the digits of each field into bytes, and nothing else.
void plainConversion(benchmark::State &state, const std::string &reply, int stride, int offset, int digits,
                     int width)
{
    std::string bytes(reply.size(), '\0');
    for (auto _ : state) {
        char *to = bytes.data();
        for (size_t at = size_t(offset); at + size_t(digits) <= reply.size(); at += size_t(stride)) {
            quint32 value = 0;
            std::from_chars(reply.data() + at, reply.data() + at + digits, value);
            std::memcpy(to, &value, size_t(width));
            to += width;
        }
        benchmark::DoNotOptimize(bytes.data());
        benchmark::ClobberMemory();
    }
}

void plain_words(benchmark::State &state)
{
    plainConversion(state, fields(words, 5), 6, 0, 5, 2);
}

void plain_dwords(benchmark::State &state)
{
    plainConversion(state, fields(words, 10), 11, 0, 10, 4);
}

void plain_triples(benchmark::State &state)
{
    const std::string reply = triples(words);
    std::string bytes(reply.size(), '\0');
    for (auto _ : state) {
        char *to = bytes.data();
        for (size_t at = 0; at + 23 <= reply.size(); at += 24) {
            quint32 value = 0;
            std::from_chars(reply.data() + at, reply.data() + at + 1, value);
            *to++ = char(value);
            for (size_t offset : {size_t(2), size_t(13)}) {
                std::from_chars(reply.data() + at + offset, reply.data() + at + offset + 10, value);
                std::memcpy(to, &value, 4);
                to += 4;
            }
        }
        benchmark::DoNotOptimize(bytes.data());
        benchmark::ClobberMemory();
    }
}

void exchange(benchmark::State &state, int area, const std::string &text)
{
    linkedHost();
    addBlock(area, 100, words);
    QByteArray reply = QByteArray::fromStdString(text);
    for (auto _ : state) {
        benchmark::DoNotOptimize(ComCommunication());
        benchmark::DoNotOptimize(DataCom(&reply, int(reply.size())));
    }
    if (PLC_driver.currentVar.result != 1)
        state.SkipWithError("the exchange failed");
}

void exchange_words(benchmark::State &state)
{
    exchange(state, AREA_DM, fields(words, 5));
}

void exchange_dwords(benchmark::State &state)
{
    exchange(state, AREA_Z, fields(words, 10));
}

void exchange_triples(benchmark::State &state)
{
    exchange(state, AREA_T, triples(words));
}

void plain_memcpy(benchmark::State &state)
{
    const std::string source(words * 2, 'x');
    for (auto _ : state) {
        QByteArray out(words * 2, Qt::Uninitialized);
        std::memcpy(out.data(), source.data(), source.size());
        benchmark::DoNotOptimize(out.data());
    }
}

void parse_address(benchmark::State &state)
{
    const QString text = QString::fromLatin1("100");
    for (auto _ : state)
        benchmark::DoNotOptimize(PLCAddressChangeIntef(AREA_DM, text));
}

void hostRead(benchmark::State &state, int area, const char *address, int count)
{
    if (state.thread_index() == 0)
        linkedHost();
    const QString text = QString::fromLatin1(address);
    QByteArray out;
    for (auto _ : state)
        benchmark::DoNotOptimize(GetRegisterData(0, area, text, 1, &out, count));
}

void read_words(benchmark::State &state)
{
    hostRead(state, AREA_DM, "100", words);
}

void read_bit(benchmark::State &state)
{
    hostRead(state, AREA_R, "1015", 1);
}

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

void write_pending(benchmark::State &state)
{
    linkedHost();
    for (int i = 0; i < 1000; ++i)
        SetRegisterData(QString(), AREA_DM, QString::number(i), 1, QByteArray(2, 'x'), 1, 0, i);
    const QString text = QString::fromLatin1("5000");
    const QByteArray data(2, 'y');
    for (auto _ : state) {
        benchmark::DoNotOptimize(SetRegisterData(QString(), AREA_DM, text, 1, data, 1, 0, 7));
        state.PauseTiming();
        PLC_driver.writeList.removeLast();
        state.ResumeTiming();
    }
}

BENCHMARK(plain_words);
BENCHMARK(exchange_words);
BENCHMARK(plain_dwords);
BENCHMARK(exchange_dwords);
BENCHMARK(plain_triples);
BENCHMARK(exchange_triples);
BENCHMARK(plain_memcpy);
BENCHMARK(parse_address);
BENCHMARK(read_words);
BENCHMARK(read_bit);
BENCHMARK(rebuild)->Arg(10)->Arg(100)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMicrosecond);
BENCHMARK(write_pending);

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
