// SPDX-License-Identifier: MIT
// What the documents say of areas and exchanges is what the driver does.
#include <driver_test.h>

#include <QFile>
#include <QStringList>

namespace
{
QString document(const char *name)
{
    QFile file(QString::fromUtf8(KV_SOURCE_FOLDER "/docs/") + QLatin1String(name));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

// Cells of a table row: "| 0 | `AREA_R` |" -> "0", "`AREA_R`".
QStringList cells(const QString &row)
{
    QStringList found;
    const QStringList parts = row.split(QLatin1Char('|'));
    for (int i = 1; i + 1 < parts.size(); ++i)
        found.append(parts.at(i).trimmed());
    return found;
}

class Documents : public DriverTest
{
protected:
    // The sent and received lines of a document between two texts, comments left out: "> CR\r\n".
    static QStringList exchangeLines(const QString &text, const char *from, const char *until)
    {
        const auto begin = text.indexOf(QLatin1String(from));
        const auto end = text.indexOf(QLatin1String(until), begin);
        QStringList lines;
        for (const QString &line : text.mid(begin, end - begin).split(QLatin1Char('\n'))) {
            const QString shown = line.mid(4).section(QLatin1String("  "), 0, 0);
            if (line.startsWith(QLatin1String("    >")) || line.startsWith(QLatin1String("    <")))
                lines.append(shown);
        }
        return lines;
    }

    static std::string unescaped(QString text)
    {
        text.replace(QLatin1String("\\r"), QLatin1String("\r"))
            .replace(QLatin1String("\\n"), QLatin1String("\n"));
        return text.toStdString();
    }

    static void play(const QStringList &lines)
    {
        for (const QString &line : lines) {
            const std::string text = unescaped(line.mid(2));
            if (line.startsWith(QLatin1Char('>')))
                EXPECT_EQ(send(), text);
            else
                EXPECT_EQ(answer(text.c_str()), 1) << text;
        }
    }
};

TEST_F(Documents, tellTheKeysOfAllAreas)
{
    int rows = 0;
    for (const QString &line : document("areas.md").split(QLatin1Char('\n'))) {
        const QStringList row = cells(line);
        if (row.size() != 10 || !row.at(1).startsWith(QLatin1String("`AREA_")))
            continue;
        const int code = row.at(0).toInt();
        EXPECT_EQ(code, rows++);
        EXPECT_EQ(getPlcReg(code), row.at(6).toInt()) << code;

        DataStorage.clear();
        ControlInformationM range{1, code, 0, 1};
        checkTheStorage(range);
        EXPECT_EQ(DataStorage.value(1).keys(), QList<int>{row.at(7).toInt()}) << code;
    }
    EXPECT_EQ(rows, 40);
}

TEST_F(Documents, showTheFirstReadAsItGoes)
{
    HOSTVAR words;
    words.area = AREA_DM;
    words.station = 1;
    words.addressText = QLatin1String("100");
    words.count = 3;
    QList<HOSTVAR> wanted{words};
    ReCreatReadVarList(&wanted);
    const QStringList lines =
        exchangeLines(document("way-of-a-request.md"), "First read of DM 100", "A single bit");
    ASSERT_EQ(lines.size(), 4);
    play(lines);
    EXPECT_EQ(image(1, AREA_DM, 200, 6), "01 00 02 00 FF FF");
    EXPECT_EQ(takeLines(),
              (Lines{"************ fenzu ***********", "1 10 100 3", "init handshake", "Handshake(RW_Var)"}));
}

TEST_F(Documents, showTheWriteOfABitAsItGoes)
{
    link(1);
    SetRegisterData(QString(), AREA_EM_BIT, QLatin1String("2.5"), 1, QByteArray(1, '\1'), 1, 5, 50);
    const QStringList lines = exchangeLines(document("way-of-a-request.md"), "A single bit", "## When");
    ASSERT_EQ(lines.size(), 4);
    play(lines);
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 50 1"});
}
} // namespace
