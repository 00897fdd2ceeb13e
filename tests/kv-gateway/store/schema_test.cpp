// SPDX-License-Identifier: MIT
// Versions of the databases, from the first on.
#include "store/history_reader.h"
#include "store/history_writer.h"
#include "store/journal_reader.h"
#include "store/schema.h"

#include "fake_clock.h"

#include <gtest/gtest.h>

#include <QFile>

namespace kvgateway
{
namespace
{

std::unique_ptr<Database> openDatabase(const QTemporaryDir &folder, const char *name = "/test.sqlite")
{
    OpenProblem problem;
    return Database::open(folder.path() + QLatin1String(name), Database::Use::Journal, 0600, problem);
}

constexpr int testId = 0x54455354;
const Schema one{testId, {"CREATE TABLE a(x); INSERT INTO a VALUES(1)"}};
const Schema three{testId, {one.steps[0], "ALTER TABLE a ADD COLUMN y DEFAULT 2", "UPDATE a SET y = x + 10"}};
const Schema broken{testId,
                    {one.steps[0], "ALTER TABLE a ADD COLUMN y DEFAULT 2", "UPDATE missing SET y = 1"}};

TEST(Schema, BringsOldDatabasesUpToDate)
{
    const QTemporaryDir folder;
    const auto database = openDatabase(folder);
    OpenProblem problem;
    ASSERT_TRUE(bringUpToDate(*database, one, problem)) << problem.text.toStdString();
    EXPECT_EQ(database->number("PRAGMA user_version"), 1);
    ASSERT_TRUE(bringUpToDate(*database, three, problem)) << problem.text.toStdString();
    EXPECT_EQ(database->number("PRAGMA user_version"), 3);
    EXPECT_EQ(database->number("SELECT y FROM a"), 11);
    ASSERT_TRUE(bringUpToDate(*database, three, problem)); // again: nothing to do
    EXPECT_EQ(database->number("SELECT count(*) FROM a"), 1);
}

TEST(Schema, TakesAllStepsOrNone)
{
    const QTemporaryDir folder;
    const auto database = openDatabase(folder);
    OpenProblem problem;
    ASSERT_TRUE(bringUpToDate(*database, one, problem));
    EXPECT_FALSE(bringUpToDate(*database, broken, problem));
    EXPECT_TRUE(problem.text.endsWith("no such table: missing")) << problem.text.toStdString();
    EXPECT_EQ(database->number("PRAGMA user_version"), 1);
    EXPECT_EQ(database->number("SELECT count(*) FROM pragma_table_info('a')"), 1);
}

TEST(Schema, RefusesNewerForeignAndBrokenFiles)
{
    const QTemporaryDir folder;
    const QString path = folder.path() + QStringLiteral("/test.sqlite");
    OpenProblem problem;
    {
        const auto database = openDatabase(folder);
        ASSERT_TRUE(bringUpToDate(*database, three, problem));
        EXPECT_FALSE(bringUpToDate(*database, one, problem));
        EXPECT_EQ(
            problem.text,
            path + QStringLiteral(" has version 3, and this kv-gateway knows versions up to 1: install the "
                                  "newer kv-gateway again, or move the file away"));
        EXPECT_FALSE(isUpToDate(*database, one, problem));
        const Schema other{testId + 1, three.steps};
        EXPECT_FALSE(bringUpToDate(*database, other, problem));
        EXPECT_EQ(problem.text, path + QStringLiteral(" is not a database of kv-gateway; move it away"));
        EXPECT_TRUE(isUpToDate(*database, three, problem));
    }
    const auto foreign = openDatabase(folder, "/foreign.sqlite");
    ASSERT_TRUE(foreign->run("CREATE TABLE mine(x)"));
    EXPECT_FALSE(bringUpToDate(*foreign, one, problem));
    EXPECT_TRUE(problem.text.endsWith("is not a database of kv-gateway; move it away"));
    EXPECT_EQ(foreign->number("SELECT count(*) FROM sqlite_schema"), 1);
    QFile text(folder.path() + QStringLiteral("/text.sqlite"));
    ASSERT_TRUE(text.open(QIODevice::WriteOnly));
    text.write(QByteArray(5000, 'x'));
    text.close();
    OpenProblem notOne;
    EXPECT_EQ(Database::open(text.fileName(), Database::Use::History, 0600, notOne), nullptr);
    EXPECT_TRUE(notOne.text.endsWith("file is not a database")) << notOne.text.toStdString();
    EXPECT_FALSE(notOne.isFull);
}

TEST(Schema, ReadersAskForADatabase)
{
    const QTemporaryDir folder;
    QString problem;
    EXPECT_EQ(HistoryReader::open(folder.path(), problem), nullptr);
    EXPECT_EQ(problem, folder.path() + QStringLiteral("/history.sqlite: No such file or directory"));
    EXPECT_EQ(JournalReader::open(folder.path(), problem), nullptr);
    EXPECT_EQ(problem, folder.path() + QStringLiteral("/journal.sqlite: No such file or directory"));
    EXPECT_FALSE(QFile::exists(folder.path() + QStringLiteral("/history.sqlite")));
}

TEST(Schema, ReadersChangeNothing)
{
    const QTemporaryDir folder;
    OpenProblem found;
    ASSERT_NE(HistoryWriter::open(folder.path(), found), nullptr);
    const auto reader =
        Database::open(folder.path() + QStringLiteral("/history.sqlite"), Database::Use::Read, 0, found);
    ASSERT_NE(reader, nullptr);
    EXPECT_FALSE(reader->run("DELETE FROM tags"));
    EXPECT_TRUE(reader->problem().endsWith("attempt to write a readonly database"))
        << reader->problem().toStdString();
}

} // namespace
} // namespace kvgateway
