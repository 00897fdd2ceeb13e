// SPDX-License-Identifier: MIT
// info: what a PLC says of itself.
#include "commands.h"

#include "app/exit_code.h"
#include "app/summary.h"
#include "output/table.h"

#include <algorithm>
#include <map>

namespace kvhost
{

namespace
{

struct Model {
    int code;
    const char *name;
};

constexpr Model models[] = {{51, "KV-3000"}, {52, "KV-5000"}, {53, "KV-5500"},  {54, "KV-7300"},
                            {55, "KV-7500"}, {57, "KV-8000"}, {58, "KV-8000A"}, {128, "KV-NC32T"},
                            {132, "KV-N60"}, {133, "KV-N40"}, {134, "KV-N24"}};

const char *const questions[] = {"?K", "?M", "?E"};

QString modelOf(const QString &answer)
{
    bool ok = false;
    const int code = answer.toInt(&ok);
    const auto *const model = std::find_if(std::begin(models), std::end(models),
                                           [code](const Model &one) { return one.code == code; });
    if (!ok || model == std::end(models))
        return QStringLiteral("unknown (code %1)").arg(answer);
    return QString::fromLatin1(model->name);
}

QString modeOf(const QString &answer)
{
    if (answer == QLatin1String("1"))
        return QStringLiteral("RUN");
    return answer == QLatin1String("0") ? QStringLiteral("PROGRAM")
                                        : QStringLiteral("unknown (%1)").arg(answer);
}

QString errorOf(const QString &answer)
{
    bool ok = false;
    return answer.toInt(&ok) == 0 && ok ? QStringLiteral("none") : answer;
}

// The answer in words, or why there is none.
QString shown(const kvlink::QueryResult &result, QString (*words)(const QString &))
{
    if (!result.answered)
        return QStringLiteral("- (%1)").arg(result.problem);
    const bool isError = result.answer.size() == 2 && result.answer.startsWith('E');
    return isError ? QStringLiteral("- (the PLC answered %1)").arg(result.answer)
                   : words(result.answer.trimmed());
}

// The three answers of one PLC.
class Interview
{
public:
    Interview(App &app, Station &station) : m_app(app), m_station(station) {}

    // \return false if a signal came
    bool hold()
    {
        kvlink::Plc *plc = m_station.plc.get();
        m_app.wait.until([&] { return plc->link().isReady() || m_station.failures > m_app.options.retries; });
        const auto connection =
            QObject::connect(plc, &kvlink::Plc::queryFinished, plc,
                             [this](const kvlink::QueryResult &result) { m_results[result.id] = result; });
        for (const char *question : questions)
            m_ids.push_back(plc->query(QString::fromLatin1(question)));
        m_app.wait.until([this] { return m_results.size() == m_ids.size(); });
        QObject::disconnect(connection);
        return m_app.wait.interrupted() == 0;
    }

    QStringList cells()
    {
        if (!m_station.plc->link().isReady())
            return {m_station.linkProblem(), "-", "-"};
        return {shown(m_results[m_ids[0]], modelOf), shown(m_results[m_ids[1]], modeOf),
                shown(m_results[m_ids[2]], errorOf)};
    }

    int exitCode()
    {
        if (!m_station.plc->link().isReady())
            return ExitNoLink;
        const bool isAnswered = std::all_of(m_ids.begin(), m_ids.end(),
                                            [this](kvlink::QueryId id) { return m_results[id].answered; });
        return isAnswered ? ExitGood : ExitNoAnswer;
    }

private:
    App &m_app;
    Station &m_station;
    std::vector<kvlink::QueryId> m_ids;
    std::map<kvlink::QueryId, kvlink::QueryResult> m_results;
};

} // namespace

int runInfo(App &app)
{
    // The protocol sets the clock but does not read it.
    Table table({"station", "plc", "model", "mode", "error", "clock"});
    std::vector<int> codes;
    app.stations.start();
    for (Station &station : app.stations.all()) {
        Interview interview(app, station);
        if (!interview.hold()) {
            app.out.note(summaryOf(app.stations));
            return ExitBySignal + app.wait.interrupted();
        }
        table.add(QStringList{QString::number(station.number), station.url} + interview.cells() +
                  QStringList{QStringLiteral("not available")});
        codes.push_back(interview.exitCode());
    }
    table.print(app.out);
    return exitCodeOf(codes);
}

} // namespace kvhost
