// SPDX-License-Identifier: MIT
#include "driver_model.h"

#include <algorithm>
#include <cstdio>
#include <limits>

namespace model
{
namespace
{
constexpr long long ceiling = 64LL * 1024 * 1024;
constexpr std::size_t listBound = 1024;

// --- areas --------------------------------------------------------------------------------------

bool isRelay(int area)
{
    return area >= 0 && area <= 5;
}

bool isContact(int area)
{
    return area >= 6 && area <= 9;
}

bool isWord(int area)
{
    return (area >= 10 && area <= 15) || (area >= 24 && area <= 31);
}

bool isDoubleWord(int area)
{
    return area >= 16 && area <= 23;
}

// Of one element as a host hands it over or gets it.
int bytesOfElement(int area)
{
    if (isDoubleWord(area))
        return 4;
    return isWord(area) ? 2 : 1;
}

bool isBitOfWord(int area)
{
    return area >= 32 && area <= 39;
}

bool isBit(int area)
{
    return isRelay(area) || isBitOfWord(area);
}

bool isArea(int area)
{
    return area >= 0 && area <= 39;
}

// The device whose data an area shares.
int deviceOf(int area)
{
    static const std::map<int, int> aliases{
        {17, 6}, {18, 6}, {19, 7},  {20, 7},  {8, 21},  {9, 22},  {26, 0},  {27, 1},  {28, 2},  {29, 3},
        {30, 4}, {31, 5}, {32, 10}, {33, 11}, {34, 12}, {35, 13}, {36, 14}, {37, 15}, {38, 24}, {39, 25}};
    const auto alias = aliases.find(area);
    return alias == aliases.end() ? area : alias->second;
}

// Where an area's values are kept: contacts and double words under their own code.
int imageOf(int area)
{
    return isContact(area) || isDoubleWord(area) ? area : deviceOf(area);
}

struct Command {
    const char *device;
    bool hexadecimal;
    const char *rest;
};

const std::map<int, Command> &readCommands()
{
    static const std::map<int, Command> commands{
        {0, {"R", false, "00.U"}},  {1, {"B", true, "0.U"}},    {2, {"MR", false, "00.U"}},
        {3, {"LR", false, "00.U"}}, {4, {"CR", false, "00.U"}}, {5, {"VB", true, "0.U"}},
        {6, {"T", false, ".D"}},    {7, {"C", false, ".D"}},    {10, {"DM", false, ".U"}},
        {11, {"EM", false, ".U"}},  {12, {"FM", false, ".U"}},  {13, {"ZF", false, ".U"}},
        {14, {"W", true, ".U"}},    {15, {"TM", false, ".U"}},  {16, {"Z", false, ".D"}},
        {21, {"CTH", false, ".D"}}, {22, {"CTC", false, ".D"}}, {23, {"AT", false, ".D"}},
        {24, {"CM", false, ".U"}},  {25, {"VM", false, ".U"}}};
    return commands;
}

const std::map<int, Command> &writeCommands()
{
    static const std::map<int, Command> commands{
        {10, {"DM", false, ".U"}},   {11, {"EM", false, ".U"}},   {12, {"FM", false, ".U"}},
        {13, {"ZF", false, ".U"}},   {14, {"W", true, ".U"}},     {15, {"TM", false, ".U"}},
        {16, {"Z", false, ".D"}},    {17, {"T", false, ".D"}},    {18, {"TS", false, ".D"}},
        {19, {"C", false, ".D"}},    {20, {"CS", false, ".D"}},   {21, {"CTH", false, ".D"}},
        {22, {"CTC", false, ".D"}},  {23, {"AT", false, ".D"}},   {24, {"CM", false, ".U"}},
        {25, {"VM", false, ".U"}},   {26, {"R", false, "00.U"}},  {27, {"B", true, "0.U"}},
        {28, {"MR", false, "00.U"}}, {29, {"LR", false, "00.U"}}, {30, {"CR", false, "00.U"}},
        {31, {"VB", true, "0.U"}}};
    return commands;
}

// Characters of one value in a reply, its separator included.
int replyWidth(int area)
{
    if (area == 16 || area == 23)
        return 11;
    if (area == 6 || area == 7 || area == 21 || area == 22)
        return 24;
    return 6;
}

// --- texts --------------------------------------------------------------------------------------

std::string text(const char *format, int value)
{
    char buffer[40];
    std::snprintf(buffer, sizeof buffer, format, value);
    return buffer;
}

std::string join(std::initializer_list<std::string> items)
{
    std::string line;
    for (const std::string &item : items)
        line += (line.empty() ? "" : " ") + item;
    return line;
}

std::string number(int value)
{
    return std::to_string(value);
}

std::string piece(const std::string &whole, std::size_t from, std::size_t length = std::string::npos)
{
    return from < whole.size() ? whole.substr(from, length) : std::string();
}

int digitValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return 99;
}

// A whole number: spaces around it are ignored, one sign may stand before it and "0x" before
// hexadecimal digits, it must fit 32 bits with sign.
bool toNumber(std::string digits, int base, int &result)
{
    const char *const spaces = " \t\n\v\f\r";
    const std::size_t first = digits.find_first_not_of(spaces);
    if (first == std::string::npos)
        return false;
    digits = digits.substr(first, digits.find_last_not_of(spaces) - first + 1);
    const bool negative = digits[0] == '-';
    if (negative || digits[0] == '+')
        digits.erase(0, 1);
    if (base == 16 && digits.size() > 1 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X'))
        digits.erase(0, 2);
    long long value = 0;
    for (const char c : digits) {
        if (digitValue(c) >= base || value > (1LL << 40))
            return false;
        value = value * base + digitValue(c);
    }
    value = negative ? -value : value;
    if (digits.empty() || value > std::numeric_limits<int>::max() || value < std::numeric_limits<int>::min())
        return false;
    result = int(value);
    return true;
}

// A bit address; false past 32 bits.
bool toBitAddress(int channel, int bit, int &result)
{
    const long long address = channel * 16LL + bit;
    result = int(address);
    return address <= std::numeric_limits<int>::max() && address >= std::numeric_limits<int>::min();
}

// A field of a reply; one that is not a number counts as 0.
int field(const std::string &digits)
{
    int value = 0;
    return toNumber(digits, 10, value) ? value : 0;
}

// --- bytes --------------------------------------------------------------------------------------

// Little-endian number; bytes past the end of the data are 0.
unsigned valueAt(const std::string &data, std::size_t position, int bytes)
{
    unsigned value = 0;
    for (int i = 0; i < bytes; ++i)
        if (position + std::size_t(i) < data.size())
            value |= unsigned(static_cast<unsigned char>(data[position + std::size_t(i)])) << (8 * i);
    return value;
}

void putBigEndian(std::string &frame, int value, int bytes)
{
    for (int i = bytes - 1; i >= 0; --i)
        frame += char((unsigned(value) >> (8 * i)) & 0xFF);
}

char sumOf(const std::string &bytes)
{
    unsigned sum = 0;
    for (const char byte : bytes)
        sum += static_cast<unsigned char>(byte);
    return char(sum & 0xFF);
}

// Fields that a remote-area frame packs behind its first byte.
std::string packed(const Var &var)
{
    std::string frame;
    putBigEndian(frame, var.ownerType, 1);
    putBigEndian(frame, var.accessMode, 1);
    putBigEndian(frame, var.linkId, 1);
    putBigEndian(frame, var.station, 1);
    putBigEndian(frame, var.area, 2);
    putBigEndian(frame, var.address, 4);
    putBigEndian(frame, var.count, 2);
    putBigEndian(frame, var.preReadMark, 4);
    putBigEndian(frame, var.field13, 4);
    return frame;
}

void moveHeadToEnd(std::vector<Var> &list)
{
    std::rotate(list.begin(), list.begin() + 1, list.end());
}

bool sameRequest(const Var &a, const Var &b)
{
    return a.station == b.station && a.area == b.area && a.address == b.address && a.count == b.count;
}

// A host may have left any number in its block: the end of int is not passed.
int plusOne(int number)
{
    return number == std::numeric_limits<int>::max() ? number : number + 1;
}

bool sameRequester(const Var &a, const Var &b)
{
    return a.ownerType == b.ownerType && a.ownerId == b.ownerId;
}
} // namespace

// --- set-up and addresses -----------------------------------------------------------------------

void Driver::setComInfo()
{
    settings[stateWord10] = 0;
    settings[stateWord13] = 0;
}

void Driver::switchStation(int station, int flag)
{
    if (station < 0)
        switchedOff.clear();
    else if (flag == 0)
        switchedOff.insert(station);
    else if (flag == 1)
        switchedOff.erase(station);
}

int Driver::parseAddress(int area, std::string address)
{
    int high = 0, low = 0, result = -1;
    bool good = false;
    if (area == 0 || area == 2 || area == 3 || area == 4) { // channel and two digits of the bit
        address = "00" + address;
        const std::size_t cut = address.size() - 2;
        good = toNumber(address.substr(0, cut), 10, high) && toNumber(address.substr(cut), 10, low) &&
               toBitAddress(high, low, result);
    } else if (area == 1 || area == 5 || area == 14) {
        good = toNumber(address, 16, result);
    } else if (area >= 6 && area <= 25) {
        good = toNumber(address, 10, result);
    } else if (area == 26 || area == 28 || area == 29 || area == 30) { // channel; the bit is not read
        address = "00" + address;
        good = toNumber(address.substr(0, address.size() - 2), 10, result);
    } else if (area == 27 || area == 31) { // word; the last digit is not read
        address = "0" + address;
        good = toNumber(address.substr(0, address.size() - 1), 16, result);
    } else if (isBitOfWord(area)) {
        const std::size_t point = address.find('.');
        good = point != std::string::npos && address.find('.', point + 1) == std::string::npos &&
               toNumber(address.substr(0, point), area == 36 ? 16 : 10, high) &&
               toNumber(address.substr(point + 1), 10, low) && toBitAddress(high, low, result);
    }
    if (good && result != -1)
        return result;
    lines.push_back("StringAddressToInt " + number(area) + " \"" + address + "\" ");
    return -1;
}

int Driver::blockLength() const
{
    return std::max(1, settings[maxBlockLength]);
}

void Driver::toStoreUnits(Var &var)
{
    if (isBit(var.area)) {
        var.count = (var.address % 16 + var.count + 15) / 16;
        var.address /= 16;
    } else if (isContact(var.area) || isDoubleWord(var.area)) {
        var.count = (var.count + 1) / 2;
    }
    var.area = deviceOf(var.area);
}

// --- lists --------------------------------------------------------------------------------------

int Driver::addListReadVar(const Var &var)
{
    readList.push_back(var);
    return int(readList.size());
}

int Driver::addListWriteVar(const Var &var, int mode)
{
    if (mode == 1 || writeList.size() < 2) {
        writeList.push_back(var);
        return int(writeList.size());
    }
    for (std::size_t i = 1; i < writeList.size(); ++i) {
        if (sameRequest(writeList[i], var)) {
            writeList[i] = var;
            return int(writeList.size());
        }
    }
    if (writeList.size() < listBound)
        writeList.push_back(var);
    return int(writeList.size());
}

int Driver::addListOnceReadVar(Var var, int mode)
{
    if (mode == 1) {
        onceReadList.push_back(var);
        return int(onceReadList.size());
    }
    const int address = parseAddress(var.area, var.addressText);
    if (address < 0)
        return 0;
    if (settings[multiStation] == 0)
        var.station = settings[defaultStation];
    var.address = address;
    var.preReadMark = 0;
    var.field13 = 0;
    toStoreUnits(var);
    int left = var.count;
    while (left > 0) {
        var.count = std::min(left, blockLength());
        const bool known = std::any_of(onceReadList.begin(), onceReadList.end(), [&](const Var &other) {
            return sameRequest(other, var) && sameRequester(other, var);
        });
        if (!known && onceReadList.size() < listBound)
            onceReadList.push_back(var);
        left -= var.count;
        var.address += var.count;
    }
    return int(onceReadList.size());
}

// Queues `units` elements of `width` bytes in pieces of at most a block; returns what the
// last call returned.
int Driver::queuePieces(Var var, int units, int width, const std::string &data)
{
    const int length = isBit(var.area) ? 1 : blockLength();
    int returned = 0;
    std::size_t position = 0;
    while (units > 0) {
        var.count = std::min(units, length);
        var.data.clear();
        for (int i = 0; i < var.count * width; ++i, ++position)
            var.data += position < data.size() ? data[position] : '\0';
        returned = addListWriteVar(var, 0);
        if (lastFailed)
            writeLocal(var);
        units -= var.count;
        var.address += var.count;
    }
    return returned;
}

int Driver::setRegisterData(const std::string &extraText, int area, const std::string &addressText,
                            int station, const std::string &data, int count, int ownerType, int ownerId)
{
    Var var;
    var.address = parseAddress(area, addressText);
    if (var.address < 0)
        return 0;
    var.ownerType = ownerType;
    var.ownerId = ownerId;
    var.accessMode = 1;
    var.field3 = settings[remoteMode];
    var.linkId = settings[localLinkId];
    var.extraText = extraText;
    var.addressText = addressText;
    var.area = area;
    var.station = settings[multiStation] != 0 ? station : settings[defaultStation];
    if (settings[commMode] != 2) {
        var.count = count;
        var.data = data;
        writeLocal(var);
        return 1;
    }
    settings[maxBlockLength] = std::min(settings[maxBlockLength], 128);
    if (isBit(area))
        return queuePieces(var, count, 1, data);
    if (isWord(area))
        return queuePieces(var, count, 2, data);
    if (isDoubleWord(area))
        return queuePieces(var, (count + 1) / 2, 4, data);
    return 0;
}

int Driver::reCreatReadVarList(const std::vector<HostVar> &list)
{
    readList.clear();
    if (list.empty())
        return 0;
    readsThisCycle = 0;
    settings[cycleDone] = 0;
    std::map<int, std::map<int, std::vector<Var>>> groups;
    for (const HostVar &wanted : list) {
        Var var;
        var.address = parseAddress(wanted.area, wanted.addressText);
        if (var.address < 0)
            continue;
        var.ownerId = -1;
        var.field3 = settings[remoteMode];
        var.linkId = settings[localLinkId];
        var.extraText = wanted.extraText;
        var.addressText = wanted.addressText;
        var.area = wanted.area;
        var.station = settings[multiStation] != 0 ? wanted.station : settings[defaultStation];
        var.count = wanted.count;
        toStoreUnits(var);
        groups[var.station][var.area].push_back(var);
    }
    for (auto &[station, keys] : groups) {
        for (auto &[key, group] : keys) {
            std::stable_sort(group.begin(), group.end(),
                             [](const Var &a, const Var &b) { return a.address < b.address; });
            const bool oneByOne = key == 6 || key == 7 || key == 21 || key == 22;
            layBlocks(group, oneByOne ? 1 : blockLength());
        }
    }
    lines.push_back("************ fenzu ***********");
    for (const Var &block : readList)
        lines.push_back(
            join({number(block.station), number(block.area), number(block.address), number(block.count)}));
    return int(readList.size());
}

void Driver::layBlocks(const std::vector<Var> &group, int length)
{
    const std::size_t before = readList.size();
    for (const Var &element : group) {
        Var block = element;
        int left = element.count;
        if (readList.size() > before &&
            element.address < static_cast<long long>(readList.back().address) + length) {
            Var &last = readList.back();
            left = element.address + element.count - last.address;
            if (left <= last.count)
                continue; // wholly inside
            last.count = std::min(left, length);
            block = last;
            left -= last.count;
            block.address += last.count;
        }
        while (left > 0) {
            block.count = std::min(left, length);
            readList.push_back(block);
            left -= block.count;
            block.address += block.count;
        }
    }
}

// --- scheduler ----------------------------------------------------------------------------------

// Moves entries of switched-off stations to the end; false if there are no others.
bool Driver::bringUpLiveStation(std::vector<Var> &list)
{
    const auto live = std::find_if(list.begin(), list.end(),
                                   [&](const Var &var) { return switchedOff.count(var.station) == 0; });
    if (live == list.end())
        return false; // once around: all stand where they stood
    std::rotate(list.begin(), live, list.end());
    return true;
}

void Driver::comCommunication()
{
    if (queue.empty())
        scheduleOne();
}

void Driver::scheduleOne()
{
    const bool remote = settings[remoteMode] != 0;
    if (!writeList.empty() && writeTurns <= 4) {
        opKind = 1;
        ++writeTurns;
        if (bringUpLiveStation(writeList)) {
            const Var var = writeList.front();
            remote ? remoteWrite(var) : writeRegister(var);
            return;
        }
    }
    if (!onceReadList.empty() && onceReadTurns <= 4) {
        opKind = 2;
        ++onceReadTurns;
        if (bringUpLiveStation(onceReadList)) {
            const Var var = onceReadList.front();
            remote ? remoteRead(var) : readRegister(var);
            return;
        }
    }
    writeTurns = 0;
    onceReadTurns = 0;
    if (!readList.empty()) {
        opKind = 0;
        if (bringUpLiveStation(readList)) {
            const Var var = readList.front();
            remote ? remoteRead(var) : readRegister(var);
            return;
        }
    }
    settings[cycleDone] = 1;
}

// --- frames -------------------------------------------------------------------------------------

void Driver::append(Frame frame, const Var &var)
{
    frame.frameLength = int(frame.bytes.size());
    frame.var = var;
    queue.push_back(frame);
    settings[framesPerRequest] = 1;
    settings[framesDone] = 0;
}

bool Driver::openLink(const Var &var)
{
    if (linked.count(var.station) == 0) {
        lines.push_back("init handshake");
        linked[var.station] = false;
    }
    if (linked[var.station])
        return true;
    lines.push_back("Handshake(RW_Var)");
    Frame frame;
    frame.bytes = "CR\r\n";
    frame.replyLength = 4;
    append(frame, var);
    return false;
}

void Driver::readRegister(const Var &var)
{
    if (openLink(var))
        readAnalog(var);
}

void Driver::readAnalog(const Var &var)
{
    Frame frame;
    const auto command = readCommands().find(var.area);
    if (command == readCommands().end()) {
        lines.push_back("read default " + number(var.area));
    } else {
        const Command &parts = command->second;
        frame.bytes = std::string("RDS ") + parts.device +
                      text(parts.hexadecimal ? "%X" : "%d", var.address) + parts.rest + " " +
                      number(var.count) + "\r";
        frame.payloadLength = var.count * replyWidth(var.area) - 1;
    }
    frame.replyLength = frame.payloadLength + 2;
    append(frame, var);
}

void Driver::writeRegister(const Var &var)
{
    if (!openLink(var))
        return;
    if (!isArea(var.area) || var.area == 8 || var.area == 9) {
        writeList.erase(writeList.begin());
        lines.push_back(join({"WriteRegister default", number(var.station), number(var.area),
                              number(var.address), number(var.count)}));
        return;
    }
    if (isBitOfWord(var.area))
        writeBitOfWord(var);
    else
        writeAnalog(var);
    if (!lastFailed)
        writeLocal(var);
}

void Driver::writeBitOfWord(const Var &var)
{
    Var wordVar = var;
    wordVar.area = deviceOf(var.area);
    wordVar.count = 1;
    wordVar.address = var.address / 16;
    wordVar.data = std::string(2, '\0');
    wordVar.accessMode = 0;
    wordVar.preReadMark = -1;
    readRegister(wordVar);
    wordVar.accessMode = 1;
    wordVar.preReadMark = 0;
    writeAnalog(wordVar);
    settings[framesPerRequest] = 2;
}

void Driver::writeAnalog(const Var &var)
{
    static const std::map<int, std::string> relays{{0, "R"},  {1, "B"},  {2, "MR"},
                                                   {3, "LR"}, {4, "CR"}, {5, "VB"}};
    Frame frame;
    frame.replyLength = 4;
    const auto command = writeCommands().find(var.area);
    if (isRelay(var.area)) {
        const bool on = valueAt(var.data, 0, 1) != 0;
        frame.bytes = (on ? "ST " : "RS ") + relays.at(var.area);
        if (var.area == 1 || var.area == 5)
            frame.bytes += text("%x", var.address);
        else
            frame.bytes += number(var.address / 16) + text("%02d", var.address % 16);
        frame.bytes += "\r";
    } else if (command != writeCommands().end()) {
        const Command &parts = command->second;
        frame.bytes = std::string("WRS ") + parts.device +
                      text(parts.hexadecimal ? "%X" : "%d", var.address) + parts.rest + " " +
                      number(var.count);
        const int width = isDoubleWord(var.area) ? 4 : 2;
        for (int i = 0; i < var.count; ++i) {
            frame.payloadLength = int(valueAt(var.data, std::size_t(i) * std::size_t(width), width));
            frame.bytes += text(width == 4 ? " %010d" : " %05d", frame.payloadLength);
        }
        frame.bytes += "\r";
    } else {
        lines.push_back("write default");
    }
    append(frame, var);
}

void Driver::remoteRead(const Var &var)
{
    Frame frame;
    frame.bytes = std::string(1, '\0') + packed(var);
    frame.bytes += sumOf(frame.bytes);
    frame.payloadLength = var.count * replyWidth(var.area) - 1;
    frame.replyLength = frame.payloadLength + 2;
    append(frame, var);
}

void Driver::remoteWrite(const Var &var)
{
    Frame frame;
    const std::string body = packed(var) + var.data;
    frame.bytes = char((body.size() + 2) & 0xFF) + body;
    frame.bytes += sumOf(frame.bytes);
    frame.replyLength = var.station != 0 ? 4 : 0;
    append(frame, var);
    writeLocal(var);
}

// --- replies ------------------------------------------------------------------------------------

// 0 error, 1 data to store, 2 accepted without data.
int Driver::checkReply(const std::string &reply) const
{
    if (reply.empty() || (reply.size() == 4 && (reply[0] == 'E' || reply[0] == 'e')))
        return 0;
    if (reply.substr(0, 2) == "OK")
        return 2;
    const int mode = queue.front().var.accessMode;
    if (mode == 0)
        return 1;
    return mode == 1 ? 2 : 0;
}

int Driver::failure(int base) const
{
    const int owner = queue.front().var.ownerType;
    return base + 1 + (owner >= 0 && owner <= 11 ? owner : 0);
}

int Driver::takeLocal(const std::string &reply, int length)
{
    const int wanted = queue.front().replyLength;
    if (length == 0 && wanted != 0)
        return failure(40);
    if (length != wanted && wanted != -1)
        return failure(70);
    const int kind = checkReply(reply);
    if (kind == 0)
        return failure(10);
    if (kind == 1)
        decode(reply);
    return 1;
}

int Driver::takeRemote(const std::string &reply, int length)
{
    const int wanted = queue.front().replyLength;
    if (length == 0 && wanted != 0)
        return failure(140);
    if (length != wanted && wanted != -1)
        return failure(170);
    if (checkReply(reply) == 0)
        return failure(110);
    if (queue.front().var.preReadMark != -1)
        return 100;
    decode(reply);
    return settings[framesDone] == 1 ? 100 : 1;
}

void Driver::dataCom(const std::string &reply, int length)
{
    currentVar.result = 1;
    if (queue.empty())
        return;
    const Var head = queue.front().var;
    const bool local = head.linkId == settings[localLinkId];
    bool &link = linked[head.station]; // false if the station was not known
    if (!link && local) {
        link = reply.size() == 4 && reply.substr(0, 2) == "CC";
        currentVar.result = link ? 1 : 201;
        queue.clear();
        return;
    }
    const int code = local ? takeLocal(reply, length) : takeRemote(reply, length);
    if (code == 1 || code == 100) {
        lastFailed = false;
        queue.erase(queue.begin());
        const bool more = settings[framesDone] + 1LL < settings[framesPerRequest];
        settings[framesDone] = plusOne(settings[framesDone]);
        if (more) {
            currentVar.result = code;
            return;
        }
        if (local && settings[cycleDone] == 0 && ++readsThisCycle > int(readList.size())) {
            readsThisCycle = 0;
            settings[cycleDone] = 1;
        }
    } else {
        lastFailed = true;
        readsThisCycle = 0;
        settings[cycleDone] = 0;
        if (settings[retryCount] + 1LL <= settings[maxRetries]) {
            ++settings[retryCount];
            currentVar.result = 0;
            return;
        }
        settings[retryCount] = 0;
        queue.clear();
        link = false;
    }
    finishRequest(code, local);
}

void Driver::finishRequest(int code, bool local)
{
    std::vector<Var> *list = nullptr;
    if (opKind == 1)
        list = &writeList;
    else if (opKind == 2)
        list = &onceReadList;
    else if (opKind == 0)
        list = &readList;
    if (opKind == 1 || (opKind == 2 && local))
        tellRequester(*list);
    if (list != nullptr && !list->empty()) {
        currentVar = list->front();
        currentVar.data.clear();
        if (opKind == 0)
            moveHeadToEnd(*list);
        else
            list->erase(list->begin());
    }
    if (lastFailed) {
        if (callbacksSet)
            callbacks.push_back("error " + number(currentVar.ownerType) + " 1 empty");
        if (opKind == 1 || opKind == 2)
            purge(*list);
    }
    currentVar.result = code;
}

// While the requester has more entries, it hears of failures only.
void Driver::tellRequester(const std::vector<Var> &list)
{
    if (list.empty() || !callbacksSet)
        return;
    const Var &head = list.front();
    const bool more = std::any_of(list.begin() + 1, list.end(),
                                  [&](const Var &other) { return sameRequester(other, head); });
    if (more && !lastFailed)
        return;
    callbacks.push_back(join({"notify", number(settings[callbackContext]), number(head.ownerType),
                              number(head.ownerId), lastFailed ? "2" : "1"}));
}

void Driver::purge(std::vector<Var> &list)
{
    std::vector<Var> kept;
    for (const Var &var : list)
        if (!sameRequester(var, currentVar) ||
            (settings[multiStation] != 0 && var.station != currentVar.station))
            kept.push_back(var);
    list = kept;
}

// --- store --------------------------------------------------------------------------------------

void Driver::sizeRange(int station, int area, int address, int count)
{
    long long size = (static_cast<long long>(address) + count) * 2;
    int key = area;
    if (isDoubleWord(area))
        size *= 2;
    else if (isBitOfWord(area))
        size = (count / 16 + 1 + address / 16) * 2;
    if (isWord(area) || isBitOfWord(area))
        key = deviceOf(area);
    if (!isArea(area))
        lines.push_back("**** ERROR checkTheStorage default");
    std::string &bytes = store[station][key];
    if (size > static_cast<long long>(bytes.size()) && size <= ceiling)
        bytes.resize(std::size_t(size), '\0');
}

void Driver::putByte(int station, int key, long long position, int value)
{
    std::string &bytes = store[station][key];
    if (position < 0 || position >= ceiling)
        return;
    if (position >= static_cast<long long>(bytes.size()))
        bytes.resize(std::size_t(position) + 1, '\0');
    bytes[std::size_t(position)] = char(value);
}

void Driver::putNumber(int station, int key, long long position, int bytes, unsigned value)
{
    for (int i = 0; i < bytes; ++i)
        putByte(station, key, position + i, int((value >> (8 * i)) & 0xFF));
}

int Driver::byteAt(int station, int key, long long position) const
{
    const auto keys = store.find(station);
    if (keys == store.end())
        return 0;
    const auto bytes = keys->second.find(key);
    if (bytes == keys->second.end() || position < 0 ||
        position >= static_cast<long long>(bytes->second.size()))
        return 0;
    return static_cast<unsigned char>(bytes->second[std::size_t(position)]);
}

void Driver::decode(const std::string &reply)
{
    const Frame &head = queue.front();
    const Var &var = head.var;
    if (var.preReadMark == -1) {
        patchBitWrite(reply);
        return;
    }
    const std::string data =
        piece(reply, std::size_t(head.replyOffset),
              head.payloadLength < 0 ? std::string::npos : std::size_t(head.payloadLength));
    sizeRange(var.station, var.area, var.address, var.count);

    // Images that a triple fills: contact, first value, second value; -1 where a value is not kept.
    static const std::map<int, std::array<int, 3>> triples{
        {6, {6, 17, 18}},  {17, {6, 17, 18}}, {18, {6, 17, 18}}, {7, {7, 19, 20}},
        {19, {7, 19, 20}}, {20, {7, 19, 20}}, {21, {8, 21, -1}}, {22, {9, -1, 22}}};
    const auto triple = triples.find(var.area);
    const bool pair = var.area == 16 || var.area == 23;
    const bool word = isRelay(var.area) || (isWord(var.area) && var.area <= 25);
    if (triple == triples.end() && !pair && !word) {
        lines.push_back(join({"SaveToLocalDataErea default", number(var.station), number(var.area)}));
        return;
    }
    long long n = var.address;
    std::size_t stride = pair ? 11 : 6;
    if (triple != triples.end())
        stride = 24;
    for (std::size_t at = 0; at < data.size(); at += stride, ++n) {
        if (word) {
            putNumber(var.station, var.area, 2 * n, 2, unsigned(field(piece(data, at, 5))));
        } else if (pair) {
            putNumber(var.station, var.area, 4 * n, 4, unsigned(field(piece(data, at, 10))));
        } else {
            const std::array<int, 3> &images = triple->second;
            putByte(var.station, images[0], n, field(piece(data, at, 1)) != 0 ? 1 : 0);
            if (images[1] != -1)
                putNumber(var.station, images[1], 4 * n, 4, unsigned(field(piece(data, at + 2, 10))));
            if (images[2] != -1)
                putNumber(var.station, images[2], 4 * n, 4, unsigned(field(piece(data, at + 13, 10))));
        }
    }
}

void Driver::patchBitWrite(const std::string &reply)
{
    if (writeList.empty() || queue.size() < 2)
        return;
    const Var &wanted = writeList.front();
    const int bit = wanted.address % 16;
    const int mask = bit >= 0 ? 1 << bit : 0;
    int word = field(reply.substr(0, 5)) & 0xFFFF;
    word = valueAt(wanted.data, 0, 1) != 0 ? word | mask : word & ~mask;
    const std::string digits = text("%05d", word & 0xFFFF);
    std::string &frame = queue[1].bytes;
    for (std::size_t i = 0; i < 5; ++i)
        if (frame.size() + i >= 6)
            frame[frame.size() + i - 6] = digits[i];
}

void Driver::writeLocal(const Var &var)
{
    if (!isArea(var.area) || var.area == 8 || var.area == 9) {
        lines.push_back(
            join({"WriteDataToLocal default", number(var.station), number(var.area), number(var.address)}));
        return;
    }
    const int key = imageOf(var.area);
    const int width = bytesOfElement(var.area);
    for (int k = 0; k < var.count; ++k) {
        const long long n = static_cast<long long>(var.address) + k;
        const std::size_t from = std::size_t(k) * std::size_t(width);
        if (from >= var.data.size())
            return; // no more data: what the store holds stays
        const unsigned value = valueAt(var.data, from, width);
        if (!isBit(var.area)) {
            putNumber(var.station, key, n * width, width, isContact(var.area) ? value & 1 : value);
        } else if (n >= 0) {
            const int before = byteAt(var.station, key, n / 8);
            const int mask = 1 << (n % 8);
            putByte(var.station, key, n / 8, value != 0 ? before | mask : before & ~mask);
        }
    }
}

int Driver::getRegisterData(int area, const std::string &addressText, int station, std::string &out,
                            int count)
{
    out.clear();
    const int chosen = settings[multiStation] != 0 ? station : settings[defaultStation];
    if (!isArea(area)) {
        lines.push_back("GetRegisterData default " + number(area) + " \"" + addressText + "\" " +
                        number(chosen));
        return 1;
    }
    const int address = parseAddress(area, addressText);
    const int width = address < 0 ? 2 : bytesOfElement(area);
    if (static_cast<long long>(count) * width > ceiling)
        return 0;
    if (address < 0) {
        out.assign(std::size_t(std::max(0, count)) * 2, '\0');
        return 0;
    }
    sizeRange(chosen, area, address, count);
    for (int k = 0; k < count; ++k) {
        const long long n = static_cast<long long>(address) + k;
        if (isBit(area)) {
            out += char((byteAt(chosen, imageOf(area), n / 8) >> (n % 8)) & 1);
            continue;
        }
        for (int i = 0; i < width; ++i)
            out += char(byteAt(chosen, imageOf(area), n * width + i));
    }
    return 1;
}
} // namespace model
