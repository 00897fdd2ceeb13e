// SPDX-License-Identifier: MIT
#include "codes.h"

#include "text/json_text.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <iterator>

namespace kvgateway
{

namespace
{

using kvlink::Outcome;
using kvlink::Quality;
using kvlink::Reason;

template <typename Enum>
struct Code {
    Enum value;
    int code;
    const char *name;
};

// clang-format off
constexpr Code<Quality> qualities[] = {
    {Quality::Never,   0, "never"},
    {Quality::Good,    1, "good"},
    {Quality::Stale,   2, "stale"},
    {Quality::Bad,     3, "bad"},
    {Quality::Pending, 4, "pending"},
};
constexpr Code<Reason> reasons[] = {
    {Reason::None,              0, ""},
    {Reason::NoLink,            1, "no-link"},
    {Reason::NoAnswer,          2, "no-answer"},
    {Reason::Corrupted,         3, "corrupted"},
    {Reason::PlcError,          4, "plc-error"},
    {Reason::OutOfRange,        5, "out-of-range"},
    {Reason::NotRepresentable,  6, "not-representable"},
    {Reason::Offline,           7, "offline"},
    {Reason::Expired,           8, "expired"},
    {Reason::Cancelled,         9, "cancelled"},
    {Reason::Replaced,         10, "replaced"},
    {Reason::NotPermitted,     11, "not-permitted"},
    {Reason::InvalidValue,     12, "invalid-value"},
    {Reason::LinkLost,         13, "link-lost"},
    {Reason::PartlyDone,       14, "partly-done"},
    {Reason::Stopped,          15, "stopped"},
    {Reason::QueueFull,        16, "queue-full"},
};
constexpr Code<Outcome> outcomes[] = {
    {Outcome::Done,    0, "done"},
    {Outcome::Refused, 1, "refused"},
    {Outcome::NotSent, 2, "not sent"},
    {Outcome::Unknown, 3, "unknown"},
};
constexpr Code<EventKind> kinds[] = {
    {EventKind::Service, 0, "service"},
    {EventKind::Link,    1, "link"},
    {EventKind::Quality, 2, "quality"},
    {EventKind::Write,   3, "write"},
    {EventKind::Reload,  4, "reload"},
    {EventKind::Clock,   5, "clock"},
    {EventKind::History, 6, "history"},
    {EventKind::Access,  7, "access"},
    {EventKind::Outlet,  8, "outlet"},
};
// clang-format on
constexpr char asked[] = "asked";

template <typename Enum, std::size_t size>
const Code<Enum> *rowOf(const Code<Enum> (&rows)[size], Enum value)
{
    const auto *found = std::find_if(std::begin(rows), std::end(rows),
                                     [value](const Code<Enum> &row) { return row.value == value; });
    return found == std::end(rows) ? &rows[0] : found;
}

template <typename Enum, std::size_t size>
const Code<Enum> *rowOfCode(const Code<Enum> (&rows)[size], qint64 code)
{
    const auto *found = std::find_if(std::begin(rows), std::end(rows),
                                     [code](const Code<Enum> &row) { return row.code == code; });
    return found == std::end(rows) ? nullptr : found;
}

template <typename Enum, std::size_t size>
const Code<Enum> *rowOfName(const Code<Enum> (&rows)[size], const QString &name)
{
    const auto *found = std::find_if(std::begin(rows), std::end(rows),
                                     [&](const Code<Enum> &row) { return name == QLatin1String(row.name); });
    return found == std::end(rows) ? nullptr : found;
}

constexpr qint64 plainShape = 0;
constexpr qint64 bitShape = 1;
constexpr qint64 listShape = 2;

QString listText(const kvlink::Value &list)
{
    QByteArray text;
    appendJson(text, list);
    return QString::fromUtf8(text);
}

// A list has null where it has no value.
std::vector<kvlink::Scalar> listOf(const QString &text)
{
    std::vector<kvlink::Scalar> list;
    const QJsonArray array = QJsonDocument::fromJson(text.toUtf8()).array();
    for (const auto &json : array)
        list.push_back(scalarFromJson(json).value_or(kvlink::Scalar()));
    return list;
}

} // namespace

int qualityCode(Quality quality)
{
    return rowOf(qualities, quality)->code;
}

Quality qualityFromCode(qint64 code)
{
    const auto *row = rowOfCode(qualities, code);
    return row == nullptr ? Quality::Bad : row->value;
}

Quality qualityFromName(const QString &name)
{
    const auto *row = rowOfName(qualities, name);
    return row == nullptr ? Quality::Bad : row->value;
}

int reasonCode(Reason reason)
{
    return rowOf(reasons, reason)->code;
}

Reason reasonFromCode(qint64 code)
{
    const auto *row = rowOfCode(reasons, code);
    return row == nullptr ? Reason::None : row->value;
}

QString reasonName(Reason reason)
{
    return QString::fromLatin1(rowOf(reasons, reason)->name);
}

Reason reasonFromName(const QString &name)
{
    const auto *row = rowOfName(reasons, name);
    return row == nullptr ? Reason::None : row->value;
}

QString outcomeCode(const std::optional<Outcome> &outcome)
{
    return QString::fromLatin1(outcome ? rowOf(outcomes, *outcome)->name : asked);
}

std::optional<Outcome> outcomeFromCode(const QString &name)
{
    const auto *row = rowOfName(outcomes, name);
    return row == nullptr ? std::nullopt : std::optional(row->value);
}

QString eventKindName(EventKind kind)
{
    return QString::fromLatin1(rowOf(kinds, kind)->name);
}

std::optional<EventKind> eventKindFromName(const QString &name)
{
    const auto *row = rowOfName(kinds, name);
    return row == nullptr ? std::nullopt : std::optional(row->value);
}

bool writeCodes(Database &history)
{
    Statement quality(history, "INSERT OR REPLACE INTO qualities(code, name) VALUES(?, ?)");
    Statement reason(history, "INSERT OR REPLACE INTO reasons(code, name) VALUES(?, ?)");
    bool isDone = true;
    for (const auto &row : qualities)
        isDone = quality.bind(1, qint64(row.code)).bind(2, QString::fromLatin1(row.name)).finish() && isDone;
    for (const auto &row : reasons)
        isDone = reason.bind(1, qint64(row.code)).bind(2, QString::fromLatin1(row.name)).finish() && isDone;
    return isDone;
}

qint64 toMs(kvlink::WallTime time)
{
    return std::chrono::floor<std::chrono::milliseconds>(time.time_since_epoch()).count();
}

kvlink::WallTime fromMs(qint64 ms)
{
    return kvlink::WallTime(std::chrono::milliseconds(ms));
}

void bindValue(Statement &statement, int shapeParameter, const kvlink::Value &value)
{
    const int valueParameter = shapeParameter + 1;
    statement.bind(shapeParameter, plainShape);
    if (const auto *bit = std::get_if<bool>(&value))
        statement.bind(shapeParameter, bitShape).bind(valueParameter, qint64(*bit));
    else if (const auto *whole = std::get_if<qint64>(&value))
        statement.bind(valueParameter, *whole);
    else if (const auto *real = std::get_if<double>(&value))
        statement.bind(valueParameter, *real);
    else if (const auto *text = std::get_if<QString>(&value))
        statement.bind(valueParameter, *text);
    else if (std::holds_alternative<std::vector<kvlink::Scalar>>(value))
        statement.bind(shapeParameter, listShape).bind(valueParameter, listText(value));
    else
        statement.bindNull(valueParameter);
}

kvlink::Value valueOf(const Statement &statement, int shapeColumn)
{
    const int column = shapeColumn + 1;
    if (statement.isNull(column))
        return {};
    if (statement.integer(shapeColumn) == bitShape)
        return statement.integer(column) != 0;
    if (statement.integer(shapeColumn) == listShape)
        return listOf(statement.text(column));
    if (statement.isText(column))
        return statement.text(column);
    if (statement.isReal(column))
        return statement.real(column);
    return statement.integer(column);
}

Bucket bucketOf(const Statement &statement, int firstColumn)
{
    Bucket bucket;
    bucket.min = statement.real(firstColumn);
    bucket.max = statement.real(firstColumn + 1);
    bucket.mean = statement.real(firstColumn + 2);
    bucket.good = statement.integer(firstColumn + 3);
    bucket.count = statement.integer(firstColumn + 4);
    if (!statement.isNull(firstColumn + 5))
        bucket.last = statement.real(firstColumn + 5);
    return bucket;
}

std::optional<double> numberOf(const kvlink::Value &value)
{
    if (const auto *bit = std::get_if<bool>(&value))
        return *bit ? 1.0 : 0.0;
    if (const auto *whole = std::get_if<qint64>(&value))
        return double(*whole);
    if (const auto *real = std::get_if<double>(&value))
        return *real;
    return {};
}

} // namespace kvgateway
