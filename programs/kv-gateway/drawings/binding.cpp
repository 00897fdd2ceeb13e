// SPDX-License-Identifier: MIT
#include "binding.h"

#include <QRegularExpression>

namespace kvgateway
{

namespace
{

QRegularExpression whole(const char *pattern)
{
    return QRegularExpression(QRegularExpression::anchoredPattern(QString::fromLatin1(pattern)));
}

bool matches(const QRegularExpression &shape, const QString &text)
{
    return shape.match(text.trimmed()).hasMatch();
}

bool isFormat(const QString &text)
{
    static const QRegularExpression number = whole("[^0|=]*0(\\.0+)?[^0|=]*");
    static const QRegularExpression word = whole("-?\\d+=[^|=]*");
    if (matches(number, text))
        return true;
    for (const QString &one : text.split('|')) {
        if (!matches(word, one))
            return false;
    }
    return true;
}

bool isCondition(const QString &text)
{
    static const QRegularExpression shape = whole(R"(on|off|(=|!=|<|<=|>|>=)\s*-?\d+(\.\d+)?)");
    return matches(shape, text);
}

bool isAction(const QString &text)
{
    static const QRegularExpression shape =
        whole("show|hide|(fill|stroke)\\s+(#[0-9a-fA-F]{3}|#[0-9a-fA-F]{6}|[a-z]+)");
    return matches(shape, text);
}

bool isWhen(const QString &text)
{
    for (const QString &rule : text.split(';')) {
        const QStringList halves = rule.split(':');
        if (halves.size() != 2 || !isCondition(halves[0]))
            return false;
        for (const QString &action : halves[1].split(',')) {
            if (!isAction(action))
                return false;
        }
    }
    return true;
}

bool isLevel(const QString &text)
{
    static const QRegularExpression shape =
        whole(R"((-?\d+(?:\.\d+)?)\s+(-?\d+(?:\.\d+)?)(\s+(up|down|left|right))?)");
    const QRegularExpressionMatch found = shape.match(text.trimmed());
    return found.hasMatch() && found.captured(1).toDouble() < found.captured(2).toDouble();
}

bool isButton(const QString &text)
{
    static const QRegularExpression shape = whole(R"(press|ask|set\s+(on|off|-?\d+(\.\d+)?))");
    return matches(shape, text);
}

struct BindingRow {
    const char *name;
    const char *elements; // that it is for; empty: any
    bool (*isFine)(const QString &text);
    const char *example;
};

// clang-format off
constexpr BindingRow bindingRows[] = {
    {"data-format", "text tspan", isFormat, R"("0.0 %" or "0=closed|1=open")"},
    {"data-when",   "",           isWhen,   R"("on: fill green; > 90: fill red, show")"},
    {"data-level",  "rect",       isLevel,  R"("0 100", perhaps with up, down, left or right behind it)"},
    {"data-button", "",           isButton, R"("press", "set 1" or "ask")"},
};
// clang-format on

constexpr char tagBinding[] = "data-tag";

} // namespace

QStringList bindingNames()
{
    QStringList names{QString::fromLatin1(tagBinding)};
    for (const BindingRow &row : bindingRows)
        names << QString::fromLatin1(row.name);
    return names;
}

QStringList bindingProblems(const QString &element, const QMap<QString, QString> &bindings)
{
    QStringList problems;
    for (const BindingRow &row : bindingRows) {
        const QString name = QString::fromLatin1(row.name);
        const auto found = bindings.find(name);
        if (found == bindings.end())
            continue;
        const QString elements = QString::fromLatin1(row.elements);
        if (!bindings.contains(QString::fromLatin1(tagBinding)))
            problems << QStringLiteral("%1 needs data-tag in the same element").arg(name);
        else if (!elements.isEmpty() && !elements.split(' ').contains(element))
            problems << QStringLiteral("%1 is for <%2>, not for <%3>")
                            .arg(name, elements.split(' ').join(QStringLiteral("> and <")), element);
        else if (!row.isFine(*found))
            problems << QStringLiteral("%1=\"%2\" is not understood: write %3")
                            .arg(name, *found, QString::fromLatin1(row.example));
    }
    return problems;
}

} // namespace kvgateway
