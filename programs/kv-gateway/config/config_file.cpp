// SPDX-License-Identifier: MIT
#include "config_file.h"

#include "mqtt_section.h"
#include "page_list.h"
#include "postgresql_section.h"
#include "shards.h"
#include "sparkplug_section.h"
#include "tag_list.h"
#include "toml_section.h"

#include <kvlink/plc.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHostAddress>
#include <QRegularExpression>
#include <QSet>

#include <algorithm>
#include <utility>

namespace kvgateway
{

namespace
{

using namespace std::chrono_literals;

constexpr qint64 largestFile = 4 * 1024 * 1024;
constexpr kvlink::Duration year = 365 * 24h;

constexpr ChoiceRow<kvlink::Open> openings[] = {{"cr", kvlink::Open::Cr}, {"none", kvlink::Open::None}};
constexpr ChoiceRow<kvlink::WordOrder> wordOrders[] = {{"low", kvlink::WordOrder::LowFirst},
                                                       {"high", kvlink::WordOrder::HighFirst}};
constexpr ChoiceRow<kvlink::TextEncoding> textEncodings[] = {{"utf-8", kvlink::TextEncoding::Utf8},
                                                             {"shift-jis", kvlink::TextEncoding::ShiftJis},
                                                             {"latin-1", kvlink::TextEncoding::Latin1}};
constexpr ChoiceRow<kvtags::FileEncoding> fileEncodings[] = {
    {"utf-8", kvtags::FileEncoding::Utf8},
    {"utf-16", kvtags::FileEncoding::Utf16},
    {"windows-1252", kvtags::FileEncoding::Windows1252},
    {"latin-1", kvtags::FileEncoding::Latin1},
    {"shift-jis", kvtags::FileEncoding::ShiftJis}};
constexpr ChoiceRow<LocalAccess> localAccesses[] = {{"none", LocalAccess::None},
                                                    {"viewer", LocalAccess::Viewer},
                                                    {"operator", LocalAccess::Operator},
                                                    {"engineer", LocalAccess::Engineer}};

class ConfigReader
{
public:
    ConfigReader(const QString &path, QString driver)
        : m_shownPath(path), m_base(QFileInfo(path).absoluteDir()), m_driver(std::move(driver))
    {
        m_loaded.config.file = QFileInfo(path).absoluteFilePath();
    }

    LoadedConfig read(const toml::table &root)
    {
        Config &config = m_loaded.config;
        TomlSection top(&root, {}, m_shownPath, m_loaded.problems);
        config.folder = absolute(top.text("data", QStringLiteral("/var/lib/kv-gateway")));
        readListen(section(top, "listen"));
        readHistory(section(top, "history"));
        readAccess(section(top, "access"));
        const auto plcs = top.tables("plc");
        if (plcs.empty() && !root.contains("plc"))
            top.refuse("plc", QStringLiteral("there is no PLC: add [[plc]] with a name, a url and tags"));
        const auto shards = top.tables("shard");
        if (int(plcs.size()) > mostPlcs && shards.empty())
            top.refuse("plc", QStringLiteral("%1 PLCs are too many: %2 fit one service; split them by "
                                             "[[shard]]")
                                  .arg(plcs.size())
                                  .arg(mostPlcs));
        for (const toml::table *plc : plcs)
            readPlc(TomlSection(plc, QStringLiteral("[[plc]]"), m_shownPath, m_loaded.problems));
        for (const toml::table *shard : shards)
            readShard(TomlSection(shard, QStringLiteral("[[shard]]"), m_shownPath, m_loaded.problems),
                      config);
        refuseLonePlcs(top, config);
        const auto brokers = top.tables("mqtt"), databases = top.tables("postgresql");
        for (const toml::table *mqtt : brokers)
            config.mqtt.push_back(
                readMqtt(TomlSection(mqtt, QStringLiteral("[[mqtt]]"), m_shownPath, m_loaded.problems),
                         m_base, config));
        const auto nodes = top.tables("sparkplug");
        for (const toml::table *node : nodes)
            config.sparkplug.push_back(readSparkplug(
                TomlSection(node, QStringLiteral("[[sparkplug]]"), m_shownPath, m_loaded.problems), m_base,
                config));
        for (const toml::table *database : databases)
            config.postgresql.push_back(readPostgresql(
                TomlSection(database, QStringLiteral("[[postgresql]]"), m_shownPath, m_loaded.problems),
                m_base, config));
        top.refuseHere("standby",
                       QStringLiteral("write standby = true into a [[postgresql]]: its database says "
                                      "which gateway is on duty; without PostgreSQL there is no "
                                      "standby"));
        refuseOwnNames(brokers, "[[mqtt]]", "site");
        refuseOwnNames(nodes, "[[sparkplug]]", "node");
        refuseOwnNames(databases, "[[postgresql]]", "site");
        const QString pages = absolute(top.text("pages"));
        QString problem;
        if (!pages.isEmpty() && !readPages(config, pages, m_loaded.problems, problem))
            top.refuse("pages", "pages: " + problem);
        top.refuseOthers();
        return std::move(m_loaded);
    }

private:
    TomlSection section(TomlSection &top, const char *key)
    {
        return {top.table(key), QStringLiteral("[%1]").arg(QString::fromLatin1(key)), m_shownPath,
                m_loaded.problems};
    }

