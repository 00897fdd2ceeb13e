// SPDX-License-Identifier: MIT
// Who is let in, and who is not: hosts, pages of others, roles, sessions, tokens.
#include "gateway_process.h"

namespace kvgateway
{
namespace
{

void readStream(Client &stream, const std::string &headers)
{
    stream.send("GET /api/v1/stream HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\n" + headers + "\r\n");
    EXPECT_EQ(stream.line(), "HTTP/1.1 200 OK");
}

bool isOver(Client &stream)
{
    stream.pending();
    return !stream.isConnected();
}

constexpr char writeOne[] = R"({"tag":"a.speed","value":1})";

TEST_F(GatewayTest, otherHostsAndPagesAreRefused)
{
    writeConfig("local = \"engineer\"", "hosts = [\"panel.local\"]");
    ASSERT_TRUE(startAndRead());
    const std::string own = "127.0.0.1:" + std::to_string(port);
    const struct {
        std::string host, more;
        int status;
    } rows[] = {
        {own, "", 200},
        {"localhost:" + std::to_string(port), "", 200},
        {"panel.local", "", 200},
        {"PANEL.local:8480", "", 200},
        {"[::1]:8480", "", 200},
        {"evil.example", "", 421},
        {"panel.local.evil.example", "", 421},
        {"", "", 421},
        {own, "Origin: http://" + own + "\r\n", 200},
        {own, "Origin: http://evil.example\r\n", 403},
        {own, "Origin: null\r\n", 403},
        {own, "Origin: https://" + own + "\r\n", 403},
        {own, "Sec-Fetch-Site: same-origin\r\n", 200},
        {own, "Sec-Fetch-Site: cross-site\r\n", 403},
        {own, "Sec-Fetch-Site: same-site\r\n", 403},
    };
    for (const auto &row : rows) {
        const Answer answer =
            rawRequest(port, "GET /api/v1/me HTTP/1.1\r\nConnection: close\r\nHost: " + row.host + "\r\n" +
                                 row.more + "\r\n");
        EXPECT_EQ(answer.status, row.status) << row.host << " " << row.more;
    }
    const Answer form =
        rawRequest(port, "POST /api/v1/writes HTTP/1.1\r\nConnection: close\r\nHost: " + own +
                             "\r\nContent-Type: text/plain\r\nContent-Length: 27\r\n\r\n" + writeOne);
    EXPECT_EQ(form.status, 415);
    EXPECT_EQ(sim.control("get DM100"), "00000");
}

TEST_F(GatewayTest, thisMachineMayDoWhatTheConfigurationSays)
{
    writeConfig("local = \"viewer\"");
    ASSERT_TRUE(startAndRead());
    const Answer refused = post("/api/v1/writes", writeOne);
    EXPECT_EQ(refused.status, 403);
    EXPECT_TRUE(refused.body.contains("needs the role operator, and local is viewer"));
    EXPECT_EQ(get("/api/v1/audit").status, 403);
    EXPECT_EQ(get("/api/v1/me", "X-Forwarded-For: 10.0.0.7\r\n").status, 401) << "a proxy speaks for others";
    EXPECT_EQ(get("/healthz", "X-Forwarded-For: 10.0.0.7\r\n").status, 200);
}

TEST_F(GatewayTest, usersLogInAndOut)
{
    writeConfig("local = \"none\"");
    ASSERT_EQ(
        command({"user", "add", "-c", "gateway.toml", "--role", "operator", "anna"}, "correct horse\n").code,
        0);
    EXPECT_NE(command({"user", "list", "-c", "gateway.toml"}).output.find("anna\toperator\t"),
              std::string::npos);
    ASSERT_TRUE(start());
    EXPECT_EQ(get("/api/v1/values").status, 401);
    EXPECT_EQ(post("/api/v1/login", R"({"name":"anna","password":"wrong"})").status, 401);
    const Answer login = post("/api/v1/login", R"({"name":"anna","password":"correct horse"})");
    ASSERT_EQ(login.status, 200) << login.body.toStdString();
    EXPECT_TRUE(login.head.contains("HttpOnly; SameSite=Strict"));
    const auto begin = login.head.indexOf("kvgateway_session=");
    const std::string cookie =
        "Cookie: " + login.head.mid(begin, login.head.indexOf(';', begin) - begin).toStdString() + "\r\n";
    const std::string csrf = "X-CSRF-Token: " + json(login)["csrf"].toString().toStdString() + "\r\n";
    ASSERT_TRUE(until([&] { return get("/api/v1/values/a.speed", cookie).body.contains("\"good\""); }));
    EXPECT_EQ(post("/api/v1/writes", writeOne, cookie).status, 403) << "without the CSRF token";
    EXPECT_EQ(post("/api/v1/writes", writeOne, cookie + "X-CSRF-Token: wrong\r\n").status, 403);
    EXPECT_EQ(sim.control("get DM100"), "00000");
    EXPECT_EQ(post("/api/v1/writes", writeOne, cookie + csrf).status, 200);
    EXPECT_EQ(post("/api/v1/config/reload", "", cookie + csrf).status, 403) << "not an engineer";
    Client stream(port);
    readStream(stream, cookie);
    EXPECT_EQ(post("/api/v1/logout", "", cookie + csrf).status, 204);
    EXPECT_EQ(get("/api/v1/values", cookie).status, 401);
    EXPECT_TRUE(until([&] { return isOver(stream); })) << "a login ends with its streams";
}

TEST_F(GatewayTest, tokensAreForMachines)
{
    writeConfig("local = \"none\"");
    const Ended made = command({"token", "add", "-c", "gateway.toml", "--role", "viewer", "scada"});
    ASSERT_EQ(made.code, 0) << made.errors;
    ASSERT_TRUE(start());
    const std::string token = made.output.substr(0, made.output.find('\n'));
    EXPECT_EQ(get("/api/v1/values", "Authorization: Bearer " + token + "\r\n").status, 200);
    EXPECT_EQ(get("/api/v1/values", "Authorization: Bearer kvg_wrong\r\n").status, 401);
    EXPECT_EQ(get("/api/v1/values", "Authorization: Basic YTpi\r\n").status, 401);
    EXPECT_EQ(post("/api/v1/writes", writeOne, "Authorization: Bearer " + token + "\r\n").status, 403);
    Client stream(port);
    readStream(stream, "Authorization: Bearer " + token + "\r\n");
    ASSERT_EQ(command({"token", "remove", "-c", "gateway.toml", "scada"}).code, 0);
    EXPECT_TRUE(until([&] { return isOver(stream); }));
    EXPECT_EQ(get("/api/v1/values", "Authorization: Bearer " + token + "\r\n").status, 401);
}

TEST_F(GatewayTest, guessingIsSlowedDown)
{
    writeConfig("local = \"none\"");
    ASSERT_EQ(command({"user", "add", "-c", "gateway.toml", "anna"}, "correct horse\n").code, 0);
    ASSERT_TRUE(start());
    int status = 401;
    for (int i = 0; i < 10 && status == 401; ++i)
        status = post("/api/v1/login", R"({"name":"anna","password":"guess"})").status;
    EXPECT_EQ(status, 429);
}

TEST_F(GatewayTest, otherMachinesNeedTlsAndUsers)
{
    writeConfig("local = \"viewer\"", "address = \"0.0.0.0\"");
    const Ended ended = command({"run", "gateway.toml"});
    EXPECT_EQ(ended.code, 1);
    EXPECT_NE(ended.errors.find("listening on 0.0.0.0 needs TLS"), std::string::npos) << ended.errors;
    ASSERT_TRUE(start({"--insecure"}));
    EXPECT_TRUE(log.contains("started with --insecure"));
}

struct AccountCommandRow {
    QStringList words;
    const char *input;
    int code;
    const char *output, *errors; // how they begin; "": nothing is said
};

TEST_F(GatewayTest, accountsAreKeptFromTheShell)
{
    writeConfig();
    // clang-format off
    const AccountCommandRow rows[] = {
        {{"user", "add", "--role", "boss", "anna"},          "correct horse\n", 105, "", "--role: boss not in {viewer,operator,engineer}\n"},
        {{"user", "add", "--role", "operator", "anna"},      "short\n",         1, "", "the password is too short: take 8 characters or more\n"},
        {{"user", "add", "--role", "operator", "anna"},      "correct horse\n", 0, "", ""},
        {{"user", "add", "--role", "viewer", "anna"},        "correct horse\n", 1, "", "there is a user 'anna' already: "},
        {{"user", "role", "--role", "engineer", "anna"},     "",                0, "", ""},
        {{"user", "role", "--role", "engineer", "bert"},     "",                1, "", "there is no user 'bert'\n"},
        {{"user", "password", "anna"},                       "another horse\n", 0, "", ""},
        {{"user", "password", "anna"},                       "",                1, "", "no password came; nothing was changed\n"},
        {{"user", "list"},                                   "",                0, "anna\tengineer\t20", ""},
        {{"user", "remove", "bert"},                         "",                1, "", "there is no user 'bert'\n"},
        {{"user", "remove", "anna"},                         "",                0, "", ""},
        {{"user", "list"},                                   "",                0, "", ""},
        {{"token", "add", "--role", "boss", "scada"},        "",              105, "", "--role: boss not in {viewer,operator,engineer}\n"},
        {{"token", "add", "--role", "viewer", "scada"},      "",                0, "kvg_", ""},
        {{"token", "list"},                                  "",                0, "scada\tviewer\tforever\n", ""},
        {{"token", "remove", "scada"},                       "",                0, "", ""},
        {{"token", "remove", "scada"},                       "",                1, "", "there is no token 'scada'\n"},
        {{"token", "list"},                                  "",                0, "", ""},
    };
    // clang-format on
    for (const AccountCommandRow &row : rows) {
        SCOPED_TRACE(row.words.join(' ').toStdString());
        const Ended ended = command(row.words + QStringList{"-c", "gateway.toml"}, row.input);
        EXPECT_EQ(ended.code, row.code);
        for (const auto &[said, wanted] :
             {std::pair(ended.output, std::string(row.output)), {ended.errors, std::string(row.errors)}})
            EXPECT_EQ(wanted.empty() ? said : said.substr(0, wanted.size()), wanted);
    }
}

class TlsTest : public GatewayTest
{
protected:
    void SetUp() override
    {
        if (!makeCertificate("cert.pem", "key.pem"))
            GTEST_SKIP() << "openssl is not installed";
        writeFile("nonsense.pem", "nonsense");
    }
    bool makeCertificate(const char *certificate, const char *key) const
    {
        QProcess openssl;
        openssl.setWorkingDirectory(folder.path());
        openssl.start("openssl", {"req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=localhost",
                                  "-keyout", key, "-out", certificate});
        return openssl.waitForFinished(patienceMs) && openssl.exitCode() == 0;
    }
    void replace(const char *name, const char *by) const { writeFile(name, readFile(by)); }
    void writeTlsConfig(const char *key) const
    {
        writeConfig("local = \"viewer\"", QByteArray("certificate = \"cert.pem\"\nkey = \"") + key + "\"");
    }
    // What somebody gets who trusts one certificate only.
    QByteArray health(const char *trusted) const
    {
        QProcess curl;
        curl.start("curl", {"--silent", "--cacert", path(trusted),
                            QStringLiteral("https://localhost:%1/healthz").arg(port)});
        EXPECT_TRUE(curl.waitForFinished(patienceMs)) << "curl is needed";
        return curl.readAllStandardOutput();
    }

