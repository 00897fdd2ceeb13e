// SPDX-License-Identifier: MIT
// One exchange thread and several screen threads at once, against three PLCs that lose frames and
// refuse writes. Every value written must end where it belongs, or be reported as failed, and
// nothing may be written elsewhere.
#include "driver_test.h"

#include <atomic>
#include <map>
#include <sstream>
#include <thread>

namespace
{
// --- the PLCs ------------------------------------------------------------------------------------

// A PLC with words and relays. It knows the few commands that this test leads to; all
// others are "strange".
class Plc
{
public:
    std::map<std::string, std::map<int, int>> words; // "DM" -> number -> value; relays as "R" -> channel
    std::vector<std::string> strange;

    std::string answerTo(const std::string &frame)
    {
        if (frame == "CR\r\n")
            return "CC\r\n";
        std::istringstream fields(frame);
        std::string command;
        std::string operand;
        fields >> command >> operand;
        const std::size_t digits = operand.find_first_of("0123456789");
        if (digits == std::string::npos)
            return refuse(frame);
        const std::string device = operand.substr(0, digits);
        const int number = std::stoi(operand.substr(digits));
        if (command == "RDS")
            return read(device, number, fields);
        if (command == "WRS" && device == "DM")
            return number >= refusedFrom ? "E4\r\n" : write(device, number, fields);
        if ((command == "ST" || command == "RS") && device == "R")
            return setRelay(number, command == "ST");
        return refuse(frame);
    }

    static constexpr int refusedFrom = 20000; // DM from here on cannot be written

private:
    std::string refuse(const std::string &frame)
    {
        strange.push_back(frame);
        return "E1\r\n";
    }

    std::string read(const std::string &device, int number, std::istringstream &fields)
    {
        int count = 0;
        fields >> count;
        const int first = device == "R" ? number / 100 : number;
        std::string reply;
        for (int at = first; at < first + count; ++at) {
            const auto word = words[device].find(at);
            std::string text = std::to_string(word == words[device].end() ? 0 : word->second);
            reply += (at == first ? "" : " ") + text.insert(0, 5 - text.size(), '0');
        }
        return reply + "\r\n";
    }

    std::string write(const std::string &device, int number, std::istringstream &fields)
    {
        int count = 0;
        fields >> count;
        for (int value = 0; count > 0 && fields >> value; --count)
            words[device][number++] = value;
        return count == 0 ? "OK\r\n" : "E1\r\n";
    }

    std::string setRelay(int number, bool on)
    {
        int &channel = words["R"][number / 100];
        const int mask = 1 << number % 100;
        channel = on ? channel | mask : channel & ~mask;
        return "OK\r\n";
    }
};

// --- what is written, and what was reported -----------------------------------------------------

// The one value that may ever stand in a word of a station.
int valueOf(int station, int word)
{
    return (word * 7 + station * 1000 + 1) % 65536;
}

QByteArray wordBytes(int value)
{
    const char both[] = {char(value % 256), char(value / 256)};
    return QByteArray(both, 2);
}

// Callbacks run on the exchange thread; the test looks at this after that thread has ended.
std::map<int, std::vector<int>> reported; // owner id -> statuses in their order
int errorsReported = 0;

int notify(int, int, int ownerId, int status)
{
    reported[ownerId].push_back(status);
    return 0;
}

int error(QList<RW_VAR> *, int, int)
{
    ++errorsReported;
    return 0;
}

class ConcurrentUse : public DriverTest
{
protected:
    static constexpr int rounds = 6400;
    static constexpr int owner = 5;
    // Owner ids: one for each request, so that each is reported for itself.
    static constexpr int wordWrites = 10000, bitWrites = 20000, relayWrites = 30000, onceReads = 40000;
    static constexpr int repeatedWrite = 7;
    static constexpr int repeatedWord = 15000;
    // What the screens write: DM 0.. of station 1, DM 3000.. bit by bit of station 2, R 2000..
    // of station 3.
    static constexpr int firstBitWord = 3000, firstChannel = 20;

    ConcurrentUse()
    {
        reported.clear();
        errorsReported = 0;
        RegistCallBackFuncIntf(notify, error);
        // Words that are written bit by bit begin as the opposite of what they become.
        for (int word = 0; word < rounds / 16; ++word) {
            plcs[2].words["DM"][firstBitWord + word] = 65535 - valueOf(2, firstBitWord + word);
            plcs[3].words["R"][firstChannel + word] = 65535 - valueOf(3, firstChannel + word);
        }
    }

    static bool isRefused(int round) { return round % 100 == 50; }
    static int wordOf(int round) { return isRefused(round) ? Plc::refusedFrom + round : round; }

    // --- exchange thread ---

