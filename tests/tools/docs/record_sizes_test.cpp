// SPDX-License-Identifier: MIT
// The record sizes that docs/qt-versions.md promises to hosts.
#include <Communication_Protocol.h>
#include <gtest/gtest.h>

#include <QFile>
#include <QRegularExpression>

namespace
{
// Size of a record as the table of the document has it for the Qt that this test is built with.
size_t documentedSize(const char *record)
{
    QFile file(QString::fromUtf8(KV_SOURCE_FOLDER "/docs/qt-versions.md"));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    const QRegularExpression row(
        QString::fromUtf8("^\\| `%1` \\| (\\d+) \\| (\\d+) \\|$").arg(QLatin1String(record)),
        QRegularExpression::MultilineOption);
    const QRegularExpressionMatch match = row.match(QString::fromUtf8(file.readAll()));
    return match.captured(QT_VERSION_MAJOR == 5 ? 1 : 2).toULong();
}
} // namespace

TEST(QtVersionsDocument, tellsTheRecordSizes)
{
    EXPECT_EQ(documentedSize("RW_VAR"), sizeof(RW_VAR));
    EXPECT_EQ(documentedSize("Protocol"), sizeof(Protocol));
    EXPECT_EQ(documentedSize("HOSTVAR"), sizeof(HOSTVAR));
    EXPECT_EQ(documentedSize("EXTENDVAR"), sizeof(EXTENDVAR));
    EXPECT_EQ(documentedSize("ComInfo"), sizeof(ComInfo));
}
