// SPDX-License-Identifier: MIT
// PLCs, configuration, metrics and health.
#include "api.h"

#include "text/time_text.h"

#include <QJsonArray>
#include <QUrl>

namespace kvgateway
{

namespace
{

double milliseconds(kvlink::Duration duration)
{
    return std::chrono::duration<double, std::milli>(duration).count();
}

QJsonArray periodsJson(const kvlink::LinkStatistics &statistics)
{
    QJsonArray periods;
    for (const kvlink::LinkStatistics::Period &period : statistics.periods)
        periods.append(QJsonObject{{QStringLiteral("askedMs"), milliseconds(period.asked)},
                                   {QStringLiteral("reachedMs"), milliseconds(period.reached)},
                                   {QStringLiteral("missed"), qint64(period.missed)},
                                   {QStringLiteral("tags"), period.tags},
                                   {QStringLiteral("requests"), period.requests}});
    return periods;
}

QJsonObject failuresJson(const kvlink::LinkStatistics &statistics)
{
    return {{QStringLiteral("noAnswer"), qint64(statistics.noAnswers)},
            {QStringLiteral("corrupted"), qint64(statistics.corrupted)},
            {QStringLiteral("plcError"), qint64(statistics.plcErrors)},
            {QStringLiteral("strayBytes"), qint64(statistics.strayBytes)}};
}

QJsonObject identityJson(const PlcIdentity &identity)
{
    return {{QStringLiteral("model"), identity.model},
            {QStringLiteral("mode"), identity.mode},
            {QStringLiteral("error"), identity.error}};
}

QJsonObject plcJson(const QString &name, const kvlink::LinkStatus &link,
                    const kvlink::LinkStatistics &statistics, const QualityCounts &qualities)
{
    QJsonObject tags;
    for (int quality = 0; quality < qualityCount; ++quality)
        tags[kvlink::qualityName(kvlink::Quality(quality))] = qualities[std::size_t(quality)];
    return {{QStringLiteral("plc"), name},
            {QStringLiteral("state"), kvlink::linkStateName(link.state)},
            {QStringLiteral("since"), timeText(link.since)},
            {QStringLiteral("problem"), link.problem},
            {QStringLiteral("tags"), tags},
            {QStringLiteral("requests"), qint64(statistics.requests)},
            {QStringLiteral("failures"),
             qint64(statistics.noAnswers + statistics.corrupted + statistics.plcErrors)},
            {QStringLiteral("failuresByKind"), failuresJson(statistics)},
            {QStringLiteral("periods"), periodsJson(statistics)},
            {QStringLiteral("losses"), qint64(statistics.linkLosses)},
            {QStringLiteral("missedPasses"), qint64(statistics.missedPasses)},
            {QStringLiteral("answerMedianMs"), milliseconds(statistics.answerMedian)},
            {QStringLiteral("answer90Ms"), milliseconds(statistics.answer90)},
            {QStringLiteral("answer99Ms"), milliseconds(statistics.answer99)},
            {QStringLiteral("answerMaxMs"), milliseconds(statistics.answerMax)}};
}

QJsonObject configJson(const Config &config, const LiveTable &table)
{
    QHash<QString, qint64> tagCounts;
    for (const TableTag &tag : table.tags())
        ++tagCounts[table.plcs()[std::size_t(tag.plc)]];
    QJsonArray plcs;
    for (const PlcConfig &plc : config.plcs)
        plcs.append(QJsonObject{{QStringLiteral("name"), plc.name},
                                {QStringLiteral("url"), plc.link.url},
                                {QStringLiteral("tags"), tagCounts.value(plc.name)}});
    return {{QStringLiteral("plcs"), plcs},
            {QStringLiteral("shard"), config.shard},
            {QStringLiteral("listen"), QJsonObject{{QStringLiteral("address"), config.listen.address},
                                                   {QStringLiteral("port"), config.listen.port},
                                                   {QStringLiteral("tls"), config.listen.hasTls()}}},
            {QStringLiteral("history"), config.history.isKept}};
}

} // namespace

void Api::getPlcs(const CallPtr &call)
{
    onPlant([this, call] {
        const auto table = m_parts.plant.table();
        QJsonArray plcs;
        for (int i = 0; i < int(table->plcs().size()); ++i) {
            const kvlink::Plc *plc = m_parts.plant.plc(i);
            if (plc == nullptr)
                continue;
            QJsonObject json = plcJson(table->plcs()[std::size_t(i)], table->link(i), plc->statistics(),
                                       table->qualities(i));
            json[QStringLiteral("self")] = identityJson(m_parts.plant.identity(i, m_parts.clock.steady()));
            plcs.append(json);
        }
        call->reply->send(jsonResponse({{QStringLiteral("plcs"), plcs}}));
    });
}

void Api::getConfig(const CallPtr &call)
{
    onPlant([this, call] {
        call->reply->send(jsonResponse(configJson(m_parts.config(), *m_parts.plant.table())));
    });
}

void Api::postReload(const CallPtr &call)
{
    onPlant([this, call] {
        const QStringList problems = m_parts.reload(call->caller.name);
        if (problems.isEmpty())
            return call->reply->send(jsonResponse({{QStringLiteral("reloaded"), true}}));
        call->reply->send(
            problemResponse(422, QStringLiteral("the configuration has mistakes; the old one goes on"),
                            {{QStringLiteral("problems"), QJsonArray::fromStringList(problems)}}));
    });
}

void Api::getMetrics(const CallPtr &call)
{
    onPlant([this, call] {
        Response response;
        response.contentType = "text/plain; version=0.0.4; charset=utf-8";
        response.body = metricsText(m_parts.plant, m_parts.store.status(), m_parts.counts());
        call->reply->send(std::move(response));
    });
}

// Answered by the thread of the plant: one that hangs is not healthy.
void Api::getHealth(const CallPtr &call)
{
    onPlant([call] { call->reply->send(jsonResponse({{QStringLiteral("status"), QStringLiteral("ok")}})); });
}

void Api::getReady(const CallPtr &call)
{
    const StoreStatus status = m_parts.store.status();
    QString problem = status.historyProblem.isEmpty() ? status.journalProblem : status.historyProblem;
    if (problem.isEmpty())
        problem = m_parts.duty().text();
    if (!problem.isEmpty())
        return call->reply->send(problemResponse(503, problem));
    call->reply->send(jsonResponse({{QStringLiteral("status"), QStringLiteral("ready")}}));
}

void Api::getDescription(const CallPtr &call)
{
    Response response;
    response.body = apiDescription();
    call->reply->send(std::move(response));
}

} // namespace kvgateway
