// SPDX-License-Identifier: MIT
// stats and bench: read for a while, then report what each link did. bench reads without a pause.
#include "commands.h"

#include "app/exit_code.h"
#include "app/subscription.h"
#include "app/summary.h"
#include "output/table.h"

#include <algorithm>
#include <deque>

namespace kvhost
{

using kvlink::Duration;
using kvlink::LinkStatistics;

namespace
{

constexpr int readsInHand = 2; // of bench: one is answered while the next is on its way

QString number(double value, int digits)
{
    return QString::number(value, 'f', digits);
}

// What one link did between two moments.
struct Measure {
    LinkStatistics begin, end;
    bool isReady = false;
    qint64 words = 0;  // read
    qint64 passes = 0; // completed
    double seconds = 0.001;
};

LinkStatistics since(const LinkStatistics &begin, const LinkStatistics &end)
{
    LinkStatistics s = end;
    s.requests -= begin.requests;
    s.answers -= begin.answers;
    s.noAnswers -= begin.noAnswers;
    s.corrupted -= begin.corrupted;
    s.plcErrors -= begin.plcErrors;
    s.repeats -= begin.repeats;
    s.strayBytes -= begin.strayBytes;
    s.linkLosses -= begin.linkLosses;
    s.missedPasses -= begin.missedPasses;
    return s;
}

void addRows(Table &table, const QString &url, const Measure &measure)
{
    const LinkStatistics s = since(measure.begin, measure.end);
    const auto add = [&](const QString &what, const QString &value, const char *unit) {
        table.add({what, value, QString::fromLatin1(unit), url});
    };
    add("time", number(measure.seconds, 2), "s");
    add("requests", QString::number(s.requests), "");
    add("answers", QString::number(s.answers), "");
    add("loss", number(lossOf(s, measure.isReady), 2), "%");
    add("exchange rate", number(double(s.answers) / measure.seconds, 0), "1/s");
    add("word rate", number(double(measure.words) / measure.seconds, 0), "1/s");
    add("passes", QString::number(measure.passes), "");
    add("missed passes", QString::number(s.missedPasses), "");
    for (const LinkStatistics::Period &period : s.periods) {
        add("period asked", msText(period.asked), "ms");
        add("period reached", msText(period.reached), "ms");
    }
    add("answer time min", msText(s.answerMin, 3), "ms");
    add("answer time median", msText(s.answerMedian, 3), "ms");
    add("answer time 90%", msText(s.answer90, 3), "ms");
    add("answer time 99%", msText(s.answer99, 3), "ms");
    add("answer time max", msText(s.answerMax, 3), "ms");
    add("links lost", QString::number(s.linkLosses), "");
    add("requests repeated", QString::number(s.repeats), "");
    add("stray bytes", QString::number(s.strayBytes), "");
    add("errors: no answer", QString::number(s.noAnswers), "");
    add("errors: corrupted", QString::number(s.corrupted), "");
    add("errors: refused", QString::number(s.plcErrors), "");
}

// What all links did together; times of answers do not add up.
void addTotals(Table &table, const std::vector<Measure> &measures)
{
    quint64 requests = 0, answers = 0, lost = 0;
    qint64 words = 0;
    for (const Measure &measure : measures) {
        const LinkStatistics s = since(measure.begin, measure.end);
        requests += s.requests;
        answers += s.answers;
        lost += s.noAnswers + s.corrupted;
        words += measure.words;
    }
    const double seconds = measures.front().seconds;
    const auto add = [&table](const QString &what, const QString &value, const char *unit) {
        table.add({what, value, QString::fromLatin1(unit), QStringLiteral("all")});
    };
    add("time", number(seconds, 2), "s");
    add("requests", QString::number(requests), "");
    add("answers", QString::number(answers), "");
    add("loss", number(requests == 0 ? 100.0 : 100.0 * double(lost) / double(requests), 2), "%");
    add("exchange rate", number(double(answers) / seconds, 0), "1/s");
    add("word rate", number(double(words) / seconds, 0), "1/s");
}

int codeOf(const Measure &measure)
{
    const LinkStatistics s = since(measure.begin, measure.end);
    if (s.answers == 0)
        return measure.isReady ? int(ExitNoAnswer) : int(ExitNoLink);
    return s.noAnswers + s.corrupted + s.plcErrors == 0 && measure.isReady ? ExitGood : ExitSomeBad;
}

qint64 passesOf(const LinkStatistics &statistics)
{
    qint64 passes = 0;
    for (const LinkStatistics::Period &period : statistics.periods)
        passes += qint64(period.passes);
    return passes;
}

// Words that a pass over the tags of this station brings.
qint64 wordsOfPass(const Subscription &all, const Station &station)
{
    qint64 words = 0;
    for (int i = 0; i < all.size(); ++i)
        words += &all.station(i) == &station ? all.variable(i).address.units() : 0;
    return words;
}

// Reads the tags of each PLC again and again, as fast as its link goes.
class FlatOut
{
public:
    FlatOut(App &app, const Subscription &all)
    {
        for (Station &station : app.stations.all()) {
            Loop &loop = m_loops.emplace_back();
            loop.plc = station.plc.get();
            for (int i = 0; i < all.size(); ++i) {
                if (&all.station(i) == &station)
                    loop.tags.push_back(all.tag(i));
            }
        }
        for (Loop &loop : m_loops) {
            QObject::connect(loop.plc, &kvlink::Plc::readFinished, loop.plc, [&loop](kvlink::ReadId) {
                ++loop.passes;
                loop.plc->readNow(loop.tags);
            });
        }
    }

