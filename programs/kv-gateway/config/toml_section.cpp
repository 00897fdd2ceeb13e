// SPDX-License-Identifier: MIT
#include "toml_section.h"

#include "text/near_name.h"

#include <kvlink/text.h>

namespace kvgateway
{

namespace
{

QString textOf(std::string_view text)
{
    return QString::fromUtf8(text.data(), int(text.size()));
}

QString inQuotes(const QString &text)
{
    return '"' + text + '"';
}

// "1000" in quotes is not a number, and 1000 not a text.
QString expected(const char *key, const char *what)
{
    return QStringLiteral("%1 must be %2").arg(QString::fromLatin1(key), QString::fromLatin1(what));
}

} // namespace

TomlSection::TomlSection(const toml::table *table, QString name, QString file, Problems &problems)
    : m_table(table), m_name(std::move(name)), m_file(std::move(file)), m_problems(problems)
{
}

const toml::node *TomlSection::find(const char *key)
{
    m_asked << QString::fromLatin1(key);
    return m_table == nullptr ? nullptr : m_table->get(key);
}

bool TomlSection::has(const char *key) const
{
    return m_table != nullptr && m_table->contains(key);
}

QString TomlSection::text(const char *key, const QString &fallback)
{
    const toml::node *node = find(key);
    if (node == nullptr)
        return fallback;
    if (const auto *value = node->as_string())
        return textOf(value->get());
    note(node->source(), expected(key, "a text in quotes"));
    return fallback;
}

QStringList TomlSection::texts(const char *key)
{
    const toml::node *node = find(key);
    if (node == nullptr)
        return {};
    if (const auto *value = node->as_string())
        return {textOf(value->get())};
    const toml::array *list = node->as_array();
    if (list == nullptr) {
        note(node->source(), expected(key, "a text in quotes, or a list of texts"));
        return {};
    }
    QStringList found;
    for (const toml::node &one : *list) {
        if (const auto *value = one.as_string())
            found << textOf(value->get());
        else
            note(one.source(), expected(key, "a list of texts in quotes"));
    }
    return found;
}

bool TomlSection::yesOrNo(const char *key, bool fallback)
{
    const toml::node *node = find(key);
    if (node == nullptr)
        return fallback;
    if (const auto *value = node->as_boolean())
        return value->get();
    note(node->source(), expected(key, "true or false, without quotes"));
    return fallback;
}

qint64 TomlSection::number(const char *key, qint64 fallback, qint64 least, qint64 most)
{
    const toml::node *node = find(key);
    if (node == nullptr)
        return fallback;
    const auto *value = node->as_integer();
    if (value != nullptr && value->get() >= least && value->get() <= most)
        return value->get();
    note(node->source(), QStringLiteral("%1 must be a whole number from %2 to %3, without quotes")
                             .arg(QString::fromLatin1(key))
                             .arg(least)
                             .arg(most));
    return fallback;
}

kvlink::Duration TomlSection::duration(const char *key, kvlink::Duration fallback, kvlink::Duration least,
                                       kvlink::Duration most, std::optional<kvlink::Duration> foreverIs)
{
    const toml::node *node = find(key);
    if (node == nullptr)
        return fallback;
    const auto *value = node->as_string();
    if (value == nullptr) {
        note(node->source(), expected(key, "a time in quotes, as in \"500ms\""));
        return fallback;
    }
    const QString typed = textOf(value->get());
    if (foreverIs && typed == QLatin1String("forever"))
        return *foreverIs;
    QString problem;
    const auto duration = kvlink::durationFromText(typed, problem);
    if (duration && *duration >= least && *duration <= most)
        return *duration;
    if (duration) {
        problem = QStringLiteral("%1 must be from %2 to %3, and is %4")
                      .arg(QString::fromLatin1(key), kvlink::durationText(least), kvlink::durationText(most),
                           typed);
    } else {
        problem = QStringLiteral("%1: %2").arg(QString::fromLatin1(key), problem);
    }
    note(node->source(), problem);
    return fallback;
}

qint64 TomlSection::size(const char *key, qint64 fallback)
{
    static const struct {
        const char *unit;
        qint64 bytes;
    } units[] = {{"MB", 1'000'000}, {"GB", 1'000'000'000}, {"TB", 1'000'000'000'000}};
    constexpr qint64 mostUnits = 1'000'000;
    const toml::node *node = find(key);
    if (node == nullptr)
        return fallback;
    const auto *value = node->as_string();
    const QString typed = value == nullptr ? QString() : textOf(value->get()).trimmed();
    if (typed == QLatin1String("unlimited"))
        return 0;
    for (const auto &unit : units) {
        bool ok = false;
        const qint64 count = typed.chopped(qMin(2, int(typed.size()))).trimmed().toLongLong(&ok);
        if (typed.endsWith(QLatin1String(unit.unit)) && ok && count > 0 && count <= mostUnits)
            return count * unit.bytes;
    }
    note(node->source(), expected(key, R"(a size in quotes, as in "500MB" or "2GB", or "unlimited")"));
    return fallback;
}

int TomlSection::chosenWord(const char *key, const QStringList &words)
{
    const toml::node *node = find(key);
    if (node == nullptr)
        return -1;
    const auto *value = node->as_string();
    const QString typed = value == nullptr ? QString() : textOf(value->get());
    const int chosen = value == nullptr ? -1 : int(words.indexOf(typed));
    if (chosen < 0) {
        QStringList quoted;
        for (const QString &word : words)
            quoted << inQuotes(word);
        note(node->source(),
             QStringLiteral("%1 must be one of %2%3")
                 .arg(QString::fromLatin1(key), quoted.join(QLatin1String(", ")), didYouMean(typed, words)));
    }
    return chosen;
}

const toml::table *TomlSection::table(const char *key)
{
    const toml::node *node = find(key);
    if (node != nullptr && node->as_table() == nullptr)
        note(node->source(),
             QStringLiteral("%1 is a section: write [%1] on a line of its own, and its keys below")
                 .arg(QString::fromLatin1(key)));
    return node == nullptr ? nullptr : node->as_table();
}

std::vector<const toml::table *> TomlSection::tables(const char *key)
{
    std::vector<const toml::table *> found;
    const toml::node *node = find(key);
    const toml::array *list = node == nullptr ? nullptr : node->as_array();
    bool isFine = node == nullptr || list != nullptr;
    if (list != nullptr) {
        for (const toml::node &one : *list) {
            isFine = isFine && one.is_table();
            if (one.is_table())
                found.push_back(one.as_table());
        }
    }
    if (!isFine)
        note(node->source(),
             QStringLiteral("write [[%1]], with two brackets, on a line of its own for each %1")
                 .arg(QString::fromLatin1(key)));
    return found;
}

void TomlSection::refuseHere(const char *key, const QString &text)
{
    if (const toml::node *node = find(key))
        note(node->source(), text);
}

void TomlSection::refuse(const char *key, const QString &text)
{
    const toml::node *node = m_table == nullptr ? nullptr : m_table->get(key);
    const toml::node *where = node == nullptr ? m_table : node;
    note(where == nullptr ? toml::source_region{} : where->source(), text);
}

void TomlSection::refuseOthers()
{
    if (m_table == nullptr)
        return;
    for (const auto &[key, value] : *m_table) {
        const QString name = textOf(key.str());
        if (m_asked.contains(name))
            continue;
        note(key.source(),
             QStringLiteral("unknown key \"%1\"%2%3")
                 .arg(name, m_name.isEmpty() ? QString() : " in " + m_name, didYouMean(name, m_asked)));
    }
}

void TomlSection::note(const toml::source_region &where, const QString &text)
{
    m_problems.push_back({m_file, int(where.begin.line), int(where.begin.column), text});
}

} // namespace kvgateway
