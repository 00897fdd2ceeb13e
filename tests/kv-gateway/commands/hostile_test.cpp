// SPDX-License-Identifier: MIT
// Clients that mean harm, from other addresses of the loopback: the plant is read on, memory stays
// bounded, and whoever asks properly is answered.
#include "gateway_process.h"

#include <arpa/inet.h>
#include <cerrno>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

namespace kvgateway
{
namespace
{

// 200 connections of 32 kB each with bodies of 64 kB are 19 MB; the program itself takes as much.
constexpr qint64 mostMemoryKb = 48 * 1024;
// A sanitizer keeps what was freed, and notes on each byte: its peak says nothing of the program's.
constexpr bool memoryTells = sizeof KV_SANITIZE == sizeof "";
constexpr int mostConnections = 200; // of the configuration
constexpr qint64 enoughRequests = 20;

// Never waits: what does not fit is not sent.
class Hostile
{
public:
    Hostile(quint16 port, const std::string &from)
        : m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
    {
        const sockaddr_in own = address(from, 0);
        const sockaddr_in gateway = address("127.0.0.1", port);
        EXPECT_EQ(::bind(m_socket, reinterpret_cast<const sockaddr *>(&own), sizeof own), 0) << from;
        const int result = ::connect(m_socket, reinterpret_cast<const sockaddr *>(&gateway), sizeof gateway);
        EXPECT_TRUE(result == 0 || errno == EINPROGRESS);
    }
    ~Hostile() { ::close(m_socket); }
    Hostile(const Hostile &) = delete;
    Hostile &operator=(const Hostile &) = delete;

    void send(const std::string &bytes) const
    {
        const auto sent = ::send(m_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        Q_UNUSED(sent) // the gateway may have had enough of it
    }
    // Ends with a reset instead of a farewell.
    void resetAtTheEnd() const
    {
        const linger now{1, 0};
        ::setsockopt(m_socket, SOL_SOCKET, SO_LINGER, &now, sizeof now);
    }

private:
    static sockaddr_in address(const std::string &text, quint16 port)
    {
        sockaddr_in result{};
        result.sin_family = AF_INET;
        result.sin_port = htons(port);
        ::inet_pton(AF_INET, text.c_str(), &result.sin_addr);
        return result;
    }

    int m_socket;
};

using Horde = std::vector<std::unique_ptr<Hostile>>;

class HostileTest : public GatewayTest
{
protected:
    void SetUp() override
    {
        rlimit files{};
        ::getrlimit(RLIMIT_NOFILE, &files);
        files.rlim_cur = files.rlim_max;
        ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &files), 0) << "for a thousand connections";
        writeConfig("local = \"viewer\"", "connections = " + QByteArray::number(mostConnections));
        writeFile("tags.csv", "name,address,period\nspeed,DM100.S,50ms\n");
        ASSERT_TRUE(startAndRead());
    }
    void TearDown() override
    {
        // More than half of the periods were read, whatever came.
        const QByteArray metrics = get("/metrics").body;
        const qint64 read = number(metrics, "kvlink_answers_total{plc=\"a\"} ");
        const qint64 missed = number(metrics, "kvlink_missed_passes_total{plc=\"a\"} ");
        EXPECT_GT(read, 0);
        EXPECT_LT(missed, read);
        EXPECT_EQ(number(metrics, "kvlink_link_losses_total{plc=\"a\"} "), 0);
        if (memoryTells) {
            EXPECT_LT(memoryPeakKb(), mostMemoryKb);
        }
        stop();
    }

    Horde horde(int size, const std::string &from) const
    {
        Horde all;
        for (int i = 0; i < size; ++i)
            all.push_back(std::make_unique<Hostile>(port, from));
        return all;
    }
    // Counted by the PLC, so that a busy machine does not matter.
    void expectReadingGoesOn()
    {
        const qint64 before = requestsOfPlc();
        EXPECT_TRUE(until([&] { return requestsOfPlc() >= before + enoughRequests; }));
    }
    void expectOthersAreServed()
    {
        sim.control("set DM100=" + QByteArray::number(++m_value));
        EXPECT_TRUE(until([this] { return json(get("/api/v1/values/a.speed"))["value"] == m_value; }));
        expectReadingGoesOn();
    }

private:
    static qint64 number(const QByteArray &text, const QByteArray &name)
    {
        const auto begin = text.indexOf(name);
        const QByteArray rest = begin < 0 ? QByteArray("-1") : text.mid(begin + name.size());
        return rest.trimmed().split('\n').first().split(' ').first().toLongLong();
    }
    qint64 requestsOfPlc() { return number(QByteArray::fromStdString(sim.tell("statistics")), "commands="); }
    qint64 memoryPeakKb() const
    {
        QFile file(QStringLiteral("/proc/%1/status").arg(gateway.processId()));
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        return number(file.readAll(), "VmHWM:\t");
    }

