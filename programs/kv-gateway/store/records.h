// SPDX-License-Identifier: MIT
// What the store keeps, and what it gives back: plain records. Times are UTC; the store keeps whole
// milliseconds. Texts are UTF-8 in the database.
#pragma once

#include <kvlink/sample.h>
#include <kvlink/write.h>

#include <QString>
#include <QStringList>

#include <array>
#include <limits>
#include <optional>
#include <vector>

namespace kvgateway
{

/// A sample of a tag, to be kept in the history.
struct HistoryRow {
    QString tag; ///< the whole name: "line1.speed"; not empty
    /// A time at the epoch (never read) becomes the time at which the row was added. A sample that
    /// is not good ends the last value from its time on.
    kvlink::Sample sample;
};

/// A step of a write: asked for, or ended.
struct AuditRow {
    qint64 seq = 0;          ///< given by the store: 1, 2, ...; without gaps
    kvlink::WallTime time{}; ///< the epoch: the time at which the row was added
    QString correlation;     ///< the same in all rows of one write
    QString who;             ///< user or token: "anna"
    QString from;            ///< "192.168.0.7", "local"
    QString plc;
    QString tag;
    kvlink::Value oldValue; ///< std::monostate: not known
    kvlink::Value newValue;
    std::optional<kvlink::Outcome> outcome; ///< none: asked for, and not ended yet
    kvlink::Reason reason = kvlink::Reason::None;
    QString text; ///< a sentence for people: "confirmed by the PLC"
};

/// What an event is about.
enum class EventKind : quint8 { Service, Link, Quality, Write, Reload, Clock, History, Access, Outlet };

/// "service", "link", "quality", "write", "reload", "clock", "history", "access", "outlet".
QString eventKindName(EventKind kind);
std::optional<EventKind> eventKindFromName(const QString &name);

struct EventRow {
    qint64 seq = 0;          ///< given by the store, in the order in which the events were added
    kvlink::WallTime time{}; ///< the epoch: the time at which the event was added
    EventKind kind = EventKind::Service;
    QString plc;   ///< empty: of no single PLC
    QString tag;   ///< empty: of no single tag
    QString text;  ///< what happened: "link lost"
    QString cause; ///< why, or who: "no answer in 1 s"; may be empty
};

/// A value that comes back after a restart.
struct LastValue {
    QString tag; ///< the whole name
    /// As it was; kept is its value, time and quality. After a restart a good or pending one comes
    /// back as stale, with its old time.
    kvlink::Sample sample;
};

/// from <= time < to.
struct TimeRange {
    kvlink::WallTime from{};
    kvlink::WallTime to{};
};

/// The largest time the store knows; for ranges without an end.
constexpr kvlink::WallTime endOfTime{std::chrono::seconds(253402300800)}; // year 10000

/// Where a page of raw rows ended; the next one goes on after it.
struct RawPosition {
    qint64 timeMs = std::numeric_limits<qint64>::min();
    qint64 seq = 0;
};

struct RawQuery {
    QString tag;
    TimeRange range;
    RawPosition after; ///< the end of the page before; as it is: from the beginning
    int limit = 1000;  ///< 1 to 10,000
};

struct RawRow {
    qint64 seq = 0; ///< order in which rows were added, over all tags, whatever the clock did
    kvlink::Sample sample;
};

/// Rows by time, those of the same time by seq.
struct RawPage {
    std::vector<RawRow> rows;
    RawPosition end;   ///< for RawQuery::after
    bool more = false; ///< there is a next page
};

struct TrendQuery {
    QString tag;
    TimeRange range;
    int points = 1000; ///< at most so many come back; 1 to 10,000
};

/// One stretch of a trend. The value of a tag holds until its next row.
struct TrendPoint {
    kvlink::WallTime start{};
    kvlink::Duration good{}; ///< for how long there was a good value; 0: a gap, and no numbers
    double min = 0, max = 0; ///< of all values that held in this stretch
    double mean = 0;         ///< weighted by the time for which each value held
    qint64 count = 0;        ///< good rows in it
    bool isGap() const { return count == 0 && good.count() == 0; }
};

/// What a trend was computed from.
enum class TrendSource : quint8 { Rows, Minutes, Hours };

struct Trend {
    kvlink::Duration width{}; ///< of each point
    TrendSource source = TrendSource::Rows;
    std::vector<TrendPoint> points; ///< without holes, from range.from (or a little earlier) on
};

/// A tag that has history.
struct HistoryTag {
    QString name;
    std::optional<kvlink::WallTime> first, last; ///< of its rows; none: only rolled-up rows are left
};

/// Empty texts and missing kinds mean all.
struct EventQuery {
    std::optional<EventKind> kind;
    QString plc;
    QString tag;
    TimeRange range{kvlink::WallTime{}, endOfTime};
    qint64 beforeSeq =
        std::numeric_limits<qint64>::max(); ///< for the next page: the smallest seq of the last one
    int limit = 100;                        ///< 1 to 10,000
};

struct AuditQuery {
    QString who;
    QString plc;
    QString tag;
    QString correlation;
    TimeRange range{kvlink::WallTime{}, endOfTime};
    qint64 beforeSeq = std::numeric_limits<qint64>::max();
    int limit = 100; ///< 1 to 10,000
};

} // namespace kvgateway
