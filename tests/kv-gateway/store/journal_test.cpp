// SPDX-License-Identifier: MIT
// Audit and events: written, found, and never changed.
#include "store/journal_reader.h"
#include "store/journal_writer.h"

#include "fake_clock.h"

#include <gtest/gtest.h>

namespace kvgateway
{
namespace
{

using kvlink::Outcome;
using kvlink::Reason;

class JournalTest : public testing::Test
{
protected:
    void SetUp() override
    {
        OpenProblem problem;
        writer = JournalWriter::open(folder.path(), problem);
        ASSERT_NE(writer, nullptr) << problem.text.toStdString();
        QString text;
        reader = JournalReader::open(folder.path(), text);
        ASSERT_NE(reader, nullptr) << text.toStdString();
        // As somebody with sqlite3 would.
        shell = Database::open(folder.path() + "/journal.sqlite", Database::Use::History, 0600, problem);
        ASSERT_NE(shell, nullptr) << problem.text.toStdString();
    }
    void write(const JournalBatch &batch)
    {
        ASSERT_EQ(writer->write(batch), Written::Done) << writer->problem().toStdString();
    }
    static AuditRow row(qint64 time, const char *correlation, const char *who, const char *tag,
                        std::optional<Outcome> outcome)
    {
        AuditRow audit;
        audit.time = at(time);
        audit.correlation = QString::fromLatin1(correlation);
        audit.who = QString::fromLatin1(who);
        audit.from = QStringLiteral("192.168.0.7");
        audit.plc = QStringLiteral("line1");
        audit.tag = QString::fromLatin1(tag);
        audit.oldValue = qint64(1);
        audit.newValue = 2.5;
        audit.outcome = outcome;
        return audit;
    }
    auto found(const AuditQuery &query, QString &problem) { return reader->audit(query, problem); }
    auto found(const EventQuery &query, QString &problem) { return reader->events(query, problem); }
    template <typename Query>
    QString seqs(const Query &query)
    {
        QString problem;
        QStringList all;
        const auto rows = found(query, problem);
        for (const auto &row : *rows)
            all += QString::number(row.seq);
        return all.join(' ');
    }

