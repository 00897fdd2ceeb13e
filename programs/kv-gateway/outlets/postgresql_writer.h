// SPDX-License-Identifier: MIT
// Writes rows to PostgreSQL: a COPY to a table of the session, and from there what is not known yet
// to the samples. Each row is there once by tag, time and sequence, however often it comes.
#pragma once

#include "pq_link.h"
#include "sample_writer.h"

#include <QHash>

namespace kvgateway
{

class PostgresqlWriter : public SampleWriter
{
public:
    explicit PostgresqlWriter(const PostgresqlConfig &config, PqPatience patience = {})
        : m_config(config), m_link(patience)
    {
    }

    bool open(QString &problem) override;
    bool takeTags(const std::vector<TagFacts> &tags, QString &problem) override;
    WriteResult write(const std::vector<OutletRow> &rows, QString &problem) override;
    bool isAlive(QString &problem) override;
    void close() override;
    void interrupt() override { m_link.interrupt(); }

private:
    bool knowTags(const std::vector<OutletRow> &rows, PqProblem &problem);
    bool addTags(const std::vector<QByteArray> &names, PqProblem &problem);
    WriteResult refusal(const PqProblem &problem);
    QByteArray sql(const char *text) const;

    const PostgresqlConfig m_config;
    PqLink m_link;
    QHash<QString, qint32> m_ids; ///< of tags, in the database
};

} // namespace kvgateway
