// SPDX-License-Identifier: MIT
// History, events and audit: read from the databases by the worker.
#include "api.h"
#include "arguments.h"
#include "tag_choice.h"

#include "store/csv_export.h"
#include "text/json_text.h"
#include "text/time_text.h"

#include <QJsonArray>

namespace kvgateway
{

namespace
{

constexpr int usualPoints = 1000;
constexpr int mostRows = 10'000;
constexpr int usualRows = 100;

// A trend of a tag, point by point: [time, min, mean, max, seconds of good value], null in a gap.
QByteArray trendText(const QString &tag, const Trend &trend)
{
    QByteArray out = "{\"tag\":";
    appendJson(out, tag);
    out += ",\"width\":";
    appendJson(out, kvlink::Value(std::chrono::duration<double>(trend.width).count()));
    out += ",\"points\":[";
    for (std::size_t i = 0; i < trend.points.size(); ++i) {
        const TrendPoint &point = trend.points[i];
        out += (i > 0 ? ",[\"" : "[\"") + timeText(point.start).toLatin1() + "\"";
        for (const double number : {point.min, point.mean, point.max}) {
            out += ',';
            appendJson(out, point.isGap() ? kvlink::Value() : kvlink::Value(number));
        }
        out += ']';
    }
    return out + "]}";
}

QJsonObject eventJson(const EventRow &row)
{
    return {{QStringLiteral("seq"), row.seq},
            {QStringLiteral("time"), timeText(row.time)},
            {QStringLiteral("kind"), eventKindName(row.kind)},
            {QStringLiteral("plc"), row.plc},
            {QStringLiteral("tag"), row.tag},
            {QStringLiteral("text"), row.text},
            {QStringLiteral("cause"), row.cause}};
}

QJsonObject auditJson(const AuditRow &row)
{
    return {{QStringLiteral("seq"), row.seq},
            {QStringLiteral("time"), timeText(row.time)},
            {QStringLiteral("correlation"), row.correlation},
            {QStringLiteral("who"), row.who},
            {QStringLiteral("from"), row.from},
            {QStringLiteral("plc"), row.plc},
            {QStringLiteral("tag"), row.tag},
            {QStringLiteral("old"), jsonValue(row.oldValue)},
            {QStringLiteral("new"), jsonValue(row.newValue)},
            {QStringLiteral("outcome"),
             row.outcome ? QJsonValue(kvlink::outcomeName(*row.outcome)) : QJsonValue()},
            {QStringLiteral("reason"),
             row.reason == kvlink::Reason::None ? QString() : kvlink::reasonText(row.reason)},
            {QStringLiteral("text"), row.text}};
}

template <typename Row>
Response listResponse(const char *name, const std::vector<Row> &rows, QJsonObject (*json)(const Row &))
{
    QJsonArray list;
    for (const Row &row : rows)
        list.append(json(row));
    QJsonObject object{{QString::fromLatin1(name), list}};
    if (!rows.empty())
        object[QStringLiteral("before")] = rows.back().seq;
    return jsonResponse(object);
}

class CsvStream : public StreamSource
{
public:
    CsvStream(std::unique_ptr<HistoryReader> reader, const QStringList &tags, TimeRange range)
        : m_reader(std::move(reader)), m_export(*m_reader, tags, range)
    {
    }

