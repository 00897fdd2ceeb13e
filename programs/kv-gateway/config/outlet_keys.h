// SPDX-License-Identifier: MIT
// The keys that every kind of outlet has.
#pragma once

#include "config.h"
#include "toml_section.h"

#include <QDir>

namespace kvgateway
{

/// Its name: \a fallback without one. It must differ from those of all other outlets, whose files
/// and metrics are found by it.
QString readOutletName(TomlSection &from, const QString &fallback, const Config &sofar);

/// Names and patterns of tags; each must name one of \a plcs.
QStringList readOutletTags(TomlSection &from, const std::vector<PlcConfig> &plcs);

/// {site} of topics, site of a tag in a database: the name of the machine without one.
QString readSite(TomlSection &from);

/// A file that can be read, as an absolute path; empty without the key.
QString readFilePath(TomlSection &from, const char *key, const QDir &base);

/// Whether it may not be one level of a topic: '+', '#', '/' and what cannot be printed.
bool hasReserved(const QString &text);

/// The file of those who sign certificates for everybody, as Debian has it.
QString authoritiesOfTheSystem();

/// Files of TLS: ca, certificate and key.
/// \return whether there is one of these keys
template <typename OutletConfig>
bool readTlsFiles(TomlSection &from, const QDir &base, OutletConfig &config)
{
    config.ca = readFilePath(from, "ca", base);
    config.certificate = readFilePath(from, "certificate", base);
    config.key = readFilePath(from, "key", base);
    if (config.certificate.isEmpty() != config.key.isEmpty())
        from.refuse("certificate", QStringLiteral("a certificate needs its key: give both"));
    return from.has("ca") || from.has("certificate") || from.has("key");
}

/// What keeps the rows that the other side does not take: drain, keep and size.
template <typename OutletConfig>
void readBacklogKeys(TomlSection &from, OutletConfig &config)
{
    using namespace std::chrono_literals;
    constexpr int mostRowsASecond = 1'000'000;
    config.drainRate = int(from.number("drain", config.drainRate, 1, mostRowsASecond));
    config.keep = from.duration("keep", config.keep, 1min, 3650 * 24h, 0s);
    config.size = from.size("size", config.size);
}

} // namespace kvgateway
