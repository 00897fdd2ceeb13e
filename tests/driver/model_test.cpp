// SPDX-License-Identifier: MIT
// Long random sessions of host calls and replies, compared step by step with a plain second driver.
//
// A failure names its seed; KV_TEST_SEED=<number> makes RandomSeed repeat that session.
#include "driver_compare.h"
#include "driver_model.h"
#include "driver_test.h"
#include "random_input.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <functional>
#include <random>
#include <sstream>
#include <utility>

namespace
{
using model::compareDriver;
using model::compareList;
using model::fromQt;
using model::inQuotes;
using model::shown;
using model::versus;

// ------------------------------------------------------------------------------------------------
// The comparison itself: one value of the model is spoiled, and the comparison must find it
// -------------------------------------------------------------------------------------------------

struct Fault {
    const char *name;
    const char *found; // what the mismatch must begin with
    // Spoils one value; false if there is none to spoil yet.
    std::function<bool(model::Driver &)> spoil;
};

void PrintTo(const Fault &fault, std::ostream *out)
{
    *out << fault.name;
}

// ------------------------------------------------------------------------------------------------
// Sessions
// -------------------------------------------------------------------------------------------------

class Model : public DriverTest
{
protected:
    Model() : m_notify(PLC_driver.notifyCallback), m_error(PLC_driver.errorCallback)
    {
        std::memcpy(plain.settings.data(), &settings, sizeof plain.settings);
    }

    // Runs a session: "" or the first difference with seed, step and the calls that led to it.
    std::string run(unsigned seed, int steps, const Fault *fault = nullptr)
    {
        m_random.seed(seed);
        for (int i = 0; i < steps; ++i) {
            std::string found = step();
            if (found.empty() && fault != nullptr && i >= 200 && fault->spoil(plain)) {
                fault = nullptr;
                found = compare();
            }
            if (!found.empty())
                return found + "seed " + std::to_string(seed) + ", step " + std::to_string(i) +
                       ", last calls:\n" + lastCalls();
        }
        return "";
    }

    // Fills the lists of writes and once-reads up to two entries below their bound.
    void fillLists()
    {
        for (int i = 0; i < 1022; ++i) {
            model::Var var;
            var.ownerType = 9;
            var.ownerId = i / 100;
            var.accessMode = 1;
            var.area = 10;
            var.address = 1000 + i;
            var.station = 1;
            var.count = 1;
            var.data = "ab";
            plain.writeList.push_back(var);
            PLC_driver.writeList.append(toQt(var));
            var.accessMode = 0;
            plain.onceReadList.push_back(var);
            PLC_driver.onceReadList.append(toQt(var));
        }
    }

    model::Driver plain;
    bool longListsAllowed = false;
    std::size_t longestWriteList = 0, longestOnceReadList = 0;
    std::map<int, int> resultsSeen; // return codes of DataCom, with their number
    std::map<std::string, int> callsSeen;

private:
    using Step = std::string (Model::*)();

    // --- chance ---

    int below(int bound) { return int(m_random() % unsigned(bound)); }
    bool chance(int percent) { return below(100) < percent; }
    int between(int first, int last) { return first + below(last - first + 1); }

    template <typename Value>
    Value oneOf(std::initializer_list<Value> values)
    {
        return values.begin()[below(int(values.size()))];
    }

    // --- one step ---

    std::string step()
    {
        struct Weighted {
            int weight;
            const char *name;
            Step call;
        };
        static const std::vector<Weighted> calls{{50, "exchange", &Model::exchange},
                                                 {3, "ask", &Model::ask},
                                                 {3, "answer", &Model::answer},
                                                 {10, "setRegister", &Model::setRegister},
                                                 {4, "addWrite", &Model::addWrite},
                                                 {5, "addOnceRead", &Model::addOnceRead},
                                                 {2, "addRead", &Model::addRead},
                                                 {2, "rebuild", &Model::rebuild},
                                                 {9, "getRegister", &Model::getRegister},
                                                 {2, "parse", &Model::parse},
                                                 {3, "switchStation", &Model::switchStation},
                                                 {4, "changeSetting", &Model::changeSetting},
                                                 {2, "changeWeather", &Model::changeWeather},
                                                 {1, "handOver", &Model::handOver}};
        int at = below(100);
        std::size_t i = 0;
        while (at >= calls[i].weight)
            at -= calls[i++].weight;
        ++callsSeen[calls[i].name];
        return (this->*(crowded() ? &Model::relieve : calls[i].call))();
    }

