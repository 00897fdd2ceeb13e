// SPDX-License-Identifier: MIT
// log: values into a CSV file, an SQLite database, or stdout. Each row carries the time of the
// answer that brought its value.
#include "commands.h"

#include "app/exit_code.h"
#include "app/subscription.h"
#include "app/summary.h"
#include "log/log_file.h"
#include "log/log_writer.h"
#include "log/rotation.h"
#include "log/wide_rows.h"

#include <QDateTime>
#include <QTimer>

namespace kvhost
{

using kvlink::Sample;
using namespace std::chrono_literals;

namespace
{

constexpr kvlink::Duration collectForFiles = 1s;
constexpr kvlink::Duration longestLastWrite = 2s;

// Samples on their way to rows.
class Rows
{
public:
    Rows(App &app, const Subscription &all, LogWriter &writer)
        : m_app(app), m_all(all), m_writer(writer), m_wide(valuesOf(all))
    {
        int cell = 0;
        for (const kvtags::Variable &variable : all.variables()) {
            m_firstCell.push_back(cell);
            cell += variable.address.values();
        }
        m_logged.resize(std::size_t(cell));
        m_wideTimer.setSingleShot(true);
        QObject::connect(&m_wideTimer, &QTimer::timeout, &m_wideTimer, [this] { add(m_wide.flush()); });
    }

    void take(int i, const Sample &sample)
    {
        for (int value = 0; value < m_all.variable(i).address.values(); ++value) {
            const Row row = m_all.row(i, value, sample);
            const int cell = m_firstCell[std::size_t(i)] + value;
            if (!isWanted(row, m_logged[std::size_t(cell)]))
                continue;
            if (m_app.options.isWide)
                takeWide(cell, row);
            else
                m_writer.add({row, {}});
        }
    }

    // The row that was being gathered.
    void finish() { add(m_wide.flush()); }

private:
    // What was logged last of one value.
    struct Logged {
        QString value, error;
        kvlink::Quality quality = kvlink::Quality::Never;
    };

    static int valuesOf(const Subscription &all)
    {
        int values = 0;
        for (const kvtags::Variable &variable : all.variables())
            values += variable.address.values();
        return values;
    }

    // A value that is bad stays so without another row; of a range only the values that have
    // changed are new.
    bool isWanted(const Row &row, Logged &logged) const
    {
        const bool isSame =
            logged.value == row.value && logged.quality == row.quality && logged.error == row.error;
        const bool isEach = !m_app.options.isOnChange && row.quality == kvlink::Quality::Good;
        logged = {row.value, row.error, row.quality};
        return isEach || !isSame;
    }

    void takeWide(int cell, const Row &row)
    {
        const bool isFirst = m_wide.isEmpty();
        add(m_wide.put(cell, row.quality == kvlink::Quality::Good ? row.value : QString(), row.timeMs));
        if (isFirst)
            m_wideTimer.start(std::chrono::duration_cast<std::chrono::milliseconds>(m_app.options.every));
    }

    void add(std::optional<LogRow> row)
    {
        if (row)
            m_writer.add(std::move(*row));
    }

