// SPDX-License-Identifier: MIT
// A line of the tag file as a variable, or why it is none.
#include "tag_file.h"

#include "tag_columns.h"

#include <QFile>
#include <QSet>

#include <algorithm>
#include <utility>

namespace kvtags
{

namespace
{

constexpr qint64 largestFile = 64 * 1024 * 1024;
constexpr double largestNumber = 1e300;

bool takeNumber(const QString &text, const char *what, double &number, QString &why)
{
    if (text.isEmpty())
        return true;
    bool ok = false;
    // A file with semicolons may well write decimal commas.
    number = QString(text).replace(',', '.').toDouble(&ok);
    if (!ok || !(qAbs(number) < largestNumber))
        why = QStringLiteral("%1 '%2' is not a number").arg(QString::fromLatin1(what), text);
    return why.isEmpty();
}

// Types as people write them, beside the formats after the dot.
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

QString withType(const QString &address, const QString &type, QString &why)
{
    const QString lower = type.toLower();
    if (type.isEmpty() || lower == "bit" || lower == "bool")
        return address;
    if (address.contains('.')) {
        why = QStringLiteral("a type ('%1') and a format in the address ('%2'): take one of them")
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
        why =
            QStringLiteral("type '%1' is not known: bit, U, S, D, L, H, F, STR:n, or uint16, int16, uint32, "
                           "int32, hex, float")
                .arg(type);
    }
    return place + suffix + count;
}

// One line on its way to a variable.
class LineReader
{
public:
    LineReader(const TagColumns &columns, const Record &record) : m_columns(columns), m_record(record) {}

    std::optional<Variable> variable(QString &why)
    {
        why = m_record.problem;
        if (!why.isEmpty() || !namesBoth(why))
            return std::nullopt;
        std::optional<Variable> tag = place(why);
        if (!tag)
            return std::nullopt;
        tag->settings.name = text(Column::Name);
        tag->settings.unit = text(Column::Unit);
        tag->comment = text(Column::Comment);
        tag->line = m_record.line;
        tag->extras = m_columns.extras(m_record);
        if (!takeNumbers(tag->settings, why) || !takeAccess(*tag, why) || !takeCommand(tag->settings, why))
            return std::nullopt;
        return tag;
    }

private:
    QString text(Column column) const { return m_columns.text(m_record, column); }

    bool namesBoth(QString &why) const
    {
        const QString surplus = m_columns.surplus(m_record);
        if (text(Column::Name).isEmpty())
            why = QStringLiteral("the name is missing");
        else if (text(Column::Address).isEmpty())
            why = QStringLiteral("the address of '%1' is missing").arg(text(Column::Name));
        else if (!surplus.isEmpty())
            why = QStringLiteral("more fields than columns; the first is '%1'").arg(surplus);
        return why.isEmpty();
    }

    std::optional<Variable> place(QString &why) const
    {
        QString typed = withType(text(Column::Address), text(Column::Type), why);
        if (!why.isEmpty())
            return std::nullopt;
        const QString station = text(Column::Station);
        if (!station.isEmpty() && typed.contains('/')) {
            why = QStringLiteral("the station stands in its column and in the address");
            return std::nullopt;
        }
        return parseVariable(station.isEmpty() ? typed : station + "/" + typed, why);
    }

    bool takeNumbers(kvlink::TagSettings &tag, QString &why) const
    {
        if (!takeNumber(text(Column::Scale), "scale", tag.scale, why) ||
            !takeNumber(text(Column::Offset), "offset", tag.offset, why) ||
            !takeNumber(text(Column::Deadband), "deadband", tag.deadband, why))
            return false;
        if (tag.scale == 0.0)
            why = QStringLiteral("scale 0 would make every value the same");
        else if (tag.deadband < 0.0)
            why = QStringLiteral("deadband '%1' is negative").arg(text(Column::Deadband));
        return why.isEmpty();
    }

