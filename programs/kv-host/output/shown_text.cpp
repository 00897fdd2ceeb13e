// SPDX-License-Identifier: MIT
// wcwidth() of the system, in UTF-8 whatever the locale is: a terminal of today shows UTF-8.
#include "shown_text.h"

#include <QVector>

#include <algorithm>
#include <clocale>
#include <cwchar>
#include <numeric>

namespace kvhost
{

namespace
{

constexpr uint ellipsis = 0x2026;

// For the calls of this thread, as long as it lives.
class Utf8Locale
{
public:
    Utf8Locale() : m_locale(newlocale(LC_CTYPE_MASK, "C.UTF-8", locale_t(nullptr)))
    {
        if (m_locale != locale_t(nullptr))
            m_before = uselocale(m_locale);
    }
    ~Utf8Locale()
    {
        if (m_locale == locale_t(nullptr))
            return;
        uselocale(m_before);
        freelocale(m_locale);
    }
    Utf8Locale(const Utf8Locale &) = delete;
    Utf8Locale &operator=(const Utf8Locale &) = delete;

private:
    locale_t m_locale;
    locale_t m_before = locale_t(nullptr);
};

bool isControl(uint c)
{
    return c < 0x20 || (c >= 0x7F && c < 0xA0);
}

int columnsOf(uint character)
{
    return std::max(::wcwidth(wchar_t(character)), 0);
}

bool isPlain(const QString &text)
{
    return std::all_of(text.begin(), text.end(), [](QChar c) { return c >= QChar(' ') && c <= QChar('~'); });
}

} // namespace

QString printable(const QString &text)
{
    if (isPlain(text))
        return text;
    QString shown;
    for (const QChar c : text) {
        if (isControl(c.unicode()))
            shown +=
                QStringLiteral("\\x%1").arg(c.unicode(), 2, 16, QLatin1Char('0')).toUpper().replace('X', 'x');
        else
            shown += c;
    }
    return shown;
}

int columnsOf(const QString &text)
{
    if (isPlain(text))
        return int(text.size());
    const Utf8Locale locale;
    int columns = 0;
    for (const uint character : text.toUcs4())
        columns += columnsOf(character);
    return columns;
}

QString cut(const QString &text, int columns)
{
    if (columnsOf(text) <= columns)
        return text;
    const Utf8Locale locale;
    QVector<uint> kept;
    int room = columns - 1;
    for (const uint character : text.toUcs4()) {
        room -= columnsOf(character);
        if (room < 0)
            break;
        kept << character;
    }
    if (columns > 0)
        kept << ellipsis;
    return std::accumulate(kept.begin(), kept.end(), QString(), [](const QString &all, uint character) {
        const char32_t one = character;
        return all + QString::fromUcs4(&one, 1);
    });
}

QString padded(const QString &text, int columns)
{
    return text + QString(std::max(columns - columnsOf(text), 0), ' ');
}

QString paddedLeft(const QString &text, int columns)
{
    return QString(std::max(columns - columnsOf(text), 0), ' ') + text;
}

} // namespace kvhost
