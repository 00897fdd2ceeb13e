// SPDX-License-Identifier: MIT
// The keys that say how a broker is reached.
#pragma once

#include "config.h"
#include "toml_section.h"

#include <QDir>

namespace kvgateway
{

/// url, version, client, user_file, password_file, ca, certificate, key and keepalive.
/// \param kind   "[[mqtt]]"
/// \param client id at the broker without the key
/// \param sofar  what was read before: two clients of one broker need ids of their own
void readBroker(TomlSection &from, const QDir &base, const QString &kind, const QString &client,
                const Config &sofar, BrokerConfig &config);

} // namespace kvgateway