    QTemporaryDir folder;
    std::unique_ptr<JournalWriter> writer;
    std::unique_ptr<JournalReader> reader;
    std::unique_ptr<Database> shell;
};

TEST_F(JournalTest, AWriteIsAskedForAndEnds)
{
    AuditRow end = row(1250, "c-17", "anna", "line1.speed", Outcome::Unknown);
    end.reason = Reason::NoAnswer;
    end.text = QStringLiteral("sent, no answer in 1 s; it may have been carried out");
    write({{row(250, "c-17", "anna", "line1.speed", {}), end}, {}, {}});
    QString problem;
    const auto rows = reader->audit({}, problem);
    ASSERT_EQ(rows->size(), 2U);
    const AuditRow &first = rows->at(1); // the newest comes first
    EXPECT_EQ(first.seq, 1);
    EXPECT_EQ(first.time, at(250));
    EXPECT_EQ(first.correlation, QStringLiteral("c-17"));
    EXPECT_EQ(first.who, QStringLiteral("anna"));
    EXPECT_EQ(first.from, QStringLiteral("192.168.0.7"));
    EXPECT_EQ(first.plc, QStringLiteral("line1"));
    EXPECT_EQ(first.tag, QStringLiteral("line1.speed"));
    EXPECT_EQ(first.oldValue, kvlink::Value(qint64(1)));
    EXPECT_EQ(first.newValue, kvlink::Value(2.5));
    EXPECT_EQ(first.outcome, std::nullopt);
    EXPECT_EQ(rows->at(0).outcome, Outcome::Unknown);
    EXPECT_EQ(rows->at(0).reason, Reason::NoAnswer);
    EXPECT_EQ(rows->at(0).text, end.text);
    Statement seen(*shell, "SELECT group_concat(outcome || '|' || reason) FROM audit");
    ASSERT_TRUE(seen.step());
    EXPECT_EQ(seen.text(0), QStringLiteral("asked|,unknown|no-answer"));
}

TEST_F(JournalTest, AuditIsFoundByEachOfItsFields)
{
    write({{row(1, "c1", "anna", "x", {}), row(2, "c1", "anna", "x", Outcome::Done),
            row(3, "c2", "bert", "x", {}), row(4, "c2", "bert", "y", Outcome::Refused)},
           {},
           {}});
    const TimeRange all{{}, endOfTime};
    constexpr qint64 newest = std::numeric_limits<qint64>::max();
    struct {
        AuditQuery query;
        const char *found;
    } const rows[] = {
        {{}, "4 3 2 1"},
        {{"anna", {}, {}, {}, all, newest, 100}, "2 1"},
        {{{}, "line1", {}, {}, all, newest, 100}, "4 3 2 1"},
        {{{}, "line2", {}, {}, all, newest, 100}, ""},
        {{{}, {}, "x", {}, all, newest, 100}, "3 2 1"},
        {{{}, {}, {}, "c2", all, newest, 100}, "4 3"},
        {{"bert", {}, "x", "c2", all, newest, 100}, "3"},
        {{{}, {}, {}, {}, {at(2), at(4)}, newest, 100}, "3 2"},
        {{{}, {}, {}, {}, all, newest, 2}, "4 3"},
        {{{}, {}, {}, {}, all, 3, 2}, "2 1"},
        {{"anna' OR '1'='1", {}, {}, {}, all, newest, 100}, ""},
    };
    for (const auto &one : rows)
        EXPECT_EQ(seqs(one.query), QString::fromLatin1(one.found));
}

TEST_F(JournalTest, EventsAreFoundByKindPlcTagAndTime)
{
    write({{},
           {{0, at(1), EventKind::Link, "line1", {}, "link lost", "no answer in 1 s"},
            {0, at(2), EventKind::Quality, "line1", "line1.speed", "bad", "no link"},
            {0, at(3), EventKind::Link, "line2", {}, "link ready", {}},
            {0, at(4), EventKind::Reload, {}, {}, "configuration reloaded", "anna"}},
           {}});
    const TimeRange all{{}, endOfTime};
    constexpr qint64 newest = std::numeric_limits<qint64>::max();
    struct {
        EventQuery query;
        const char *found;
    } const rows[] = {
        {{}, "4 3 2 1"},
        {{EventKind::Link, {}, {}, all, newest, 100}, "3 1"},
        {{{}, "line1", {}, all, newest, 100}, "2 1"},
        {{{}, {}, "line1.speed", all, newest, 100}, "2"},
        {{EventKind::Link, "line2", {}, all, newest, 100}, "3"},
        {{{}, {}, {}, {at(2), at(4)}, newest, 100}, "3 2"},
        {{{}, {}, {}, all, 3, 1}, "2"},
    };
    for (const auto &one : rows)
        EXPECT_EQ(seqs(one.query), QString::fromLatin1(one.found));
    QString problem;
    const EventRow event = reader->events({}, problem)->at(3);
    EXPECT_EQ(event.time, at(1));
    EXPECT_EQ(event.kind, EventKind::Link);
    EXPECT_EQ(event.plc, QStringLiteral("line1"));
    EXPECT_EQ(event.text, QStringLiteral("link lost"));
    EXPECT_EQ(event.cause, QStringLiteral("no answer in 1 s"));
}

TEST_F(JournalTest, TheAuditIsAppendOnly)
{
    write({{row(1, "c1", "anna", "x", Outcome::Done)}, {}, {}});
    struct {
        const char *statement;
        const char *answer;
    } const rows[] = {
        {"UPDATE audit SET who = 'bert'", "the audit is append only: no row can be changed"},
        {"UPDATE audit SET outcome = 'done' WHERE seq = 1",
         "the audit is append only: no row can be changed"},
        {"DELETE FROM audit", "the audit is append only: no row can be removed"},
        {"DELETE FROM audit WHERE seq = 1", "the audit is append only: no row can be removed"},
        {"INSERT OR REPLACE INTO audit SELECT seq, time, correlation, 'bert', source, plc, tag, old_value, "
         "old_shape, "
         "new_value, new_shape, outcome, reason, text FROM audit",
         "the audit is append only: no row can be replaced"},
    };
    for (const auto &one : rows) {
        EXPECT_FALSE(shell->run(one.statement)) << one.statement;
        EXPECT_TRUE(shell->problem().endsWith(QLatin1String(one.answer))) << shell->problem().toStdString();
    }
    EXPECT_EQ(shell->number("SELECT count(*) FROM audit WHERE who = 'anna'"), 1);
}

TEST_F(JournalTest, RetentionRemovesWhatIsTooOldAndNothingElse)
{
    write(
        {{row(0, "c1", "anna", "x", {}), row(1000, "c2", "anna", "x", {}), row(2000, "c3", "anna", "x", {})},
         {{0, at(0), EventKind::Link, {}, {}, "a", {}}, {0, at(2000), EventKind::Link, {}, {}, "b", {}}},
         {}});
    int removed = 0;
    Retention retention;
    retention.events = retention.audit = std::chrono::seconds(0);
    ASSERT_EQ(writer->removeOld(retention, at(1'000'000'000), removed), Written::Done);
    EXPECT_EQ(removed, 0); // forever
    EXPECT_EQ(seqs(AuditQuery()), QStringLiteral("3 2 1"));
    EXPECT_EQ(seqs(EventQuery()), QStringLiteral("2 1"));
    retention.events = retention.audit = std::chrono::seconds(1);
    ASSERT_EQ(writer->removeOld(retention, at(2001), removed), Written::Done);
    EXPECT_EQ(removed, 2);
    EXPECT_EQ(seqs(AuditQuery()), QStringLiteral("3"));
    EXPECT_EQ(seqs(EventQuery()), QStringLiteral("2"));
    EXPECT_FALSE(shell->run("DELETE FROM audit")); // the trigger is there again
    removed = 0;
    ASSERT_EQ(writer->removeOld(retention, at(1'000'000'000), removed), Written::Done);
    EXPECT_EQ(removed, 0); // the newest row stays
    write({{row(3000, "c4", "anna", "x", {})}, {}, {}});
    EXPECT_EQ(seqs(AuditQuery()), QStringLiteral("4 3"));
}

TEST_F(JournalTest, EventKindsHaveNames)
{
    for (const char *name :
         {"service", "link", "quality", "write", "reload", "clock", "history", "access", "outlet"}) {
        const auto kind = eventKindFromName(QString::fromLatin1(name));
        ASSERT_TRUE(kind) << name;
        EXPECT_EQ(eventKindName(*kind), QString::fromLatin1(name));
    }
    EXPECT_EQ(eventKindFromName("links"), std::nullopt);
}

} // namespace
} // namespace kvgateway
