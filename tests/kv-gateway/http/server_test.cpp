// SPDX-License-Identifier: MIT
// The server with its library: answers at once and later, streams, limits, and how it stops.
#include "http/server.h"
#include "store/clock.h"

#include "http_client.h"

#include <QElapsedTimer>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace kvgateway
{
namespace
{

// Counts to three, one for each wake, and ends.
class Counter : public StreamSource
{
public:
    State read(QByteArray &out) override
    {
        if (m_count == 3)
            return State::End;
        if (std::exchange(m_isWoken, !m_isWoken))
            return State::Wait;
        out += QByteArray::number(++m_count) + "\n";
        return State::Data;
    }

private:
    int m_count = 0;
    bool m_isWoken = false;
};

class Endless : public StreamSource
{
public:
    State read(QByteArray & /*out*/) override { return State::Wait; }
};

class ServerTest : public testing::Test
{
protected:
    void SetUp() override
    {
        QString problem;
        ASSERT_TRUE(server.start(problem)) << problem.toStdString();
    }
    void TearDown() override
    {
        for (std::thread &thread : threads)
            thread.join();
    }

    void handle(const Request &request, const std::shared_ptr<Reply> &reply)
    {
        const QString path = request.path;
        if (path == "/later") {
            threads.emplace_back([reply] { reply->send(jsonResponse({{"later", true}})); });
        } else if (path == "/never") {
            // Answered by the server when it stops.
        } else if (path == "/count" || path == "/endless") {
            Response response;
            response.contentType = "text/plain";
            if (path == "/count")
                response.stream = std::make_unique<Counter>();
            else
                response.stream = std::make_unique<Endless>();
            reply->send(std::move(response));
        } else {
            QJsonObject seen{{"method", QString::fromLatin1(request.method)},
                             {"path", path},
                             {"x", request.query.value("x")},
                             {"cookie", request.cookie("b")},
                             {"body", QString::fromUtf8(request.body)},
                             {"peer", request.peer},
                             {"loopback", request.isLoopback}};
            reply->send(jsonResponse(seen));
            reply->send(problemResponse(500, "a second answer is dropped"));
        }
    }

    std::vector<std::thread> threads;
    HttpServer server{
        {QStringLiteral("127.0.0.1"), 0, {}, {}, 50, 20, 1000, 2},
        [this](const Request &request, const std::shared_ptr<Reply> &reply) { handle(request, reply); }};
};

TEST_F(ServerTest, aRequestIsHandedOnWhole)
{
    const Answer answer =
        request(server.port(), "POST", "/a%20b?x=1%2B1&y", "hello", "Cookie: a=1; b=two\r\n");
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.body, R"({"body":"hello","cookie":"two","loopback":true,"method":"POST",)"
                           R"("path":"/a b","peer":"127.0.0.1","x":"1+1"})");
    EXPECT_TRUE(answer.head.contains("Content-Type: application/json"));
    EXPECT_TRUE(answer.head.contains("Cache-Control: no-store"));
}

TEST_F(ServerTest, aZeroByteHidesNothing)
{
    EXPECT_TRUE(request(server.port(), "GET", "/a%00b?x=c%00d")
                    .body.contains(R"("path":"/a\u0001b","peer":"127.0.0.1","x":"c\u0001d")"));
}

TEST_F(ServerTest, anAnswerMayComeLater)
{
    for (int i = 0; i < 50; ++i)
        EXPECT_EQ(request(server.port(), "GET", "/later").body, R"({"later":true})");
}

TEST_F(ServerTest, aStreamGoesOnWhenItIsWoken)
{
    std::atomic<bool> isOver{false};
    threads.emplace_back([&] {
        while (!isOver)
            server.wakeStreams();
    });
    const Answer answer = request(server.port(), "GET", "/count");
    isOver = true;
    EXPECT_TRUE(answer.body.contains("1\n") && answer.body.contains("2\n") && answer.body.contains("3\n"));
}

TEST_F(ServerTest, stoppingAnswersWhatWasPutAside)
{
    Client never(server.port()), endless(server.port());
    never.send("GET /never HTTP/1.1\r\nHost: x\r\n\r\n");
    endless.send("GET /endless HTTP/1.1\r\nHost: x\r\n\r\n");
    EXPECT_FALSE(endless.line().empty());
    EXPECT_EQ(request(server.port(), "GET", "/").status, 200) << "others are served meanwhile";
    QElapsedTimer clock;
    clock.start();
    server.stop();
    EXPECT_LT(clock.elapsed(), 1000);
    EXPECT_EQ(parsed(never.untilEnd()).status, 503);
    EXPECT_EQ(server.streams(), 0);
}

TEST_F(ServerTest, aLargeBodyIsRefused)
{
    EXPECT_EQ(request(server.port(), "POST", "/", std::string(1000, 'x')).status, 200);
    const Answer answer = request(server.port(), "POST", "/", std::string(1001, 'x'));
    EXPECT_EQ(answer.status, 413);
    EXPECT_TRUE(answer.head.contains("application/problem+json"));
}

TEST_F(ServerTest, largeHeadersAreRefused)
{
    const int status =
        request(server.port(), "GET", "/", {}, "X: " + std::string(64 * 1024, 'x') + "\r\n").status;
    EXPECT_TRUE(status == 413 || status == 431 || status == 0) << status;
    EXPECT_EQ(request(server.port(), "GET", "/").status, 200);
}

TEST_F(ServerTest, aHalfRequestIsClosedAfterAWhile)
{
    Client slow(server.port());
    slow.send("GET / HTTP/1.1\r\nHost:");
    EXPECT_EQ(request(server.port(), "GET", "/").status, 200) << "others are served meanwhile";
    EXPECT_EQ(parsed(slow.untilEnd()).status / 100 % 4, 0) << "closed, perhaps with 408";
}

// Never idle for as long as idleSeconds: only the time of the whole request ends it. It may begin
// just before the connection was idle for too long.
TEST_F(ServerTest, aRequestThatComesByteByByteIsClosed)
{
    using namespace std::chrono_literals;
    HttpServer patient(
        {QStringLiteral("127.0.0.1"), 0, {}, {}, 50, 20, 1000, 600, 30},
        [this](const Request &request, const std::shared_ptr<Reply> &reply) { handle(request, reply); });
    QString problem;
    ASSERT_TRUE(patient.start(problem)) << problem.toStdString();
    Client slow(patient.port()), stream(patient.port());
    stream.send("GET /endless HTTP/1.1\r\nHost: x\r\n\r\n");
    EXPECT_FALSE(stream.line().empty());
    const std::string half = "POST / HTTP/1.1\r\nHost: x\r\nContent-Length: 1\r\n";
    for (const char byte : half)
        slow.send(std::string(1, byte));
    EXPECT_EQ(request(patient.port(), "GET", "/").status, 200) << "others are served meanwhile";
    patient.closeLate(MachineClock().steady() + 629s);
    slow.send("\r\nx");
    EXPECT_EQ(slow.line(), "HTTP/1.1 200 OK") << "slow, and in time";
    slow.send(half);
    EXPECT_EQ(request(patient.port(), "GET", "/").status, 200);
    patient.closeLate(MachineClock().steady() + 631s);
    const std::string rest = slow.untilEnd();
    EXPECT_FALSE(slow.isConnected());
    EXPECT_NE(rest.find("\"path\":\"/\""), std::string::npos) << "of the first answer";
    EXPECT_EQ(rest.find("HTTP/1.1"), std::string::npos) << "the second has none";
    EXPECT_EQ(patient.streams(), 1) << "an answer on its way is not late";
    patient.stop();
}

TEST_F(ServerTest, connectionsOfOnePeerAreLimited)
{
    std::vector<std::unique_ptr<Client>> clients;
    for (int i = 0; i < 200; ++i) {
        clients.push_back(std::make_unique<Client>(server.port()));
        clients.back()->send("GET / HTTP/1.1\r\nHost:");
    }
    clients.clear();
    QElapsedTimer clock;
    clock.start();
    int status = 0;
    while (status != 200 && clock.elapsed() < patienceMs)
        status = request(server.port(), "GET", "/").status;
    EXPECT_EQ(status, 200);
}

TEST_F(ServerTest, nonsenseHurtsNobody)
{
    for (const char *text : {"\r\n\r\n", "GET\r\n\r\n", "GET / HTTP/9.9\r\n\r\n", "\x16\x03\x01\x02\x00\x01",
                             "POST / HTTP/1.1\r\n"
                             "Host: x\r\nContent-Length: -5\r\n\r\n"}) {
        Client client(server.port());
        client.send(text);
    }
    EXPECT_EQ(request(server.port(), "GET", "/").status, 200);
}

TEST(HttpServer, aPortInUseIsNamed)
{
    const auto nobody = [](const Request & /*request*/, const std::shared_ptr<Reply> & /*reply*/) {};
    ServerSettings settings;
    settings.address = "127.0.0.1";
    HttpServer first(settings, nobody);
    QString problem;
    ASSERT_TRUE(first.start(problem));
    settings.port = first.port();
    HttpServer second(settings, nobody);
    EXPECT_FALSE(second.start(problem));
    EXPECT_TRUE(problem.contains("Address already in use")) << problem.toStdString();
    EXPECT_TRUE(problem.contains("[listen]"));
}

TEST(HttpServer, aWrongCertificateIsNamed)
{
    ServerSettings settings;
    settings.address = "127.0.0.1";
    settings.certificate = settings.key = "nonsense";
    HttpServer server(settings, [](const Request & /*request*/, const std::shared_ptr<Reply> & /*reply*/) {});
    QString problem;
    EXPECT_FALSE(server.start(problem));
}

TEST(Problems, haveTheirTitle)
{
    const Response response = problemResponse(409, "the link is down", {{"outcome", "not sent"}});
    EXPECT_EQ(response.body, R"({"detail":"the link is down","outcome":"not sent","status":409,)"
                             R"("title":"Conflict","type":"about:blank"})");
    EXPECT_EQ(response.contentType, "application/problem+json");
}

} // namespace
} // namespace kvgateway