    App &m_app;
    const Subscription &m_all;
    LogWriter &m_writer;
    WideRows m_wide;
    QTimer m_wideTimer; // a pass in which some tags are not read ends too
    std::vector<int> m_firstCell;
    std::vector<Logged> m_logged;
};

QString wrongTogether(const Options &options)
{
    const bool isCsv = options.sqlite.isEmpty();
    if (!options.sqlite.isEmpty() && !options.output.isEmpty())
        return QStringLiteral("--output and --sqlite together: take one of them");
    if (options.rotate.count() > 0 && options.output.isEmpty())
        return QStringLiteral("--rotate needs the name of a file: --output FILE");
    if (options.rotate.count() > 0 && !canRotateBy(options.rotate))
        return QStringLiteral("--rotate takes a part of the day: 1h, 6h, 1d, 10m");
    if (options.keep.count() > 0 && options.rotate.count() == 0 && isCsv)
        return QStringLiteral("--keep removes files of --rotate, or rows of --sqlite: give one of them");
    if (options.isWide && !isCsv)
        return QStringLiteral("--layout wide is for files: a database holds a row for each value");
    return {};
}

LogFormat formatOf(const Options &options, const Subscription &all)
{
    LogFormat format;
    format.isJson = options.format == OutputFormat::Json;
    format.isWide = options.isWide;
    format.hasDecimalComma = options.hasDecimalComma;
    format.hasLocalTime = options.hasLocalTime;
    format.separator = options.separator.value_or(options.hasDecimalComma ? QChar(';') : QChar(','));
    for (int i = 0; options.isWide && i < all.size(); ++i) {
        for (int value = 0; value < all.variable(i).address.values(); ++value)
            format.wideNames << all.variable(i).nameOf(value);
    }
    return format;
}

std::unique_ptr<LogSink> sinkFor(const App &app, const Subscription &all)
{
    const Options &options = app.options;
    const int stop = app.signalWatch.stopDescriptor();
    if (!options.sqlite.isEmpty())
        return sqliteSink(options.sqlite, options.keep);
    if (options.output.isEmpty())
        return stdoutSink(formatOf(options, all), stop);
    return fileSink({options.output, formatOf(options, all), options.rotate, options.keep}, stop);
}

bool isToFile(const Options &options)
{
    return !options.output.isEmpty() || !options.sqlite.isEmpty();
}

// Says once that the target fails, and once that it works again.
class ProblemNotes
{
public:
    ProblemNotes(App &app, const LogWriter &writer) : m_app(app), m_writer(writer) {}

    void say()
    {
        const QString problem = m_writer.problem();
        if (problem == m_said)
            return;
        const QString now = QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
        m_app.out.problem(
            QStringLiteral("kv-host: %1 log: %2")
                .arg(now, problem.isEmpty()
                              ? QStringLiteral("writing works again, %1 row(s) lost").arg(m_writer.lost())
                              : QStringLiteral("%1; reading goes on, rows are kept for later").arg(problem)));
        m_said = problem;
    }

private:
    App &m_app;
    const LogWriter &m_writer;
    QString m_said;
};

// \return ExitSomeBad if rows were lost
int summarise(App &app, const LogWriter &writer)
{
    const QString text = QStringLiteral("%1 row(s) logged, %2 lost").arg(writer.written()).arg(writer.lost());
    if (writer.lost() > 0)
        app.out.problem("kv-host: log: " + text);
    else if (isToFile(app.options))
        app.out.note(text);
    app.out.note(summaryOf(app.stations));
    return writer.lost() > 0 ? ExitSomeBad : ExitGood;
}

} // namespace

int runLog(App &app)
{
    std::vector<kvtags::Variable> variables;
    const QString wrong = wrongTogether(app.options);
    if (!wrong.isEmpty())
        return app.refuse(wrong, ExitUsage);
    if (!variablesFor(app, app.options.words, variables))
        return ExitUsage;
    Subscription all(app, std::move(variables), app.options.every, !app.options.isOnChange);
    if (!all.problem().isEmpty())
        return app.refuse(all.problem(), ExitUsage);
    std::unique_ptr<LogSink> sink = sinkFor(app, all);
    QString problem;
    if (!sink->open(problem))
        return app.refuse("log: " + problem, ExitUsage);
    LogWriter writer(std::move(sink), isToFile(app.options) ? collectForFiles : kvlink::Duration(0),
                     wakeMainThread);
    if (isToFile(app.options) && !isWaitingPipe(app.options.output))
        app.signalWatch.reopenOnHup([&writer] { writer.reopen(); });
    Rows rows(app, all, writer);
    ProblemNotes notes(app, writer);
    all.onSample([&rows](int i, const Sample &sample) { rows.take(i, sample); });
    app.stations.start();
    const auto isOver = [&] {
        notes.say();
        return writer.isGone();
    };
    app.wait.until(isOver, endOf(app.options));
    const int code = all.exitCode();
    app.stations.stop();
    rows.finish();
    writer.finish(longestLastWrite);
    notes.say();
    const int lossCode = summarise(app, writer);
    return code == ExitGood ? lossCode : code;
}

} // namespace kvhost
