// SPDX-License-Identifier: MIT
// Reads the history: rows, trends, tags. Works beside a running store, in another process too, and
// holds up no writing: each call sees the database as it was when the call began.
#pragma once

#include "records.h"

#include <memory>

namespace kvgateway
{

class Database;

/// One thread at a time; each thread opens its own.
class HistoryReader
{
public:
    /// \param folder the data folder
    /// \return nullptr with what is wrong and what to do: no history there, a newer version
    static std::unique_ptr<HistoryReader> open(const QString &folder, QString &problem);
    ~HistoryReader();

    /// By name. \return none with a problem if the database cannot be read; so for all calls here
    std::optional<std::vector<HistoryTag>> tags(QString &problem) const;
    bool hasTag(const QString &name) const;
    /// Each change. A tag without history: no rows.
    std::optional<RawPage> raw(const RawQuery &query, QString &problem) const;
    /// Minimum, maximum and mean of stretches of equal length; gaps where no value was good. A tag
    /// that never had a number: gaps only.
    std::optional<Trend> trend(const TrendQuery &query, QString &problem) const;

private:
    explicit HistoryReader(std::unique_ptr<Database> database);
    std::unique_ptr<Database> m_database;
};

} // namespace kvgateway
