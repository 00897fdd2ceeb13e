// SPDX-License-Identifier: MIT
// The tables and views of a PostgreSQL database that gets values: made once, and brought up to date
// by a newer program.
#pragma once

#include "pq_link.h"

namespace kvgateway
{

/// As it stands in SQL: it may be a word of the language.
QByteArray quotedSchema(const QString &schema);

/// What makes the tables and views in an empty database, for people who let no program do that.
QByteArray schemaSql(const QString &schema);

/// Makes what is missing, in one transaction; nothing if all is there. Two at once wait for each
/// other. With the extension timescaledb in the database, the samples become a hypertable.
/// \param done what there is now, for people: "made, version 1"
bool makeSchema(PqLink &link, const QString &schema, QString &done, QString &problem);

/// Whether this program can fill the tables as they are.
bool checkSchema(PqLink &link, const QString &schema, QString &problem);

} // namespace kvgateway
