// SPDX-License-Identifier: MIT
#include "engine/queries.h"

namespace kvlink
{

void Queries::add(QueryId id, const QByteArray &command)
{
    if (command == "?K" || command == "?M" || command == "?E")
        m_waiting.push_back({id, command});
    else
        m_results.push_back({id, false, {}, QStringLiteral("only ?K, ?M and ?E can be asked")});
}

void Queries::firstAnswered(const QByteArray &answer)
{
    m_results.push_back({m_waiting.front().id, true, QString::fromLatin1(answer).trimmed(), {}});
    m_waiting.pop_front();
}

void Queries::firstFailed(const QString &problem)
{
    m_results.push_back({m_waiting.front().id, false, {}, problem});
    m_waiting.pop_front();
}

void Queries::failAll(const QString &problem)
{
    while (!m_waiting.empty())
        firstFailed(problem);
}

} // namespace kvlink
