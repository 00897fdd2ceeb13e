// SPDX-License-Identifier: MIT
// The history as CSV (RFC 4180), piece by piece, so that a year needs no memory:
//
//     seq,time,tag,quality,reason,value
//     17,2026-05-04T08:15:02.113Z,line1.speed,good,,1480
//
// Tag after tag in the order asked for; the rows of a tag by time. Lines end with CR LF.
#pragma once

#include "history_reader.h"

#include <QByteArray>

namespace kvgateway
{

/// One thread at a time.
class CsvExport
{
public:
    /// \param reader outlives the export
    CsvExport(const HistoryReader &reader, QStringList tags, TimeRange range);

    /// The next piece, some hundred kB at most; the first one begins with the header line.
    /// \return empty at the end. None with a problem if the database cannot be read
    std::optional<QByteArray> next(QString &problem);

private:
    const HistoryReader &m_reader;
    QStringList m_tags;
    TimeRange m_range;
    int m_tag = 0;
    RawPosition m_after;
    bool m_hasHeader = false;
};

} // namespace kvgateway
