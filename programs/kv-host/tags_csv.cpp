#include "tags_csv.h"

#include <QFile>
#include <QSet>

namespace kvhost
{

namespace
{

constexpr qint64 LARGEST_FILE = 64 * 1024 * 1024;

const char *const COLUMNS[] = {"name",   "address", "type", "station",  "scale",
                               "offset", "unit",    "rw",   "deadband", "comment"};
enum Column {
    Name,
    AddressText,
    Type,
    Station,
    Scale,
    Offset,
    Unit,
    ReadWrite,
    Deadband,
    Comment,
    ColumnCount
};

struct Record {
    int line = 0; ///< where it begins
    QStringList fields;
    QString why; ///< when it cannot be taken apart
};

/// Takes the text apart into records, following quotes.
class RecordReader
{
public:
    RecordReader(const QString &text, QChar separator) : m_text(text), m_separator(separator) {}

    bool atEnd() const { return m_at >= m_text.size(); }

    Record next()
    {
        Record record;
        record.line = m_line;
        if (m_text[m_at] == '#')
            return remark(record);
        for (;;) {
            record.fields << field(&record);
            if (atEnd())
                break;
            const QChar end = m_text[m_at++];
            if (end == m_separator)
                continue;
            ++m_line; // a line end
            break;
        }
        return record;
    }

private:
    // Up to the line end, whatever quotes stand in it.
    Record remark(Record record)
    {
        const auto end = m_text.indexOf('\n', m_at);
        record.fields << QStringLiteral("#");
        m_at = end < 0 ? m_text.size() : end + 1;
        ++m_line;
        return record;
    }

    QString field(Record *record)
    {
        while (!atEnd() && m_text[m_at] == ' ')
            ++m_at;
        return !atEnd() && m_text[m_at] == '"' ? quoted(record) : plain();
    }

    QString plain()
    {
        const auto from = m_at;
        while (!atEnd() && m_text[m_at] != m_separator && m_text[m_at] != '\n')
            ++m_at;
        return m_text.mid(from, m_at - from).trimmed();
    }

    QString quoted(Record *record)
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
                    record->why = QStringLiteral("text after a closing quote: '%1'").arg(rest);
                return value;
            }
        }
        record->why = QStringLiteral("a quote is opened and never closed");
        return value;
    }

    const QString &m_text;
    QChar m_separator;
    decltype(QString().size()) m_at = 0;
    int m_line = 1;
};

// The first line decides; a semicolon in a comment further down changes nothing.
QChar separatorOf(const QString &text)
{
    const QString firstLine = text.section('\n', 0, 0, QString::SectionSkipEmpty);
    return firstLine.count(';') > firstLine.count(',') ? QLatin1Char(';') : QLatin1Char(',');
}

/// Which column stands where; -1: not in the file.
struct Layout {
    int at[ColumnCount];
    QString text(const Record &record, Column column) const
    {
        return at[column] >= 0 && at[column] < record.fields.size() ? record.fields[at[column]] : QString();
    }
};

Layout usualLayout()
{
    Layout layout{};
    for (int i = 0; i < ColumnCount; ++i)
        layout.at[i] = i;
    return layout;
}

bool isHeader(const Record &record)
{
    return record.fields[0].compare(QLatin1String("name"), Qt::CaseInsensitive) == 0 ||
           record.fields.contains(QStringLiteral("address"), Qt::CaseInsensitive);
}

Layout layoutFrom(const Record &header, QVector<TagFault> *faults)
{
    Layout layout{};
    for (int column = 0; column < ColumnCount; ++column) {
        layout.at[column] = -1;
        for (int i = 0; i < header.fields.size(); ++i) {
            if (header.fields[i].compare(QLatin1String(COLUMNS[column]), Qt::CaseInsensitive) == 0)
                layout.at[column] = i;
        }
    }
    if (layout.at[Name] < 0 || layout.at[AddressText] < 0)
        faults->append({header.line, QStringLiteral("the columns 'name' and 'address' are both needed")});
    return layout;
}

bool takeNumber(const QString &text, const char *what, double *number, QString *why)
{
    if (text.isEmpty())
        return true;
    bool ok = false;
    // A file with semicolons may well write decimal commas.
    *number = QString(text).replace(',', '.').toDouble(&ok);
    if (!ok || !(qAbs(*number) < 1e300))
        *why = QStringLiteral("%1 '%2' is no number").arg(QString::fromLatin1(what), text);
    return why->isEmpty();
}

// Types as people write them, beside the formats behind the point.
QString suffixOf(const QString &type)
{
    static const struct {
        const char *type, *suffix;
    } rows[] = {{"u", ".U"},     {"uint16", ".U"}, {"word", ".U"},   {"s", ".S"},     {"int16", ".S"},
                {"int", ".S"},   {"d", ".D"},      {"uint32", ".D"}, {"dword", ".D"}, {"l", ".L"},
                {"int32", ".L"}, {"dint", ".L"},   {"h", ".H"},      {"hex", ".H"},   {"f", ".F"},
                {"float", ".F"}, {"real", ".F"}};
    const QString name = type.startsWith('.') ? type.mid(1).toLower() : type.toLower();
    for (const auto &row : rows) {
        if (name == QString::fromLatin1(row.type))
            return QString::fromLatin1(row.suffix);
    }
    return {};
}

