// SPDX-License-Identifier: MIT
// Questions to the PLC itself, in the order in which they were asked: its model, its mode, its
// error number. Each gets exactly one result.
#pragma once

#include <kvlink/plc.h>

#include <deque>
#include <vector>

namespace kvlink
{

class Queries
{
public:
    /// \param command "?K", "?M" or "?E"; another one gets its result at once, a problem
    void add(QueryId id, const QByteArray &command);

    bool isEmpty() const { return m_waiting.empty(); }
    /// The command that is next or has been sent.
    const QByteArray &first() const { return m_waiting.front().command; }
    /// \param answer as it came; error answers are answers, too
    void firstAnswered(const QByteArray &answer);
    void firstFailed(const QString &problem);
    void failAll(const QString &problem);

    /// Results that nobody has taken yet.
    std::vector<QueryResult> &results() { return m_results; }

private:
    struct Query {
        QueryId id = 0;
        QByteArray command;
    };

    std::deque<Query> m_waiting;
    std::vector<QueryResult> m_results;
};

} // namespace kvlink
