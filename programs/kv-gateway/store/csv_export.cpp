// SPDX-License-Identifier: MIT
#include "csv_export.h"

#include "codes.h"

#include <QDateTime>

namespace kvgateway
{

namespace
{

constexpr int rowsOfPage = 5000;
constexpr int leastBytes = 64 * 1024; // of a piece, so that many tags with few rows take few pieces
constexpr char header[] = "seq,time,tag,quality,reason,value\r\n";

// RFC 4180: what could be taken for structure is quoted.
QByteArray field(const QString &text)
{
    QByteArray bytes = text.toUtf8();
    if (!bytes.contains(',') && !bytes.contains('"') && !bytes.contains('\n') && !bytes.contains('\r'))
        return bytes;
    return '"' + bytes.replace('"', "\"\"") + '"';
}

QByteArray line(const QByteArray &tag, const RawRow &row)
{
    const kvlink::Sample &sample = row.sample;
    const QString time =
        QDateTime::fromMSecsSinceEpoch(toMs(sample.time), Qt::UTC).toString(Qt::ISODateWithMs);
    return QByteArray::number(row.seq) + ',' + time.toLatin1() + ',' + tag + ',' +
           kvlink::qualityName(sample.quality).toLatin1() + ',' + reasonName(sample.reason).toLatin1() + ',' +
           field(sample.toText()) + "\r\n";
}

} // namespace

CsvExport::CsvExport(const HistoryReader &reader, QStringList tags, TimeRange range)
    : m_reader(reader), m_tags(std::move(tags)), m_range(range)
{
}

std::optional<QByteArray> CsvExport::next(QString &problem)
{
    QByteArray piece;
    if (!m_hasHeader)
        piece = header;
    m_hasHeader = true;
    // Each page is a transaction of its own: no long export keeps the log from being written back.
    while (piece.size() < leastBytes && m_tag < m_tags.size()) {
        const QString &tag = m_tags.at(m_tag);
        const auto page = m_reader.raw({tag, m_range, m_after, rowsOfPage}, problem);
        if (!page)
            return {};
        const QByteArray name = field(tag);
        for (const RawRow &row : page->rows)
            piece += line(name, row);
        m_after = page->end;
        if (!page->more) {
            ++m_tag;
            m_after = {};
        }
    }
    return piece;
}

} // namespace kvgateway
