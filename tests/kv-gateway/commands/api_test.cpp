// SPDX-License-Identifier: MIT
// The API of the real program against a simulated PLC, as a client sees it.
#include "gateway_process.h"

#include <QJsonArray>

namespace kvgateway
{
namespace
{

TEST_F(GatewayTest, valuesFollowThePlc)
{
    writeConfig();
    sim.control("set DM100=5");
    ASSERT_TRUE(startAndRead());
    EXPECT_EQ(json(get("/api/v1/values/a.speed"))["value"], 5);
    sim.control("set DM100=65529");
    EXPECT_TRUE(until([this] { return json(get("/api/v1/values/a.speed"))["value"] == -7; }));
    const QJsonObject page = json(get("/api/v1/values?limit=2"));
    EXPECT_EQ(page["total"], 3);
    EXPECT_EQ(page["next"], 2);
    EXPECT_EQ(json(get("/api/v1/values?tags=a.r*,a.fixed"))["total"], 2);
    EXPECT_EQ(json(get("/api/v1/tags?plc=b"))["total"], 0);
}

TEST_F(GatewayTest, tagsAreDescribed)
{
    writeFile("tags.csv", "name,address,period,unit,min,max,rw,confirm,button,comment\n"
                          "speed,DM100.S:2,20ms,rpm,-10,1500,rw,yes,,of the drive\n"
                          "jog,R500,1s,,,,rw,,yes,\n"
                          "mask,DM120.H,1s,,,,r,,,\n");
    writeConfig();
    ASSERT_TRUE(start());
    EXPECT_EQ(
        get("/api/v1/tags").body,
        R"({"tags":[{"tag":"a.speed","plc":"a","address":"DM100.S:2","unit":"rpm","comment":"of the drive",)"
        R"("period":0.02,"min":-10,"max":1500,"kind":"whole","count":2,"writable":true,"history":false,)"
        R"("confirm":true,"button":false},)"
        R"({"tag":"a.jog","plc":"a","address":"R500","period":1,"kind":"bit","count":1,"writable":true,)"
        R"("history":false,"confirm":false,"button":true},)"
        R"({"tag":"a.mask","plc":"a","address":"DM120.H","period":1,"kind":"hex","count":1,"digits":4,)"
        R"("writable":false,"history":false,"confirm":false,"button":false}],"total":3})");
}

struct WrongRow {
    const char *method, *target, *body;
    int status;
    const char *hint;
};

TEST_F(GatewayTest, mistakesAreNamed)
{
    writeConfig();
    ASSERT_TRUE(startAndRead());
    const WrongRow rows[] = {
        {"GET", "/index.html", "", 404, "/api/v1/openapi.json"},
        {"GET", "/api/v1/../../etc/passwd", "", 404, "there is nothing"},
        {"GET", "/api/v1/values/..%2F..%2Fetc%2Fpasswd", "", 404, "there is no tag"},
        {"GET", "/api/v1/values/a.sped", "", 404, "did you mean \\\"a.speed\\\""},
        {"GET", "/api/v1/values?tags=a.sped", "", 404, "did you mean \\\"a.speed\\\""},
        {"GET", "/api/v1/events?kind=outlets", "", 400, "clock, history, access, outlet\""},
        {"GET", "/api/v1/values?limit=0", "", 400, "from 1 to 10000"},
        {"GET", "/api/v1/history?tag=a.run", "", 404, "must say history yes"},
        {"GET", "/api/v1/history?tag=a.speed&from=yesterday", "", 400, "from: 'yesterday' is not a time"},
        {"GET", "/api/v1/history?tag=a.speed&from=2030-01-01&to=2029-01-01", "", 400,
         "from must be before to"},
        {"GET", "/api/v1/events?kind=weather", "", 400, "kind must be one of"},
        {"GET", "/api/v1/events?before=x", "", 400, "before must be"},
        {"DELETE", "/api/v1/values", "", 405, "takes GET"},
        {"POST", "/api/v1/writes", "{\"tag\":", 400, "not JSON"},
        {"POST", "/api/v1/writes", "[]", 400, "a JSON object"},
        {"POST", "/api/v1/writes", "{\"tag\":\"a.sped\",\"value\":1}", 404, "did you mean"},
        {"POST", "/api/v1/writes", "{\"tag\":\"a.speed\",\"valeu\":1}", 400, "did you mean \\\"value\\\""},
        {"POST", "/api/v1/writes", "{\"tag\":\"a.speed\"}", 400, "the value must be"},
        {"POST", "/api/v1/writes", "{\"tag\":\"a.speed\",\"value\":1,\"expires\":0}", 400, "expires must be"},
        {"POST", "/api/v1/writes", "{\"tag\":\"a.speed\",\"value\":1,\"correlation\":\"a b\"}", 400,
         "correlation must"},
        {"POST", "/api/v1/writes", "{\"tag\":\"a.speed\",\"value\":1501}", 409, "1501 is above"},
        {"POST", "/api/v1/writes", "{\"tag\":\"a.fixed\",\"value\":1}", 409, "read-only"},
        {"POST", "/api/v1/buttons", "{\"tag\":\"a.speed\"}", 409, "not a push button"},
        {"PUT", "/api/v1/buttons/99", "", 410, "press again"},
    };
    for (const WrongRow &row : rows) {
        const Answer answer = request(port, row.method, row.target, row.body);
        EXPECT_EQ(answer.status, row.status) << row.target << " " << row.body;
        EXPECT_TRUE(answer.body.contains(row.hint)) << row.target << ": " << answer.body.toStdString();
        EXPECT_TRUE(answer.head.contains("application/problem+json")) << row.target;
    }
    EXPECT_EQ(sim.control("get DM100"), "00000");
}

TEST_F(GatewayTest, aWriteIsDoneRecordedAndFoundAgain)
{
    writeConfig();
    ASSERT_TRUE(startAndRead());
    const Answer answer = post("/api/v1/writes", R"({"tag":"a.speed","value":42,"correlation":"order-7"})");
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(json(answer)["outcome"], "done");
    EXPECT_EQ(sim.control("get DM100"), "00042");
    QByteArray audit;
    EXPECT_TRUE(until([&] {
        audit = get("/api/v1/audit?correlation=order-7").body;
        return audit.contains("\"outcome\":\"done\"");
    })) << audit.toStdString();
    EXPECT_TRUE(audit.contains("\"new\":42,\"old\":0"));
    EXPECT_TRUE(get("/api/v1/events?kind=write").body.contains("write of a.speed: done"));
}

TEST_F(GatewayTest, aWriteWithoutALinkIsNotSent)
{
    writeConfig();
    ASSERT_TRUE(startAndRead());
    sim.stop();
    ASSERT_TRUE(until([this] { return get("/api/v1/values/a.speed").body.contains("\"bad\""); }));
    const Answer answer = post("/api/v1/writes", R"({"tag":"a.speed","value":42})");
    EXPECT_EQ(answer.status, 409);
    EXPECT_EQ(json(answer)["outcome"], "not sent");
    EXPECT_EQ(json(get("/api/v1/values/a.speed"))["value"], 0) << "the last value stays, marked as bad";
}

TEST_F(GatewayTest, aWriteThatNobodyConfirmsIsUnknown)
{
    writeConfig("local = \"engineer\"", {}, "timeout = \"200ms\"");
    ASSERT_TRUE(startAndRead());
    sim.sendSignal(SIGSTOP);
    const Answer answer = post("/api/v1/writes", R"({"tag":"a.speed","value":42})");
    sim.sendSignal(SIGCONT);
    EXPECT_TRUE(answer.status == 504 || answer.status == 409) << answer.body.toStdString();
    EXPECT_EQ(json(answer)["outcome"], answer.status == 504 ? "unknown" : "not sent");
}

TEST_F(GatewayTest, aButtonIsHeldAndReleased)
{
    writeConfig();
    ASSERT_TRUE(startAndRead());
    const Answer pressed = post("/api/v1/buttons", R"({"tag":"a.run"})");
    ASSERT_EQ(pressed.status, 201);
    const std::string button = "/api/v1/buttons/" + std::to_string(json(pressed)["button"].toInt());
    EXPECT_TRUE(until([this] { return sim.control("get R500") == "1"; }));
    EXPECT_EQ(request(port, "PUT", button).status, 204);
    EXPECT_EQ(request(port, "DELETE", button).status, 204);
    EXPECT_TRUE(until([this] { return sim.control("get R500") == "0"; }));
    EXPECT_TRUE(until([&] { return request(port, "PUT", button).status == 410; }));
    EXPECT_EQ(json(request(port, "PUT", button))["outcome"], "done");
}

TEST_F(GatewayTest, aPressThatThePlcRefusesIsNotCalledReleased)
{
    writeConfig();
    ASSERT_TRUE(startAndRead());
    sim.control("write-protect on");
    const Answer pressed = post("/api/v1/buttons", R"({"tag":"a.run"})");
    ASSERT_EQ(pressed.status, 201);
    const std::string button = "/api/v1/buttons/" + std::to_string(json(pressed)["button"].toInt());
    for (const char *method : {"PUT", "DELETE"}) {
        Answer answer;
        EXPECT_TRUE(until([&] { return (answer = request(port, method, button)).status == 410; }));
        EXPECT_EQ(json(answer)["outcome"], "refused") << answer.body.toStdString();
        EXPECT_TRUE(json(answer)["detail"].toString().contains("E4")) << answer.body.toStdString();
        EXPECT_FALSE(json(answer)["detail"].toString().contains("released")) << answer.body.toStdString();
    }
}

TEST_F(GatewayTest, aButtonOfAClientThatHangsReleases)
{
    writeConfig();
    ASSERT_TRUE(startAndRead());
    ASSERT_EQ(post("/api/v1/buttons", R"({"tag":"a.run"})").status, 201);
    EXPECT_TRUE(until([this] { return sim.control("get R500") == "1"; }));
    EXPECT_TRUE(until([this] { return sim.control("get R500") == "0"; }));
}

class Stream
{
public:
    Stream(quint16 port, const std::string &headers = {}) : m_client(port)
    {
        m_client.send("GET /api/v1/stream?tags=a.speed HTTP/1.1\r\nHost: 127.0.0.1\r\n" + headers + "\r\n");
    }
    // The next line that begins so.
    std::string next(const std::string &begin)
    {
        QElapsedTimer clock;
        clock.start();
        while (clock.elapsed() < patienceMs) {
            const std::string line = m_client.line();
            if (line.rfind(begin, 0) == 0)
                return line.substr(begin.size());
        }
        return "nothing";
    }
    bool shows(const std::string &text)
    {
        QElapsedTimer clock;
        clock.start();
        while (clock.elapsed() < patienceMs) {
            if (next("data: [{\"tag\"").find(text) != std::string::npos)
                return true;
        }
        return false;
    }

private:
    Client m_client;
};

TEST_F(GatewayTest, theStreamShowsChangesAndResumes)
{
    writeConfig();
    ASSERT_TRUE(startAndRead());
    std::string id;
    {
        Stream stream(port);
        EXPECT_NE(stream.next("data: ").find("\"replay\":\"snapshot\""), std::string::npos);
        id = stream.next("id: ");
        sim.control("set DM100=5");
        EXPECT_TRUE(stream.shows("\"value\":5"));
    }
    Stream again(port, "Last-Event-ID: " + id + "\r\n");
    EXPECT_NE(again.next("data: ").find("\"replay\":\"all\""), std::string::npos);
    EXPECT_TRUE(again.shows("\"value\":5"));
    Stream ofAnotherRun(port, "Last-Event-ID: ffffffff-5\r\n");
    EXPECT_NE(ofAnotherRun.next("data: ").find("\"replay\":\"snapshot\""), std::string::npos);
}

TEST_F(GatewayTest, aSilentStreamBeats)
{
    writeConfig();
    writeFile("tags.csv", "name,address,period\nspeed,DM100.S,30s\n"); // never stale on a busy machine
    ASSERT_TRUE(startAndRead());
    Stream stream(port);
    EXPECT_EQ(stream.next("event: beat"), "");
}

// A reader that never reads costs nobody anything.
TEST_F(GatewayTest, slowAndHalfOpenClientsHoldNobodyUp)
{
    writeConfig("local = \"engineer\"", "connections = 100");
    ASSERT_TRUE(startAndRead());
    Stream never(port);
    std::vector<std::unique_ptr<Client>> clients;
    for (int i = 0; i < 45; ++i) {
        clients.push_back(std::make_unique<Client>(port));
        clients.back()->send(
            "POST /api/v1/writes HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: 500\r\n\r\n{");
    }
    for (int i = 0; i < 20; ++i) {
        sim.control("set DM100=" + QByteArray::number(i));
        EXPECT_TRUE(until([&] { return json(get("/api/v1/values/a.speed"))["value"] == i; }));
    }
}

TEST_F(GatewayTest, theConfigurationThatRunsIsShown)
{
    writeConfig();
    ASSERT_TRUE(startAndRead());
    const Answer answer = get("/api/v1/config");
    EXPECT_TRUE(answer.body.contains("{\"name\":\"a\",\"tags\":3,\"url\":\"" + sim.url().toUtf8() + "\"}"))
        << answer.body.toStdString();
}

TEST_F(GatewayTest, plcsAreShownWithWhatTheySayOfThemselves)
{
    writeConfig();
    ASSERT_TRUE(startAndRead());
    const auto plc = [this] { return json(get("/api/v1/plcs"))["plcs"].toArray()[0].toObject(); };
    EXPECT_TRUE(until([&] { return plc()["self"].toObject()["error"] == "000"; }));
    EXPECT_EQ(plc()["self"].toObject()["model"], "57");
    EXPECT_EQ(plc()["self"].toObject()["mode"], "1");
    EXPECT_EQ(plc()["state"], "ready");
    const QJsonArray periods = plc()["periods"].toArray();
    ASSERT_EQ(periods.size(), 1);
    EXPECT_EQ(periods[0].toObject()["askedMs"], 20);
    EXPECT_EQ(periods[0].toObject()["tags"], 3);
    const double errors = plc()["failuresByKind"].toObject()["plcError"].toDouble();
    sim.control("fault error next 3 cmd RDS");
    EXPECT_TRUE(until([&] { return plc()["failuresByKind"].toObject()["plcError"].toDouble() > errors; }));
    sim.stop();
    EXPECT_TRUE(until([&] { return plc()["self"].toObject()["model"] == ""; }))
        << "nobody knows what comes back";
}

TEST_F(GatewayTest, drawingsAreShownAndReloaded)
{
    const QByteArray begin = "<svg xmlns=\"http://www.w3.org/2000/svg\"><title>";
    writeConfig();
    writeFile("gateway.toml", "pages = \".\"\n" + readFile("gateway.toml"));
    writeFile("belt.svg", begin + "Belt</title><text data-tag=\"a.speed\"/></svg>");
    ASSERT_TRUE(startAndRead());
    EXPECT_EQ(get("/api/v1/pages").body, R"({"pages":[{"name":"belt","title":"Belt"}]})");
    const Answer drawing = get("/api/v1/pages/belt.svg");
    EXPECT_EQ(drawing.body, begin + "Belt</title><text data-tag=\"a.speed\"/></svg>");
    EXPECT_TRUE(drawing.head.contains("Content-Type: image/svg+xml")) << drawing.head.toStdString();
    EXPECT_TRUE(drawing.head.contains("default-src 'none'"));
    for (const char *other : {"belt", "gateway.toml", "..%2Fgateway.toml", "../belt.svg", "BELT.svg"})
        EXPECT_EQ(get(std::string("/api/v1/pages/") + other).status, 404) << other;

    writeFile("belt.svg", begin + "New</title><script/></svg>");
    EXPECT_TRUE(post("/api/v1/config/reload", {}).body.contains("belt.svg:1: <script> cannot be shown"));
    EXPECT_TRUE(get("/api/v1/pages").body.contains("Belt")) << "the old drawing goes on";
    writeFile("belt.svg", begin + "New</title></svg>");
    EXPECT_EQ(post("/api/v1/config/reload", {}).status, 200);
    EXPECT_TRUE(get("/api/v1/pages/belt.svg").body.contains("New"));
}

TEST_F(GatewayTest, historyComesAsTrendAndAsCsv)
{
    writeConfig();
    ASSERT_TRUE(startAndRead());
    sim.control("set DM100=12");
    QByteArray csv;
    EXPECT_TRUE(until([&] {
        csv = get("/api/v1/history.csv?tags=a.*").body;
        return csv.contains(",a.speed,good,,12\r\n");
    })) << csv.toStdString();
    const Answer trend = get("/api/v1/history?tag=a.speed&points=10");
    EXPECT_TRUE(trend.body.contains(",12]")) << trend.body.toStdString();
    const Ended listed = command({"history", "-c", "gateway.toml"});
    EXPECT_EQ(listed.output.rfind("a.speed\t", 0), 0u) << listed.errors;
    const Ended rows = command({"history", "-c", "gateway.toml", "a.sp*"});
    EXPECT_NE(rows.output.find(",a.speed,good,,12\r\n"), std::string::npos);
    EXPECT_NE(command({"history", "-c", "gateway.toml", "b.*"}).errors.find("no history of \"b.*\""),
              std::string::npos);
}

TEST_F(GatewayTest, thePanelIsServedAndMayOpenFromALink)
{
    writeConfig();
    ASSERT_TRUE(start());
    const Answer page = get("/", "Sec-Fetch-Site: cross-site\r\n");
    ASSERT_EQ(page.status, 200) << page.head.toStdString();
    EXPECT_TRUE(page.body.startsWith("<!DOCTYPE html>"));
    EXPECT_TRUE(page.head.contains(
        "Content-Security-Policy: default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' "
        "data:; "
        "connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"));
    EXPECT_EQ(page.head.count("Content-Security-Policy"), 1) << "two would both hold";
    for (const char *header : {"X-Content-Type-Options: nosniff", "Referrer-Policy: no-referrer",
                               "X-Frame-Options: DENY", "Cache-Control: no-cache"})
        EXPECT_TRUE(page.head.contains(header)) << header;
    const auto from = page.body.indexOf("panel/");
    const QByteArray script =
        "/" + page.body.mid(from, int(sizeof "panel/0123456789abcdef") - 1) + "/main.js";
    const Answer whole = get(script.toStdString());
    EXPECT_TRUE(whole.head.contains("Cache-Control: public, max-age=31536000, immutable"));
    const Answer packed = get(script.toStdString(), "Accept-Encoding: gzip, deflate\r\n");
    EXPECT_TRUE(packed.head.contains("Content-Encoding: deflate"));
    EXPECT_LT(packed.body.size(), whole.body.size());
    const auto tag = whole.head.indexOf("ETag: ") + 6;
    const std::string known = whole.head.mid(tag, whole.head.indexOf('\r', tag) - tag).toStdString();
    const Answer same = get(script.toStdString(), "If-None-Match: " + known + "\r\n");
    EXPECT_EQ(same.status, 304);
    EXPECT_TRUE(same.body.isEmpty());
    EXPECT_EQ(get("/panel/0123456789abcdef/main.js").status, 404);
    EXPECT_EQ(post("/", "{}").status, 404);
}

} // namespace
} // namespace kvgateway