    // Without one each machine has its own name for it, and two that shall be one would not be.
    void refuseOwnNames(const std::vector<const toml::table *> &outlets, const char *kind, const char *key)
    {
        for (const toml::table *outlet : outlets) {
            if (m_loaded.config.standby() != nullptr && !outlet->contains(key))
                TomlSection(outlet, QString::fromLatin1(kind), m_shownPath, m_loaded.problems)
                    .refuse(key, QStringLiteral("with standby, every %1 needs a %2: otherwise each gateway "
                                                "takes the name of its machine")
                                     .arg(QString::fromLatin1(kind), QString::fromLatin1(key)));
        }
    }

    // Not by QDir, which takes ":x" for a resource of Qt.
    QString absolute(const QString &path) const
    {
        if (path.isEmpty())
            return {};
        return QDir::cleanPath(path.startsWith('/') ? path : m_base.path() + '/' + path);
    }

    void readListen(TomlSection from)
    {
        ListenConfig &listen = m_loaded.config.listen;
        constexpr int largestPort = 65535, mostConnections = 10'000;
        listen.address = from.text("address", listen.address);
        if (QHostAddress(listen.address).isNull())
            from.refuse("address",
                        QStringLiteral("\"%1\" is not an address: write 127.0.0.1, 0.0.0.0, ::1 or ::")
                            .arg(listen.address));
        listen.port = quint16(from.number("port", listen.port, 0, largestPort));
        listen.certificate = readableFile(from, "certificate");
        listen.key = readableFile(from, "key");
        if (listen.certificate.isEmpty() != listen.key.isEmpty())
            from.refuse("certificate", QStringLiteral("TLS needs both: certificate and key"));
        listen.hosts = from.texts("hosts");
        listen.connections = int(from.number("connections", listen.connections, 1, mostConnections));
        from.refuseOthers();
    }

    QString readableFile(TomlSection &from, const char *key) const
    {
        QString path = absolute(from.text(key));
        if (!path.isEmpty() && !QFileInfo(path).isReadable())
            from.refuse(key, QStringLiteral("%1: %2 cannot be read").arg(QString::fromLatin1(key), path));
        return path;
    }

    void readHistory(TomlSection from)
    {
        HistoryConfig &history = m_loaded.config.history;
        constexpr kvlink::Duration noEnd{0};
        history.isKept = from.yesOrNo("enabled", history.isKept);
        const struct {
            const char *key;
            kvlink::Duration &to;
        } ages[] = {{"rows", history.rows},
                    {"minutes", history.minutes},
                    {"hours", history.hours},
                    {"events", history.events},
                    {"audit", history.audit}};
        for (const auto &age : ages)
            age.to = from.duration(age.key, age.to, 1h, 100 * year, noEnd);
        history.size = from.size("size", history.size);
        from.refuseOthers();
    }

    void readAccess(TomlSection from)
    {
        AccessConfig &access = m_loaded.config.access;
        access.local = from.choice("local", access.local, localAccesses);
        access.idle = from.duration("idle", access.idle, 1min, 30 * 24h);
        access.longest = from.duration("longest", access.longest, 1min, 30 * 24h);
        from.refuseOthers();
    }

    void readPlc(TomlSection from)
    {
        PlcConfig plc;
        plc.name = from.text("name");
        checkName(from, plc.name);
        readLink(from, plc.link);
        checkUrl(from, plc);
        const kvlink::Duration period = from.duration("period", 1s, 1ms, 24h);
        const auto encoding = from.choice("encoding", kvtags::FileEncoding::Utf8, fileEncodings);
        const QStringList files = from.texts("tags");
        if (files.isEmpty() && !from.has("tags"))
            from.refuse("tags",
                        QStringLiteral("the PLC \"%1\" has no tags: add tags = \"FILE.csv\"").arg(plc.name));
        for (const QString &file : files) {
            if (file.isEmpty())
                from.refuse("tags", QStringLiteral("the name of a tag file is empty"));
            else
                readTags(plc, absolute(file), encoding, period, m_loaded.problems);
        }
        refuseRepeated(from, plc);
        from.refuseOthers();
        m_loaded.config.plcs.push_back(std::move(plc));
    }

