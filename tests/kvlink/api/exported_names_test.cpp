// SPDX-License-Identifier: MIT
// What libkvlink shows to those who link it: the public faces and nothing else.
#include <gtest/gtest.h>

#include <QProcess>
#include <QRegularExpression>
#include <QSet>
#include <QStringList>

namespace
{
// Names that the shared library defines for others, as a programmer writes them.
QStringList shownNames()
{
    QProcess nm;
    nm.start(QStringLiteral("nm"), {QStringLiteral("-D"), QStringLiteral("-C"),
                                    QStringLiteral("--defined-only"), QStringLiteral(KV_LIBRARY_PATH)});
    if (!nm.waitForFinished(30000))
        return {};
    QStringList names;
    const QStringList lines = QString::fromUtf8(nm.readAllStandardOutput()).split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        if (!line.isEmpty())
            names.append(line.section(QLatin1Char(' '), 2)); // address, kind, name
    }
    return names;
}

// The C++ face: classes, and functions beside them.
const QRegularExpression cppFace(
    QStringLiteral("^(typeinfo (name )?for |vtable for )?kvlink::(Plc|Momentary|Sample|AddressInfo)(::.*)?$|"
                   "^kvlink::(version|driverPlaces|qualityName|reasonText|outcomeName|linkStateName)\\(|"
                   "^kvlink::(deviceInfos|nearestName|durationText|durationFromText|valueAt)\\("));

TEST(ExportedNames, areThePublicFacesAlone)
{
    const QStringList names = shownNames();
    ASSERT_FALSE(names.isEmpty());
    for (const QString &name : names)
        EXPECT_TRUE(name.startsWith(QLatin1String("kvlink_")) ||
                    name == QLatin1String("KvDriverResultText") || cppFace.match(name).hasMatch())
            << name.toStdString();
}

TEST(ExportedNames, holdBothFaces)
{
    const QStringList names = shownNames();
    for (const char *name :
         {"kvlink_version", "kvlink_plc_new", "kvlink_next", "KvDriverResultText", "kvlink::version()",
          "kvlink::Plc::start()", "kvlink::Momentary::press()", "kvlink::Sample::toDouble() const"})
        EXPECT_TRUE(names.contains(QLatin1String(name))) << name;
}
} // namespace