    static constexpr char healthy[] = "{\"status\":\"ok\"}";
};

TEST_F(TlsTest, tlsServesAndAWrongKeyIsNamed)
{
    writeTlsConfig("nonsense.pem");
    const Ended ended = command({"run", "gateway.toml"});
    EXPECT_NE(ended.errors.find("do they belong together?"), std::string::npos) << ended.errors;
    writeTlsConfig("key.pem");
    ASSERT_TRUE(start());
    EXPECT_EQ(health("cert.pem"), healthy);
}

TEST_F(TlsTest, aReloadTakesTheNewCertificateAndNoBadOne)
{
    ASSERT_TRUE(makeCertificate("new.pem", "new-key.pem"));
    ASSERT_TRUE(makeCertificate("old.pem", "old-key.pem"));
    replace("cert.pem", "old.pem");
    replace("key.pem", "old-key.pem");
    writeTlsConfig("key.pem");
    ASSERT_TRUE(start());
    EXPECT_EQ(health("new.pem"), "");
    EXPECT_EQ(health("old.pem"), healthy);

    replace("key.pem", "nonsense.pem");
    hangUp();
    ASSERT_TRUE(says("the configuration has mistakes; the old one goes on"));
    EXPECT_EQ(health("old.pem"), healthy);

    replace("cert.pem", "new.pem");
    replace("key.pem", "new-key.pem");
    hangUp();
    ASSERT_TRUE(says("reloaded: HUP"));
    EXPECT_TRUE(until([this] { return health("new.pem") == healthy; }));
    EXPECT_EQ(health("old.pem"), "");
}

} // namespace
} // namespace kvgateway
