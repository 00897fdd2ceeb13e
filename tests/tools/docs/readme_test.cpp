// SPDX-License-Identifier: MIT
// The host that docs/small-host.md shows: it is the file that is built, and it does what it says.
#include <gtest/gtest.h>

#include <QFile>
#include <QProcess>
#include <QString>

namespace
{
QString contents(const char *path)
{
    QFile file(QString::fromUtf8(KV_SOURCE_FOLDER) + QLatin1String(path));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

// Reads lines of a program until one begins with the given text. \return the rest of that line
QString waitForLine(QProcess &program, const char *beginning)
{
    while (program.canReadLine() || program.waitForReadyRead(10000)) {
        while (program.canReadLine()) {
            const QString line = QString::fromUtf8(program.readLine()).trimmed();
            if (line.startsWith(QLatin1String(beginning)))
                return line.mid(int(qstrlen(beginning)));
        }
    }
    return QString();
}
} // namespace

TEST(SmallHost, isShownAsItIsBuilt)
{
    const QString program = contents("/docs/examples/small_host.cpp");
    ASSERT_FALSE(program.isEmpty());
    EXPECT_TRUE(contents("/docs/small-host.md")
                    .contains(QLatin1String("```cpp\n") + program + QLatin1String("```\n")));
}

TEST(SmallHost, readsAndWritesAPlc)
{
    QProcess plc;
    plc.start(QString::fromUtf8(KV_SIM), {QLatin1String("--tcp"), QLatin1String("127.0.0.1:0"),
                                          QLatin1String("--set"), QLatin1String("DM100=1,2,65535")});
    const QString address = waitForLine(plc, "listening tcp ");
    ASSERT_FALSE(address.isEmpty());
    const QString port = address.section(QLatin1Char(':'), -1);

    QProcess host;
    for (int run = 0; run < 2; ++run) {
        host.start(QString::fromUtf8(KV_SMALL_HOST), {QLatin1String("127.0.0.1"), port});
        ASSERT_TRUE(host.waitForFinished(20000));
        EXPECT_EQ(host.exitCode(), 0);
        EXPECT_EQ(QString::fromUtf8(host.readAllStandardOutput()).toStdString(),
                  "write of owner 7: done\nDM100 = 1\nDM101 = 2\nDM102 = 65535\n");
    }

    plc.terminate();
    EXPECT_TRUE(plc.waitForFinished(10000));
}