    // On purpose read-only where the column is there and its cell is empty: whoever fills such a
    // column has said for each tag whether it may be written. What nobody can write is read-only
    // unless its cell says otherwise, which is a mistake that each program words for itself.
    bool takeAccess(Variable &tag, QString &why) const
    {
        const QString access = text(Column::ReadWrite).toLower();
        const bool isReadOnly = access.isEmpty() || access == "r" || access == "ro";
        if (isReadOnly && (m_columns.has(m_record, Column::ReadWrite) || !tag.address.isWritable()))
            tag.settings.access = kvlink::Access::ReadOnly;
        if (!isReadOnly && access != "rw" && access != "w")
            why = QStringLiteral("rw '%1': r or rw is expected").arg(text(Column::ReadWrite));
        return why.isEmpty();
    }

    bool takeCommand(kvlink::TagSettings &tag, QString &why) const
    {
        const QString command = text(Column::Command).toLower();
        tag.command = command == "yes" || command == "1";
        if (!tag.command && !command.isEmpty() && command != "no" && command != "0")
            why = QStringLiteral("command '%1': yes or no is expected").arg(text(Column::Command));
        return why.isEmpty();
    }

    const TagColumns &m_columns;
    const Record &m_record;
};

bool hasDigit(const QString &text)
{
    return std::any_of(text.begin(), text.end(), [](QChar c) { return c.isDigit(); });
}

// A first line that is neither a tag nor a header with the names that are known:
// "Bezeichnung;Adresse".
QString foreignHeader(const Record &record)
{
    const QString address = record.fields.value(1);
    if (address.isEmpty() || hasDigit(record.fields.join(QString())))
        return {};
    return QStringLiteral("'%1' is not an address. If this line names the columns, use these names: %2")
        .arg(address, columnNames().join(QStringLiteral(", ")));
}

// All records, one after the other.
class FileReader
{
public:
    explicit FileReader(const QStringList &extras) : m_extras(extras) {}

    TagFile read(const QString &text)
    {
        int begin = 0;
        const QChar separator = separatorOf(text, begin);
        RecordReader reader(text, separator, begin);
        while (!reader.atEnd() && !m_isHopeless) {
            const Record record = reader.next();
            if (!record.isEmptyOrRemark())
                take(record);
        }
        return std::move(m_file);
    }

private:
    void take(const Record &record)
    {
        const bool isFirst = std::exchange(m_isFirst, false);
        QString why;
        if (isFirst && TagColumns::isHeader(record)) {
            const auto columns = TagColumns::fromHeader(record, m_extras, why);
            m_isHopeless = !columns;
            m_columns = columns.value_or(m_columns);
        } else if (isFirst && !(why = foreignHeader(record)).isEmpty()) {
            m_isHopeless = true;
        } else if (auto tag = LineReader(m_columns, record).variable(why)) {
            if (m_names.contains(tag->settings.name))
                why = QStringLiteral("the name '%1' is used twice").arg(tag->settings.name);
            m_names.insert(tag->settings.name);
            if (why.isEmpty())
                m_file.tags.push_back(std::move(*tag));
        }
        if (!why.isEmpty())
            m_file.faults.append({record.line, why});
    }

    const QStringList &m_extras;
    TagFile m_file;
    TagColumns m_columns = TagColumns::usual();
    QSet<QString> m_names;
    bool m_isFirst = true;
    bool m_isHopeless = false; // without columns no further line makes sense
};

} // namespace

TagFile parseTags(const QByteArray &bytes, FileEncoding encoding, const QStringList &extras)
{
    int line = 0;
    QString problem;
    const auto text = decodeText(bytes, encoding, line, problem);
    if (text)
        return FileReader(extras).read(*text);
    TagFile file;
    file.faults.append({line, problem});
    return file;
}

TagFile readTagFile(const QString &path, FileEncoding encoding, const QStringList &extras)
{
    TagFile result;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        result.problem = QStringLiteral("the tag file %1 cannot be read: %2").arg(path, file.errorString());
        return result;
    }
    if (file.size() > largestFile) {
        result.problem = QStringLiteral("the tag file %1 is larger than 64 MiB").arg(path);
        return result;
    }
    return parseTags(file.readAll(), encoding, extras);
}

} // namespace kvtags
