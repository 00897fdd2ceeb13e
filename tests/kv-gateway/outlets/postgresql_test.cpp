// SPDX-License-Identifier: MIT
// An outlet against a real PostgreSQL: stopped, killed, frozen; what was offered against the rows
// that are there.
#include "outlets/database_outlet.h"
#include "outlets/outlet_runner.h"
#include "outlets/postgresql_schema.h"
#include "outlets/postgresql_writer.h"

#include "cluster.h"

#include <limits>

namespace kvgateway
{
namespace
{

using namespace std::chrono_literals;

constexpr qint64 someTime = 1777881600000; // 2026-05-04 08:00:00 UTC

kvlink::Sample sampleOf(const kvlink::Value &value, qint64 ms = 0)
{
    kvlink::Sample sample;
    sample.value = value;
    sample.quality = kvlink::Quality::Good;
    sample.time = kvlink::WallTime(std::chrono::milliseconds(someTime + ms));
    return sample;
}

class PostgresqlTest : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        cluster = new Cluster;
        cluster->start();
    }
    static void TearDownTestSuite()
    {
        delete cluster;
        cluster = nullptr;
    }
    PostgresqlTest() : config(cluster->config())
    {
        if (!cluster->isUp())
            cluster->start();
        config.drainRate = 100'000;
        config.schema = QStringLiteral("s%1").arg(++schemas);
        TagConfig x, y;
        x.name = "a.x";
        x.settings.unit = "rpm";
        x.comment = "a \"set\" value\\";
        y.name = "a.y";
        tags = {x, y};
    }
    ~PostgresqlTest() override
    {
        cluster->thaw();
        runner.reset();
    }

