// SPDX-License-Identifier: MIT
// Separators of an address: '-' before the end of a range, '.' before a format, ':' before a count.
#include "model/place_text.h"

namespace kvlink
{

namespace
{

constexpr char firstPrintable = '!';
constexpr char lastPrintable = '~';

char capital(char c)
{
    return c >= 'a' && c <= 'z' ? char(c - 'a' + 'A') : c;
}

// Cuts \a text at the first \a separator. \return false if there is none
bool cut(std::string_view &text, char separator, std::string_view &rest)
{
    const size_t at = text.find(separator);
    if (at == std::string_view::npos)
        return false;
    rest = text.substr(at + 1);
    text = text.substr(0, at);
    return true;
}

} // namespace

bool PlaceText::takeLetters(const QString &given, QString &problem)
{
    const QStringView text = QStringView(given).trimmed();
    if (text.isEmpty()) {
        problem = QStringLiteral("an address is missing; write one such as DM100, R1015 or T5");
        return false;
    }
    if (text.size() > longest) {
        problem = QStringLiteral("too long for an address; write one such as DM100, R1015 or T5");
        return false;
    }
    size_t length = 0;
    for (const QChar c : text) {
        if (c < QLatin1Char(firstPrintable) || c > QLatin1Char(lastPrintable)) {
            problem =
                QStringLiteral("an address has letters, digits, '.', ':' and '-' only, as in DM100.S:10");
            return false;
        }
        m_letters[length++] = capital(c.toLatin1());
    }
    first = std::string_view(m_letters.data(), length);
    return true;
}

bool PlaceText::refuseStation(QString &problem) const
{
    const size_t slash = first.find('/');
    if (slash == std::string_view::npos)
        return true;
    const std::string_view place = first.substr(slash + 1);
    problem = QStringLiteral("an address has no station, since each PLC has a link of its own; write %1")
                  .arg(place.empty() ? QStringLiteral("DM0") : textOf(place));
    return false;
}

bool PlaceText::splitCountAndFormat(QString &problem)
{
    hasCount = cut(first, ':', count);
    hasFormat = cut(first, '.', format);
    if (!hasFormat || format.find('-') == std::string_view::npos)
        return true;
    const bool isBit = format.front() >= '0' && format.front() <= '9';
    problem = isBit ? QStringLiteral("single bits are counted, not ranged; write DM100.0:16")
                    : QStringLiteral("the format comes once, after the range; write DM100-DM109.S");
    return false;
}

bool PlaceText::splitLast(QString &problem)
{
    hasLast = cut(first, '-', last);
    if (!hasLast)
        return true;
    if (hasCount) {
        problem = QStringLiteral("a range has no count; write DM100-DM109 or DM100:10");
        return false;
    }
    if (last.empty()) {
        problem = QStringLiteral("the range has no end; write DM100-DM109");
        return false;
    }
    return true;
}

bool PlaceText::split(const QString &given, QString &problem)
{
    return takeLetters(given, problem) && refuseStation(problem) && splitCountAndFormat(problem) &&
           splitLast(problem);
}

} // namespace kvlink
