// SPDX-License-Identifier: MIT
#include "session.h"

#include "driver_compare.h"

#include <array>
#include <cstring>
#include <limits>

namespace
{
constexpr int steps = 300;
constexpr int lowest = std::numeric_limits<int>::min();
constexpr int highest = std::numeric_limits<int>::max();

template <std::size_t Size>
int oneOf(Input &input, const std::array<int, Size> &values)
{
    return values[std::size_t(input.below(int(Size)))];
}

[[noreturn]] void differs(const std::string &found)
{
    std::fprintf(stderr, "driver and model differ: %s\n", found.c_str());
    std::abort();
}

// Arguments that suit both the model and the driver: raw bytes, ASCII texts.
QString text(const std::string &ascii)
{
    return QString::fromLatin1(ascii.data(), int(ascii.size()));
}

// Pads to a whole number of elements, or leaves it as short as it is.
std::string values(Input &input)
{
    std::string bytes = input.bytes(24);
    if (input.flag())
        bytes.resize(bytes.size() * 4, '\x35');
    return bytes;
}
} // namespace

Session::Session(Input &bytes, Settings settings) : m_input(bytes), m_kind(settings)
{
    m_block->maxBlockLength = 64;
    m_block->defaultStation = 1;
    m_block->maxRetries = 2;
    m_block->multiStation = 1;
    m_block->commMode = 2;
    m_block->callbackContext = 77;
    if (m_kind == Settings::Any) {
        std::array<int, 19> words{};
        for (int i = 0; i < 19; ++i)
            words[std::size_t(i)] = settingsWord(i);
        std::memcpy(static_cast<void *>(m_block.get()), words.data(), sizeof words);
    }
    freshDriver(m_block.get());
    std::memcpy(m_plain.settings.data(), m_block.get(), sizeof m_plain.settings);
}

void Session::play()
{
    compare("SetComInfo");
    for (int i = 0; i < steps && !m_input.empty(); ++i)
        step();
    requireBoundedImages();
}

void Session::step()
{
    using Step = void (Session::*)();
    static const std::array<Step, 25> calls{
        &Session::exchange,    &Session::exchange,      &Session::exchange,      &Session::exchanges,
        &Session::ask,         &Session::ask,           &Session::timeOut,       &Session::cannedReply,
        &Session::silence,     &Session::cannedReply,   &Session::anyReply,      &Session::spoiltReply,
        &Session::setRegister, &Session::setRegister,   &Session::addWrite,      &Session::addOnceRead,
        &Session::addRead,     &Session::rebuild,       &Session::getRegister,   &Session::getRegister,
        &Session::parse,       &Session::switchStation, &Session::changeSetting, &Session::handOver,
        &Session::fillLists};
    (this->*calls[std::size_t(m_input.below(int(calls.size())))])();
}

// --- what calls are made of ---------------------------------------------------------------------

int Session::area()
{
    const int chosen = m_input.byte();
    return chosen < 240 ? chosen % 40 : oneOf<6>(m_input, {-1, 40, 41, 255, lowest, highest});
}

int Session::station()
{
    return oneOf<10>(m_input, {1, 1, 1, 1, 2, 2, 3, 0, 255, -1});
}

int Session::count()
{
    const int chosen = m_input.byte();
    if (chosen < 200)
        return chosen % 8 + 1;
    return oneOf<15>(m_input, {0, -1, -40, 9, 15, 16, 17, 31, 63, 64, 65, 127, 128, 129, 200});
}

// Few of them, so that an owner often has several requests pending.
int Session::ownerType()
{
    return oneOf<8>(m_input, {1, 1, 1, 1, 0, 11, 12, -1});
}

int Session::ownerId()
{
    return oneOf<4>(m_input, {1, 1, 1, 2});
}

std::string Session::addressText(int ofArea)
{
    const int form = m_input.byte();
    if (form >= 240)
        return m_input.ascii(12);
    const int unit = form >= 220 ? m_input.below(2000) : m_input.below(40);
    const std::string bit = std::to_string(m_input.below(form >= 200 ? 100 : 16));
    const std::string bits = (bit.size() < 2 ? "0" : "") + bit;
    if (ofArea >= 32)
        return std::to_string(unit) + "." + bit;
    if (ofArea <= 4 || ofArea == 26 || (ofArea >= 28 && ofArea <= 30))
        return ofArea == 1 ? std::to_string(unit) : std::to_string(unit) + bits;
    return std::to_string(unit);
}

