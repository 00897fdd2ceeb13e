// SPDX-License-Identifier: MIT
// The page about Sparkplug lists the clauses that are held. Each has a test that names it.
#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>
#include <QSet>

#include <gtest/gtest.h>

namespace kvgateway
{
namespace
{

QString textOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

// What a pattern captures in a text.
QStringList found(const QString &text, const char *pattern)
{
    QStringList all;
    auto matches = QRegularExpression(QString::fromLatin1(pattern)).globalMatch(text);
    while (matches.hasNext())
        all << matches.next().captured(1);
    return all;
}

constexpr char clause[] = "([STPBNDOUCMKIR]:[A-Za-z0-9-]+)";

// Of the rows of the table, not of what is said below it.
QSet<QString> clausesOfPage(const QString &page)
{
    QSet<QString> clauses;
    for (const QString &row : found(page, "(?m)^\\|((?: `[STPBNDOUCMKIR]:[A-Za-z0-9-]+`)+) \\|")) {
        for (const QString &one : found(row, clause))
            clauses.insert(one);
    }
    return clauses;
}

QSet<QString> clausesOfTests(const QString &source)
{
    QSet<QString> clauses;
    for (const QString &call : found(source, "conforms\\(((?:\\s*\"[^\"]*\")+)\\)")) {
        for (const QString &one : found(call, clause))
            clauses.insert(one);
    }
    return clauses;
}

std::string listed(const QSet<QString> &clauses)
{
    QStringList all(clauses.begin(), clauses.end());
    all.sort();
    return all.join(' ').toStdString();
}

TEST(SparkplugClauses, areReadFromPageAndTests)
{
    const QString page = "| **Data** | |\n| `T:a-b` `P:c` | said |\n`M:walk` is not\n";
    EXPECT_EQ(listed(clausesOfPage(page)), "P:c T:a-b");
    EXPECT_EQ(listed(clausesOfTests("    conforms(\"T:a-b \"\n             \"P:c\");\n// P:d\n")),
              "P:c T:a-b");
}

TEST(SparkplugClauses, ofThePageAreThoseOfTheTests)
{
    const QSet<QString> page = clausesOfPage(textOf(QStringLiteral(KV_SPARKPLUG_PAGE)));
    QSet<QString> tests;
    QDirIterator files(QStringLiteral(KV_GATEWAY_TESTS), {"sparkplug_*.cpp"}, QDir::Files,
                       QDirIterator::Subdirectories);
    while (files.hasNext()) {
        const QString path = files.next();
        if (!path.endsWith(QLatin1String("sparkplug_clauses_test.cpp")))
            tests += clausesOfTests(textOf(path));
    }
    EXPECT_GT(page.size(), 150);
    EXPECT_EQ(listed(page - tests), "") << "no test names them";
    EXPECT_EQ(listed(tests - page), "") << "the page does not have them";
}

} // namespace
} // namespace kvgateway
