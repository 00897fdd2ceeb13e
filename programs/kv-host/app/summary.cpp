// SPDX-License-Identifier: MIT
#include "summary.h"

#include <QDateTime>

namespace kvhost
{

namespace
{

QString counted(const char *what, quint64 count)
{
    return count == 0 ? QString() : QStringLiteral("%1 %2").arg(QString::fromLatin1(what)).arg(count);
}

QString errorsOf(const kvlink::LinkStatistics &s)
{
    QStringList kinds = {counted("no answer", s.noAnswers), counted("corrupted", s.corrupted),
                         counted("refused", s.plcErrors)};
    kinds.removeAll(QString());
    return kinds.isEmpty() ? QString() : QStringLiteral(" (%1)").arg(kinds.join(QStringLiteral(", ")));
}

// What was said last of one link.
struct Said {
    bool wasReady = false;
    bool isLost = false;
    QString problem;
};

} // namespace

QString msText(kvlink::Duration time, int digits)
{
    return QString::number(double(time.count()) / 1000.0, 'f', digits);
}

double lossOf(const kvlink::LinkStatistics &statistics, bool isReady)
{
    if (statistics.requests == 0)
        return isReady ? 0.0 : 100.0;
    return 100.0 * double(statistics.noAnswers + statistics.corrupted) / double(statistics.requests);
}

QString summaryOf(const kvlink::LinkStatistics &s)
{
    const double lost = s.requests == 0 ? 0.0 : lossOf(s, true);
    return QStringLiteral("%1 requests, %2 answers, %3 errors%4, %5% lost\n"
                          "answer time min/median/90%/99%/max = %6/%7/%8/%9/%10 ms, %11 links lost, %12 "
                          "requests repeated, "
                          "%13 stray bytes")
        .arg(s.requests)
        .arg(s.answers)
        .arg(s.noAnswers + s.corrupted + s.plcErrors)
        .arg(errorsOf(s))
        .arg(lost, 0, 'f', 1)
        .arg(msText(s.answerMin), msText(s.answerMedian), msText(s.answer90), msText(s.answer99),
             msText(s.answerMax))
        .arg(s.linkLosses)
        .arg(s.repeats)
        .arg(s.strayBytes);
}

QString summaryOf(const Stations &stations)
{
    QStringList lines;
    for (const Station &station : stations.all()) {
        const QString text = summaryOf(station.plc->statistics());
        lines << (stations.areNumbersShown() ? QStringLiteral("%1: %2").arg(station.url, text) : text);
    }
    return lines.join('\n');
}

void noteLinks(App &app)
{
    const Options &options = app.options;
    const bool goesOn = options.command == QLatin1String("watch") || options.command == QLatin1String("log");
    const bool isTable = options.command == QLatin1String("watch") && stdoutIsTerminal() &&
                         options.format == OutputFormat::Text;
    if (options.verbosity == 0 && (!goesOn || isTable || options.isQuiet))
        return;
    for (Station &station : app.stations.all()) {
        QObject::connect(
            station.plc.get(), &kvlink::Plc::linkChanged, station.plc.get(),
            [&app, &station, said = Said()](const kvlink::LinkStatus &status) mutable {
                const QString now =
                    QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
                const auto say = [&](const QString &text) {
                    app.out.problem(QStringLiteral("kv-host: %1 %2: %3").arg(now, station.url, text));
                };
                if (status.isReady()) {
                    // The first link that goes well, and the same trouble again, are said
                    // on demand only.
                    if (said.isLost || (!said.wasReady && app.options.verbosity > 0))
                        say(QStringLiteral("linked"));
                    said = {true, false, QString()};
                } else if (status.state == kvlink::LinkState::Waiting && !status.problem.isEmpty() &&
                           (status.problem != said.problem || app.options.verbosity > 0)) {
                    say(QStringLiteral("no link: %1; trying again").arg(status.problem));
                    said.isLost = true;
                    said.problem = status.problem;
                }
            });
    }
}

} // namespace kvhost