    void exchange()
    {
        for (int step = 0; step < 1'000'000; ++step) {
            const bool wereDone = screensDone;
            const quintptr head = ComCommunication();
            if (head == 0 || (wereDone && nothingWaits())) {
                if (wereDone && nothingWaits())
                    break;
                std::this_thread::yield();
                continue;
            }
            exchangeOnce(*reinterpret_cast<const Protocol *>(head));
        }
        exchangeEnded = true;
    }

    void exchangeOnce(const Protocol &frame)
    {
        ++exchanges;
        const int station = frame.var.station;
        QByteArray reply;
        if (exchanges % 41 != 0) { // now and then a frame is lost on its way, or its reply
            reply = QByteArray::fromStdString(plcs[station].answerTo(frame.frame.toStdString()));
            if (exchanges % 43 == 0)
                reply.clear();
        }
        const int result = reinterpret_cast<const RW_VAR *>(DataCom(&reply, int(reply.size())))->result;
        ++results[result];
        if (result == 1)
            settings.retryCount = 0; // as a host does that counts per request
    }

    static bool nothingWaits()
    {
        const QMutexLocker lists(&PLC_driver.listMutex);
        return PLC_driver.writeList.isEmpty() && PLC_driver.onceReadList.isEmpty();
    }

    // Screens do not fill the lists to their limit: beyond it entries are dropped, which is
    // not the subject.
    void waitForRoom() const
    {
        for (;;) {
            {
                const QMutexLocker lists(&PLC_driver.listMutex);
                if (PLC_driver.writeList.size() < 500 && PLC_driver.onceReadList.size() < 500)
                    return;
            }
            if (exchangeEnded)
                return;
            std::this_thread::yield();
        }
    }

    // --- screen threads ---

    void writeWords() const
    {
        for (int round = 0; round < rounds; ++round) {
            waitForRoom();
            const int word = wordOf(round);
            SetRegisterData(QString(), AREA_DM, QString::number(word), 1, wordBytes(valueOf(1, word)), 1,
                            owner, wordWrites + round);
            SetRegisterData(QString(), AREA_DM, QString::number(repeatedWord), 1, wordBytes(round), 1, owner,
                            repeatedWrite);
        }
    }

    void writeBits() const
    {
        for (int round = 0; round < rounds; ++round) {
            waitForRoom();
            const int word = firstBitWord + round / 16;
            const int bit = round % 16;
            const QString address = QString::number(word) + QLatin1Char('.') + QString::number(bit);
            SetRegisterData(QString(), AREA_DM_BIT, address, 2,
                            QByteArray(1, char(valueOf(2, word) >> bit & 1)), 1, owner, bitWrites + round);
        }
    }

    // Switches its station off for five rounds in ten. It waits for room only while the station is
    // on: writes to a station that is off make none.
    void writeRelaysAndSwitchTheStation() const
    {
        for (int round = 0; round < rounds; ++round) {
            const bool on = round / 5 % 2 == 0;
            EnCommStation(3, on ? 1 : 0);
            if (on)
                waitForRoom();
            RW_VAR var = write(AREA_R, firstChannel * 16 + round, 1, "00", 3);
            var.ownerId = relayWrites + round;
            var.data[0] = char(valueOf(3, firstChannel + round / 16) >> round % 16 & 1);
            AddListWriteVar(&var, round % 2);
        }
        EnCommStation(3, 1);
    }

    void readAndRebuild()
    {
        for (int round = 0; round < rounds; ++round) {
            waitForRoom();
            RW_VAR var = variable(AREA_DM, 0, 3, 1 + round % 3);
            var.addressText = QString::number(round);
            var.ownerId = onceReads + round;
            AddListOnceReadVar(&var, 0);
            if (round % 20 == 0)
                rebuild(round);
            checkShownWords(round);
        }
    }

    static void rebuild(int round)
    {
        QList<HOSTVAR> screen;
        for (int i = 0; i < 6; ++i)
            screen.append(HOSTVAR{0, AREA_DM, quint8(1 + i % 3), 0, 0,
                                  QString::number((round + i * 37) % rounds), QString(), 10});
        ReCreatReadVarList(&screen);
    }

    void checkShownWords(int round)
    {
        const int count = 5;
        const int first = round * 31 % (rounds - count);
        QByteArray out;
        GetRegisterData(0, AREA_DM, QString::number(first), 1, &out, count);
        for (int i = 0; i < count; ++i) {
            const QByteArray shown = out.mid(2 * i, 2);
            if (shown != wordBytes(0) && shown != wordBytes(valueOf(1, first + i)))
                ++wrongWordsShown;
        }
    }

    // --- what is expected at the end ---

    void runAll()
    {
        rebuild(0);
        std::thread exchanging(&ConcurrentUse::exchange, this);
        std::thread screens[] = {std::thread(&ConcurrentUse::writeWords, this),
                                 std::thread(&ConcurrentUse::writeBits, this),
                                 std::thread(&ConcurrentUse::writeRelaysAndSwitchTheStation, this),
                                 std::thread(&ConcurrentUse::readAndRebuild, this)};
        for (std::thread &screen : screens)
            screen.join();
        screensDone = true;
        exchanging.join();
    }

