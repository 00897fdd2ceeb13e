// SPDX-License-Identifier: MIT
// Random ids, and their hashes: what is kept gives nothing away.
#pragma once

#include <QByteArray>
#include <QString>

namespace kvgateway
{

/// 43 characters of A-Z a-z 0-9 - _, from 256 random bits.
QString randomId();

/// 32 bytes (BLAKE2b). Ids are long and random: a slow hash would protect them no better.
QByteArray hashOf(const QString &id);

/// Takes as long whether the first or the last byte differs.
bool isSame(const QByteArray &one, const QByteArray &other);

/// A second secret that follows from the first and does not give it away.
QString derivedFrom(const QString &id, const char *purpose);

} // namespace kvgateway