    // \return what was done, or the problem
    QString makeTables() const
    {
        PqLink link;
        PqProblem trouble;
        QString done, problem;
        EXPECT_TRUE(link.open(config, trouble)) << trouble.text.toStdString();
        return makeSchema(link, config.schema, done, problem) ? done : problem;
    }
    void start()
    {
        ofOutlet = std::make_shared<PostgresqlWriter>(config, patience);
        auto outlet = std::make_unique<DatabaseOutlet>(ofOutlet, DatabaseTiming{50ms, 100ms, 100ms, 400ms});
        outlet->setTags(tags);
        runner = std::make_unique<OutletRunner>(
            "db", FeederSettings{folder.filePath("outlet.sqlite"), {}, config.drainRate}, std::move(outlet),
            clock, [this](const QString &text, const QString &cause) {
                const std::lock_guard lock(mutex);
                notices << text + ": " + cause;
            });
        runner->start();
    }
    void makeAndStart()
    {
        ASSERT_EQ(makeTables(), "made, version 1");
        start();
        ASSERT_TRUE(connects()) << runner->status().state.problem.toStdString();
    }
    bool isConnected() const { return runner->status().state.isReady(); }
    bool connects() const
    {
        return within(10'000, [this] { return isConnected(); });
    }
    bool failsWith(const char *text) const
    {
        return within(10'000, [&] { return runner->status().state.problem.contains(text); });
    }
    bool isStored(qint64 least) const
    {
        return within(5000, [&] { return runner->status().counts.stored >= least; });
    }
    void offer(int count)
    {
        for (int i = 0; i < count; ++i) {
            runner->offer(i % 3 == 0 ? "a.y" : "a.x", sampleOf(offered, offered));
            ++offered;
            if (i % 20 == 19)
                std::this_thread::sleep_for(1ms);
        }
    }
    QString sql(QByteArray statement) const
    {
        return cluster->sql(statement.replace("%S", config.schema.toLatin1())).trimmed();
    }

    // Each value that was offered is there, with its time, and none of them twice.
    void expectLedgerIsEmpty() const
    {
        EXPECT_TRUE(within(20'000,
                           [this] {
                               return runner->status().counts.acknowledged >= quint64(offered) &&
                                      runner->status().counts.stored == 0;
                           }))
            << runner->status().counts.acknowledged << " of " << offered << " acknowledged, "
            << runner->status().counts.stored << " stored";
        const QString expected = QStringLiteral("%1|%1|0|%2").arg(offered).arg(offered - 1);
        EXPECT_EQ(sql("SELECT count(*), count(DISTINCT value), min(value), max(value) FROM %S.samples"),
                  expected);
        EXPECT_EQ(sql("SELECT count(*) FROM %S.samples WHERE value <> "
                      "extract(epoch FROM time) * 1000 - 1777881600000"),
                  "0");
        EXPECT_EQ(runner->status().lost + runner->status().counts.dropped + runner->status().counts.refused,
                  0U);
    }

    static Cluster *cluster;
    static int schemas;
    QTemporaryDir folder;
    MachineClock clock;
    PostgresqlConfig config;
    PqPatience patience;
    std::vector<TagConfig> tags;
    std::mutex mutex;
    QStringList notices;
    std::shared_ptr<PostgresqlWriter> ofOutlet;
    std::unique_ptr<OutletRunner> runner;
    qint64 offered = 0;
};

Cluster *PostgresqlTest::cluster = nullptr;
int PostgresqlTest::schemas = 0;

TEST_F(PostgresqlTest, rowsHaveTagTimeAndValue)
{
    makeAndStart();
    kvlink::Sample bad = sampleOf(7, 4000);
    bad.quality = kvlink::Quality::Bad;
    bad.reason = kvlink::Reason::PlcError;
    const std::vector<kvlink::Scalar> list{qint64(1), 2.5, QString::fromUtf8("t\0t", 3), std::monostate()};
    runner->offer("a.x", sampleOf(qint64(-2147483648)));
    runner->offer("a.x", sampleOf(0.1, 1));
    runner->offer("a.x", sampleOf(true, 1000));
    runner->offer("a.x", sampleOf(QString::fromUtf8("grün\0\t\\", 8), 2000));
    runner->offer("a.x", sampleOf(list, 3000));
    runner->offer("a.x", bad);
    runner->offer("a.x", sampleOf(std::numeric_limits<double>::quiet_NaN(), 5000));
    runner->offer("b.gone", sampleOf(qint64(1), 6000));
    ASSERT_TRUE(within(5000, [this] { return runner->status().counts.acknowledged == 8; }));
    EXPECT_EQ(sql("SELECT site, name, to_char(time AT TIME ZONE 'UTC', 'HH24:MI:SS.MS'), value, text, list, "
                  "quality, reason, unit FROM %S.history ORDER BY seq"),
              "s|a.x|08:00:00.000|-2147483648||"
              "|good||rpm\n"
              "s|a.x|08:00:00.001|0.1|||good||rpm\n"
              "s|a.x|08:00:01.000|1|||good||rpm\n"
              "s|a.x|08:00:02.000||gr\u00fcn\ufffd\t\\||good||rpm\n"
              "s|a.x|08:00:03.000|||[1, 2.5, \"t\ufffdt\", null]|good||rpm\n"
              "s|a.x|08:00:04.000||||bad|the PLC answered E0|rpm\n"
              "s|a.x|08:00:05.000||||good||rpm\n"
              "s|b.gone|08:00:06.000|1|||good||");
    EXPECT_EQ(sql("SELECT plc, name, unit, comment FROM %S.tags ORDER BY name"),
              "a|a.x|rpm|a \"set\" value\\\na|a.y||\nb|b.gone||");
}

TEST_F(PostgresqlTest, viewsShowTheNewestAndMinutes)
{
    makeAndStart();
    const struct {
        qint64 ms, value;
    } rows[] = {{0, 10}, {30'000, 30}, {59'999, 20}, {60'000, 5}};
    for (const auto &row : rows)
        runner->offer("a.x", sampleOf(row.value, row.ms));
    kvlink::Sample bad = sampleOf(qint64(5), 60'000);
    bad.quality = kvlink::Quality::Bad;
    bad.reason = kvlink::Reason::NoAnswer;
    runner->offer("a.x", bad);
    runner->offer("a.y", sampleOf(qint64(1)));
    ASSERT_TRUE(within(5000, [this] { return runner->status().counts.acknowledged == 6; }));
    EXPECT_EQ(sql("SELECT name, value, quality, reason FROM %S.latest ORDER BY name"),
              "a.x||bad|no answer\na.y|1|good|");
    EXPECT_EQ(sql("SELECT to_char(minute AT TIME ZONE 'UTC', 'HH24:MI'), min, max, avg, last, count, unit "
                  "FROM %S.minutes WHERE name = 'a.x' ORDER BY minute"),
              "08:00|10|30|20|20|3|rpm\n08:01|5|5|5|5|1|rpm");
}

TEST_F(PostgresqlTest, aRowThatComesAgainIsThereOnce)
{
    ASSERT_EQ(makeTables(), "made, version 1");
    PostgresqlWriter writer(config);
    QString problem;
    OutletRow live{17, "a.x", sampleOf(qint64(1))};
    live.sample.time += 567us; // a row that waited on disk has whole milliseconds
    const OutletRow stored{17, "a.x", sampleOf(qint64(1))};
    const OutletRow other{18, "a.x", sampleOf(qint64(1))};
    ASSERT_TRUE(writer.open(problem)) << problem.toStdString();
    EXPECT_EQ(writer.write({live}, problem), WriteResult::Written);
    EXPECT_EQ(writer.write({stored, other, stored}, problem), WriteResult::Written);
    ASSERT_TRUE(writer.open(problem)) << "a new connection";
    EXPECT_EQ(writer.write({stored, other}, problem), WriteResult::Written);
    EXPECT_EQ(sql("SELECT seq, extract(milliseconds FROM time) FROM %S.samples ORDER BY seq"),
              "17|0.000\n18|0.000");
}

TEST_F(PostgresqlTest, afterOutagesOfTheDatabaseTheLedgerIsEmpty)
{
    makeAndStart();
    offer(500);
    cluster->stop();
    offer(2000);
    EXPECT_TRUE(isStored(2000));
    EXPECT_FALSE(isConnected());
    cluster->start();
    ASSERT_TRUE(connects());
    offer(100);
    cluster->kill(); // in the middle of the drain
    offer(500);
    cluster->start();
    offer(500);
    expectLedgerIsEmpty();
}

TEST_F(PostgresqlTest, afterARestartOfTheGatewayTheLedgerIsEmpty)
{
    makeAndStart();
    offer(500);
    runner.reset();
    cluster->stop();
    start();
    offer(2000);
    EXPECT_TRUE(isStored(2000));
    runner.reset();
    cluster->start();
    start();
    EXPECT_TRUE(within(10'000, [this] { return sql("SELECT count(*) FROM %S.samples") == "2500"; }));
    EXPECT_EQ(sql("SELECT count(DISTINCT value) FROM %S.samples"), "2500");
}

TEST_F(PostgresqlTest, aFrozenDatabaseGetsEverythingWhenItGoesOn)
{
    makeAndStart();
    offer(300);
    cluster->freeze();
    offer(3000);
    EXPECT_TRUE(isStored(3000));
    cluster->thaw();
    offer(300);
    expectLedgerIsEmpty();
}

TEST_F(PostgresqlTest, aSilentDatabaseIsGivenUpAndGetsEverythingOnce)
{
    patience = {500ms, 500ms};
    makeAndStart();
    offer(300);
    cluster->freeze();
    offer(300);
    EXPECT_TRUE(failsWith("the database does not answer"));
    EXPECT_FALSE(isConnected());
    offer(300);
    EXPECT_TRUE(isStored(600));
    cluster->thaw();
    ASSERT_TRUE(connects());
    offer(300);
    expectLedgerIsEmpty();
}

TEST_F(PostgresqlTest, stopsBesideAFrozenDatabaseAndLosesNothing)
{
    makeAndStart();
    offer(100);
    cluster->freeze();
    offer(100);
    QElapsedTimer time;
    time.start();
    runner->stop();
    EXPECT_LT(time.elapsed(), 1500);
    runner.reset();
    EXPECT_EQ(ofOutlet.use_count(), 1) << "its thread still waits for the database";
    cluster->thaw();
    start();
    EXPECT_TRUE(within(10'000, [this] { return sql("SELECT count(*) FROM %S.samples") == "200"; }));
    EXPECT_EQ(sql("SELECT count(DISTINCT value) FROM %S.samples"), "200");
}

TEST_F(PostgresqlTest, anIdleConnectionThatEndsIsNoticed)
{
    makeAndStart();
    cluster->stop();
    EXPECT_TRUE(within(5000, [this] { return !isConnected(); }));
    cluster->start();
    EXPECT_TRUE(connects());
}

TEST_F(PostgresqlTest, withoutTablesItSaysWhatMakesThemAndGoesOnByItself)
{
    start();
    EXPECT_TRUE(failsWith("run kv-gateway db init"));
    offer(10);
    EXPECT_TRUE(isStored(10));
    EXPECT_EQ(makeTables(), "made, version 1");
    expectLedgerIsEmpty();
    const std::lock_guard lock(mutex);
    EXPECT_EQ(notices.size(), 2) << "attempts that fail alike are said once: "
                                 << notices.join("; ").toStdString();
}

TEST_F(PostgresqlTest, tablesAreMadeOnceAndANewerProgramIsLeftAlone)
{
    EXPECT_EQ(makeTables(), "made, version 1");
    EXPECT_EQ(makeTables(), "was there, version 1");
    sql("UPDATE %S.facts SET value = 2");
    EXPECT_TRUE(makeTables().contains("is of a newer kv-gateway"));
    start();
    EXPECT_TRUE(failsWith("is of a newer kv-gateway"));
}

TEST_F(PostgresqlTest, theTablesThatArePrintedAreTheSame)
{
    EXPECT_EQ(sql(schemaSql(config.schema)), "");
    EXPECT_EQ(makeTables(), "was there, version 1");
    start();
    EXPECT_TRUE(connects()) << runner->status().state.problem.toStdString();
}

// The extension is not in Debian: what stands in for it writes down how it was called.
TEST_F(PostgresqlTest, withTimescaleTheSamplesBecomeAHypertable)
{
    sql("CREATE SCHEMA IF NOT EXISTS \"Ext\"; CREATE TABLE \"Ext\".calls(what text);"
        "CREATE FUNCTION \"Ext\".create_hypertable(relation regclass, time_column_name name, if_not_exists "
        "bool, "
        "migrate_data bool) RETURNS void LANGUAGE sql AS $$ INSERT INTO \"Ext\".calls VALUES (relation || ' "
        "' || "
        "time_column_name || ' ' || if_not_exists) $$;"
        "SET allow_system_table_mods = on; INSERT INTO pg_extension VALUES (99999, 'timescaledb', 10, "
        "'\"Ext\"'::regnamespace, true, '1')");
    EXPECT_EQ(makeTables(), "made, version 1; the samples are a hypertable of TimescaleDB");
    EXPECT_EQ(sql("SELECT what FROM \"Ext\".calls"), config.schema + ".samples time true");
    sql("SET allow_system_table_mods = on; DELETE FROM pg_extension WHERE oid = 99999");
}

TEST_F(PostgresqlTest, aRefusedRowIsCountedAndHoldsUpNothing)
{
    ASSERT_EQ(makeTables(), "made, version 1");
    sql("ALTER TABLE %S.samples ADD CONSTRAINT small CHECK (value < 1000)");
    start();
    ASSERT_TRUE(connects());
    for (const qint64 value : {1, 2000, 3})
        runner->offer("a.x", sampleOf(value));
    EXPECT_TRUE(within(5000, [this] { return runner->status().counts.acknowledged == 2; }));
    EXPECT_TRUE(within(5000, [this] { return runner->status().counts.refused == 1; }));
    EXPECT_EQ(sql("SELECT value FROM %S.samples ORDER BY value"), "1\n3");
    EXPECT_TRUE(isConnected());
    EXPECT_EQ(sql("CREATE UNIQUE INDEX ON %S.samples (value)"), "");
    runner->offer("a.x", sampleOf(qint64(3)));
    EXPECT_TRUE(within(5000, [this] { return runner->status().counts.refused == 2; }))
        << "not there, and not taken for one that is";
    runner->stop();
    const std::lock_guard lock(mutex);
    EXPECT_TRUE(notices.join(';').contains("\"small\"")) << notices.join(';').toStdString();
}

TEST_F(PostgresqlTest, aRowThatBreaksSomebodysReferenceIsRefused)
{
    makeAndStart();
    EXPECT_EQ(sql("CREATE TABLE %S.allowed (tag integer PRIMARY KEY);"
                  "INSERT INTO %S.allowed SELECT id FROM %S.tags WHERE name = 'a.x';"
                  "ALTER TABLE %S.samples ADD CONSTRAINT theirs FOREIGN KEY (tag) REFERENCES %S.allowed"),
              "");
    runner->offer("a.y", sampleOf(qint64(1)));
    runner->offer("a.x", sampleOf(qint64(2)));
    EXPECT_TRUE(within(5000, [this] { return runner->status().counts.refused == 1; }));
    EXPECT_TRUE(within(5000, [this] { return runner->status().counts.acknowledged == 1; }));
    EXPECT_EQ(sql("SELECT value FROM %S.samples"), "2");
    EXPECT_TRUE(isConnected());
}

TEST_F(PostgresqlTest, aSchemaMayBeAWordOfSql)
{
    config.schema = "user";
    makeAndStart();
    offer(3);
    EXPECT_TRUE(within(5000, [this] { return runner->status().counts.acknowledged == 3; }));
    EXPECT_EQ(sql("SELECT count(*) FROM \"user\".samples"), "3");
}

TEST_F(PostgresqlTest, aDatabaseThatCannotHoldAllTextsIsRefused)
{
    EXPECT_EQ(sql("CREATE DATABASE latin ENCODING 'LATIN1' TEMPLATE template0"), "");
    config.database = "latin";
    EXPECT_EQ(makeTables(), "the database has the encoding LATIN1: make one with ENCODING 'UTF8'");
    start();
    EXPECT_TRUE(failsWith("the encoding LATIN1"));
}

TEST_F(PostgresqlTest, aTagThatSomebodyRemovedIsMadeAgain)
{
    makeAndStart();
    offer(10);
    ASSERT_TRUE(within(5000, [this] { return runner->status().counts.acknowledged == 10; }));
    EXPECT_EQ(sql("DELETE FROM %S.samples; DELETE FROM %S.tags"), "");
    offered = 0;
    offer(10);
    EXPECT_TRUE(within(10'000, [this] { return sql("SELECT count(*) FROM %S.history") == "10"; }));
}

TEST_F(PostgresqlTest, aMissingRightIsNamedAndNothingIsLost)
{
    ASSERT_EQ(makeTables(), "made, version 1");
    sql("CREATE ROLE gateway LOGIN");
    sql("GRANT USAGE ON SCHEMA %S TO gateway; GRANT SELECT ON %S.facts TO gateway;"
        "GRANT SELECT, INSERT, UPDATE ON %S.tags TO gateway; GRANT SELECT ON %S.samples TO gateway");
    config.user = "gateway";
    start();
    ASSERT_TRUE(connects());
    offer(10);
    EXPECT_TRUE(failsWith("permission denied for table samples"));
    EXPECT_TRUE(isStored(10));
    sql("GRANT INSERT ON %S.samples TO gateway");
    expectLedgerIsEmpty();
}

TEST_F(PostgresqlTest, thePasswordComesFromAFile)
{
    ASSERT_EQ(makeTables(), "made, version 1");
    sql("CREATE ROLE locked LOGIN SUPERUSER PASSWORD 'se cret'");
    config.user = "locked";
    config.passwordFile = cluster->path("password");
    cluster->writeFile("password", "wrong\n");
    start();
    EXPECT_TRUE(failsWith("password authentication failed for user \"locked\""))
        << runner->status().state.problem.toStdString();
    cluster->writeFile("password", "se cret\n");
    EXPECT_TRUE(connects()) << "the file is read with each attempt";
}

TEST_F(PostgresqlTest, tlsKnowsWhomItTalksTo)
{
    ASSERT_EQ(makeTables(), "made, version 1");
    const QString make = QStringLiteral(
        "cd %1 && for name in ca other; do openssl req -x509 -newkey ec -pkeyopt "
        "ec_paramgen_curve:prime256v1 "
        "-nodes -keyout $name.key -out $name.pem -subj /CN=$name -days 2; done 2>>openssl.log && "
        "openssl req -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -keyout server.key -out "
        "server.csr "
        "-subj /CN=server 2>>openssl.log && echo subjectAltName=IP:127.0.0.1 >ext && openssl x509 -req -in "
        "server.csr -CA ca.pem -CAkey ca.key -CAcreateserial -extfile ext -days 2 -out server.pem "
        "2>>openssl.log");
    ASSERT_EQ(QProcess::execute("sh", {"-c", make.arg(cluster->path(""))}), 0);
    cluster->own(cluster->path("server.key"));
    config.sslMode = SslMode::VerifyFull;
    config.ca = cluster->path("ca.pem");
    start();
    EXPECT_TRUE(failsWith("server does not support SSL")) << runner->status().state.problem.toStdString();
    offer(10);
    cluster->stop();
    cluster->start({"ssl=on", "ssl_cert_file=" + cluster->path("server.pem"),
                    "ssl_key_file=" + cluster->path("server.key")});
    EXPECT_TRUE(connects()) << runner->status().state.problem.toStdString();
    EXPECT_EQ(sql("SELECT ssl FROM pg_stat_ssl JOIN pg_stat_activity USING (pid) WHERE application_name = "
                  "'kv-gateway'"),
              "t");
    expectLedgerIsEmpty();
    runner.reset();
    config.ca = cluster->path("other.pem");
    start();
    EXPECT_TRUE(failsWith("certificate verify failed")) << runner->status().state.problem.toStdString();
}

} // namespace
} // namespace kvgateway