model::Var Session::variable()
{
    model::Var var;
    var.ownerType = ownerType();
    var.ownerId = ownerId();
    const int odd = m_input.byte(); // mostly 0 in a short input: a variable that makes sense
    var.accessMode = (odd & 0x80) != 0 ? 7 : odd & 1;
    var.linkId = (odd & 0x60) == 0x60 ? m_input.below(4) : m_plain.settings[model::localLinkId];
    var.preReadMark = (odd & 0x18) == 0x18 ? -1 : 0;
    var.field3 = odd;
    var.area = area();
    var.station = station();
    var.addressText = addressText(var.area);
    var.extraText = (odd & 2) != 0 ? "pump" : "";
    var.address =
        (odd & 4) != 0 ? oneOf<8>(m_input, {-1, -15, -16, -17, -1000, 1999, 4095, 5000}) : m_input.below(300);
    var.count = count();
    var.data = values(m_input);
    return var;
}

int Session::settingsWord(int word)
{
    if (m_kind == Settings::Any && m_input.flag())
        return m_input.flag() ? m_input.number()
                              : oneOf<6>(m_input, {lowest, highest, -1, lowest + 1, highest - 1, 0});
    switch (word) {
    case model::maxBlockLength:
        return oneOf<10>(m_input, {64, 16, 1, 5, 0, -1, 127, 128, 129, 1000});
    case model::defaultStation:
        return oneOf<4>(m_input, {1, 2, 3, 0});
    case model::maxRetries:
        return oneOf<5>(m_input, {2, 0, 1, 3, -1});
    case model::multiStation:
        return oneOf<3>(m_input, {1, 0, -1});
    case model::remoteMode:
        return oneOf<4>(m_input, {0, 0, 1, 2});
    case model::localLinkId:
        return oneOf<3>(m_input, {0, 0, 3});
    case model::commMode:
        return oneOf<4>(m_input, {2, 2, 1, 0});
    case model::callbackContext:
        return m_input.number();
    default:
        return m_kind == Settings::Any ? m_input.below(4) : 0;
    }
}

// --- host calls ---------------------------------------------------------------------------------

void Session::setRegister()
{
    if (crowded())
        return;
    const int toArea = area();
    const std::string address = addressText(toArea);
    const int toStation = station();
    const int number = count();
    const std::string data = values(m_input);
    const int type = ownerType();
    const int id = ownerId();
    const int returned = SetRegisterData(QStringLiteral("tank"), toArea, text(address), toStation,
                                         m_memory.array(data), number, type, id);
    compareReturned("SetRegisterData", returned,
                    m_plain.setRegisterData("tank", toArea, address, toStation, data, number, type, id));
}

void Session::addWrite()
{
    model::Var var = variable();
    if (!m_plain.writeList.empty() && m_input.flag()) { // the same request once more, with other values
        const std::string data = var.data;
        var = m_plain.writeList[std::size_t(m_input.below(int(m_plain.writeList.size())))];
        var.data = data;
    }
    const int mode = m_input.below(3);
    RW_VAR qt = model::toQt(var);
    compareReturned("AddListWriteVar", AddListWriteVar(&qt, mode), m_plain.addListWriteVar(var, mode));
}

void Session::addOnceRead()
{
    model::Var var = variable();
    var.accessMode = 0;
    const int mode = m_input.below(3);
    RW_VAR qt = model::toQt(var);
    const int returned = AddListOnceReadVar(&qt, mode);
    require(model::fromQt(qt) == var, "AddListOnceReadVar leaves the caller's record as it was");
    compareReturned("AddListOnceReadVar", returned, m_plain.addListOnceReadVar(var, mode));
}

void Session::addRead()
{
    const model::Var var = variable();
    RW_VAR qt = model::toQt(var);
    compareReturned("AddListReadVar", AddListReadVar(&qt), m_plain.addListReadVar(var));
}

