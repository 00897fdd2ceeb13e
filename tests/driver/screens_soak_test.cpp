// SPDX-License-Identifier: MIT
// One exchange thread and four screen threads, on local and on remote stations, while
// stations are switched. It runs for one second; KV_TEST_SECONDS=60 makes it the long run that
// the sanitizers watch.
//
// Every device of a station has one value that may ever be written to it. So a word on a screen may
// lack bits of it, but must hold no others, and a frame that carries another value is wrong.
#include "driver_test.h"

#include <QtEndian>

#include <atomic>
#include <chrono>
#include <iostream>
#include <map>
#include <set>
#include <sstream>
#include <thread>

namespace
{
constexpr int words = 2000;
constexpr int stations = 3;
constexpr quint8 farLink = 4;
// A screen that never pauses keeps the lists' mutex to itself: the exchange thread would starve.
constexpr std::chrono::microseconds pauseOfAScreen{200};

int valueOf(int station, int word)
{
    return (word * 7 + station * 1000 + 1) % 65536;
}

bool bitOf(int station, int bitAddress)
{
    return (valueOf(station, bitAddress / 16) >> bitAddress % 16 & 1) != 0;
}

QByteArray wordBytes(int station, int word)
{
    QByteArray bytes(2, '\0');
    qToLittleEndian<quint16>(quint16(valueOf(station, word)), reinterpret_cast<uchar *>(bytes.data()));
    return bytes;
}

QString bitAddress(int bit)
{
    return QString::number(bit / 16) + QLatin1Char('.') + QString::number(bit % 16);
}

std::atomic<int> notified;

int notify(int, int, int, int)
{
    ++notified;
    return 0;
}

int error(QList<RW_VAR> *, int, int)
{
    return 0;
}

class ScreensSoak : public DriverTest
{
protected:
    ScreensSoak()
    {
        notified = 0;
        RegistCallBackFuncIntf(notify, error);
    }

    static std::chrono::seconds duration()
    {
        bool given = false;
        const int seconds = qEnvironmentVariableIntValue("KV_TEST_SECONDS", &given);
        return std::chrono::seconds(given ? seconds : 1);
    }

    // --- the PLCs ---

    // What a station that holds its values answers. Frames are kept by what they begin with.
    QByteArray answerTo(const Protocol &frame)
    {
        const RW_VAR &var = frame.var;
        const QByteArray command = frame.frame.left(3);
        const bool remote = settings.remoteMode != 0;
        if (command == "CR\r") {
            kinds.insert("open");
            return "CC\r\n";
        }
        if (remote ? var.accessMode == 0 : command == "RDS") {
            const char *localKind = var.preReadMark == kvPreRead ? "pre-read" : "read";
            kinds.insert(remote ? "remote read" : localKind);
            return wordsOf(var);
        }
        const char *localKind = command == "WRS" ? "write" : "relay";
        kinds.insert(remote ? "remote write" : localKind);
        if (remote ? !remoteWriteIsRight(var) : !writeIsRight(frame.frame.toStdString(), var))
            wrongFrames.push_back(frame.frame.toStdString());
        return "OK\r\n";
    }

    static QByteArray wordsOf(const RW_VAR &var)
    {
        QByteArray reply;
        for (int i = 0; i < var.count; ++i)
            reply += QByteArray::number(valueOf(var.station, var.address + i)).rightJustified(5, '0') + ' ';
        reply.chop(1);
        return reply + "\r\n";
    }

    static bool remoteWriteIsRight(const RW_VAR &var)
    {
        if (var.area != AREA_DM)
            return var.data == QByteArray(1, char(bitOf(var.station, var.address)));
        return var.data == wordBytes(var.station, var.address);
    }

    static bool writeIsRight(const std::string &frame, const RW_VAR &var)
    {
        std::istringstream fields(frame);
        std::string command;
        std::string operand;
        int count = 0;
        int value = 0;
        fields >> command >> operand;
        if (command == "ST" || command == "RS")
            return (command == "ST") == bitOf(var.station, var.address);
        const int word = std::stoi(operand.substr(operand.find_first_of("0123456789")));
        return fields >> count >> value && count == 1 && value == valueOf(var.station, word);
    }

    // --- exchange thread ---

    void exchange()
    {
        for (exchanges = 0; !timeIsUp || nothingTried(); ++exchanges) {
            if (exchanges % 500 == 0 && PLC_driver.frameQueue.isEmpty())
                std::atomic_ref(settings.remoteMode).store(settings.remoteMode == 0 ? 1 : 0);
            const quintptr head = ComCommunication();
            if (head == 0) {
                std::this_thread::yield();
                continue;
            }
            QByteArray reply = answerTo(*reinterpret_cast<const Protocol *>(head));
            if (exchanges % 97 == 0)
                reply.clear(); // lost on its way
            DataCom(&reply, int(reply.size()));
        }
    }