    // Long lists make slow sessions in which little happens.
    bool crowded() const
    {
        return !longListsAllowed &&
               plain.writeList.size() + plain.onceReadList.size() + plain.readList.size() > 120;
    }

    std::string relieve()
    {
        if (plain.readList.size() > 60)
            return rebuild();
        return chance(90) ? exchange() : switchStation();
    }

    void log(const std::string &call)
    {
        m_history.push_back(call);
        if (m_history.size() > 25)
            m_history.pop_front();
    }

    std::string lastCalls() const
    {
        std::string text;
        for (const std::string &call : m_history)
            text += "  " + call + "\n";
        return text;
    }

    // --- comparison ---

    std::string compare()
    {
        longestWriteList = std::max(longestWriteList, plain.writeList.size());
        longestOnceReadList = std::max(longestOnceReadList, plain.onceReadList.size());
        for (const std::string &found :
             {compareList("debug lines", takeLines(), std::exchange(plain.lines, {})),
              compareList("callbacks", takeCallbacks(), std::exchange(plain.callbacks, {})),
              compareDriver(plain, settings)})
            if (!found.empty())
                return found;
        return "";
    }

    std::string compareReturned(const std::string &call, int driver, int expected)
    {
        if (driver != expected)
            return versus("return value of " + call, shown(driver), shown(expected));
        return compare();
    }

    // --- what calls are made of ---

    int anyArea() { return chance(96) ? below(40) : oneOf({-1, 40, 41, 1000, -40}); }

    int anyStation() { return oneOf({1, 1, 1, 2, 3, 0, 255}); }

    std::string hexadecimal(int value)
    {
        std::ostringstream text;
        text << (chance(50) ? std::uppercase : std::nouppercase) << std::hex << value;
        return text.str();
    }

    std::string anyAddress(int area)
    {
        if (chance(6))
            return strayText("0123456789ABFg.- ", 3);
        const int unit = chance(96) ? below(60) : below(400);
        const int bit = chance(90) ? below(16) : below(100);
        const std::string bits = (bit < 10 ? "0" : "") + std::to_string(bit);
        switch (area) {
        case 0:
        case 2:
        case 3:
        case 4:
        case 26:
        case 28:
        case 29:
        case 30:
            return chance(10) ? std::to_string(bit) : std::to_string(unit) + bits;
        case 1:
        case 5:
        case 14:
        case 27:
        case 31:
            return hexadecimal(unit);
        case 36:
            return hexadecimal(unit) + "." + std::to_string(bit);
        default:
            return area >= 32 ? std::to_string(unit) + "." + std::to_string(bit) : std::to_string(unit);
        }
    }

    std::string strayText(const std::string &alphabet, int longest)
    {
        std::string text(std::size_t(below(longest + 1)), ' ');
        for (char &c : text)
            c = alphabet[std::size_t(below(int(alphabet.size())))];
        return text;
    }

    std::string anyBytes(int count)
    {
        std::string bytes(std::size_t(std::max(0, count)), '\0');
        for (char &byte : bytes)
            byte = char(chance(40) ? below(2) : below(256));
        return bytes;
    }

    int anyCount()
    {
        if (chance(90))
            return between(1, 8);
        return chance(80) ? between(-4, 0) : between(9, 320);
    }

    int anyStoreAddress()
    {
        if (chance(88))
            return below(300);
        return chance(50) ? between(-40, -1) : below(5000);
    }

    // A variable as it stands in a list, with fields that make sense or nearly so.
    model::Var anyVar()
    {
        model::Var var;
        var.ownerType = between(-1, 13);
        var.ownerId = between(1, 3);
        var.accessMode = chance(95) ? below(2) : 7;
        var.field3 = below(3);
        var.linkId = chance(85) ? plain.settings[model::localLinkId] : below(4);
        var.result = below(3);
        var.extraText = oneOf({"", "pump", "valve 3"});
        var.area = anyArea();
        var.addressText = anyAddress(var.area);
        var.address = anyStoreAddress();
        var.station = anyStation();
        var.count = anyCount();
        var.preReadMark = chance(92) ? 0 : oneOf({-1, -1, 1});
        var.field13 = below(1000);
        var.data = anyBytes(chance(80) ? var.count * 4 : below(20));
        return var;
    }

    // --- host calls ---

