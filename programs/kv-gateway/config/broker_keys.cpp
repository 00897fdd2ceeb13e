// SPDX-License-Identifier: MIT
#include "broker_keys.h"

#include "outlet_keys.h"

#include <QFileInfo>
#include <QUrl>

#include <algorithm>

namespace kvgateway
{

namespace
{

using namespace std::chrono_literals;

constexpr quint16 plainPort = 1883;
constexpr quint16 tlsPort = 8883;
constexpr int longestClient = 100;

constexpr ChoiceRow<MqttVersion> versions[] = {{"5", MqttVersion::V5}, {"3.1.1", MqttVersion::V311}};

void readUrl(TomlSection &from, const QString &kind, BrokerConfig &config)
{
    const QString typed = from.text("url");
    if (!from.has("url"))
        return from.refuse("url",
                           QStringLiteral("a %1 has no broker: add url = \"mqtt://broker\"").arg(kind));
    const QUrl url(typed, QUrl::StrictMode);
    config.hasTls = url.scheme() == QLatin1String("mqtts");
    config.host = url.host();
    config.port = quint16(url.port(config.hasTls ? tlsPort : plainPort));
    const bool isKnown = config.hasTls || url.scheme() == QLatin1String("mqtt");
    const bool hasMore = url.path().size() > 1 || url.hasQuery() || url.hasFragment();
    if (!url.userInfo().isEmpty())
        from.refuse("url", QStringLiteral("a user or password does not belong here, where everybody "
                                          "reads it: use user_file and password_file"));
    else if (!url.isValid() || !isKnown || config.host.isEmpty() || hasMore || config.port == 0)
        from.refuse("url", QStringLiteral("\"%1\" is not a broker: write mqtt://HOST, mqtts://HOST or "
                                          "mqtt://HOST:PORT")
                               .arg(typed));
}

void checkClient(TomlSection &from, const Config &sofar, const BrokerConfig &config)
{
    const auto isTaken = [&config](const auto &others) {
        return std::any_of(others.begin(), others.end(), [&config](const BrokerConfig &other) {
            return other.client == config.client && other.isBrokerOf(config);
        });
    };
    if (config.client.isEmpty() || config.client.size() > longestClient)
        from.refuse("client", QStringLiteral("client must have 1 to %1 characters").arg(longestClient));
    else if (isTaken(sofar.mqtt) || isTaken(sofar.sparkplug))
        from.refuse("client", QStringLiteral("two outlets are the client \"%1\" of one broker: they would "
                                             "throw each other out; set client")
                                  .arg(config.client));
}

void readTls(TomlSection &from, const QDir &base, BrokerConfig &config)
{
    const bool hasFiles = readTlsFiles(from, base, config);
    if (!config.hasTls && hasFiles)
        from.refuse("url", QStringLiteral("certificates need TLS: write mqtts:// in url"));
    if (!config.hasTls || !config.ca.isEmpty())
        return;
    // The library needs a file: that of the system, where Debian has it.
    config.ca = authoritiesOfTheSystem();
    if (!from.has("ca") && !QFileInfo(config.ca).isReadable())
        from.refuse("ca", QStringLiteral("TLS needs to know who signed the broker's certificate: add "
                                         "ca = \"FILE.pem\", or install ca-certificates"));
}

} // namespace

void readBroker(TomlSection &from, const QDir &base, const QString &kind, const QString &client,
                const Config &sofar, BrokerConfig &config)
{
    readUrl(from, kind, config);
    config.version = from.choice("version", config.version, versions);
    config.client = from.text("client", client);
    checkClient(from, sofar, config);
    config.userFile = readFilePath(from, "user_file", base);
    config.passwordFile = readFilePath(from, "password_file", base);
    if (config.userFile.isEmpty() && !config.passwordFile.isEmpty())
        from.refuse("password_file", QStringLiteral("a password needs a user: add user_file"));
    readTls(from, base, config);
    config.keepalive = from.duration("keepalive", config.keepalive, 5s, 1h);
}

} // namespace kvgateway
