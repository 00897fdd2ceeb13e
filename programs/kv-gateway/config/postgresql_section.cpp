// SPDX-License-Identifier: MIT
#include "postgresql_section.h"

#include "outlet_keys.h"

#include <QFileInfo>
#include <QRegularExpression>
#include <QUrl>

#include <algorithm>
#include <iterator>

namespace kvgateway
{

namespace
{

constexpr quint16 usualPort = 5432;

constexpr ChoiceRow<SslMode> sslModes[] = {{"disable", SslMode::Disable},
                                           {"prefer", SslMode::Prefer},
                                           {"require", SslMode::Require},
                                           {"verify-ca", SslMode::VerifyCa},
                                           {"verify-full", SslMode::VerifyFull}};

bool isChecked(SslMode mode)
{
    return mode == SslMode::VerifyCa || mode == SslMode::VerifyFull;
}

class PostgresqlReader
{
public:
    PostgresqlReader(TomlSection &from, const QDir &base) : m_from(from), m_base(base) {}

    PostgresqlConfig read(const Config &sofar)
    {
        m_config.name = readOutletName(m_from, m_config.name, sofar);
        readPlace();
        m_config.passwordFile = readFilePath(m_from, "password_file", m_base);
        readTls();
        readSchema();
        m_config.site = readSite(m_from);
        refuseSameRows(sofar.postgresql);
        readStandby(sofar.postgresql);
        m_config.tags = readOutletTags(m_from, sofar.plcs);
        readBacklogKeys(m_from, m_config);
        m_from.refuseOthers();
        return std::move(m_config);
    }

private:
    void readPlace()
    {
        const QString typed = m_from.text("url");
        m_config.socket = m_from.text("socket", m_config.socket);
        if (!m_from.has("url"))
            return m_from.refuse("url", QStringLiteral("a [[postgresql]] has no database: add url = "
                                                       "\"postgresql://HOST/DATABASE\""));
        const QUrl url(typed, QUrl::StrictMode);
        m_config.host = url.host();
        m_config.port = quint16(url.port(usualPort));
        m_config.user = url.userName(QUrl::FullyDecoded);
        m_config.database = url.path(QUrl::FullyDecoded).mid(1);
        const bool isKnown =
            url.scheme() == QLatin1String("postgresql") || url.scheme() == QLatin1String("postgres");
        const bool hasMore = m_config.database.contains('/') || url.hasQuery() || url.hasFragment();
        if (!url.password().isEmpty())
            m_from.refuse("url", QStringLiteral("a password does not belong here, where everybody reads it: "
                                                "use password_file"));
        else if (!url.isValid() || !isKnown || m_config.database.isEmpty() || hasMore || m_config.port == 0)
            m_from.refuse("url", QStringLiteral("\"%1\" is not a database: write postgresql://HOST/DATABASE, "
                                                "postgresql://USER@HOST:PORT/DATABASE, or "
                                                "postgresql:///DATABASE for one on this machine")
                                     .arg(typed));
        if (m_from.has("socket") && (!m_config.host.isEmpty() || !m_config.socket.startsWith('/')))
            m_from.refuse("socket", QStringLiteral("socket is the folder of a database on this machine, "
                                                   "\"/run/postgresql\", and url then has no host"));
    }

    void readTls()
    {
        m_config.sslMode = m_from.choice("sslmode", m_config.sslMode, sslModes);
        const bool hasFiles = readTlsFiles(m_from, m_base, m_config);
        if (m_config.sslMode == SslMode::Disable && hasFiles)
            m_from.refuse("sslmode",
                          QStringLiteral("certificates need TLS: write sslmode = \"verify-full\""));
        else if (m_from.has("ca") && !isChecked(m_config.sslMode))
            m_from.refuse("ca", QStringLiteral("ca is used only with sslmode = \"verify-full\" or "
                                               "\"verify-ca\": with \"%1\" nobody checks the certificate")
                                    .arg(QString::fromLatin1(sslModeName(m_config.sslMode))));
        if (isChecked(m_config.sslMode) && m_config.ca.isEmpty() && !m_from.has("ca"))
            takeAuthoritiesOfTheSystem();
    }

    // The library would look into the home folder of the user, which a service has not got.
    void takeAuthoritiesOfTheSystem()
    {
        m_config.ca = authoritiesOfTheSystem();
        if (!QFileInfo(m_config.ca).isReadable())
            m_from.refuse("ca", QStringLiteral("sslmode \"%1\" needs to know who signed the certificate of "
                                               "the server: add ca = \"FILE.pem\", or install "
                                               "ca-certificates")
                                    .arg(QString::fromLatin1(sslModeName(m_config.sslMode))));
    }

    void readSchema()
    {
        static const QRegularExpression shape(QStringLiteral("^[a-z_][a-z0-9_]{0,39}$"));
        m_config.schema = m_from.text("schema", m_config.schema);
        if (!shape.match(m_config.schema).hasMatch() || m_config.schema.startsWith(QLatin1String("pg_")))
            m_from.refuse("schema", QStringLiteral(
                                        "the schema \"%1\" may have lower-case letters, digits and '_' only, "
                                        "must not begin with a digit or \"pg_\", and has at most 40 of them")
                                        .arg(m_config.schema));
    }

    void readStandby(const std::vector<PostgresqlConfig> &others)
    {
        m_config.standby = m_from.yesOrNo("standby", false);
        const auto other = std::find_if(others.begin(), others.end(),
                                        [](const PostgresqlConfig &one) { return one.standby; });
        if (m_config.standby && other != others.end())
            m_from.refuse("standby",
                          QStringLiteral("the [[postgresql]] \"%1\" says already which gateway is on "
                                         "duty: only one can")
                              .arg(other->name));
    }

    // Each outlet has numbers of its own: two of them would bring each change twice.
    void refuseSameRows(const std::vector<PostgresqlConfig> &others)
    {
        const auto isSame = [this](const PostgresqlConfig &other) {
            return other.place() == m_config.place() && other.schema == m_config.schema &&
                   other.site == m_config.site;
        };
        if (std::any_of(others.begin(), others.end(), isSame))
            m_from.refuse("url",
                          QStringLiteral("two [[postgresql]] fill the schema \"%1\" of %2 as one site: "
                                         "each change would be there twice; set schema or site")
                              .arg(m_config.schema, m_config.place()));
    }

    TomlSection &m_from;
    const QDir &m_base;
    PostgresqlConfig m_config;
};

} // namespace

const char *sslModeName(SslMode mode)
{
    const auto *row = std::find_if(std::begin(sslModes), std::end(sslModes),
                                   [mode](const auto &one) { return one.value == mode; });
    return row->word;
}

QString PostgresqlConfig::place() const
{
    const bool isShort = host.isEmpty() && port == usualPort;
    const QString at = isShort ? QString() : QStringLiteral("%1:%2").arg(host).arg(port);
    const bool isElsewhere = host.isEmpty() && socket != PostgresqlConfig().socket;
    return QStringLiteral("postgresql://%1/%2").arg(at, database) +
           (isElsewhere ? QStringLiteral(" (%1)").arg(socket) : QString());
}

PostgresqlConfig readPostgresql(TomlSection from, const QDir &base, const Config &sofar)
{
    return PostgresqlReader(from, base).read(sofar);
}

} // namespace kvgateway