    std::string addWrite()
    {
        model::Var var = anyVar();
        if (!plain.writeList.empty() && chance(30)) // the same request once more, with other values
            var = plain.writeList[std::size_t(below(int(plain.writeList.size())))];
        var.data = anyBytes(below(30));
        const int mode = chance(75) ? 0 : oneOf({1, 2});
        log("AddListWriteVar mode " + std::to_string(mode) + ", " + shown(var));
        RW_VAR qt = toQt(var);
        return compareReturned("AddListWriteVar", AddListWriteVar(&qt, mode),
                               plain.addListWriteVar(var, mode));
    }

    std::string addOnceRead()
    {
        model::Var var = anyVar();
        var.accessMode = 0;
        const int mode = chance(80) ? 0 : oneOf({1, -1});
        log("AddListOnceReadVar mode " + std::to_string(mode) + ", " + shown(var));
        RW_VAR qt = toQt(var);
        const int returned = AddListOnceReadVar(&qt, mode);
        if (!(fromQt(qt) == var))
            return "the caller's record was changed\n";
        return compareReturned("AddListOnceReadVar", returned, plain.addListOnceReadVar(var, mode));
    }

    std::string addRead()
    {
        const model::Var var = anyVar();
        log("AddListReadVar " + shown(var));
        RW_VAR qt = toQt(var);
        return compareReturned("AddListReadVar", AddListReadVar(&qt), plain.addListReadVar(var));
    }

    std::string setRegister()
    {
        const int area = anyArea();
        const std::string address = anyAddress(area);
        const int station = anyStation();
        const int count = anyCount();
        const std::string data = anyBytes(chance(85) ? count * 4 : below(12));
        const int ownerType = between(0, 12);
        const int ownerId = between(1, 3);
        log("SetRegisterData area " + std::to_string(area) + " " + inQuotes(address) + " station " +
            std::to_string(station) + " count " + std::to_string(count) + " owner " +
            std::to_string(ownerType) + "/" + std::to_string(ownerId) + " data " + inQuotes(data));
        const int returned = SetRegisterData("note", area, QString::fromStdString(address), station,
                                             QByteArray::fromStdString(data), count, ownerType, ownerId);
        return compareReturned(
            "SetRegisterData", returned,
            plain.setRegisterData("note", area, address, station, data, count, ownerType, ownerId));
    }

    std::string getRegister()
    {
        const int area = anyArea();
        const std::string address = isHugeAllowed(area) && chance(3) ? "99999999" : anyAddress(area);
        const int station = anyStation();
        const int count = isHugeAllowed(area) && chance(2) ? 70000000 : anyCount();
        log("GetRegisterData area " + std::to_string(area) + " " + inQuotes(address) + " station " +
            std::to_string(station) + " count " + std::to_string(count));
        QByteArray out("before");
        std::string expected;
        const int returned =
            GetRegisterData(below(5), area, QString::fromStdString(address), station, &out, count);
        const int expectedReturn = plain.getRegisterData(area, address, station, expected, count);
        if (out.toStdString() != expected)
            return versus("values of GetRegisterData", inQuotes(out.toStdString()), inQuotes(expected));
        return compareReturned("GetRegisterData", returned, expectedReturn);
    }

    // Areas in which the address 99999999 and a count of 70000000 are past the ceiling, so that
    // no image grows.
    static bool isHugeAllowed(int area) { return area >= 10 && area <= 25; }

    std::string parse()
    {
        const int area = anyArea();
        const std::string address =
            chance(50) ? anyAddress(area) : strayText("0123456789ABCDEFabcdef.-+ ", 6);
        log("PLCAddressChangeIntef area " + std::to_string(area) + " " + inQuotes(address));
        return compareReturned("PLCAddressChangeIntef",
                               PLCAddressChangeIntef(area, QString::fromStdString(address)),
                               plain.parseAddress(area, address));
    }

    std::string rebuild()
    {
        std::vector<model::HostVar> wanted(std::size_t(chance(90) ? between(1, 14) : 0));
        QList<HOSTVAR> list;
        std::string described;
        for (model::HostVar &var : wanted) {
            var.area = chance(97) ? below(40) : between(40, 255);
            var.station = oneOf({1, 1, 2, 3, 255});
            var.addressText = anyAddress(var.area);
            var.extraText = oneOf({"", "tank"});
            var.count = anyCount();
            HOSTVAR qt;
            qt.area = quint8(var.area);
            qt.station = quint8(var.station);
            qt.addressText = QString::fromStdString(var.addressText);
            qt.extraText = QString::fromStdString(var.extraText);
            qt.count = var.count;
            list.append(qt);
            described += " (" + std::to_string(var.area) + " " + inQuotes(var.addressText) + " station " +
                         std::to_string(var.station) + " +" + std::to_string(var.count) + ")";
        }
        log("ReCreatReadVarList" + described);
        return compareReturned("ReCreatReadVarList", ReCreatReadVarList(&list),
                               plain.reCreatReadVarList(wanted));
    }

