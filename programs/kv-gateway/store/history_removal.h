// SPDX-License-Identifier: MIT
// Removes history that is too old, or too much, in parts that are short enough to come between
// commits. Freed pages are used again; the file does not shrink.
//
// The newest row before a limit stays: its value still holds at the limit.
#pragma once

#include "database.h"
#include "store.h"

#include <array>
#include <vector>

namespace kvgateway
{

class HistoryRemoval
{
public:
    static constexpr int mostRows = 20'000; ///< of one part
    static constexpr int mostTags = 500;    ///< the same

    /// \param database outlives the removal
    explicit HistoryRemoval(Database &database) : m_database(database) {}

    bool isBusy() const { return m_table < m_cuts.size(); }
    /// Begins to remove what is older than the retention allows.
    void startByAge(const Retention &retention, kvlink::WallTime now);
    /// Begins to remove the oldest twentieth of the rows, or, when less than an hour of them is
    /// left, of the minutes. \return false if there is nothing that may go
    bool startBySize(kvlink::WallTime now);
    /// Removes one part. \return false if it failed; it goes on with the next call
    bool step();

    /// Bytes in use, without the free pages in the file.
    qint64 usedBytes();
    /// The file itself is limited a little above the limit of the retention: beyond, it is full.
    /// \param bytes 0: no limit
    void limitFile(qint64 bytes);

private:
    bool removeOfTag(qint64 tag, int &removed, bool &isDone);
    bool startFrom(std::size_t table, qint64 leastSpan, qint64 now);
    void loadTags();

    Database &m_database;
    std::array<qint64, 3> m_cuts{}; ///< of rows, minutes, hours: what is before goes; 0: nothing
    std::size_t m_table = 3;
    std::vector<qint64> m_tags;
    std::size_t m_tag = 0;
};

} // namespace kvgateway