    int m_value = 0;
};

TEST_F(HostileTest, requestsThatNeverEnd)
{
    const Horde slow = horde(150, "127.0.0.2");
    const std::string begin = "GET /api/v1/values HTTP/1.1\r\nHost: 127.0.0.1\r\nX: ";
    for (const auto &one : slow)
        one->send(begin);
    for (int i = 0; i < 3; ++i) {
        for (const auto &one : slow)
            one->send("x");
        expectOthersAreServed();
    }
}

TEST_F(HostileTest, connectionsThatSayNothingOrBreakOff)
{
    const Horde silent = horde(90, "127.0.0.2");
    for (int i = 0; i < 20; ++i) {
        const Horde broken = horde(20, "127.0.0.3");
        for (const auto &one : broken) {
            one->send("POST /api/v1/writes HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: 100\r\n\r\n{");
            one->resetAtTheEnd();
        }
    }
    expectOthersAreServed();
}

TEST_F(HostileTest, aThousandConnections)
{
    {
        std::vector<Horde> hordes;
        for (int i = 0; i < 10; ++i)
            hordes.push_back(horde(100, "127.0.1." + std::to_string(i + 1)));
        for (const Horde &one : hordes) {
            for (const auto &client : one)
                client->send("GET /api/v1/stream HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n");
        }
        expectReadingGoesOn(); // others may have to wait for a place
    }
    expectOthersAreServed();
}

// They never take what they asked for.
TEST_F(HostileTest, readersThatDoNotRead)
{
    const Horde deaf = horde(90, "127.0.0.2");
    for (const auto &one : deaf) {
        for (int i = 0; i < 50; ++i)
            one->send("GET /api/v1/openapi.json HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n");
    }
    expectOthersAreServed();
}

TEST_F(HostileTest, everythingTooLarge)
{
    const std::string host = "Host: 127.0.0.1\r\nConnection: close\r\n";
    const std::string large(1024 * 1024, 'x');
    std::string headers, pairs;
    for (int i = 0; i < 5000; ++i) {
        headers += "X-" + std::to_string(i) + ": 1\r\n";
        pairs += "a" + std::to_string(i) + "=1&";
    }
    const std::string requests[] = {
        "GET /" + large + " HTTP/1.1\r\n" + host + "\r\n",
        large + " / HTTP/1.1\r\n" + host + "\r\n",
        "GET /?" + pairs + " HTTP/1.1\r\n" + host + "\r\n",
        "GET / HTTP/1.1\r\n" + host + "X: " + large + "\r\n\r\n",
        "GET / HTTP/1.1\r\n" + host + headers + "\r\n",
        "GET / HTTP/1.1\r\n" + host + "Cookie: " + large + "\r\n\r\n",
        "POST /api/v1/writes HTTP/1.1\r\n" + host + "Content-Length: 1048576\r\n\r\n" + large,
        "POST /api/v1/writes HTTP/1.1\r\n" + host + "Content-Length: 99999999999999999999\r\n\r\n" + large,
        "POST /api/v1/writes HTTP/1.1\r\n" + host + "Transfer-Encoding: chunked\r\n\r\n100000\r\n" + large +
            "\r\n0\r\n\r\n",
        "POST /api/v1/writes HTTP/1.1\r\n" + host + "Transfer-Encoding: chunked\r\n\r\nfffffffffffffffff\r\n",
    };
    for (const std::string &text : requests) {
        const Answer answer = rawRequest(port, text);
        // 0: the gateway had enough of it before all was sent.
        EXPECT_TRUE(answer.status == 0 || answer.status / 100 == 4) << text.substr(0, 50);
    }
    for (const std::string &text : requests) {
        const Horde many = horde(20, "127.0.0.2");
        for (const auto &one : many)
            one->send(text);
    }
    expectOthersAreServed();
}

struct TrickRow {
    const char *target;
    const char *headers;
};

TEST_F(HostileTest, tricksWithPathsHostsAndOrigins)
{
    const TrickRow rows[] = {
        {"/../../../../etc/passwd", ""},
        {"/%2e%2e/%2e%2e/etc/passwd", ""},
        {"/..%252f..%252fetc/passwd", ""},
        {"/api/v1/values/..\\..\\etc\\passwd", ""},
        {"/api/v1/values/%00", ""},
        {"/api/v1/values/a.speed%00.txt", ""},
        {"/api/v1/history.csv?tags=../../etc/passwd", ""},
        {"//etc/passwd", ""},
        {"/\xc0\xae\xc0\xae/etc/passwd", ""},
        {"http://evil.example/api/v1/values", ""},
        {"/api/v1/values", "Host: evil.example\r\n"},
        {"/api/v1/values", "Host: 127.0.0.1@evil.example\r\n"},
        {"/api/v1/values", "Host: 127.0.0.1.evil.example\r\n"},
        {"/api/v1/values", "Host: 127.0.0.1\r\nOrigin: http://evil.example\r\n"},
        {"/api/v1/values", "Host: 127.0.0.1\r\nOrigin: http://127.0.0.1.evil.example\r\n"},
        {"/api/v1/values", "Host: 127.0.0.1\r\nOrigin: null\r\n"},
        {"/api/v1/values", "Host: 127.0.0.1\r\nOrigin: \r\n"},
    };
    for (const TrickRow &row : rows) {
        const std::string headers = row.headers[0] == '\0' ? "Host: 127.0.0.1\r\n" : row.headers;
        const Answer answer = rawRequest(port, std::string("GET ") + row.target +
                                                   " HTTP/1.1\r\nConnection: close\r\n" + headers + "\r\n");
        EXPECT_EQ(answer.status / 100, 4) << row.target << " " << row.headers << answer.head.toStdString();
        EXPECT_FALSE(answer.body.contains("root:")) << row.target;
        EXPECT_FALSE(answer.body.contains("\"speed\"")) << row.target;
    }
    expectOthersAreServed();
}

} // namespace
} // namespace kvgateway