    bool nothingTried() const { return exchanges < 2000; }

    // --- screen threads ---

    template <typename Step>
    void untilTimeIsUp(Step step)
    {
        for (int round = 0; !timeIsUp; ++round) {
            step(round);
            std::this_thread::sleep_for(pauseOfAScreen);
        }
    }

    // Long lists make every call slow, and the exchange thread waits meanwhile.
    static bool listsAreLong()
    {
        const QMutexLocker lists(&PLC_driver.listMutex);
        return PLC_driver.writeList.size() > 100 || PLC_driver.onceReadList.size() > 100;
    }

    static void writeRound(int round)
    {
        if (listsAreLong())
            return;
        const int word = round % words;
        SetRegisterData(QString(), AREA_DM, QString::number(word), 1, wordBytes(1, word), 1, 5, 1);
        const int bit = round % (words * 16);
        const char state = char(bitOf(2, bit));
        SetRegisterData(QString(), AREA_DM_BIT, bitAddress(bit), 2, QByteArray(1, state), 1, 5, 2);
    }

    static RW_VAR request(int area, int address, int station, bool remote)
    {
        RW_VAR var = variable(area, address, 1, station);
        var.linkId = remote ? farLink : quint8(0);
        return var;
    }

    static void registerRound(int round)
    {
        if (listsAreLong())
            return;
        const int station = 1 + round % stations;
        RW_VAR relay = request(AREA_R, round % (words * 16), station, round % 2 == 0);
        relay.accessMode = 1;
        relay.data = QByteArray(1, char(bitOf(station, relay.address)));
        AddListWriteVar(&relay, round % 2);
        RW_VAR word = request(AREA_DM, round % words, station, round % 3 == 0);
        word.accessMode = 1;
        word.data = wordBytes(station, word.address);
        AddListWriteVar(&word, round % 2);
        RW_VAR once = request(AREA_DM, 0, station, round % 2 == 0);
        once.addressText = QString::number(round % words);
        AddListOnceReadVar(&once, round % 2);
    }

    static void rebuildRound(int round)
    {
        QList<HOSTVAR> screen;
        for (int i = 0; i < 6; ++i)
            screen.append(HOSTVAR{0, AREA_DM, quint8(1 + i % stations), 0, 0,
                                  QString::number((round + i * 37) % (words - 10)), QString(), 10});
        ReCreatReadVarList(&screen);
        EnCommStation(1 + round % stations, round / stations % 2);
        if (round % 64 == 0)
            EnableEthernet(-1, 0);
    }

    void readRound(int round)
    {
        const int count = 5;
        const int first = round * 31 % (words - count);
        const int station = 1 + round % stations;
        QByteArray out;
        GetRegisterData(0, AREA_DM, QString::number(first), station, &out, count);
        for (int i = 0; i < count; ++i) {
            const int shown = qFromLittleEndian<quint16>(out.constData() + 2 * i);
            if ((shown & ~valueOf(station, first + i)) != 0)
                ++wrongWordsShown;
            if (shown != 0)
                ++wordsShown;
        }
    }

    std::set<std::string> kinds; // what the exchange thread sent
    std::vector<std::string> wrongFrames;
    int exchanges = 0;
    std::atomic<bool> timeIsUp = false;
    std::atomic<int> wrongWordsShown = 0;
    std::atomic<int> wordsShown = 0;
};

TEST_F(ScreensSoak, noScreenAndNoFrameShowsAValueThatWasNeverWritten)
{
    std::thread threads[] = {
        std::thread([this] { exchange(); }),
        std::thread([this] { untilTimeIsUp([](int round) { writeRound(round); }); }),
        std::thread([this] { untilTimeIsUp([](int round) { registerRound(round); }); }),
        std::thread([this] { untilTimeIsUp([](int round) { rebuildRound(round); }); }),
        std::thread([this] { untilTimeIsUp([this](int round) { readRound(round); }); }),
    };
    std::this_thread::sleep_for(duration());
    timeIsUp = true;
    for (std::thread &each : threads)
        each.join();
    std::cout << exchanges << " exchanges\n";
    takeLines(); // listings of rebuilt lists and handshakes belong to the run

    const std::set<std::string> all = {"open",  "read",        "pre-read",    "write",
                                       "relay", "remote read", "remote write"};
    EXPECT_EQ(kinds, all);
    EXPECT_EQ(wrongFrames, std::vector<std::string>());
    EXPECT_EQ(wrongWordsShown, 0);
    EXPECT_GT(wordsShown, 0);
    EXPECT_GT(notified, 0);
}
} // namespace
