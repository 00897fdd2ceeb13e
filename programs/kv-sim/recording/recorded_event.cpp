// SPDX-License-Identifier: MIT
// Lines of a recording, in both directions.
#include "recording/recorded_event.h"

#include "text/words.h"

#include <QByteArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <array>
#include <cmath>

namespace kvsim
{
namespace
{

constexpr int formatNumber = 1;
constexpr double largestMs = 1e12; // about 30 years
constexpr double largestNumber = 4294967295;

struct EventName {
    const char *name;
    EventKind kind;
    bool bytes; // it has some
};

// clang-format off
constexpr std::array<EventName, 7> names{{
    { "start",      EventKind::Start,     false },
    { "opened",     EventKind::Opened,    false },
    { "in",         EventKind::In,        true  },
    { "out",        EventKind::Out,       true  },
    { "closed",     EventKind::Closed,    false },
    { "plc-closed", EventKind::PlcClosed, false },
    { "plc-reset",  EventKind::PlcReset,  false },
}};
// clang-format on

bool isPlain(const std::string &bytes)
{
    return std::all_of(bytes.begin(), bytes.end(),
                       [](char c) { return (c >= ' ' && c <= '~') || c == '\r' || c == '\n'; });
}

void putBytes(const std::string &bytes, QJsonObject &object)
{
    if (isPlain(bytes))
        object.insert("text", QString::fromLatin1(bytes.data(), int(bytes.size())));
    else
        object.insert("hex",
                      QString::fromLatin1(QByteArray(bytes.data(), int(bytes.size())).toHex().toUpper()));
}

std::optional<std::string> bytesFrom(const QJsonObject &object)
{
    if (object.value("text").isString()) {
        const std::string text = object.value("text").toString().toLatin1().toStdString();
        return isPlain(text) && object.value("text").toString() == QString::fromLatin1(text.c_str())
                   ? std::optional(text)
                   : std::nullopt;
    }
    const QByteArray hex = object.value("hex").toString().toLatin1();
    const QByteArray bytes = QByteArray::fromHex(hex);
    return !bytes.isEmpty() && bytes.toHex() == hex.toLower() ? std::optional(bytes.toStdString())
                                                              : std::nullopt;
}

std::optional<std::uint64_t> wholeNumber(const QJsonObject &object, const char *key, double largest)
{
    const double number = object.value(QLatin1String(key)).toDouble(-1);
    if (number < 0 || number > largest || number != std::floor(number))
        return std::nullopt;
    return std::uint64_t(number);
}

std::string readStart(const QJsonObject &object, RecordedEvent &event)
{
    if (object.value("format").toInt() != formatNumber)
        return "its format is not " + std::to_string(formatNumber);
    event.bytes = object.value("model").toString().toStdString();
    return {};
}

std::string readConnection(const QJsonObject &object, bool wantsBytes, RecordedEvent &event)
{
    const auto plc = wholeNumber(object, "plc", largestNumber);
    const auto connection = wholeNumber(object, "connection", largestNumber);
    if (!plc || !connection)
        return R"("plc" and "connection" must be whole numbers)";
    event.plc = std::uint32_t(*plc);
    event.connection = std::uint32_t(*connection);
    if (!wantsBytes)
        return {};
    const auto bytes = bytesFrom(object);
    event.bytes = bytes.value_or("");
    return bytes ? "" : R"(there is neither "text" of visible characters, CR and LF nor "hex")";
}

std::string readLine(std::string_view line, RecordedEvent &event)
{
    const QJsonDocument document = QJsonDocument::fromJson(QByteArray(line.data(), int(line.size())));
    if (!document.isObject())
        return "it is not a JSON object";
    const QJsonObject object = document.object();
    const auto ms = wholeNumber(object, "ms", largestMs);
    if (!ms)
        return "\"ms\" must be a whole number";
    event.ms = *ms;
    const std::string name = object.value("event").toString().toStdString();
    for (const EventName &row : names) {
        if (name != row.name)
            continue;
        event.kind = row.kind;
        return row.kind == EventKind::Start ? readStart(object, event)
                                            : readConnection(object, row.bytes, event);
    }
    return "no event is called " + inQuotes(name);
}

} // namespace

std::string eventToLine(const RecordedEvent &event, const std::string &time)
{
    const EventName &row = names[std::size_t(event.kind)];
    QJsonObject object{{"ms", qint64(event.ms)}, {"event", row.name}};
    if (event.kind == EventKind::Start) {
        object.insert("format", formatNumber);
        object.insert("time", QString::fromStdString(time));
        object.insert("model", QString::fromStdString(event.bytes));
    } else {
        object.insert("plc", qint64(event.plc));
        object.insert("connection", qint64(event.connection));
    }
    if (row.bytes)
        putBytes(event.bytes, object);
    return QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString();
}

std::optional<std::vector<RecordedEvent>> recordingFromText(std::string_view text, std::string &problem)
{
    std::vector<RecordedEvent> events;
    std::size_t number = 0;
    problem.clear();
    while (!text.empty()) {
        ++number;
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = trimmed(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
        if (line.empty())
            continue;
        problem = readLine(line, events.emplace_back());
        const bool first = events.size() == 1;
        if (problem.empty() && first != (events.back().kind == EventKind::Start))
            problem = first ? "a recording begins with \"start\"" : "only the first event can be \"start\"";
        if (!problem.empty()) {
            problem.insert(0, "line " + std::to_string(number) + ": ");
            return std::nullopt;
        }
    }
    if (events.empty())
        problem = "there is no event in it";
    return events.empty() ? std::nullopt : std::optional(std::move(events));
}

} // namespace kvsim