    std::map<int, std::map<std::string, std::map<int, int>>> expectedMemory() const
    {
        std::map<int, std::map<std::string, std::map<int, int>>> expected;
        for (int round = 0; round < rounds; ++round) {
            if (!isRefused(round))
                expected[1]["DM"][round] = valueOf(1, round);
            expected[2]["DM"][firstBitWord + round / 16] = valueOf(2, firstBitWord + round / 16);
            expected[3]["R"][firstChannel + round / 16] = valueOf(3, firstChannel + round / 16);
        }
        expected[1]["DM"][repeatedWord] = rounds - 1;
        return expected;
    }

    static std::map<int, std::vector<int>> expectedReports()
    {
        std::map<int, std::vector<int>> expected;
        for (int round = 0; round < rounds; ++round) {
            expected[wordWrites + round] = {isRefused(round) ? 2 : 1};
            for (const int first : {bitWrites, relayWrites, onceReads})
                expected[first + round] = {1};
        }
        return expected;
    }

    // Lines of rebuilt lists ("1 10 0 64") and of handshakes are part of the run.
    Lines takeOtherLines()
    {
        Lines others;
        for (const std::string &line : takeLines())
            if (line != "init handshake" && line != "Handshake(RW_Var)" &&
                line != "************ fenzu ***********" &&
                line.find_first_not_of("0123456789 ") != std::string::npos)
                others.push_back(line);
        return others;
    }

    std::map<int, Plc> plcs;
    std::map<int, int> results; // result of DataCom -> how often
    int exchanges = 0;
    std::atomic<bool> screensDone = false;
    std::atomic<bool> exchangeEnded = false;
    std::atomic<int> wrongWordsShown = 0;
};

TEST_F(ConcurrentUse, everyValueArrivesWhereItBelongsOrIsReportedAsFailed)
{
    runAll();
    EXPECT_EQ(takeOtherLines(), Lines());

    ASSERT_TRUE(nothingWaits()) << "the exchange thread came to its end before the lists did";
    for (auto &[station, memory] : expectedMemory()) {
        EXPECT_EQ(plcs[station].words["DM"], memory["DM"]) << "station " << station;
        EXPECT_EQ(plcs[station].words["R"], memory["R"]) << "station " << station;
        EXPECT_EQ(plcs[station].strange, Lines())
            << "frames that station " << station << " should never have got";
    }
    EXPECT_EQ(plcs.size(), 3U) << "stations spoken to";

    const std::vector<int> repeated = reported[repeatedWrite];
    EXPECT_FALSE(repeated.empty());
    EXPECT_EQ(repeated, std::vector<int>(repeated.size(), 1));
    reported.erase(repeatedWrite);
    EXPECT_TRUE(reported == expectedReports()) << "each request is reported once";

    const int refused = rounds / 100;
    EXPECT_EQ(errorsReported, refused);
    EXPECT_EQ(results[16] + results[46], refused)
        << "writes refused to the end, the last time perhaps by silence";
    EXPECT_GT(results[0], 2 * refused) << "frames lost were sent again";
    for (const auto &[result, times] : results)
        EXPECT_TRUE(result == 0 || result == 1 || result == 16 || result == 46 || result == 201)
            << result << ", " << times << " times";
    EXPECT_EQ(wrongWordsShown, 0) << "words that screens saw and nobody had written";
}

// --- the store alone ----------------------------------------------------------------------------

class ConcurrentStore : public DriverTest
{
protected:
    static constexpr int rounds = 3000;
    static constexpr int stations = 7;

    static void writeValues()
    {
        for (int round = 0; round < rounds; ++round) {
            RW_VAR var = write(AREA_DM, round, 1, "00 00", round % stations);
            var.data = wordBytes(valueOf(0, round));
            WriteDataToLocal(&var);
        }
    }

    static void makeRanges()
    {
        for (int round = 0; round < rounds; ++round) {
            ControlInformationM range{round % stations, AREA_EM, round, 1};
            checkTheStorage(range);
        }
    }
};

// Ranges are made without storeMutex: what keeps them apart from the values is the
// store's own lock.
TEST_F(ConcurrentStore, holdsEveryValueAndRangeThatTwoThreadsMadeAtOnce)
{
    std::thread writing(writeValues);
    std::thread making(makeRanges);
    writing.join();
    making.join();

    ASSERT_EQ(DataStorage.size(), stations);
    for (int round = 0; round < rounds; ++round) {
        const QMap<int, QByteArray> images = DataStorage.value(round % stations);
        ASSERT_EQ(images.value(AREA_DM).mid(2 * round, 2), wordBytes(valueOf(0, round))) << round;
        ASSERT_GE(images.value(AREA_EM).size(), 2 * round + 2) << round;
    }
}
} // namespace
