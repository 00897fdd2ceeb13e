// SPDX-License-Identifier: MIT
// What the documents say of areas and exchanges is what the driver does.
#include <driver_test.h>

#include <QFile>
#include <QStringList>

#include <map>
#include <string>

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

// What the host guide's table shows of a record, by the names of its rows.
std::map<QString, std::string> shownRecord(const Protocol &head)
{
    const RW_VAR &var = head.var;
    const auto text = [](int number) { return std::to_string(number); };
    QString frame = QString::fromLatin1(head.frame);
    frame.chop(1); // CR
    const QByteArray data = var.data.toHex(' ');
    return {{QStringLiteral("frame"), "`" + frame.toStdString() + "`"},
            {QStringLiteral("`ownerType`"), text(var.ownerType)},
            {QStringLiteral("`ownerId`"), text(var.ownerId)},
            {QStringLiteral("`accessMode`"), text(var.accessMode)},
            {QStringLiteral("`addressText`"),
             var.addressText.isEmpty() ? "(empty)" : var.addressText.toStdString()},
            {QStringLiteral("`area`"), text(var.area)},
            {QStringLiteral("`address`"), text(var.address)},
            {QStringLiteral("`station`"), text(var.station)},
            {QStringLiteral("`count`"), text(var.count)},
            {QStringLiteral("`preReadMark`"), text(var.preReadMark)},
            {QStringLiteral("`data`"), data.isEmpty() ? "(empty)" : data.toStdString()}};
}

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
        exchangeLines(document("life-of-a-request.md"), "First read of DM 100", "A single bit");
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
    const QStringList lines = exchangeLines(document("life-of-a-request.md"), "A single bit", "## When");
    ASSERT_EQ(lines.size(), 4);
    play(lines);
    EXPECT_EQ(takeCallbacks(), Lines{"notify 77 5 50 1"});
}

class HostGuide : public Documents
{
protected:
    HostGuide() { link(1); }

    // The head of the frame queue, and the table's column for this kind of request, agree.
    static void expectColumn(int column)
    {
        ASSERT_NE(ComCommunication(), 0U);
        const std::map<QString, std::string> shown = shownRecord(PLC_driver.frameQueue.first());
        std::size_t found = 0;
        for (const QString &line : document("host-guide.md").split(QLatin1Char('\n'))) {
            const QStringList row = cells(line);
            if (row.size() != 7 || shown.count(row.at(0)) == 0)
                continue;
            ++found;
            EXPECT_EQ(row.at(column).toStdString(), shown.at(row.at(0))) << row.at(0).toStdString();
        }
        EXPECT_EQ(found, shown.size()) << "rows of the table";
    }

    static HOSTVAR words(const char *address, int count)
    {
        HOSTVAR var;
        var.area = AREA_DM;
        var.station = 1;
        var.addressText = QString::fromLatin1(address);
        var.count = count;
        return var;
    }
};

TEST_F(HostGuide, showsTheRecordOfACyclicRead)
{
    QList<HOSTVAR> wanted{words("100", 3), words("110", 2)};
    ReCreatReadVarList(&wanted);
    takeLines();
    expectColumn(1);
}

TEST_F(HostGuide, showsTheRecordsOfOneShotReads)
{
    RW_VAR units = variable(AREA_DM, 100, 3);
    AddListOnceReadVar(&units, 1);
    expectColumn(2);
    EXPECT_EQ(answer("00001 00002 00003\r\n"), 1);
    RW_VAR relays = variable(AREA_R, 0, 2);
    relays.addressText = QLatin1String("1015");
    AddListOnceReadVar(&relays, 0);
    expectColumn(3);
    takeCallbacks();
}

TEST_F(HostGuide, showsTheRecordOfAWrite)
{
    SetRegisterData(QString(), AREA_DM, QLatin1String("200"), 1, bytes("01 00 02 00"), 2, 5, 50);
    expectColumn(4);
}

TEST_F(HostGuide, showsTheRecordsOfABitWrite)
{
    SetRegisterData(QString(), AREA_EM_BIT, QLatin1String("2.5"), 1, bytes("01"), 1, 5, 50);
    expectColumn(5);
    // As the table says, before the first answer has filled the digits in.
    PLC_driver.frameQueue.removeFirst();
    expectColumn(6);
}

// After result 0, a handshake and a pre-read, the returned record is not that of the request.
TEST_F(HostGuide, saysWhenTheReturnedRecordIsNotThatOfTheRequest)
{
    handshake[1] = false;
    SetRegisterData(QString(), AREA_DM, QLatin1String("200"), 1, bytes("01 00"), 1, 5, 50);
    SetRegisterData(QString(), AREA_EM_BIT, QLatin1String("2.5"), 1, bytes("01"), 1, 6, 60);
    EXPECT_EQ(send(), "CR\r\n");
    EXPECT_EQ(answer("CC\r\n"), 1);
    EXPECT_EQ(PLC_driver.currentVar.ownerId, 0) << "after the handshake";
    EXPECT_EQ(send(), "WRS DM200.U 1 00001\r");
    EXPECT_EQ(noAnswer(), 0);
    EXPECT_EQ(PLC_driver.currentVar.ownerId, 0) << "after result 0";
    EXPECT_EQ(answer("OK\r\n"), 1);
    EXPECT_EQ(PLC_driver.currentVar.ownerId, 50);
    EXPECT_EQ(send(), "RDS EM2.U 1\r");
    EXPECT_EQ(answer("00000\r\n"), 1);
    EXPECT_EQ(PLC_driver.currentVar.ownerId, 50) << "after the first frame of a bit write";
    EXPECT_EQ(answer("OK\r\n"), 1);
    EXPECT_EQ(PLC_driver.currentVar.ownerId, 60);
    takeLines();
    takeCallbacks();
}

TEST_F(HostGuide, letsTheRequestInFlightFail)
{
    for (const char *address : {"200", "300", "400"})
        SetRegisterData(QString(), AREA_DM, QLatin1String(address), 1, bytes("01 00"), 1, 5, 50);
    SetRegisterData(QString(), AREA_DM, QLatin1String("500"), 1, bytes("01 00"), 1, 5, 51);
    EXPECT_EQ(send(), "WRS DM200.U 1 00001\r");
    settings.maxRetries = 0;
    EXPECT_EQ(noAnswer(), 46);
    EXPECT_EQ(takeCallbacks(), (Lines{"notify 77 5 50 2", "error 5 1 empty"}));
    ASSERT_EQ(PLC_driver.writeList.size(), 1);
    EXPECT_EQ(PLC_driver.writeList.first().ownerId, 51);
    EXPECT_TRUE(PLC_driver.frameQueue.isEmpty());
}

TEST_F(HostGuide, dropsEverythingPending)
{
    RW_VAR units = variable(AREA_DM, 100, 3);
    AddListOnceReadVar(&units, 1);
    SetRegisterData(QString(), AREA_DM, QLatin1String("200"), 1, bytes("01 00"), 1, 5, 50);
    EXPECT_EQ(send(), "WRS DM200.U 1 00001\r");

    PLC_driver.listMutex.lock();
    PLC_driver.writeList.clear();
    PLC_driver.onceReadList.clear();
    PLC_driver.listMutex.unlock();
    PLC_driver.frameQueue.clear();

    EXPECT_EQ(send(), "");
    EXPECT_EQ(takeCallbacks(), Lines());
}
} // namespace
