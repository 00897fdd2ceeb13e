// SPDX-License-Identifier: MIT
#include "arguments.h"

#include "text/near_name.h"
#include "text/time_text.h"

#include <QJsonDocument>

namespace kvgateway
{

std::optional<int> intArgument(const Request &request, const char *name, int fallback, int least, int most,
                               Response &refusal)
{
    const QString key = QString::fromLatin1(name);
    if (!request.query.contains(key))
        return fallback;
    bool ok = false;
    const int number = request.query.value(key).toInt(&ok);
    if (ok && number >= least && number <= most)
        return number;
    refusal = problemResponse(
        400, QStringLiteral("%1 must be a whole number from %2 to %3").arg(key).arg(least).arg(most));
    return std::nullopt;
}

std::optional<TimeRange> rangeArgument(const Request &request, kvlink::WallTime now, Response &refusal)
{
    TimeRange range{now - std::chrono::hours(1), now};
    QString problem;
    const struct {
        const char *name;
        kvlink::WallTime &to;
    } ends[] = {{"from", range.from}, {"to", range.to}};
    for (const auto &end : ends) {
        const QString typed = request.query.value(QString::fromLatin1(end.name));
        if (typed.isEmpty())
            continue;
        const auto time = timeFromText(typed, problem);
        if (!time) {
            refusal =
                problemResponse(400, QStringLiteral("%1: %2").arg(QString::fromLatin1(end.name), problem));
            return std::nullopt;
        }
        end.to = *time;
    }
    if (range.from < range.to)
        return range;
    refusal = problemResponse(400, QStringLiteral("from must be before to"));
    return std::nullopt;
}

std::optional<QJsonObject> objectBody(const Request &request, const QStringList &members, Response &refusal)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(request.body, &error);
    if (!document.isObject()) {
        refusal = problemResponse(400, error.error == QJsonParseError::NoError
                                           ? QStringLiteral("the body must be a JSON object")
                                           : QStringLiteral("the body is not JSON: %1 at byte %2")
                                                 .arg(error.errorString())
                                                 .arg(error.offset));
        return std::nullopt;
    }
    const QJsonObject object = document.object();
    for (const QString &key : object.keys()) {
        if (members.contains(key))
            continue;
        refusal =
            problemResponse(400, QStringLiteral("unknown member \"%1\"%2; the members are %3")
                                     .arg(key, didYouMean(key, members), members.join(QLatin1String(", "))));
        return std::nullopt;
    }
    return object;
}

} // namespace kvgateway