void Session::rebuild()
{
    std::vector<model::HostVar> wanted(std::size_t(m_input.below(10)));
    QList<HOSTVAR> list;
    for (model::HostVar &var : wanted) {
        var.area = area() & 0xFF;
        var.station = station() & 0xFF;
        var.addressText = addressText(var.area);
        var.count = count();
        HOSTVAR qt;
        qt.area = quint8(var.area);
        qt.station = quint8(var.station);
        qt.addressText = text(var.addressText);
        qt.count = var.count;
        list.append(qt);
    }
    compareReturned("ReCreatReadVarList", ReCreatReadVarList(&list), m_plain.reCreatReadVarList(wanted));
}

void Session::getRegister()
{
    const int ofArea = area();
    const std::string address = addressText(ofArea);
    const int ofStation = station();
    const int number = count();
    QByteArray out("before");
    std::string expected;
    const int returned = GetRegisterData(0, ofArea, text(address), ofStation, &out, number);
    const int expectedReturn = m_plain.getRegisterData(ofArea, address, ofStation, expected, number);
    if (out.toStdString() != expected)
        differs(model::versus("values of GetRegisterData", model::inQuotes(out.toStdString()),
                              model::inQuotes(expected)));
    compareReturned("GetRegisterData", returned, expectedReturn);
}

void Session::parse()
{
    const int ofArea = area();
    const std::string address = m_input.flag() ? addressText(ofArea) : m_input.ascii(16);
    compareReturned("PLCAddressChangeIntef", PLCAddressChangeIntef(ofArea, text(address)),
                    m_plain.parseAddress(ofArea, address));
}

void Session::switchStation()
{
    const int which = oneOf<6>(m_input, {1, 2, 3, 255, -1, lowest});
    const int flag = oneOf<6>(m_input, {0, 0, 1, 1, 2, -1});
    m_input.flag() ? EnCommStation(which, flag) : EnableEthernet(which, flag);
    m_plain.switchStation(which, flag);
    compare("switching a station");
}

void Session::setWord(int word, int value)
{
    m_plain.settings[std::size_t(word)] = value;
    std::memcpy(static_cast<void *>(m_block.get()), m_plain.settings.data(), sizeof *m_block);
}

void Session::changeSetting()
{
    static constexpr std::array<int, 10> sensible{
        model::maxBlockLength, model::defaultStation, model::maxRetries,  model::retryCount,
        model::multiStation,   model::remoteMode,     model::localLinkId, model::commMode,
        model::cycleDone,      model::callbackContext};
    const int word = m_kind == Settings::Any ? m_input.below(19) : oneOf(m_input, sensible);
    setWord(word, settingsWord(word));
    compare("changing a setting");
}

void Session::handOver()
{
    if (m_input.flag()) {
        setWord(model::stateWord10, 5);
        setWord(model::stateWord13, 6);
        SetComInfo(m_block.get());
        m_plain.setComInfo();
    } else {
        m_plain.callbacksSet = m_input.flag();
        RegistCallBackFuncIntf(m_plain.callbacksSet ? hearNotify : nullptr,
                               m_plain.callbacksSet ? hearError : nullptr);
    }
    compare("a set-up call");
}

// Fills the lists almost to their limit.
void Session::fillLists()
{
    if (m_input.below(4) != 3 || crowded())
        return;
    const int wanted = m_input.between(1020, 1025);
    model::Var var;
    var.ownerType = 9;
    var.area = 10;
    var.station = 1;
    var.count = 1;
    for (int i = 0; i < wanted; ++i) {
        var.address = 1000 + i;
        var.ownerId = i / 100;
        RW_VAR qt = model::toQt(var);
        AddListWriteVar(&qt, 1);
        AddListOnceReadVar(&qt, 1);
        m_plain.writeList.push_back(var);
        m_plain.onceReadList.push_back(var);
    }
    compare("filling the lists");
}

bool Session::crowded() const
{
    return m_plain.writeList.size() + m_plain.onceReadList.size() + m_plain.readList.size() > 400;
}

// --- exchange loop ------------------------------------------------------------------------------

void Session::exchange()
{
    ask();
    const std::string reply = goodReply();
    answer(reply, int(reply.size()));
}

void Session::exchanges()
{
    for (int left = m_input.between(2, 9); left > 0; --left)
        exchange();
}

void Session::ask()
{
    const quintptr returned = ComCommunication();
    m_plain.comCommunication();
    const QList<Protocol> &queue = PLC_driver.frameQueue;
    require(returned == (queue.isEmpty() ? 0 : reinterpret_cast<quintptr>(&queue.first())),
            "ComCommunication returns the head of the queue");
    compare("ComCommunication");
}

