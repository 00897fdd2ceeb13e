// SPDX-License-Identifier: MIT
// Reads audit, events and last values, beside a running store and in another process too.
#pragma once

#include "records.h"

#include <memory>

namespace kvgateway
{

class Database;

/// One thread at a time; each thread opens its own.
class JournalReader
{
public:
    /// \return nullptr with what is wrong and what to do
    static std::unique_ptr<JournalReader> open(const QString &folder, QString &problem);
    ~JournalReader();

    /// The newest first. \return none with a problem if the database cannot be read; so for all
    ///   calls here
    std::optional<std::vector<EventRow>> events(const EventQuery &query, QString &problem) const;
    std::optional<std::vector<AuditRow>> audit(const AuditQuery &query, QString &problem) const;
    /// All that were kept, by name. Good and pending ones are stale now, with the time they had.
    std::optional<std::vector<LastValue>> lastValues(QString &problem) const;

private:
    explicit JournalReader(std::unique_ptr<Database> database);
    std::unique_ptr<Database> m_database;
};

} // namespace kvgateway
