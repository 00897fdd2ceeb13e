// SPDX-License-Identifier: MIT
#include "driver_compare.h"

#include <cstring>
#include <sstream>

namespace model
{
RW_VAR toQt(const Var &var)
{
    RW_VAR qt;
    qt.ownerType = var.ownerType;
    qt.ownerId = var.ownerId;
    qt.accessMode = var.accessMode;
    qt.field3 = var.field3;
    qt.linkId = var.linkId;
    qt.result = var.result;
    qt.extraText = QString::fromStdString(var.extraText);
    qt.addressText = QString::fromStdString(var.addressText);
    qt.area = var.area;
    qt.address = var.address;
    qt.station = var.station;
    qt.count = var.count;
    qt.preReadMark = var.preReadMark;
    qt.field13 = var.field13;
    qt.data = QByteArray::fromStdString(var.data);
    return qt;
}

Var fromQt(const RW_VAR &qt)
{
    Var var;
    var.ownerType = qt.ownerType;
    var.ownerId = qt.ownerId;
    var.accessMode = qt.accessMode;
    var.field3 = qt.field3;
    var.linkId = qt.linkId;
    var.result = qt.result;
    var.extraText = qt.extraText.toStdString();
    var.addressText = qt.addressText.toStdString();
    var.area = qt.area;
    var.address = qt.address;
    var.station = qt.station;
    var.count = qt.count;
    var.preReadMark = qt.preReadMark;
    var.field13 = qt.field13;
    var.data = qt.data.toStdString();
    return var;
}

Frame fromQt(const Protocol &qt)
{
    Frame frame;
    frame.bytes = qt.frame.toStdString();
    frame.frameLength = qt.frameLength;
    frame.replyLength = qt.replyLength;
    frame.replyOffset = qt.replyOffset;
    frame.payloadLength = qt.payloadLength;
    frame.var = fromQt(qt.var);
    return frame;
}

std::string inQuotes(const std::string &bytes)
{
    std::ostringstream text;
    text << '"';
    for (const char c : bytes)
        if (c >= ' ' && c <= '~')
            text << c;
        else
            text << "\\x" << std::hex << (unsigned(static_cast<unsigned char>(c)) & 0xFFU) << ' ' << std::dec;
    text << '"';
    return text.str();
}

std::string shown(int value)
{
    return std::to_string(value);
}

std::string shown(const std::string &text)
{
    return inQuotes(text);
}

std::string shown(const Var &var)
{
    std::ostringstream text;
    text << "owner " << var.ownerType << "/" << var.ownerId << " mode " << var.accessMode << " field3 "
         << var.field3 << " link " << var.linkId << " result " << var.result << " texts "
         << inQuotes(var.extraText) << inQuotes(var.addressText) << " area " << var.area << " address "
         << var.address << " station " << var.station << " count " << var.count << " mark " << var.preReadMark
         << " field13 " << var.field13 << " data " << inQuotes(var.data);
    return text.str();
}

std::string shown(const Frame &frame)
{
    std::ostringstream text;
    text << inQuotes(frame.bytes) << " lengths " << frame.frameLength << " " << frame.replyLength << " "
         << frame.replyOffset << " " << frame.payloadLength << " for " << shown(frame.var);
    return text.str();
}

std::string versus(const std::string &what, const std::string &driver, const std::string &expected)
{
    return what + "\n  driver: " + driver + "\n  model:  " + expected + "\n";
}

namespace
{
bool same(const QString &driver, const std::string &expected)
{
    return driver == QLatin1String(expected.c_str());
}

bool same(const QByteArray &driver, const std::string &expected)
{
    return std::size_t(driver.size()) == expected.size() &&
           std::memcmp(driver.constData(), expected.data(), expected.size()) == 0;
}

bool same(const RW_VAR &driver, const Var &expected)
{
    return driver.ownerType == expected.ownerType && driver.ownerId == expected.ownerId &&
           driver.accessMode == expected.accessMode && driver.field3 == expected.field3 &&
           driver.linkId == expected.linkId && driver.result == expected.result &&
           same(driver.extraText, expected.extraText) && same(driver.addressText, expected.addressText) &&
           driver.area == expected.area && driver.address == expected.address &&
           driver.station == expected.station && driver.count == expected.count &&
           driver.preReadMark == expected.preReadMark && driver.field13 == expected.field13 &&
           same(driver.data, expected.data);
}

bool same(const Protocol &driver, const Frame &expected)
{
    return same(driver.frame, expected.bytes) && driver.frameLength == expected.frameLength &&
           driver.replyLength == expected.replyLength && driver.replyOffset == expected.replyOffset &&
           driver.payloadLength == expected.payloadLength && same(driver.var, expected.var) &&
           driver.extra1 == 0 && driver.extra2 == 0 && driver.extra3 == 0;
}

// A list of the driver with one of the model, entry by entry without converting those
// that are alike.
template <typename QtEntry, typename Entry>
std::string compareQtList(const std::string &name, const QList<QtEntry> &driver,
                          const std::vector<Entry> &expected)
{
    std::size_t i = 0;
    for (const QtEntry &entry : driver) {
        if (i < expected.size() && !same(entry, expected[i]))
            return versus(name + " entry " + std::to_string(i), shown(fromQt(entry)), shown(expected[i]));
        ++i;
    }
    return compareValue(name + " length", int(i), int(expected.size()));
}

std::string compareSettings(const ComInfo &driver, const std::array<int, 19> &expected)
{
    std::array<int, 19> words{};
    static_assert(sizeof(ComInfo) == sizeof words);
    std::memcpy(words.data(), &driver, sizeof words);
    for (std::size_t i = 0; i < words.size(); ++i)
        if (words[i] != expected[i])
            return versus("settings word " + std::to_string(i), shown(words[i]), shown(expected[i]));
    return "";
}

std::string compareImage(int station, int key, const QByteArray &driver, const std::string &expected)
{
    if (same(driver, expected))
        return "";
    const std::size_t length = std::size_t(driver.size());
    std::size_t first = 0;
    while (first < length && first < expected.size() && driver.constData()[first] == expected[first])
        ++first;
    return "store, station " + std::to_string(station) + " key " + std::to_string(key) + ", first at byte " +
           std::to_string(first) + ", lengths " + std::to_string(length) + " and " +
           std::to_string(expected.size()) + "\n";
}

// An image without bytes and none at all are the same to every caller.
std::string compareStore(const std::map<int, std::map<int, std::string>> &expected)
{
    std::map<int, std::map<int, bool>> seen;
    const QMap<int, QMap<int, QByteArray>> &stations = DataStorage;
    for (auto images = stations.constBegin(); images != stations.constEnd(); ++images) {
        for (auto image = images->constBegin(); image != images->constEnd(); ++image) {
            const auto station = expected.find(images.key());
            const bool known = station != expected.end() && station->second.count(image.key()) != 0;
            const std::string other =
                compareImage(images.key(), image.key(), *image,
                             known ? station->second.find(image.key())->second : std::string());
            if (!other.empty())
                return other;
            seen[images.key()][image.key()] = true;
        }
    }
    for (const auto &[station, images] : expected)
        for (const auto &[key, bytes] : images)
            if (!bytes.empty() && !seen[station][key])
                return compareImage(station, key, QByteArray(), bytes);
    return "";
}

std::string compareMaps(const Driver &expected)
{
    std::map<int, bool> links;
    for (auto link = handshake.constBegin(); link != handshake.constEnd(); ++link)
        links[link.key()] = link.value();
    if (links != expected.linked)
        return "handshake differs\n";
    std::set<int> off;
    for (auto station = PLC_driver.stationMap.constBegin(); station != PLC_driver.stationMap.constEnd();
         ++station)
        off.insert(station.key());
    return off == expected.switchedOff ? "" : "stationMap differs\n";
}
} // namespace

std::string compareDriver(const Driver &expected, const ComInfo &settings)
{
    for (const std::string &found :
         {compareSettings(settings, expected.settings),
          compareQtList("frameQueue", PLC_driver.frameQueue, expected.queue),
          compareQtList("writeList", PLC_driver.writeList, expected.writeList),
          compareQtList("onceReadList", PLC_driver.onceReadList, expected.onceReadList),
          compareQtList("readList", PLC_driver.readList, expected.readList),
          compareValue("currentVar", fromQt(PLC_driver.currentVar), expected.currentVar),
          compareValue("opKind", PLC_driver.opKind, expected.opKind),
          compareValue("writeTurns", PLC_driver.writeTurns, expected.writeTurns),
          compareValue("onceReadTurns", PLC_driver.onceReadTurns, expected.onceReadTurns),
          compareValue("readsThisCycle", PLC_driver.readsThisCycle, expected.readsThisCycle),
          compareValue("lastFailed", int(PLC_driver.lastFailed), int(expected.lastFailed)),
          compareMaps(expected), compareStore(expected.store)})
        if (!found.empty())
            return found;
    return "";
}
} // namespace model