void Session::timeOut()
{
    answer(std::string(), 0);
}

// A PLC that is gone: asked until the request is given up.
void Session::silence()
{
    ask();
    for (int left = m_input.between(1, 4); left > 0; --left)
        timeOut();
}

void Session::cannedReply()
{
    static const std::array<const char *, 12> replies{"CC\r\n", "E1\r\n", "e4\r\n", "OK\r\n",
                                                      "CX\r\n", "CC",     "OK",     "EEEE",
                                                      "E\r\n",  "1234",   "E0\r\n", "\r\n"};
    const std::string reply = replies[std::size_t(m_input.below(int(replies.size())))];
    answer(reply, int(reply.size()));
}

void Session::anyReply()
{
    const std::string reply = m_input.bytes(60);
    answer(reply, int(reply.size()));
}

// A good reply, damaged as by a bad line.
void Session::spoiltReply()
{
    std::string reply = goodReply();
    int length = int(reply.size());
    switch (m_input.below(6)) {
    case 0:
        reply.resize(std::size_t(m_input.below(length + 1)));
        length = int(reply.size());
        break;
    case 1: // doubled
        reply += reply;
        length = int(reply.size());
        break;
    case 2: // the length is right, the bytes are not all there
        reply.resize(std::size_t(m_input.below(length + 1)));
        break;
    case 3:
        length = oneOf<6>(m_input, {0, -1, 4, 1000, lowest, highest});
        break;
    default:
        for (int changes = m_input.between(1, 4); changes > 0 && length > 0; --changes)
            reply[std::size_t(m_input.below(length))] = char(m_input.byte());
    }
    answer(reply, length);
}

void Session::answer(const std::string &reply, int length)
{
    QByteArray received = m_memory.array(reply);
    require(DataCom(&received, length) == reinterpret_cast<quintptr>(&PLC_driver.currentVar),
            "DataCom returns currentVar");
    m_plain.dataCom(reply, length);
    compare("DataCom");
}

// The reply of a PLC that serves everything, in exactly the expected length.
std::string Session::goodReply()
{
    if (m_plain.queue.empty())
        return "";
    const model::Frame &frame = m_plain.queue.front();
    const auto link = m_plain.linked.find(frame.var.station);
    const bool linked = link != m_plain.linked.end() && link->second;
    if (!linked && frame.var.linkId == m_plain.settings[model::localLinkId])
        return "CC\r\n";
    if (frame.replyLength == 4)
        return "OK\r\n";
    if (frame.replyLength < 4)
        return frame.replyLength == 0 ? "OK" : "\r\n";
    const int width = frame.var.count == 0 ? 0 : (frame.payloadLength + 1) / frame.var.count;
    const int most = std::min(frame.replyLength, 10000);
    std::string reply;
    while (int(reply.size()) < most)
        reply += value(width) + " ";
    return reply.substr(0, std::size_t(most - 2)) + "\r\n";
}

std::string Session::value(int width)
{
    if (width == 24) {
        std::string triple = std::to_string(m_input.below(2));
        triple += "," + digits(10);
        return triple + "," + digits(10);
    }
    return digits(width == 11 ? 10 : 5);
}

// Digits from two bytes; mostly zeros when there are ten, which would not fit an int otherwise.
std::string Session::digits(int number)
{
    std::string text = std::to_string(m_input.below(0x10000));
    if (number == 10 && m_input.flag())
        text += std::to_string(m_input.below(0x10000));
    return std::string(std::size_t(number) - std::min(text.size(), std::size_t(number)), '0') +
           text.substr(0, std::size_t(number));
}

// --- comparison ---------------------------------------------------------------------------------

void Session::compare(const std::string &call)
{
    for (const std::string &found : {model::compareList("debug lines", heard.lines, m_plain.lines),
                                     model::compareList("callbacks", heard.callbacks, m_plain.callbacks),
                                     model::compareDriver(m_plain, *m_block)})
        if (!found.empty())
            differs("after " + call + ": " + found);
    heard = Heard();
    m_plain.lines.clear();
    m_plain.callbacks.clear();
}

void Session::compareReturned(const std::string &call, int driver, int expected)
{
    if (driver != expected)
        differs(model::versus("return value of " + call, std::to_string(driver), std::to_string(expected)));
    compare(call);
}
