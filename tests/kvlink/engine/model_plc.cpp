// SPDX-License-Identifier: MIT
#include "engine/model_plc.h"

#include <algorithm>
#include <optional>

namespace kvlink
{

namespace
{

struct Parsed {
    std::string device;
    int number = 0; // of the unit
    int bit = 0;    // of relays
    bool isDouble = false;
};

const std::set<std::string> channelDevices{"R", "MR", "LR", "CR"};
const std::set<std::string> hexBitDevices{"B", "VB"};
const std::set<std::string> hexWordDevices{"W"};
const std::set<std::string> timerDevices{"T", "C", "CTH", "CTC"};
const std::set<std::string> allDevices{"R",  "MR", "LR", "CR", "B",  "VB", "W",  "T",  "C",  "CTH", "CTC",
                                       "DM", "EM", "FM", "ZF", "TM", "Z",  "AT", "CM", "VM", "TS",  "CS"};

// "DM100.U", "R1000.U", "B1af", "TS5.D"
std::optional<Parsed> parse(const QByteArray &place)
{
    const QList<QByteArray> parts = place.split('.');
    Parsed parsed;
    parsed.isDouble = parts.size() > 1 && parts[1] == "D";
    std::size_t letters = 3;
    const std::string text = parts[0].toStdString();
    while (letters > 0 && allDevices.count(text.substr(0, letters)) == 0)
        --letters;
    if (letters == 0)
        return std::nullopt;
    parsed.device = text.substr(0, letters);
    const QByteArray digits = parts[0].mid(int(letters));
    const bool isHex = hexBitDevices.count(parsed.device) + hexWordDevices.count(parsed.device) > 0;
    bool good = false;
    const int number = digits.toInt(&good, isHex ? 16 : 10);
    if (!good)
        return std::nullopt;
    parsed.number = number;
    if (channelDevices.count(parsed.device) > 0) {
        parsed.number = number / 100;
        parsed.bit = number % 100;
    } else if (hexBitDevices.count(parsed.device) > 0) {
        parsed.number = number / 16;
        parsed.bit = number % 16;
    }
    return parsed;
}

QByteArray digits(quint32 value, int width)
{
    return QByteArray::number(value).rightJustified(width, '0');
}

} // namespace

QByteArray ModelPlc::execute(const QByteArray &command, SteadyTime now)
{
    const QByteArray answer = answerTo(command, now) + "\r\n";
    m_diary.push_back({now, command, answer});
    return answer;
}

QByteArray ModelPlc::answerTo(const QByteArray &command, SteadyTime now)
{
    if (command == "CR") {
        isOpen = knowsGreeting;
        return knowsGreeting ? "CC" : "E1";
    }
    if (wantsGreeting && !isOpen)
        return "E1";
    if (command == "?K")
        return "57";
    if (command == "?M")
        return "1";
    if (command == "?E")
        return "000";
    QList<QByteArray> words = command.split(' ');
    if (words.size() >= 3 && words[0] == "RDS")
        return read(words[1], words[2].toInt());
    if (refusesWrites)
        return "E4";
    QByteArray answer = "E1";
    if (words.size() >= 4 && words[0] == "WRS" && words[2].toInt() == words.size() - 3)
        answer = write(words[1], words.mid(3), now);
    else if (words.size() == 2 && (words[0] == "ST" || words[0] == "RS"))
        answer = setBit(words[1], words[0] == "ST", now);
    if (answer == "OK" && program)
        program(now);
    return answer;
}

bool ModelPlc::has(const std::string &device, int first, int count) const
{
    const auto last = lastUnit.find(device);
    if (last != lastUnit.end() && first + count - 1 > last->second)
        return false;
    const auto gap = missing.lower_bound({device, first});
    return gap == missing.end() || gap->first != device || gap->second >= first + count;
}

QByteArray ModelPlc::read(const QByteArray &place, int count) const
{
    const std::optional<Parsed> at = parse(place);
    const bool isTimer = at && timerDevices.count(at->device) > 0;
    if (!at || count < 1 || count > (isTimer ? 120 : 1000))
        return "E1";
    if (!has(at->device, at->number, count))
        return "E0";
    QByteArray answer;
    for (int i = at->number; i < at->number + count; ++i) {
        answer += answer.isEmpty() ? "" : " ";
        if (isTimer)
            answer += digits(value(at->device, i), 1) + ',' + digits(value(at->device + "C", i), 10) + ',' +
                      digits(value(at->device + "S", i), 10);
        else
            answer += digits(value(at->device, i), at->isDouble ? 10 : 5);
    }
    return answer;
}

QByteArray ModelPlc::write(const QByteArray &place, const QList<QByteArray> &values, SteadyTime now)
{
    const std::optional<Parsed> at = parse(place);
    if (!at)
        return "E1";
    if (!has(at->device, at->number, int(values.size())))
        return "E0";
    for (const QByteArray &value : values) {
        bool good = false;
        value.toUInt(&good);
        if (!good)
            return "E1";
    }
    const bool isTimer = at->device == "T" || at->device == "C";
    for (int i = 0; i < int(values.size()); ++i)
        set(isTimer ? at->device + "C" : at->device, at->number + i, values[i].toUInt(), now);
    return "OK";
}

QByteArray ModelPlc::setBit(const QByteArray &place, bool on, SteadyTime now)
{
    const std::optional<Parsed> at = parse(place);
    if (!at || at->bit > 15 || !has(at->device, at->number, 1))
        return "E0";
    const quint32 mask = 1U << at->bit;
    const quint32 before = value(at->device, at->number);
    set(at->device, at->number, on ? before | mask : before & ~mask, now);
    return "OK";
}

quint32 ModelPlc::value(const std::string &device, int unit) const
{
    const History &all = history(device, unit);
    return all.empty() ? 0 : all.back().value;
}

void ModelPlc::set(const std::string &device, int unit, quint32 value, SteadyTime now)
{
    m_units[{device, unit}].push_back({now, value});
}

const ModelPlc::History &ModelPlc::history(const std::string &device, int unit) const
{
    static const History none;
    const auto found = m_units.find({device, unit});
    return found == m_units.end() ? none : found->second;
}

quint32 ModelPlc::valueAt(const std::string &device, int unit, SteadyTime at) const
{
    const History &all = history(device, unit);
    const auto later = std::upper_bound(
        all.begin(), all.end(), at, [](SteadyTime when, const Change &change) { return when < change.at; });
    return later == all.begin() ? 0 : (later - 1)->value;
}

std::vector<SteadyTime> ModelPlc::moments(const std::string &device, int first, int count, SteadyTime from,
                                          SteadyTime to) const
{
    std::vector<SteadyTime> found{from};
    for (int unit = first; unit < first + count; ++unit) {
        const History &all = history(device, unit);
        auto change = std::upper_bound(all.begin(), all.end(), from,
                                       [](SteadyTime when, const Change &one) { return when < one.at; });
        for (; change != all.end() && change->at <= to; ++change)
            found.push_back(change->at);
    }
    return found;
}

int ModelPlc::count(const QByteArray &beginning) const
{
    return int(std::count_if(m_diary.begin(), m_diary.end(),
                             [&](const Entry &entry) { return entry.command.startsWith(beginning); }));
}

} // namespace kvlink
