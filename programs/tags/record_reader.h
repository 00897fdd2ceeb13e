// SPDX-License-Identifier: MIT
// A CSV text as records: separators, quotes, remarks.
#pragma once

#include <QString>
#include <QStringList>

namespace kvtags
{

struct Record {
    int line = 0; ///< where it begins
    QStringList fields;
    QString problem; ///< when it cannot be taken apart

    bool isEmptyOrRemark() const;
};

/// The separator that stands most often in the first line, outside quotes: ',', ';' or a tab. A
/// first line "sep=;", as spreadsheets write it, decides by itself.
/// \param begin where the records begin
QChar separatorOf(const QString &text, int &begin);

/// Takes the text apart into records, following quotes. Lines end with '\n'.
class RecordReader
{
public:
    /// \param begin of the first record, in a text that lives as long as this does
    RecordReader(const QString &text, QChar separator, int begin);

    bool atEnd() const { return m_at >= int(m_text.size()); }
    Record next();

private:
    Record remark(Record record);
    QString field(Record &record);
    QString plain();
    QString quoted(Record &record);

    const QString &m_text;
    QChar m_separator;
    int m_at = 0;
    int m_line = 1;
};

} // namespace kvtags