    std::string switchStation()
    {
        const int station = chance(85) ? anyStation() : -between(1, 3);
        const int flag = oneOf({0, 0, 1, 1, 1, 2, -1});
        log("switch station " + std::to_string(station) + " flag " + std::to_string(flag));
        if (chance(50))
            EnCommStation(station, flag);
        else
            EnableEthernet(station, flag);
        plain.switchStation(station, flag);
        return compare();
    }

    void setWord(int word, int value)
    {
        plain.settings[std::size_t(word)] = value;
        std::memcpy(static_cast<void *>(&settings), plain.settings.data(), sizeof settings);
        log("settings word " + std::to_string(word) + " = " + std::to_string(value));
    }

    std::string changeSetting()
    {
        switch (below(12)) {
        case 0:
        case 1:
            setWord(model::maxBlockLength, oneOf({-1, 0, 1, 5, 16, 16, 64, 64, 64, 128, 200}));
            break;
        case 2:
            setWord(model::defaultStation, oneOf({1, 2, 3}));
            break;
        case 3:
            setWord(model::maxRetries, oneOf({0, 1, 2, 3, -1}));
            break;
        case 4:
            setWord(model::retryCount, 0);
            break;
        case 5:
            setWord(model::multiStation, oneOf({0, 1, 1, -1}));
            break;
        case 6:
        case 7:
            setWord(model::remoteMode, oneOf({0, 0, 0, 1, 2}));
            break;
        case 8:
            setWord(model::localLinkId, oneOf({0, 0, 3}));
            break;
        case 9:
            setWord(model::commMode, oneOf({2, 2, 2, 1, 0}));
            break;
        case 10:
            setWord(model::cycleDone, 0);
            break;
        default:
            setWord(model::callbackContext, below(100));
        }
        return compare();
    }

    // How well the PLC answers from now on.
    std::string changeWeather()
    {
        m_goodPercent = oneOf({97, 90, 90, 60, 20});
        return "";
    }

    // Set-up calls in the middle of a session.
    std::string handOver()
    {
        if (chance(50)) {
            setWord(model::stateWord10, 5);
            setWord(model::stateWord13, 6);
            SetComInfo(&settings);
            plain.setComInfo();
            return compare();
        }
        plain.callbacksSet = chance(75);
        log(plain.callbacksSet ? "callbacks set" : "callbacks null");
        RegistCallBackFuncIntf(plain.callbacksSet ? m_notify : nullptr,
                               plain.callbacksSet ? m_error : nullptr);
        return compare();
    }

    // --- exchange loop ---

    std::string exchange()
    {
        const std::string found = ask();
        return found.empty() ? answer() : found;
    }

    std::string ask()
    {
        log("ComCommunication");
        const quintptr returned = ComCommunication();
        plain.comCommunication();
        const quintptr head = plain.queue.empty() || PLC_driver.frameQueue.isEmpty()
                                  ? 0
                                  : reinterpret_cast<quintptr>(
                                        &static_cast<const QList<Protocol> &>(PLC_driver.frameQueue).first());
        if (returned != head)
            return "ComCommunication did not return the head of the queue\n";
        return compare();
    }

    std::string answer()
    {
        const std::string reply = anyReply();
        int length = int(reply.size());
        if (chance(4))
            length = plain.queue.empty() || chance(50) ? below(30) : plain.queue.front().replyLength;
        log("DataCom " + inQuotes(reply) + " length " + std::to_string(length));
        QByteArray received = QByteArray::fromStdString(reply);
        if (chance(1) && DataCom(nullptr, length) != 0)
            return "DataCom without a reply did not return 0\n";
        if (DataCom(&received, length) != reinterpret_cast<quintptr>(&PLC_driver.currentVar))
            return "DataCom did not return currentVar\n";
        plain.dataCom(reply, length);
        ++resultsSeen[plain.currentVar.result];
        return compare();
    }

