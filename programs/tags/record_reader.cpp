// SPDX-License-Identifier: MIT
// CSV as spreadsheets write it.
#include "record_reader.h"

#include <algorithm>
#include <iterator>

namespace kvtags
{

namespace
{

constexpr QChar separators[] = {',', ';', '\t'};

bool isSeparator(QChar c)
{
    return std::find(std::begin(separators), std::end(separators), c) != std::end(separators);
}

// The first line that says something.
QString firstLine(const QString &text, int begin)
{
    for (int at = begin; at < int(text.size());) {
        const int end = int(text.indexOf('\n', at));
        QString line = text.mid(at, end < 0 ? -1 : end - at);
        if (!line.trimmed().isEmpty() && !line.startsWith('#'))
            return line;
        if (end < 0)
            break;
        at = end + 1;
    }
    return {};
}

int countOutsideQuotes(const QString &line, QChar separator)
{
    bool isQuoted = false;
    int count = 0;
    for (const QChar c : line) {
        if (c == '"')
            isQuoted = !isQuoted;
        count += c == separator && !isQuoted ? 1 : 0;
    }
    return count;
}

} // namespace

bool Record::isEmptyOrRemark() const
{
    return problem.isEmpty() && (fields[0].startsWith('#') || fields.join(QString()).isEmpty());
}

QChar separatorOf(const QString &text, int &begin)
{
    begin = 0;
    if (text.startsWith(QLatin1String("sep="), Qt::CaseInsensitive) && text.size() > 4 &&
        isSeparator(text[4])) {
        const int end = int(text.indexOf('\n'));
        begin = end < 0 ? int(text.size()) : end + 1;
        return text[4];
    }
    const QString line = firstLine(text, begin);
    QChar most = separators[0];
    for (const QChar separator : separators) {
        if (countOutsideQuotes(line, separator) > countOutsideQuotes(line, most))
            most = separator;
    }
    return most;
}

RecordReader::RecordReader(const QString &text, QChar separator, int begin)
    : m_text(text), m_separator(separator), m_at(begin),
      m_line(1 + int(std::count(text.begin(), text.begin() + begin, QLatin1Char('\n'))))
{
}

Record RecordReader::next()
{
    Record record;
    record.line = m_line;
    if (m_text[m_at] == '#')
        return remark(record);
    for (;;) {
        record.fields << field(record);
        if (atEnd())
            break;
        const QChar end = m_text[m_at++];
        if (end == m_separator)
            continue;
        ++m_line;
        break;
    }
    return record;
}

// Up to the line end, whatever quotes stand in it.
Record RecordReader::remark(Record record)
{
    const int end = int(m_text.indexOf('\n', m_at));
    record.fields << QStringLiteral("#");
    m_at = end < 0 ? int(m_text.size()) : end + 1;
    ++m_line;
    return record;
}

QString RecordReader::field(Record &record)
{
    while (!atEnd() && m_text[m_at] == ' ')
        ++m_at;
    return !atEnd() && m_text[m_at] == '"' ? quoted(record) : plain();
}

QString RecordReader::plain()
{
    const int from = m_at;
    while (!atEnd() && m_text[m_at] != m_separator && m_text[m_at] != '\n')
        ++m_at;
    return m_text.mid(from, m_at - from).trimmed();
}

QString RecordReader::quoted(Record &record)
{
    QString value;
    ++m_at;
    while (!atEnd()) {
        const QChar c = m_text[m_at++];
        if (c == '\n')
            ++m_line;
        if (c != '"') {
            value += c;
        } else if (!atEnd() && m_text[m_at] == '"') {
            value += m_text[m_at++];
        } else {
            const QString rest = plain();
            if (!rest.isEmpty())
                record.problem = QStringLiteral("text after a closing quote: '%1'").arg(rest);
            return value;
        }
    }
    record.problem = QStringLiteral("a quote is opened and never closed");
    return value;
}

} // namespace kvtags