    void begin()
    {
        for (Loop &loop : m_loops) {
            for (int i = 0; i < readsInHand; ++i)
                loop.plc->readNow(loop.tags);
        }
    }

    qint64 passes(const Station &station) const
    {
        const auto loop = std::find_if(m_loops.begin(), m_loops.end(),
                                       [&](const Loop &one) { return one.plc == station.plc.get(); });
        return loop == m_loops.end() ? 0 : loop->passes;
    }

private:
    struct Loop {
        kvlink::Plc *plc = nullptr;
        std::vector<kvlink::Tag> tags;
        qint64 passes = 0;
    };
    std::deque<Loop> m_loops;
};

// \param passes that were counted; below 0: those of the tags' period
void finish(Measure &measure, const Station &station, const Subscription &all, qint64 passes)
{
    measure.end = station.plc->statistics();
    measure.isReady = station.plc->link().isReady();
    measure.passes = passes >= 0 ? passes : passesOf(measure.end) - passesOf(measure.begin);
    measure.words = measure.passes * wordsOfPass(all, station);
}

int measure(App &app, bool isFlatOut)
{
    std::vector<kvtags::Variable> variables;
    QStringList words = app.options.words;
    if (words.isEmpty() && app.tags.empty())
        words << QStringLiteral("DM0:%1").arg(app.options.link.maxBlock); // one full block
    if (!variablesFor(app, words, variables))
        return ExitUsage;
    Subscription all(app, std::move(variables), isFlatOut ? Duration(0) : app.options.every);
    if (!all.problem().isEmpty())
        return app.refuse(all.problem(), ExitUsage);
    FlatOut loops(app, all);
    app.stations.start();
    all.waitForLinks();
    if (isFlatOut)
        loops.begin();
    const kvlink::SteadyTime begin = steadyNow();
    std::vector<Measure> measures;
    for (const Station &station : app.stations.all())
        measures.push_back({station.plc->statistics(), {}});
    app.wait.pause(endOf(app.options));
    const double seconds = std::max(double((steadyNow() - begin).count()) / 1e6, 0.001);
    Table table({"measure", "value", "unit", "plc"});
    std::vector<int> codes;
    for (std::size_t i = 0; i < measures.size(); ++i) {
        const Station &station = app.stations.all()[i];
        measures[i].seconds = seconds;
        finish(measures[i], station, all, isFlatOut ? loops.passes(station) : -1);
        app.out.note(QStringLiteral("%1: %2").arg(station.url, measures[i].isReady ? QStringLiteral("linked")
                                                                                   : station.linkProblem()));
        addRows(table, station.url, measures[i]);
        codes.push_back(codeOf(measures[i]));
    }
    app.stations.stop();
    if (measures.size() > 1)
        addTotals(table, measures);
    table.print(app.out);
    const int code = exitCodeOf(codes);
    return code == ExitGood && app.out.hasFailed() ? int(ExitSomeBad) : code;
}

} // namespace

int runStats(App &app)
{
    return measure(app, false);
}

int runBench(App &app)
{
    return measure(app, true);
}

} // namespace kvhost
