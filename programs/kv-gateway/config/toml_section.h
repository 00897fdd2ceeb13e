// SPDX-License-Identifier: MIT
// One table of the file, asked key by key. What is wrong is noted with its place, and reading goes
// on: an engineer sees all mistakes at once.
#pragma once

#include "problem.h"

#include <kvlink/times.h>

#include <QStringList>

#include <toml++/toml.h>

#include <optional>

namespace kvgateway
{

/// A word of the file and what it stands for.
template <typename T>
struct ChoiceRow {
    const char *word;
    T value;
};

class TomlSection
{
public:
    /// \param name as people write it: "[listen]"; empty: the top of the file
    /// \param table may be null: then every key has its fallback
    TomlSection(const toml::table *table, QString name, QString file, Problems &problems);

    bool has(const char *key) const;
    QString text(const char *key, const QString &fallback = {});
    /// A text, or a list of texts.
    QStringList texts(const char *key);
    bool yesOrNo(const char *key, bool fallback);
    qint64 number(const char *key, qint64 fallback, qint64 least, qint64 most);
    /// As typed, "500ms"; "forever" where \a foreverIs says what that is.
    kvlink::Duration duration(const char *key, kvlink::Duration fallback, kvlink::Duration least,
                              kvlink::Duration most,
                              std::optional<kvlink::Duration> foreverIs = std::nullopt);
    /// "500MB", "2GB"; "unlimited" is 0.
    qint64 size(const char *key, qint64 fallback);
    template <typename T, std::size_t count>
    T choice(const char *key, T fallback, const ChoiceRow<T> (&rows)[count])
    {
        QStringList words;
        for (const auto &row : rows)
            words << QString::fromLatin1(row.word);
        const int chosen = chosenWord(key, words);
        return chosen < 0 ? fallback : rows[chosen].value;
    }

    /// A table in this one; null with a problem if the key holds something else.
    const toml::table *table(const char *key);
    /// The tables of "[[key]]".
    std::vector<const toml::table *> tables(const char *key);

    /// Notes a problem with a key that does not belong here, if it is there.
    void refuseHere(const char *key, const QString &text);
    /// Notes a problem with the value of a key, or with the section where it has none.
    void refuse(const char *key, const QString &text);
    /// After the last question: notes each key that nobody asked for.
    void refuseOthers();

private:
    const toml::node *find(const char *key);
    int chosenWord(const char *key, const QStringList &words);
    void note(const toml::source_region &where, const QString &text);

    const toml::table *m_table;
    QString m_name;
    QString m_file;
    Problems &m_problems;
    QStringList m_asked;
};

} // namespace kvgateway