    std::string anyReply()
    {
        if (plain.queue.empty())
            return oneOf({"", "OK\r\n", "CC\r\n", "00001\r\n"});
        const model::Frame &frame = plain.queue.front();
        const std::string good = goodReply(frame);
        if (chance(m_goodPercent))
            return good;
        switch (below(9)) {
        case 0:
        case 1:
            return "";
        case 2:
            return good.substr(0, std::size_t(below(int(good.size()) + 1)));
        case 3:
            return oneOf({"E1\r\n", "E0\r\n", "e4\r\n", "E\r\n"});
        case 4:
            return good + good;
        case 5: // "OK" and whatever makes up the length
            return ("OK\r\n" + good).substr(0, std::max<std::size_t>(4, good.size()));
        case 6:
            return oneOf({"CC\r\n", "CX\r\n", "CC", "OK\r\n", "EEEE", "1234"});
        default: { // right length, characters replaced
            std::string garbled = good;
            for (char &c : garbled)
                if (chance(15))
                    c = "0123456789 +-.,abcEO\r\n"[below(22)];
            return garbled;
        }
        }
    }

    // What a PLC that serves everything would send, in exactly the length that is waited for.
    std::string goodReply(const model::Frame &frame)
    {
        const model::Var &var = frame.var;
        const bool linked = plain.linked.count(var.station) != 0 && plain.linked[var.station];
        if (!linked && var.linkId == plain.settings[model::localLinkId])
            return "CC\r\n";
        if (frame.replyLength == 0)
            return "OK";
        if (frame.replyLength <= 4)
            return frame.replyLength == 4 ? "OK\r\n" : "\r\n";
        std::string reply;
        while (int(reply.size()) < frame.replyLength)
            reply += oneValue(frame) + " ";
        return reply.substr(0, std::size_t(frame.replyLength - 2)) + "\r\n";
    }

    std::string oneValue(const model::Frame &frame)
    {
        const int width = frame.var.count == 0 ? 0 : (frame.payloadLength + 1) / frame.var.count;
        if (width == 24)
            return std::to_string(below(2)) + oneOf({",", " "}) + digits(10) + oneOf({",", " "}) + digits(10);
        return digits(width == 11 ? 10 : 5);
    }

    std::string digits(int count)
    {
        std::string text;
        for (int i = 0; i < count; ++i)
            text += char('0' + (count == 10 && i == 0 && chance(70) ? 0 : below(10)));
        return text;
    }

