// SPDX-License-Identifier: MIT
// The sessions of the guide, replayed against the real program.
//
// In a block marked "session":
//   $ kv-sim OPTIONS   starts the program (once, first)
//   > TEXT             is sent with CR over the first TCP line;   < TEXT  must come back, CR LF
//   2> TEXT            the same over a second connection;              2< TEXT
//   s> TEXT            over the serial line (its path is $DIR/plc);    s< TEXT
//   r> HEX             bytes over the remote-area line;                r< TEXT
//   c> TEXT            a command over the control connection;          c< TEXT
//   < (nothing)        nothing has come; < (closed): the connection has ended
//   ...                at the end of an expected line: anything may follow
//   # TEXT             is a remark
#include "serial_client.h"

#include <QFile>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <map>

namespace
{

struct Session {
    std::string page;
    int line = 0;
    std::vector<QString> lines;
};

// The blocks of a page that are marked so.
std::vector<Session> blocksOf(const QString &page, const QString &mark)
{
    QFile guide(KV_SIM_DOCS "/" + page);
    guide.open(QIODevice::ReadOnly);
    const QString begin = "```" + mark;
    std::vector<Session> blocks;
    bool inside = false;
    int number = 0;
    for (const QString &line : QString::fromUtf8(guide.readAll()).split('\n')) {
        ++number;
        if (line == begin)
            blocks.push_back({"docs/" + page.toStdString(), number, {}});
        inside = line == begin || (inside && line != "```");
        if (inside && line != begin)
            blocks.back().lines.push_back(line);
    }
    return blocks;
}

class Replay
{
public:
    explicit Replay(const Session &session) : m_session(session) {}

    void run()
    {
        int at = m_session.line;
        for (const QString &line : m_session.lines) {
            SCOPED_TRACE(m_session.page + ":" + std::to_string(++at) + ": " + line.toStdString());
            play(line);
        }
    }

    int exchanges() const { return m_exchanges; }

private:
    void play(const QString &line)
    {
        if (line.isEmpty() || line.startsWith('#'))
            return;
        if (line.startsWith("$ kv-sim"))
            return startProgram(line.mid(8).trimmed());
        ASSERT_TRUE(m_sim && m_sim->isReady());
        const auto sign = line.indexOf(line.contains("> ") && !line.contains("< ") ? '>' : '<');
        const QString who = line.left(sign);
        const std::string text = line.mid(sign + 2).toStdString();
        if (line.at(sign) == '>')
            return send(who, text);
        expect(who, text);
        ++m_exchanges;
    }

    void startProgram(QString options)
    {
        QStringList words;
        options.replace("$DIR", m_folder.path());
        bool quoted = false;
        for (const QString &part : options.split('"')) {
            if (quoted)
                words << part;
            else
                words << part.split(' ', Qt::SkipEmptyParts);
            quoted = !quoted;
        }
        m_sim = std::make_unique<SimProcess>(words);
        ASSERT_TRUE(m_sim->isReady()) << m_sim->errors();
    }

    static const char *lineOf(const QString &who)
    {
        if (who == "c")
            return "control";
        return who == "r" ? "remote" : "tcp";
    }

    Client &client(const QString &who)
    {
        auto &client = m_clients[who];
        if (!client)
            client = std::make_unique<Client>(m_sim->port(lineOf(who)));
        return *client;
    }

    SerialClient &serial()
    {
        if (!m_serial)
            m_serial = std::make_unique<SerialClient>(m_folder.filePath("plc"));
        return *m_serial;
    }

    void send(const QString &who, const std::string &text)
    {
        if (who == "s")
            return serial().send(text + "\r");
        if (who == "r")
            return client(who).send(QByteArray::fromHex(text.c_str()).toStdString());
        client(who).send(text + (who == "c" ? "\n" : "\r"));
    }

    void expect(const QString &who, const std::string &text)
    {
        if (text == "(nothing)")
            return expectNothing(who);
        if (text == "(closed)") {
            EXPECT_EQ(client(who).untilEnd(), "");
            EXPECT_FALSE(client(who).isConnected());
            return;
        }
        if (who == "s") {
            EXPECT_EQ(serial().receive(text.size() + 2), text + "\r\n");
            return;
        }
        const std::string line = client(who).line();
        if (text.size() > 3 && text.substr(text.size() - 3) == "...")
            EXPECT_EQ(line.substr(0, text.size() - 3), text.substr(0, text.size() - 3));
        else
            EXPECT_EQ(line, text);
    }

