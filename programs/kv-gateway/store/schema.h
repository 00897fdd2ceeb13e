// SPDX-License-Identifier: MIT
// The tables, and the way from each version of them to the next.
#pragma once

#include "database.h"

#include <optional>
#include <vector>

namespace kvgateway
{

/// A database of ours: `user_version` counts the steps it has gone.
struct Schema {
    int applicationId;               ///< `application_id`: tells it from a database of another program
    std::vector<const char *> steps; ///< statements from version 0 to 1, from 1 to 2, ...
};

/// Version 1: samples, roll-ups and their tags.
const Schema &historySchema();
/// Version 1: audit, events, last values.
const Schema &journalSchema();

/// Takes a database to the newest version: all steps that it lacks, or none of them.
/// \return false with what is wrong and what to do: a newer version, not a database of ours
bool bringUpToDate(Database &database, const Schema &schema, OpenProblem &problem);

/// For those who only read: the version must be this program's.
bool isUpToDate(Database &database, const Schema &schema, OpenProblem &problem);

/// Opens a database for those who only read. \return nullptr with what is wrong and what to do
std::unique_ptr<Database> openToRead(const QString &path, const Schema &schema, QString &problem);

/// The trigger that refuses to delete rows of the audit: its retention lifts it for a transaction.
extern const char *const auditDeleteTrigger;

} // namespace kvgateway
