// SPDX-License-Identifier: MIT
// The real program between a simulated PLC and a real PostgreSQL: as the page shows it,
// kill -9, reload.
#include "../outlets/cluster.h"
#include "gateway_process.h"

namespace kvgateway
{
namespace
{

// What the page of the documents has after "$ COMMAND", or below a first line; without indentation.
std::string partOfPage(const std::string &firstLine)
{
    QFile page(QStringLiteral(KV_POSTGRESQL_PAGE));
    EXPECT_TRUE(page.open(QIODevice::ReadOnly));
    const std::string text = page.readAll().toStdString();
    std::string part;
    std::size_t at = text.find("    " + firstLine + "\n");
    EXPECT_NE(at, std::string::npos) << firstLine;
    for (bool isFirst = true; at < text.size() && text.compare(at, 4, "    ") == 0; isFirst = false) {
        const std::size_t end = text.find('\n', at);
        const std::string line = text.substr(at + 4, end - at - 4);
        if (!isFirst && line[0] == '$')
            break;
        part += line + '\n';
        at = end + 1;
    }
    return part;
}

class GatewayPostgresqlTest : public GatewayTest
{
protected:
    static void SetUpTestSuite()
    {
        shared = new Cluster;
        shared->start();
        shared->sql("CREATE ROLE kv LOGIN; CREATE ROLE gateway LOGIN");
    }
    static void TearDownTestSuite()
    {
        delete shared;
        shared = nullptr;
    }
    GatewayPostgresqlTest()
    {
        if (!cluster.isUp())
            cluster.start();
        cluster.sql("DROP DATABASE IF EXISTS plant WITH (FORCE)");
        EXPECT_EQ(cluster.sql("CREATE DATABASE plant OWNER kv"), "");
        writeFile("tags.csv", "name,address,period,unit,rw\nspeed,DM100.S,20ms,rpm,rw\n"
                              "run,R500,20ms,,rw\nfixed,DM101,20ms,,r\n");
    }
    // The section of the page, with the database of the test in the place of its own.
    QByteArray section() const
    {
        QByteArray text = QByteArray::fromStdString(partOfPage("[[postgresql]]"));
        return text.replace("db.example", "127.0.0.1:" + QByteArray::number(cluster.port()));
    }
    void writeDatabase(const QByteArray &more = {})
    {
        writeFile("db-password", "unused\n");
        writeConfig("local = \"engineer\"", {}, section() + more);
    }
    // Padding at the end of lines is not on the page.
    std::string psql(const QString &statement) const
    {
        QProcess process;
        process.start("psql", {"-h", "127.0.0.1", "-p", QString::number(cluster.port()), "-U", "kv", "-X",
                               "-d", "plant", "-c", statement});
        EXPECT_TRUE(process.waitForFinished());
        std::string shown;
        for (QByteArray line : process.readAllStandardOutput().split('\n')) {
            while (line.endsWith(' '))
                line.chop(1);
            shown += line.toStdString() + '\n';
        }
        return shown.substr(0, shown.find("\n\n") + 1);
    }
    int count(const char *statement) const
    {
        const std::string text = psql(QString::fromLatin1(statement));
        return std::atoi(text.substr(text.find("-\n") + 2).c_str());
    }
    qint64 metric(const char *name) const
    {
        const std::string text = get("/metrics").body.toStdString();
        const std::string line = std::string("\n") + name + "{outlet=\"postgresql\"} ";
        const std::size_t at = text.find(line);
        return at == std::string::npos ? -1 : qint64(std::stod(text.substr(at + line.size())));
    }

