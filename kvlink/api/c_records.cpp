// SPDX-License-Identifier: MIT
#include "api/c_records.h"

#include "model/value_codec.h"

#include <cmath>

namespace kvlink
{
namespace
{
constexpr double mostSeconds = 1e9; // some thirty years: no sum of it overflows

double secondsOfDay(WallTime time)
{
    return seconds(time.time_since_epoch());
}

// One scalar; a text goes to \a text.
kvlink_scalar scalarOf(const Scalar &given, QString &text)
{
    kvlink_scalar scalar{KVLINK_NOTHING, 0, 0, std::nan(""), ""};
    if (const bool *on = std::get_if<bool>(&given))
        scalar = {KVLINK_BOOL, 0, *on ? 1 : 0, *on ? 1.0 : 0.0, ""};
    else if (const qint64 *whole = std::get_if<qint64>(&given))
        scalar = {KVLINK_INT, 0, *whole, double(*whole), ""};
    else if (const double *real = std::get_if<double>(&given))
        scalar = {KVLINK_REAL, 0, 0, *real, ""};
    else if (const QString *shown = std::get_if<QString>(&given)) {
        scalar.type = KVLINK_TEXT;
        text = *shown;
    }
    return scalar;
}
} // namespace

void Handed::clear()
{
    m_texts.clear();
    m_scalars.clear();
}

const char *Handed::text(const QString &text)
{
    if (text.isEmpty())
        return "";
    m_texts.push_back(text.toUtf8());
    return m_texts.back().constData();
}

const kvlink_scalar *Handed::scalars(const Value &value, int32_t &count)
{
    for (const Scalar &given : scalarsOf(value)) {
        QString shown;
        kvlink_scalar scalar = scalarOf(given, shown);
        scalar.text = text(shown);
        m_scalars.push_back(scalar);
    }
    count = int32_t(m_scalars.size());
    return m_scalars.empty() ? nullptr : m_scalars.data();
}

kvlink_sample recordOf(const Sample &sample, Handed &handed)
{
    kvlink_sample record{};
    record.quality = int32_t(sample.quality);
    record.reason = int32_t(sample.reason);
    record.plc_error = sample.plcError;
    record.values = handed.scalars(sample.value, record.count);
    record.time = secondsOfDay(sample.time);
    record.steady = seconds(sample.steadyTime.time_since_epoch());
    record.text = handed.text(sample.toText());
    record.problem = handed.text(sample.reasonText());
    return record;
}

kvlink_write_result recordOf(const WriteResult &result, Handed &handed)
{
    kvlink_write_result record{};
    record.id = int64_t(result.id);
    record.tag = result.tag.id();
    record.outcome = int32_t(result.outcome);
    record.reason = int32_t(result.reason);
    record.plc_error = result.plcError;
    record.attempts = result.attempts;
    record.time = secondsOfDay(result.time);
    record.text = handed.text(result.text);
    return record;
}

kvlink_link_status recordOf(const LinkStatus &status, Handed &handed)
{
    return {int32_t(status.state), 0, secondsOfDay(status.since), seconds(status.nextTry),
            handed.text(status.problem)};
}

kvlink_statistics recordOf(const LinkStatistics &from)
{
    kvlink_statistics to KVLINK_STATISTICS_INIT;
    to.requests = from.requests;
    to.answers = from.answers;
    to.no_answers = from.noAnswers;
    to.corrupted = from.corrupted;
    to.plc_errors = from.plcErrors;
    to.repeats = from.repeats;
    to.stray_bytes = from.strayBytes;
    to.link_losses = from.linkLosses;
    to.connects = from.connects;
    to.missed_passes = from.missedPasses;
    to.bytes_sent = from.bytesSent;
    to.bytes_received = from.bytesReceived;
    to.writes_done = from.writesDone;
    to.writes_refused = from.writesRefused;
    to.writes_not_sent = from.writesNotSent;
    to.writes_unknown = from.writesUnknown;
    to.answer_min = seconds(from.answerMin);
    to.answer_median = seconds(from.answerMedian);
    to.answer_90 = seconds(from.answer90);
    to.answer_99 = seconds(from.answer99);
    to.answer_max = seconds(from.answerMax);
    return to;
}

double seconds(Duration time)
{
    return double(time.count()) / 1e6;
}

std::optional<Duration> duration(double seconds)
{
    if (!(seconds >= 0.0)) // NaN too
        return std::nullopt;
    return Duration(std::llround(std::min(seconds, mostSeconds) * 1e6));
}

} // namespace kvlink