QString withType(const QString &address, const QString &type, QString *why)
{
    const QString lower = type.toLower();
    if (type.isEmpty() || lower == "bit" || lower == "bool")
        return address;
    if (address.contains('.')) {
        *why = QStringLiteral("a type ('%1') and a format in the address ('%2'): take one of them")
                   .arg(type, address);
        return {};
    }
    const auto colon = address.indexOf(':');
    const QString place = address.left(colon < 0 ? address.size() : colon);
    const QString count = colon < 0 ? QString() : address.mid(colon);
    if (lower.startsWith(QLatin1String("str:")) || lower.startsWith(QLatin1String(".str:")))
        return place + "." + QString(type).remove('.');
    const QString suffix = suffixOf(type);
    if (suffix.isEmpty()) {
        *why =
            QStringLiteral("type '%1' is not known: bit, U, S, D, L, H, F, STR:n, or uint16, int16, uint32, "
                           "int32, hex, float")
                .arg(type);
    }
    return place + suffix + count;
}

void takeAddress(const Layout &layout, const Record &record, Variable *tag, QString *why)
{
    QString text = withType(layout.text(record, AddressText), layout.text(record, Type), why);
    if (!why->isEmpty())
        return;
    const QString station = layout.text(record, Station);
    if (!station.isEmpty()) {
        if (text.contains('/')) {
            *why = QStringLiteral("the station stands in its column and in the address");
            return;
        }
        text = station + "/" + text;
    }
    if (const auto address = parseAddress(text, why))
        tag->address = *address;
}

void takeAccess(const QString &text, Variable *tag, QString *why)
{
    const QString access = text.toLower();
    if (access == "r" || access == "ro") {
        tag->writable = false;
    } else if (!access.isEmpty() && access != "rw" && access != "w") {
        *why = QStringLiteral("rw '%1': r or rw is expected").arg(text);
    }
}

Variable tagFrom(const Layout &layout, const Record &record, QString *why)
{
    Variable tag;
    *why = record.why;
    if (!why->isEmpty())
        return tag;
    tag.name = layout.text(record, Name);
    if (tag.name.isEmpty())
        *why = QStringLiteral("the name is missing");
    else if (layout.text(record, AddressText).isEmpty())
        *why = QStringLiteral("the address of '%1' is missing").arg(tag.name);
    if (!why->isEmpty())
        return tag;
    takeAddress(layout, record, &tag, why);
    if (why->isEmpty() && takeNumber(layout.text(record, Scale), "scale", &tag.scale, why) &&
        takeNumber(layout.text(record, Offset), "offset", &tag.offset, why) &&
        takeNumber(layout.text(record, Deadband), "deadband", &tag.deadband, why)) {
        takeAccess(layout.text(record, ReadWrite), &tag, why);
    }
    if (why->isEmpty() && tag.scale == 0.0)
        *why = QStringLiteral("scale 0 would make every value the same");
    if (why->isEmpty() && tag.deadband < 0.0)
        *why = QStringLiteral("deadband '%1' is negative").arg(layout.text(record, Deadband));
    tag.unit = layout.text(record, Unit);
    tag.comment = layout.text(record, Comment);
    return tag;
}

QString textOf(const QByteArray &bytes)
{
    QString text = QString::fromUtf8(bytes.startsWith("\xEF\xBB\xBF") ? bytes.mid(3) : bytes);
    text.replace(QLatin1String("\r\n"), QLatin1String("\n"));
    text.replace('\r', '\n');
    return text;
}

bool isNothing(const Record &record)
{
    return record.why.isEmpty() &&
           (record.fields[0].startsWith('#') || record.fields.join(QString()).isEmpty());
}

} // namespace

TagFile parseTags(const QByteArray &bytes)
{
    TagFile file;
    const QString text = textOf(bytes);
    RecordReader reader(text, separatorOf(text));
    Layout layout = usualLayout();
    QSet<QString> names;
    bool first = true;
    while (!reader.atEnd()) {
        const Record record = reader.next();
        if (isNothing(record))
            continue;
        if (first && isHeader(record)) {
            layout = layoutFrom(record, &file.faults);
            first = false;
            if (!file.faults.isEmpty())
                return file;
            continue;
        }
        first = false;
        QString why;
        const Variable tag = tagFrom(layout, record, &why);
        if (why.isEmpty() && names.contains(tag.name))
            why = QStringLiteral("the name '%1' is used twice").arg(tag.name);
        names.insert(tag.name);
        if (why.isEmpty())
            file.tags.push_back(tag);
        else
            file.faults.append({record.line, why});
    }
    return file;
}

TagFile readTagFile(const QString &path)
{
    TagFile result;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        result.problem = QStringLiteral("the tag file %1 cannot be read: %2").arg(path, file.errorString());
        return result;
    }
    if (file.size() > LARGEST_FILE) {
        result.problem = QStringLiteral("the tag file %1 is larger than 64 MiB").arg(path);
        return result;
    }
    return parseTags(file.readAll());
}

} // namespace kvhost
