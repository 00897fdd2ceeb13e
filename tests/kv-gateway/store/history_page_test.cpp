// SPDX-License-Identifier: MIT
// The page about what is kept shows what SQLite really answers.
#include "store/history_writer.h"
#include "store/journal_writer.h"
#include "store/store.h"
#include "store/store_engine.h"

#include "fake_clock.h"

#include <gtest/gtest.h>

#include <QFile>

#include <sqlite3.h>

namespace kvgateway
{
namespace
{

using namespace std::chrono_literals;
using kvlink::Outcome;

// What the page tells of: a speed that changes, is lost, and comes back; one write.
void fillAsThePageHasIt(const QString &folder)
{
    OpenProblem problem;
    const auto history = HistoryWriter::open(folder, problem);
    ASSERT_NE(history, nullptr) << problem.text.toStdString();
    ASSERT_EQ(history->write({{"line1.speed", good(0, qint64(1480))},
                              {"line1.lamp", good(1000, true)},
                              {"line1.speed", good(30'000, qint64(1500))},
                              {"line1.speed", bad(75'250, kvlink::Reason::NoAnswer)},
                              {"line1.speed", good(120'000, qint64(1490))}},
                             at(120'000)),
              Written::Done);
    ASSERT_EQ(history->merge({}), Written::Done);
    const auto journal = JournalWriter::open(folder, problem);
    ASSERT_NE(journal, nullptr) << problem.text.toStdString();
    AuditRow write;
    write.time = at(30'000);
    write.correlation = QStringLiteral("c-17");
    write.who = QStringLiteral("anna");
    write.from = QStringLiteral("192.168.0.7");
    write.plc = QStringLiteral("line1");
    write.tag = QStringLiteral("line1.speed");
    write.oldValue = qint64(1480);
    write.newValue = qint64(1500);
    AuditRow end = write;
    end.outcome = Outcome::Done;
    ASSERT_EQ(journal->write({{write, end},
                              {{0, at(76'000), EventKind::Link, "line1", {}, "no link", "no answer in 1 s"},
                               {0, at(119'000), EventKind::Link, "line1", {}, "link ready", {}}},
                              {{"line1.speed", good(120'000, qint64(1490))}}}),
              Written::Done);
}

int addLine(void *lines, int columns, char **values, char **)
{
    QStringList shown;
    for (int i = 0; i < columns; ++i)
        shown += QString::fromUtf8(values[i]);
    *reinterpret_cast<QStringList *>(lines) += shown.join('|');
    return 0;
}

// As the program sqlite3 shows it.
QStringList answer(const QString &path, const QString &statement)
{
    sqlite3 *database = nullptr;
    EXPECT_EQ(sqlite3_open(path.toUtf8().constData(), &database), SQLITE_OK);
    QStringList lines;
    char *error = nullptr;
    sqlite3_exec(database, statement.toUtf8().constData(), addLine, &lines, &error);
    if (error != nullptr)
        lines += QStringLiteral("Error: stepping, %1 (%2)")
                     .arg(QString::fromUtf8(error))
                     .arg(sqlite3_errcode(database));
    sqlite3_free(error);
    sqlite3_close(database);
    return lines;
}

struct Shown {
    QString file, statement;
    QStringList answer;
};

std::vector<Shown> examplesOf(const QString &page)
{
    const QString command = QStringLiteral("    $ sqlite3 ");
    const QString indent = QStringLiteral("    ");
    std::vector<Shown> examples;
    bool isOpen = false;
    const QStringList lines = page.split('\n');
    for (const QString &line : lines) {
        if (line.startsWith(command)) {
            const QString file = line.mid(command.size()).section(' ', 0, 0);
            examples.push_back({file, line.section('"', 1, 1), {}});
            isOpen = true;
        } else if (isOpen && line.startsWith(indent)) {
            examples.back().answer += line.mid(indent.size());
        } else {
            isOpen = false;
        }
    }
    return examples;
}

TEST(HistoryPage, ShowsWhatSqliteAnswers)
{
    QFile page(QStringLiteral(KV_HISTORY_PAGE));
    ASSERT_TRUE(page.open(QIODevice::ReadOnly)) << KV_HISTORY_PAGE;
    const std::vector<Shown> examples = examplesOf(QString::fromUtf8(page.readAll()));
    EXPECT_EQ(examples.size(), 7U);
    const QTemporaryDir folder;
    fillAsThePageHasIt(folder.path());
    for (const Shown &example : examples)
        EXPECT_EQ(answer(folder.path() + '/' + example.file, example.statement), example.answer)
            << example.statement.toStdString();
}

TEST(HistoryPage, NamesTheDefaultsAsTheyAre)
{
    const Retention retention;
    EXPECT_EQ(retention.rows, 24h * 30);
    EXPECT_EQ(retention.minutes, 24h * 400);
    EXPECT_EQ(retention.hours, 0h);
    EXPECT_EQ(retention.events, 24h * 400);
    EXPECT_EQ(retention.audit, 0h);
    EXPECT_EQ(retention.historyBytes, 0);
    const StoreSettings settings;
    EXPECT_EQ(settings.mostHistoryQueued, 200'000);
    EXPECT_EQ(settings.mostAuditQueued, 10'000);
    EXPECT_EQ(StoreEngine::retryAfter, 5s);
    EXPECT_EQ(StoreEngine::removeEvery, 10min);
    EXPECT_EQ(StoreEngine::largeJump, 1h);
    EXPECT_EQ(StoreEngine::holdRemoval, 24h);
    EXPECT_EQ(HistoryWriter::mergeRows, 100'000);
    EXPECT_EQ(HistoryWriter::mergeAge, 1min);
    EXPECT_EQ(ClockWatch::least, 2s);
}

} // namespace
} // namespace kvgateway
