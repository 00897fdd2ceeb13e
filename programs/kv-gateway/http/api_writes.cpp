// SPDX-License-Identifier: MIT
// Writes and push buttons. A write that is not done is never answered with success: a client that
// looks at the status alone does not take it for carried out.
#include "api.h"
#include "arguments.h"
#include "tag_choice.h"

#include "text/json_text.h"
#include "text/time_text.h"

#include <QRegularExpression>
#include <QUuid>

namespace kvgateway
{

namespace
{

constexpr double longestExpiry = 3600;
constexpr int longestCorrelation = 100;

struct OutcomeRow {
    kvlink::Outcome outcome;
    int status;
};

// clang-format off
constexpr OutcomeRow outcomeRows[] = {
    {kvlink::Outcome::Done,    200},
    {kvlink::Outcome::Refused, 502}, // the PLC answered an error
    {kvlink::Outcome::NotSent, 409}, // nothing left this host: it may be sent again
    {kvlink::Outcome::Unknown, 504}, // it may have been carried out
};
// clang-format on

int statusOf(kvlink::Outcome outcome)
{
    for (const OutcomeRow &row : outcomeRows) {
        if (row.outcome == outcome)
            return row.status;
    }
    return 500;
}

QJsonObject membersOf(const WriteReport &report)
{
    QJsonObject object{{QStringLiteral("tag"), report.order.tag},
                       {QStringLiteral("outcome"), kvlink::outcomeName(report.outcome)},
                       {QStringLiteral("correlation"), report.order.correlation}};
    if (report.reason != kvlink::Reason::None)
        object[QStringLiteral("reason")] = kvlink::reasonText(report.reason);
    if (report.time != kvlink::WallTime{})
        object[QStringLiteral("time")] = timeText(report.time);
    return object;
}

Response responseTo(const WriteReport &report)
{
    QJsonObject object = membersOf(report);
    if (report.outcome != kvlink::Outcome::Done)
        return problemResponse(statusOf(report.outcome), report.text, object);
    object[QStringLiteral("text")] = report.text;
    return jsonResponse(object);
}

bool takeCorrelation(const QJsonObject &body, WriteOrder &order, Response &refusal)
{
    static const QRegularExpression shape(QStringLiteral("^[A-Za-z0-9._:-]{1,%1}$").arg(longestCorrelation));
    if (!body.contains(QStringLiteral("correlation"))) {
        order.correlation = QUuid::createUuid().toString(QUuid::WithoutBraces);
        return true;
    }
    order.correlation = body.value(QStringLiteral("correlation")).toString();
    if (shape.match(order.correlation).hasMatch())
        return true;
    refusal = problemResponse(
        400,
        QStringLiteral("correlation must have 1 to %1 letters, digits and . _ : -").arg(longestCorrelation));
    return false;
}

bool takeExpiry(const QJsonObject &body, WriteOrder &order, Response &refusal)
{
    if (!body.contains(QStringLiteral("expires")))
        return true;
    const double seconds = body.value(QStringLiteral("expires")).toDouble(-1);
    if (seconds > 0 && seconds <= longestExpiry) {
        order.expires = std::chrono::duration_cast<kvlink::Duration>(std::chrono::duration<double>(seconds));
        return order.expires > kvlink::Duration(0);
    }
    refusal = problemResponse(
        400, QStringLiteral("expires must be seconds, above 0 and up to %1").arg(longestExpiry));
    return false;
}

// What both a write and a press bring.
std::optional<WriteOrder> orderOf(const Request &request, const Caller &caller, const LiveTable &table,
                                  const QJsonObject &body, Response &refusal)
{
    WriteOrder order;
    order.tag = body.value(QStringLiteral("tag")).toString();
    order.who = caller.name;
    order.from = request.peer;
    if (table.find(order.tag) < 0) {
        refusal = problemResponse(
            404, QStringLiteral("there is no tag \"%1\"%2").arg(order.tag, nearTag(table, order.tag)));
        return std::nullopt;
    }
    if (!takeCorrelation(body, order, refusal) || !takeExpiry(body, order, refusal))
        return std::nullopt;
    return order;
}

// With its outcome where that is known: a press that the PLC refused was never down, and one whose
// release nobody confirmed may be down still.
Response buttonGone(const std::optional<WriteReport> &end)
{
    if (!end)
        return problemResponse(
            410, QStringLiteral("there is no such button: it was released long ago, or belongs to "
                                "somebody else; press again"));
    if (end->outcome == kvlink::Outcome::Done)
        return problemResponse(
            410,
            QStringLiteral("this button is released: it was let go, or not renewed for 0.5 s; press again"),
            membersOf(*end));
    return problemResponse(410, end->text, membersOf(*end));
}

} // namespace

bool Api::mayWrite(const CallPtr &call) const
{
    const DutyStatus duty = m_parts.duty();
    if (!duty.isOnDuty())
        call->reply->send(problemResponse(503, duty.text() + "; nothing was sent"));
    return duty.isOnDuty();
}

void Api::postWrite(const CallPtr &call)
{
    if (!mayWrite(call))
        return;
    Response refusal;
    const auto body = objectBody(call->request, {"tag", "value", "expires", "correlation"}, refusal);
    auto order =
        body ? orderOf(call->request, call->caller, *m_parts.plant.table(), *body, refusal) : std::nullopt;
    if (!order)
        return call->reply->send(std::move(refusal));
    QString problem;
    const auto value = valueFromJson(body->value(QStringLiteral("value")), problem);
    if (!value)
        return call->reply->send(problemResponse(400, problem));
    order->value = *value;
    onPlant([this, call, order = *order] {
        m_parts.plant.write(order,
                            [call](const WriteReport &report) { call->reply->send(responseTo(report)); });
    });
}

void Api::postButton(const CallPtr &call)
{
    if (!mayWrite(call))
        return;
    Response refusal;
    const auto body = objectBody(call->request, {"tag", "correlation"}, refusal);
    const auto order =
        body ? orderOf(call->request, call->caller, *m_parts.plant.table(), *body, refusal) : std::nullopt;
    if (!order)
        return call->reply->send(std::move(refusal));
    onPlant([this, call, order = *order] {
        const ButtonId button = m_parts.plant.press(
            order, [call](const WriteReport &report) { call->reply->send(responseTo(report)); });
        if (button == 0)
            return;
        constexpr double lease = 0.5;
        call->reply->send(jsonResponse({{QStringLiteral("button"), qint64(button)},
                                        {QStringLiteral("tag"), order.tag},
                                        {QStringLiteral("correlation"), order.correlation},
                                        {QStringLiteral("lease"), lease}},
                                       201));
    });
}

void Api::renewButton(const CallPtr &call)
{
    onPlant([this, call] {
        const ButtonId button = call->rest.toULongLong();
        const bool isDown = m_parts.plant.renew(button, call->caller.name);
        call->reply->send(isDown ? emptyResponse()
                                 : buttonGone(m_parts.plant.endOf(button, call->caller.name)));
    });
}

void Api::releaseButton(const CallPtr &call)
{
    onPlant([this, call] {
        const ButtonId button = call->rest.toULongLong();
        const bool isDown = m_parts.plant.release(button, call->caller.name);
        call->reply->send(isDown ? emptyResponse()
                                 : buttonGone(m_parts.plant.endOf(button, call->caller.name)));
    });
}

} // namespace kvgateway