    static Cluster *shared;
    Cluster &cluster = *shared;
};

Cluster *GatewayPostgresqlTest::shared = nullptr;

TEST_F(GatewayPostgresqlTest, doesWhatThePageShows)
{
    writeDatabase();
    const std::string init = "$ kv-gateway db init -c gateway.toml";
    const Ended made = command({"db", "init", "-c", "gateway.toml"});
    EXPECT_EQ(made.errors, "");
    EXPECT_EQ(made.code, 0);
    std::string expected = partOfPage(init).substr(init.size() + 1);
    expected.replace(expected.find("db.example:5432"), 15, "127.0.0.1:" + std::to_string(cluster.port()));
    EXPECT_EQ(made.output, expected);

    sim.control("set DM100=1480");
    sim.control("set DM101=7");
    sim.control("set R500=1");
    ASSERT_TRUE(startAndRead());
    const std::string latest =
        R"(psql plant -c "SELECT name, value, quality, unit FROM kv.latest WHERE site = 'plant1' ORDER BY name")";
    const std::string shown = partOfPage("$ " + latest).substr(latest.size() + 3);
    const QString statement = QString::fromStdString(latest).section('"', 1, 1);
    EXPECT_TRUE(within(10'000, [&] { return psql(statement) == shown; })) << psql(statement);

    sim.control("set DM100=1490");
    ASSERT_TRUE(within(10'000, [&] { return psql(statement).find("1490") != std::string::npos; }));
    const std::string history =
        R"($ psql plant -c "SELECT value, quality, reason FROM kv.history WHERE name = 'a.speed' ORDER BY time, seq")";
    EXPECT_EQ(partOfPage(history), history + '\n');
    EXPECT_NE(psql(QString::fromStdString(history).section('"', 1, 1)).find("1490 | good"),
              std::string::npos);
    EXPECT_TRUE(until([this] {
        return get("/api/v1/events?kind=outlet").body.contains("outlet postgresql: connected");
    })) << "events come a little later";
    EXPECT_LT(stop(), 2000);
    EXPECT_EQ(command({"db", "init", "-c", "gateway.toml"}).output.find("was there"),
              made.output.find("made"));
}

TEST_F(GatewayPostgresqlTest, theRightsOfThePageAreEnough)
{
    writeDatabase();
    ASSERT_EQ(command({"db", "init", "-c", "gateway.toml"}).code, 0);
    EXPECT_NE(psql(QString::fromStdString(partOfPage("GRANT USAGE ON SCHEMA kv TO gateway;"))).find("GRANT"),
              std::string::npos);
    const QByteArray asGateway = section().replace("kv@", "gateway@");
    writeConfig("local = \"engineer\"", {}, asGateway);
    ASSERT_TRUE(startAndRead());
    EXPECT_TRUE(within(10'000, [this] { return count("SELECT count(*) FROM kv.samples") >= 3; }));
}

TEST_F(GatewayPostgresqlTest, killedWhileTheDatabaseIsAwayItLosesNothingAndDoublesNothing)
{
    writeDatabase("drain = 100000\n");
    ASSERT_EQ(command({"db", "init", "-c", "gateway.toml"}).code, 0);
    ASSERT_TRUE(startAndRead());
    ASSERT_TRUE(until([this] { return metric("kvgateway_outlet_up") == 1; }));
    constexpr int changes = 40;
    for (int i = 1; i <= changes; ++i) {
        if (i == changes / 4)
            cluster.kill();
        sim.control("set DM100=" + QByteArray::number(i));
        // Of a value that is too old the database gets NULL.
        ASSERT_TRUE(until([&] {
            const QJsonObject speed = json(get("/api/v1/values/a.speed"));
            return speed["value"] == i && speed["quality"] == "good";
        }));
    }
    const qint64 offered = metric("kvgateway_outlet_offered_rows_total");
    // The sum alone may count twice: what is acknowledged leaves the disk a little later.
    EXPECT_TRUE(until([&] {
        return metric("kvgateway_outlet_queued_rows") == 0 &&
               metric("kvgateway_outlet_in_flight_rows") == 0 &&
               metric("kvgateway_outlet_stored_rows") + metric("kvgateway_outlet_acknowledged_rows_total") >=
                   offered;
    }));
    gateway.kill();
    gateway.waitForFinished();
    cluster.start();
    ASSERT_TRUE(startAndRead());
    const char *all = "SELECT count(DISTINCT value) FROM kv.history WHERE name = 'a.speed' AND value >= 1";
    EXPECT_TRUE(within(10'000, [&] { return count(all) == changes; })) << count(all);
    EXPECT_TRUE(until([this] { return metric("kvgateway_outlet_stored_rows") == 0; }));
    EXPECT_EQ(
        count("SELECT count(*) FROM (SELECT FROM kv.history WHERE quality = 'good' GROUP BY name, time, "
              "value HAVING count(*) > 1) AS doubled"),
        0);
}

TEST_F(GatewayPostgresqlTest, withoutADatabaseTheCommandsSayWhatIsWrong)
{
    writeConfig();
    EXPECT_EQ(command({"db", "init", "-c", "gateway.toml"}).errors,
              "gateway.toml has no [[postgresql]]: add one, with a url\n");
    writeDatabase();
    EXPECT_EQ(command({"db", "init", "-c", "gateway.toml", "other"}).errors,
              "no [[postgresql]] is called \"other\"; nothing was changed\n");
    const Ended sql = command({"db", "sql", "-c", "gateway.toml", "postgresql"});
    EXPECT_EQ(sql.output.rfind("BEGIN;\nCREATE SCHEMA IF NOT EXISTS \"kv\";\n", 0), 0U) << sql.output;
    cluster.stop();
    const Ended failed = command({"db", "init", "-c", "gateway.toml"});
    EXPECT_EQ(failed.code, 1);
    const std::string number = std::to_string(cluster.port());
    EXPECT_EQ(failed.errors, "postgresql://127.0.0.1:" + number +
                                 "/plant: connection to server at \"127.0.0.1\", port " + number +
                                 " failed: Connection refused\n");
}

TEST_F(GatewayPostgresqlTest, aBrokerBesideItGetsTheSame)
{
    Broker broker;
    broker.start();
    writeDatabase("[[mqtt]]\nurl = \"mqtt://127.0.0.1:" + QByteArray::number(broker.port()) +
                  "\"\nsite = \"s\"\n");
    ASSERT_EQ(command({"db", "init", "-c", "gateway.toml"}).code, 0);
    ASSERT_TRUE(startAndRead());
    const Subscriber subscriber(broker.port());
    cluster.stop(); // one that is away holds up no other
    sim.control("set DM100=5");
    EXPECT_TRUE(subscriber.waitFor("kv/s/a/speed", "{\"value\":5,"));
    cluster.start();
    EXPECT_TRUE(
        within(15'000, [this] { return count("SELECT count(*) FROM kv.history WHERE value = 5") >= 1; }));
}

TEST_F(GatewayPostgresqlTest, aReloadBringsAnOutletAndTakesItAway)
{
    writeDatabase();
    ASSERT_EQ(command({"db", "init", "-c", "gateway.toml"}).code, 0);
    writeConfig();
    ASSERT_TRUE(startAndRead());
    EXPECT_EQ(metric("kvgateway_outlet_up"), -1);
    writeDatabase();
    EXPECT_EQ(post("/api/v1/config/reload", "").status, 200);
    EXPECT_TRUE(until([this] { return metric("kvgateway_outlet_up") == 1; }));
    sim.control("set DM100=5");
    EXPECT_TRUE(
        within(10'000, [this] { return count("SELECT count(*) FROM kv.history WHERE value = 5") >= 1; }));
    writeConfig();
    EXPECT_EQ(post("/api/v1/config/reload", "").status, 200);
    EXPECT_EQ(metric("kvgateway_outlet_up"), -1);
}

} // namespace
} // namespace kvgateway
