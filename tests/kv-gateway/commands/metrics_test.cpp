// SPDX-License-Identifier: MIT
// What Prometheus reads, as its own tool sees it, and the dashboard that shows it.
#include "gateway_process.h"

#include <QJsonArray>
#include <QRegularExpression>
#include <QSet>

namespace kvgateway
{
namespace
{

// What promtool says against a text; empty: nothing.
QByteArray promtool(const QStringList &arguments, const QByteArray &input = {})
{
    QProcess tool;
    tool.start("promtool", arguments);
    tool.write(input);
    tool.closeWriteChannel();
    if (!tool.waitForFinished(patienceMs))
        return "promtool did not run: " + tool.errorString().toLocal8Bit();
    const QByteArray errors = tool.readAllStandardError();
    return tool.exitCode() == 0 || !errors.isEmpty() ? errors : tool.readAllStandardOutput();
}

// The number behind a name with its labels; none: there is no such line.
std::optional<double> value(const QByteArray &metrics, const QByteArray &series)
{
    const auto begin = metrics.indexOf("\n" + series + " ");
    if (begin < 0)
        return std::nullopt;
    const QByteArray rest = metrics.mid(begin + 1 + series.size() + 1);
    return rest.left(rest.indexOf('\n')).toDouble();
}

QStringList dashboardQueries()
{
    QFile file(QStringLiteral(KV_DASHBOARD));
    EXPECT_TRUE(file.open(QIODevice::ReadOnly));
    const QJsonObject dashboard = QJsonDocument::fromJson(file.readAll()).object();
    QStringList queries;
    for (const auto &panel : dashboard["panels"].toArray()) {
        for (const auto &target : panel.toObject()["targets"].toArray())
            queries << target.toObject()["expr"].toString();
    }
    for (const auto &variable : dashboard["templating"].toObject()["list"].toArray()) {
        if (variable.toObject()["type"] == "query")
            queries << variable.toObject()["query"].toString();
    }
    return queries;
}

TEST_F(GatewayTest, metricsAreThoseThatPrometheusWants)
{
    writeConfig();
    ASSERT_TRUE(startAndRead());
    ASSERT_EQ(post("/api/v1/writes", R"({"tag":"a.speed","value":1})").status, 200);
    const QByteArray metrics = get("/metrics").body;
    for (const char *line :
         {"kvlink_link_up{plc=\"a\"} 1\n", "kvlink_writes_total{plc=\"a\",outcome=\"done\"} 1\n",
          "kvlink_writes_total{plc=\"a\",outcome=\"unknown\"} 0\n",
          "kvgateway_config_last_reload_successful 1\n"})
        EXPECT_TRUE(metrics.contains(line)) << line << metrics.toStdString();
    EXPECT_FALSE(metrics.contains("speed")) << "a tag is never a label";
    EXPECT_EQ(promtool({"check", "metrics"}, metrics).toStdString(), "");
}

TEST_F(GatewayTest, answerTimesAreAHistogram)
{
    writeConfig();
    ASSERT_TRUE(startAndRead());
    const QByteArray metrics = get("/metrics").body;
    const QByteArray name = "kvlink_request_duration_seconds";
    EXPECT_TRUE(metrics.contains("# TYPE " + name + " histogram\n"));
    double before = 0;
    for (const char *bound : {"0.001", "0.0025", "0.005", "0.01", "0.025", "0.05", "0.1", "0.25", "0.5", "1",
                              "2.5", "5", "+Inf"}) {
        const auto count = value(metrics, name + "_bucket{plc=\"a\",le=\"" + bound + "\"}");
        ASSERT_TRUE(count) << bound << metrics.toStdString();
        EXPECT_GE(*count, before) << "each bound counts those below it, too";
        before = *count;
    }
    EXPECT_GT(before, 0);
    EXPECT_EQ(value(metrics, name + "_count{plc=\"a\"}"), before);
    EXPECT_EQ(value(metrics, "kvlink_answers_total{plc=\"a\"}"), before);
    EXPECT_GT(value(metrics, name + "_sum{plc=\"a\"}").value_or(0), 0);
}

TEST_F(GatewayTest, theDashboardAsksForWhatIsServed)
{
    writeConfig();
    ASSERT_TRUE(startAndRead());
    const QByteArray metrics = get("/metrics").body;
    const QStringList queries = dashboardQueries();
    EXPECT_GT(queries.size(), 10);
    QByteArray rules = "groups:\n- name: dashboard\n  rules:\n";
    for (const QString &query : queries) {
        static const QRegularExpression names("\\bkv(?:link|gateway)_[a-z_]+\\b");
        auto found = names.globalMatch(query);
        EXPECT_TRUE(found.hasNext()) << query.toStdString();
        while (found.hasNext()) {
            const QByteArray name = found.next().captured().toLatin1();
            EXPECT_TRUE(metrics.contains("\n" + name + "{") || metrics.contains("\n" + name + " "))
                << name.toStdString() << " is not served";
        }
        if (!query.startsWith("label_values("))
            rules += "  - record: one:of:them\n    expr: '" +
                     QString(query).replace("$__rate_interval", "5m").toUtf8() + "'\n    labels: {query: '" +
                     QByteArray::number(queries.indexOf(query)) + "'}\n";
    }
    writeFile("rules.yml", rules);
    EXPECT_EQ(promtool({"check", "rules", path("rules.yml")}).toStdString(), "");
}

} // namespace
} // namespace kvgateway