    // A database that fails half way ends the stream; the client sees a file that stops.
    State read(QByteArray &out) override
    {
        QString problem;
        const auto piece = m_export.next(problem);
        if (!piece || piece->isEmpty())
            return State::End;
        out += *piece;
        return State::Data;
    }

private:
    std::unique_ptr<HistoryReader> m_reader;
    CsvExport m_export;
};

// ?kind=&plc=&tag=&limit=&before=
template <typename Query>
bool takePage(const Request &request, Query &query, Response &refusal)
{
    query.plc = request.query.value(QStringLiteral("plc"));
    query.tag = request.query.value(QStringLiteral("tag"));
    const auto limit = intArgument(request, "limit", usualRows, 1, mostRows, refusal);
    if (!limit)
        return false;
    query.limit = *limit;
    const QString before = request.query.value(QStringLiteral("before"));
    bool ok = true;
    if (!before.isEmpty())
        query.beforeSeq = before.toLongLong(&ok);
    if (!ok)
        refusal =
            problemResponse(400, QStringLiteral("before must be the number that the page before named"));
    return ok;
}

} // namespace

HistoryReader *Api::history(const CallPtr &call)
{
    QString problem;
    if (!m_history)
        m_history = HistoryReader::open(m_parts.folder, problem);
    if (!m_history)
        call->reply->send(problemResponse(503, problem));
    return m_history.get();
}

JournalReader *Api::journal(const CallPtr &call)
{
    QString problem;
    if (!m_journal)
        m_journal = JournalReader::open(m_parts.folder, problem);
    if (!m_journal)
        call->reply->send(problemResponse(503, problem));
    return m_journal.get();
}

void Api::getHistory(const CallPtr &call)
{
    Response refusal;
    const auto range = rangeArgument(call->request, m_parts.clock.wall(), refusal);
    const auto points =
        range ? intArgument(call->request, "points", usualPoints, 1, mostRows, refusal) : std::nullopt;
    if (!points)
        return call->reply->send(std::move(refusal));
    const TrendQuery query{call->request.query.value(QStringLiteral("tag")), *range, *points};
    onWorker(call, [this, call, query] {
        HistoryReader *reader = history(call);
        if (reader == nullptr)
            return;
        if (!reader->hasTag(query.tag))
            return call->reply->send(problemResponse(
                404, QStringLiteral("there is no history of \"%1\": its tag file must say history yes")
                         .arg(query.tag)));
        QString problem;
        const auto trend = reader->trend(query, problem);
        Response response = trend ? Response() : problemResponse(503, problem);
        if (trend)
            response.body = trendText(query.tag, *trend);
        call->reply->send(std::move(response));
    });
}

void Api::getHistoryCsv(const CallPtr &call)
{
    Response refusal;
    const auto range = rangeArgument(call->request, m_parts.clock.wall(), refusal);
    if (!range)
        return call->reply->send(std::move(refusal));
    const auto table = m_parts.plant.table();
    QStringList tags;
    for (const int tag : TagChoice::of(call->request).indexes(*table)) {
        if (table->tags()[std::size_t(tag)].config.history)
            tags << table->tags()[std::size_t(tag)].config.name;
    }
    if (tags.isEmpty())
        return call->reply->send(problemResponse(404, QStringLiteral("none of these tags has history")));
    onWorker(call, [this, call, tags, range = *range] {
        QString problem;
        auto reader = HistoryReader::open(m_parts.folder, problem);
        if (!reader)
            return call->reply->send(problemResponse(503, problem));
        Response response;
        response.contentType = "text/csv; charset=utf-8";
        response.headers.emplace_back("Content-Disposition", "attachment; filename=\"history.csv\"");
        response.stream = std::make_unique<CsvStream>(std::move(reader), tags, range);
        call->reply->send(std::move(response));
    });
}

void Api::getEvents(const CallPtr &call)
{
    EventQuery query;
    Response refusal;
    if (!takePage(call->request, query, refusal))
        return call->reply->send(std::move(refusal));
    const QString kind = call->request.query.value(QStringLiteral("kind"));
    query.kind = eventKindFromName(kind);
    if (!kind.isEmpty() && !query.kind)
        return call->reply->send(
            problemResponse(400, QStringLiteral("kind must be one of service, link, quality, "
                                                "write, reload, clock, history, access, outlet")));
    onWorker(call, [this, call, query] {
        JournalReader *reader = journal(call);
        QString problem;
        const auto rows = reader == nullptr ? std::nullopt : reader->events(query, problem);
        call->reply->send(rows ? listResponse("events", *rows, &eventJson) : problemResponse(503, problem));
    });
}

void Api::getAudit(const CallPtr &call)
{
    AuditQuery query;
    Response refusal;
    if (!takePage(call->request, query, refusal))
        return call->reply->send(std::move(refusal));
    query.who = call->request.query.value(QStringLiteral("who"));
    query.correlation = call->request.query.value(QStringLiteral("correlation"));
    onWorker(call, [this, call, query] {
        JournalReader *reader = journal(call);
        QString problem;
        const auto rows = reader == nullptr ? std::nullopt : reader->audit(query, problem);
        call->reply->send(rows ? listResponse("audit", *rows, &auditJson) : problemResponse(503, problem));
    });
}

} // namespace kvgateway