    // An answer to somebody else says that the program has been there meanwhile.
    void expectNothing(const QString &who)
    {
        Client other(m_sim->port("control"));
        ASSERT_TRUE(other.isConnected()) << "a session that expects nothing needs --control";
        other.ask("help");
        other.ask("help");
        EXPECT_EQ(client(who).pending(), "");
    }

    const Session &m_session;
    QTemporaryDir m_folder;
    std::unique_ptr<SimProcess> m_sim;
    std::unique_ptr<SerialClient> m_serial;
    std::map<QString, std::unique_ptr<Client>> m_clients;
    int m_exchanges = 0;
};

void replay(const QString &page, std::size_t least)
{
    const std::vector<Session> sessions = blocksOf(page, "session");
    EXPECT_GE(sessions.size(), least);
    for (const Session &session : sessions) {
        Replay replay(session);
        replay.run();
        EXPECT_GE(replay.exchanges(), 1) << session.page << ":" << session.line;
    }
}

TEST(Guide, sessionsRunAsWritten)
{
    replay("kv-sim.md", 9);
}

TEST(GuideForHosts, sessionsRunAsWritten)
{
    replay("kv-sim-for-hosts.md", 2);
}

// Every fault that its table proposes is one.
TEST(GuideForHosts, proposesFaultsThatThereAre)
{
    QFile page(KV_SIM_DOCS "/kv-sim-for-hosts.md");
    ASSERT_TRUE(page.open(QIODevice::ReadOnly));
    SimProcess sim({"--control", "127.0.0.1:0", "--tcp", "127.0.0.1:0"});
    Client control(sim.port("control"));
    int faults = 0;
    for (const QString &line : QString::fromUtf8(page.readAll()).split('\n')) {
        const QStringList cells = line.split('|');
        if (cells.size() != 5 || cells[2].trimmed() == "Try" || cells[2].startsWith("---"))
            continue;
        const QStringList parts = cells[2].split('`');
        for (int i = 1; i < parts.size(); i += 2) {
            const std::string text = parts[i].toStdString();
            const std::string word = text.substr(0, text.find_first_of(" :"));
            if (text[0] == '-' || word == "when" || word == "listen" || word == "disconnect" ||
                word == "restart" || word == "set" || word == "3/fault")
                continue;
            EXPECT_EQ(control.ask("fault " + text).substr(0, 3), "ok ") << text;
            ++faults;
        }
    }
    EXPECT_GE(faults, 15);
}

// Every option that its table proposes is one; ports are free ones here.
TEST(GuideForHosts, proposesOptionsThatThereAre)
{
    QFile page(KV_SIM_DOCS "/kv-sim-for-hosts.md");
    ASSERT_TRUE(page.open(QIODevice::ReadOnly));
    auto matches = QRegularExpression("^\\|[^|]*\\| .*`(--[^`]+)`", QRegularExpression::MultilineOption)
                       .globalMatch(QString::fromUtf8(page.readAll()));
    int options = 0;
    while (matches.hasNext()) {
        QString text = matches.next().captured(1);
        if (text == "--program") // takes a file
            continue;
        text.replace(QRegularExpression(":85\\d\\d\\b"), ":0");
        SimProcess sim(QStringList{"--tcp", "127.0.0.1:0"} + text.split(' '));
        EXPECT_TRUE(sim.isReady()) << text.toStdString() << ": " << sim.errors();
        ++options;
    }
    EXPECT_GE(options, 5);
}

// The ports of its many PLCs count up from 8501, past no other port of the page.
TEST(GuideForHosts, givesManyPlcsPortsOfTheirOwn)
{
    QFile page(KV_SIM_DOCS "/kv-sim-for-hosts.md");
    ASSERT_TRUE(page.open(QIODevice::ReadOnly));
    const auto match = QRegularExpression("--plcs (\\d+) --control-all 127.0.0.1:(\\d+)")
                           .match(QString::fromUtf8(page.readAll()));
    ASSERT_TRUE(match.hasMatch());
    const int control = match.captured(2).toInt();
    EXPECT_TRUE(control < 8501 || control > 8500 + match.captured(1).toInt()) << control;
}

TEST(Guide, programsAreGood)
{
    const QTemporaryDir folder;
    const std::vector<Session> programs = blocksOf("kv-sim.md", "program");
    EXPECT_GE(programs.size(), 1U);
    for (const Session &program : programs) {
        QFile file(folder.filePath("program"));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        for (const QString &line : program.lines)
            file.write(line.toUtf8() + "\n");
        file.close();
        SimProcess sim({"--check", file.fileName()});
        EXPECT_EQ(sim.exitCode(), 0) << program.page << ":" << program.line << ": " << sim.errors();
    }
}

} // namespace
