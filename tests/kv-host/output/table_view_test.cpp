// SPDX-License-Identifier: MIT
// The live table as lines: columns, colours, filter, order, scrolling.
#include "output/live_screen.h"
#include "output/table_view.h"

#include <gtest/gtest.h>

namespace kvhost
{
namespace
{

using kvlink::Quality;

TableRow tableRow(const QString &name, const QString &value, Quality quality = Quality::Good)
{
    TableRow row;
    row.row.name = name;
    row.row.value = value;
    row.row.hasValue = !value.isEmpty();
    row.row.quality = quality;
    row.age = 0.2;
    return row;
}

std::vector<TableRow> numbered(int count)
{
    std::vector<TableRow> rows;
    for (int i = 0; i < count; ++i)
        rows.push_back(tableRow(QStringLiteral("DM%1").arg(i), "5"));
    return rows;
}

const std::vector<TableLink> oneLink = {{"tcp://a:8501  linked", true}};

std::string linesOf(const std::vector<TableRow> &rows, TableState &state, int width, int height,
                    bool hasColours = false)
{
    return tableLines(rows, oneLink, "rates", state, width, height, hasColours).join('\n').toStdString();
}

TEST(TableView, showsLinksRatesAndRows)
{
    std::vector<TableRow> rows = {tableRow("DM1", "5"), tableRow("DM2", {}, Quality::Bad)};
    rows[0].isChanged = true;
    rows[1].row.error = "no answer";
    rows[1].age = -1.0;
    TableState state;
    EXPECT_EQ(linesOf(rows, state, 80, 10), "tcp://a:8501  linked\n"
                                            "rates\n"
                                            "  name value quality    age           \n"
                                            "* DM1      5 good     0.2 s           \n"
                                            "  DM2      - bad          -  no answer\n"
                                            "1-2 of 2   ? for help, q to quit");
}

TEST(TableView, fillsAWideTerminalWithColumns)
{
    TableState state;
    EXPECT_EQ(linesOf(numbered(5), state, 64, 7),
              "tcp://a:8501  linked\n"
              "rates\n"
              "  name value quality    age     name value quality    age\n"
              "  DM0      5 good     0.2 s     DM3      5 good     0.2 s\n"
              "  DM1      5 good     0.2 s     DM4      5 good     0.2 s\n"
              "  DM2      5 good     0.2 s\n"
              "1-5 of 5   ? for help, q to quit");
}

TEST(TableView, scrolls)
{
    TableState state;
    EXPECT_TRUE(takeKey(state, "\x1b[B", 2));
    EXPECT_TRUE(takeKey(state, "\x1b[6~", 2));
    EXPECT_EQ(linesOf(numbered(9), state, 40, 6), "tcp://a:8501  linked\n"
                                                  "rates\n"
                                                  "  name value quality    age\n"
                                                  "  DM3      5 good     0.2 s\n"
                                                  "  DM4      5 good     0.2 s\n"
                                                  "4-5 of 9   ? for help, q to quit");
    EXPECT_TRUE(takeKey(state, "\x1b[F", 2));
    EXPECT_NE(linesOf(numbered(9), state, 40, 6).find("8-9 of 9"), std::string::npos);
    EXPECT_TRUE(takeKey(state, "\x1b[H", 2));
    EXPECT_NE(linesOf(numbered(9), state, 40, 6).find("1-2 of 9"), std::string::npos);
}

TEST(TableView, filtersByAPartOrAPattern)
{
    const std::vector<TableRow> rows = {tableRow("Valve1", "1"), tableRow("Pump", "0"),
                                        tableRow("Valve2", "0")};
    TableState state;
    for (const char *key : {"/", "v", "a", "l"})
        EXPECT_TRUE(takeKey(state, key, 5));
    EXPECT_NE(linesOf(rows, state, 60, 10).find("/val_"), std::string::npos);
    EXPECT_TRUE(takeKey(state, "q", 5)); // a letter of the filter, while it is typed
    EXPECT_TRUE(takeKey(state, "\x7f", 5));
    EXPECT_TRUE(takeKey(state, "\r", 5));
    EXPECT_NE(linesOf(rows, state, 60, 10).find("1-2 of 2 (of 3; /val)"), std::string::npos);
    state.filter = "*2";
    EXPECT_NE(linesOf(rows, state, 60, 10).find("1-1 of 1 (of 3; /*2)"), std::string::npos);
}

TEST(TableView, sorts)
{
    const std::vector<TableRow> rows = {tableRow("b", "1"), tableRow("c", {}, Quality::Bad),
                                        tableRow("a", "0", Quality::Stale)};
    const auto order = [&rows](TableState &state) {
        QString names;
        for (const QString &line : tableLines(rows, {}, "", state, 60, 10, false).mid(2, 3))
            names += line.mid(2, 1);
        return names.toStdString();
    };
    TableState state;
    EXPECT_EQ(order(state), "bca");
    takeKey(state, "s", 5);
    EXPECT_EQ(order(state), "abc");
    takeKey(state, "s", 5);
    EXPECT_EQ(order(state), "cab"); // worst first
    takeKey(state, "s", 5);
    EXPECT_EQ(order(state), "bca");
}

TEST(TableView, coloursWhatIsNotGood)
{
    const std::vector<TableRow> rows = {tableRow("a", {}, Quality::Bad), tableRow("b", "1", Quality::Stale)};
    TableState state;
    const QStringList lines =
        tableLines(rows, {{"tcp://a  NO LINK: refused", false}}, "", state, 60, 10, true);
    EXPECT_EQ(lines[0].toStdString(), "\x1b[31mtcp://a  NO LINK: refused\x1b[0m");
    EXPECT_TRUE(lines[3].startsWith("\x1b[31m")) << lines[3].toStdString();
    EXPECT_TRUE(lines[4].startsWith("\x1b[33m")) << lines[4].toStdString();
}

TEST(TableView, neverIsWiderThanTheTerminal)
{
    std::vector<TableRow> rows = {tableRow(QString(100, 'n'), QString(100, '7'), Quality::Bad)};
    rows[0].row.error = QString(100, 'e');
    for (const int width : {20, 40, 80, 200}) {
        TableState state;
        for (const QString &line :
             tableLines(rows, {{QString(300, 'u'), true}}, QString(300, 'r'), state, width, 10, false))
            EXPECT_LE(line.size(), width) << line.toStdString();
    }
}

TEST(TableView, quitsAndHelps)
{
    TableState state;
    EXPECT_FALSE(takeKey(state, "q", 5));
    EXPECT_TRUE(takeKey(state, "?", 5));
    EXPECT_NE(linesOf(numbered(2), state, 60, 12).find("quit"), std::string::npos);
    EXPECT_TRUE(takeKey(state, "?", 5));
    EXPECT_FALSE(state.isHelp);
}

TEST(Ages, areShort)
{
    EXPECT_EQ(ageText(0.24).toStdString(), "0.2 s");
    EXPECT_EQ(ageText(12).toStdString(), "12 s");
    EXPECT_EQ(ageText(180).toStdString(), "3 min");
    EXPECT_EQ(ageText(18000).toStdString(), "5 h");
}

TEST(Keys, stayWhole)
{
    EXPECT_EQ(keysOf("a\x1b[5~\x1b[Bq"), (QList<QByteArray>{"a", "\x1b[5~", "\x1b[B", "q"}));
    EXPECT_EQ(keysOf("\xC3\xA4\x1b"), (QList<QByteArray>{"\xC3\xA4", "\x1b"}));
    EXPECT_EQ(keysOf("\x1b["), (QList<QByteArray>{"\x1b["})); // cut short
}

} // namespace
} // namespace kvhost