    void checkName(TomlSection &from, const QString &name)
    {
        static const QRegularExpression shape(QStringLiteral("^[A-Za-z0-9_-]{1,40}$"));
        if (!from.has("name"))
            from.refuse("name", QStringLiteral("a [[plc]] has no name: add name = \"line1\""));
        else if (!shape.match(name).hasMatch())
            from.refuse("name", QStringLiteral("the name \"%1\" may have letters, digits, '-' and '_' only, "
                                               "and at most 40 of them")
                                    .arg(name));
        else if (m_names.contains(name))
            from.refuse("name", QStringLiteral("two PLCs are called \"%1\"").arg(name));
        m_names.insert(name);
    }

    void readLink(TomlSection &from, kvlink::LinkSettings &link) const
    {
        constexpr int mostUnits = 1000;
        link.driver = m_driver;
        link.url = from.text("url");
        link.open = from.choice("open", link.open, openings);
        link.timeout = from.duration("timeout", link.timeout, 1ms, 1min);
        link.gap = from.duration("gap", link.gap, 0s, 10s);
        link.maxBlock = int(from.number("max_block", link.maxBlock, 1, mostUnits));
        link.wordOrder = from.choice("word_order", link.wordOrder, wordOrders);
        link.textEncoding = from.choice("text_encoding", link.textEncoding, textEncodings);
    }

    void checkUrl(TomlSection &from, const PlcConfig &plc)
    {
        if (!from.has("url")) {
            from.refuse("url",
                        QStringLiteral("the PLC \"%1\" has no address: add url = \"tcp://192.168.0.10\"")
                            .arg(plc.name));
            return;
        }
        const auto &plcs = m_loaded.config.plcs;
        const auto twin = std::find_if(
            plcs.begin(), plcs.end(), [&](const PlcConfig &other) { return other.link.url == plc.link.url; });
        if (twin != plcs.end()) {
            from.refuse("url", QStringLiteral("plc \"%1\" has the address of plc \"%2\" (%3)")
                                   .arg(plc.name, twin->name, plc.link.url));
            return;
        }
        const kvlink::Plc trial(plc.link);
        if (trial.lacksDriver() && !std::exchange(m_lacksDriver, true))
            m_loaded.problems.push_back({m_shownPath, 0, 0, trial.problem()});
        else if (!trial.lacksDriver() && !trial.problem().isEmpty())
            from.refuse("url", trial.problem());
    }

    static void refuseRepeated(TomlSection &from, const PlcConfig &plc)
    {
        QSet<QString> names;
        for (const TagConfig &tag : plc.tags) {
            if (names.contains(tag.name))
                from.refuse("tags", QStringLiteral("the tag \"%1\" is in two of the files").arg(tag.name));
            names.insert(tag.name);
        }
    }

    QString m_shownPath;
    QDir m_base;
    QString m_driver;
    LoadedConfig m_loaded;
    QSet<QString> m_names;
    bool m_lacksDriver = false; // said once, not for each PLC
};

LoadedConfig failed(const QString &path, const QString &text, int line = 0, int column = 0)
{
    LoadedConfig loaded;
    loaded.problems.push_back({path, line, column, text});
    return loaded;
}

} // namespace

LoadedConfig loadConfig(const QString &path, const QString &driver)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return failed(path, QStringLiteral("the configuration cannot be read: %1").arg(file.errorString()));
    if (file.size() > largestFile)
        return failed(path, QStringLiteral("the configuration is larger than 4 MiB"));
    return parseConfig(file.readAll(), path, driver);
}

LoadedConfig parseConfig(const QByteArray &bytes, const QString &path, const QString &driver)
{
    try {
        const toml::table root = toml::parse(std::string_view(bytes.constData(), std::size_t(bytes.size())));
        return ConfigReader(path, driver).read(root);
    } catch (const toml::parse_error &error) {
        return failed(path, QString::fromStdString(std::string(error.description())),
                      int(error.source().begin.line), int(error.source().begin.column));
    }
}

} // namespace kvgateway