    std::mt19937 m_random;
    std::deque<std::string> m_history;
    int m_goodPercent = 90;
    NotifyCallback m_notify;
    ErrorCallback m_error;
};

// ------------------------------------------------------------------------------------------------
// Tests
// -------------------------------------------------------------------------------------------------

class FixedSeed : public Model, public testing::WithParamInterface<unsigned>
{
};

TEST_P(FixedSeed, behavesLikeTheModel)
{
    EXPECT_EQ(run(GetParam(), 3000), "");
}

INSTANTIATE_TEST_SUITE_P(Sessions, FixedSeed, testing::Values(1U, 2U, 3U, 4U, 5U),
                         [](const testing::TestParamInfo<unsigned> &seed) {
                             return "seed" + std::to_string(seed.param);
                         });

TEST_F(Model, RandomSeed)
{
    EXPECT_EQ(run(chosenSeed(), 3000), "");
}

TEST_F(Model, listsAtTheirBound)
{
    fillLists();
    longListsAllowed = true;
    EXPECT_EQ(run(77, 400), "");
    EXPECT_GE(longestWriteList, 1024U);
    EXPECT_GE(longestOnceReadList, 1024U);
}

// A session is worth little if it never gets anywhere: every kind of outcome must have been met.
TEST_F(Model, sessionsMeetEveryOutcome)
{
    ASSERT_EQ(run(6, 6000), "");
    const auto met = [this](int first, int last) {
        int sum = 0;
        for (const auto &[result, times] : resultsSeen)
            if (result >= first && result <= last)
                sum += times;
        return sum;
    };
    EXPECT_GT(met(1, 1), 1000);   // good
    EXPECT_GT(met(100, 100), 20); // accepted without decoding
    EXPECT_GT(met(0, 0), 100);    // retried
    EXPECT_GT(met(11, 22), 0);    // given up: error reply
    EXPECT_GT(met(41, 52), 5);    // no reply
    EXPECT_GT(met(71, 82), 5);    // wrong length
    EXPECT_GT(met(111, 122), 0);  // and the same of a remote area
    EXPECT_GT(met(141, 152), 0);
    EXPECT_GT(met(171, 182), 0);
    EXPECT_GT(met(201, 201), 20); // handshake refused
    EXPECT_EQ(met(200, 200), 0);
    EXPECT_EQ(callsSeen.size(), 14U);
}

class SpoiledValue : public Model, public testing::WithParamInterface<Fault>
{
};

TEST_P(SpoiledValue, isFound)
{
    const std::string found = run(1, 3000, &GetParam());
    EXPECT_EQ(found.substr(0, std::string(GetParam().found).size()), GetParam().found);
}

// Spoils the first element of a list.
template <typename List, typename Spoil>
bool spoilFirst(List &list, Spoil spoil)
{
    if (list.empty())
        return false;
    spoil(list.front());
    return true;
}

INSTANTIATE_TEST_SUITE_P(
    Values, SpoiledValue,
    testing::Values(
        Fault{"debugLine", "debug lines", [](model::Driver &m) { return m.lines.emplace_back("x"), true; }},
        Fault{"callback", "callbacks", [](model::Driver &m) { return m.callbacks.emplace_back("x"), true; }},
        Fault{"settingsWord", "settings word 12",
              [](model::Driver &m) { return ++m.settings[model::framesDone], true; }},
        Fault{"frameByte", "frameQueue entry 0",
              [](model::Driver &m) {
                  return !m.queue.empty() &&
                         spoilFirst(m.queue.front().bytes, [](char &byte) { byte = char(byte ^ 1); });
              }},
        Fault{"replyLength", "frameQueue entry 0",
              [](model::Driver &m) { return spoilFirst(m.queue, [](auto &frame) { ++frame.replyLength; }); }},
        Fault{
            "payloadLength", "frameQueue entry 0",
            [](model::Driver &m) { return spoilFirst(m.queue, [](auto &frame) { ++frame.payloadLength; }); }},
        Fault{"writeListField", "writeList entry 0",
              [](model::Driver &m) { return spoilFirst(m.writeList, [](auto &var) { ++var.field13; }); }},
        Fault{"onceReadListText", "onceReadList entry 0",
              [](model::Driver &m) {
                  return spoilFirst(m.onceReadList, [](auto &var) { var.addressText += '1'; });
              }},
        Fault{"readListEntryLost", "readList",
              [](model::Driver &m) { return !m.readList.empty() && (m.readList.pop_back(), true); }},
        Fault{"returnCode", "currentVar", [](model::Driver &m) { return ++m.currentVar.result, true; }},
        Fault{"kind", "opKind", [](model::Driver &m) { return ++m.opKind, true; }},
        Fault{"turns", "writeTurns", [](model::Driver &m) { return ++m.writeTurns, true; }},
        Fault{"onceTurns", "onceReadTurns", [](model::Driver &m) { return ++m.onceReadTurns, true; }},
        Fault{"cycle", "readsThisCycle", [](model::Driver &m) { return ++m.readsThisCycle, true; }},
        Fault{"failedFlag", "lastFailed",
              [](model::Driver &m) { return m.lastFailed = !m.lastFailed, true; }},
        Fault{"link", "handshake", [](model::Driver &m) { return m.linked[1] = !m.linked[1], true; }},
        Fault{"stationOff", "stationMap", [](model::Driver &m) { return m.switchedOff.insert(99), true; }},
        Fault{"storeByte", "store, station 1 key 10",
              [](model::Driver &m) {
                  return spoilFirst(m.store[1][10], [](char &byte) { byte = char(byte ^ 1); });
              }},
        Fault{"imageTooLong", "store, station 1 key 10",
              [](model::Driver &m) { return m.store[1][10] += '\0', true; }},
        Fault{"imageTooMany", "store, station 98 key 0",
              [](model::Driver &m) { return m.store[98][0] += '\0', true; }}),
    [](const testing::TestParamInfo<Fault> &fault) { return std::string(fault.param.name); });

// The same from the driver's side: a byte of its store changes behind its back.
TEST_F(Model, aByteThatTheDriverLosesIsFound)
{
    ASSERT_EQ(run(1, 300), "");
    ASSERT_GT(DataStorage[1][10].size(), 3);
    DataStorage[1][10][3] = char(DataStorage[1][10].at(3) ^ 0x40);
    const std::string found = run(2, 1);
    EXPECT_NE(found.find("store, station 1 key 10, first at byte 3"), std::string::npos) << found;
}
} // namespace
