// SPDX-License-Identifier: MIT
// docs/kvlink.md: it shows the examples that are built, and they do what it says.
#include "simulated_plc.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QProcess>

namespace
{
constexpr int patienceMs = 20000;

QString contents(const QString &path)
{
    QFile file(QStringLiteral(KV_SOURCE_FOLDER "/") + path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

class Shown : public testing::TestWithParam<const char *>
{
};

TEST_P(Shown, asItIsBuilt)
{
    const QString path = QString::fromLatin1(GetParam());
    const QString program = contents(path);
    const QString language =
        path.section(QLatin1Char('.'), 1).replace(QLatin1String("py"), QLatin1String("python"));
    ASSERT_FALSE(program.isEmpty());
    EXPECT_TRUE(contents(QStringLiteral("docs/kvlink.md"))
                    .contains(QStringLiteral("```%1\n%2```\n").arg(language, program)));
}

INSTANTIATE_TEST_SUITE_P(Examples, Shown,
                         testing::Values("examples/lamp_and_slider/lamp_and_slider.cpp",
                                         "examples/minimal/minimal.c", "docs/examples/watch.py"),
                         [](const auto &row) {
                             const QString name =
                                 QString::fromLatin1(row.param).section(QLatin1Char('/'), -1);
                             return name.section(QLatin1Char('.'), 0, 0).toStdString();
                         });

class KvlinkExamples : public testing::Test
{
protected:
    KvlinkExamples()
    {
        qputenv("KV_DRIVER", KV_DRIVER_PATH);
        qputenv("KVLINK_LIBRARY", KV_LIBRARY_PATH);
        qputenv("PYTHONPATH", KV_SOURCE_FOLDER "/kvlink/python");
    }
    ~KvlinkExamples() override
    {
        program.kill();
        program.waitForFinished(patienceMs);
    }

    std::string line()
    {
        while (!program.canReadLine()) {
            if (!program.waitForReadyRead(patienceMs))
                return "no line";
        }
        return program.readLine().trimmed().toStdString();
    }

    SimulatedPlc plc;
    QProcess program;
};

TEST_F(KvlinkExamples, minimalWritesReadsAndWatches)
{
    plc.tell("set DM100=5");
    program.start(QStringLiteral(KV_MINIMAL), {plc.url()});
    // Its standard output is a pipe: the lines come when it ends.
    plc.tell("set R500=1");
    ASSERT_TRUE(program.waitForFinished(patienceMs));
    EXPECT_EQ(program.exitCode(), 0);
    EXPECT_EQ(line(), "DM200: confirmed by the PLC");
    EXPECT_EQ(line(), "DM100 = 5 (good)");
    EXPECT_EQ(line(), "R500 = 1 (good)");
    EXPECT_EQ(plc.tell("get DM200.S"), "ok -00005");
}

TEST_F(KvlinkExamples, minimalSaysWhyItFails)
{
    plc.stop();
    program.start(QStringLiteral(KV_MINIMAL), {plc.url()});
    ASSERT_TRUE(program.waitForFinished(patienceMs));
    EXPECT_EQ(program.exitCode(), 1);
    EXPECT_NE(program.readAllStandardError().trimmed(), QByteArray());
}

TEST_F(KvlinkExamples, watchShowsChanges)
{
    if (!std::string(KV_SANITIZE).empty())
        GTEST_SKIP() << "Python is not built for sanitizers, and cannot load what is";
    plc.tell("set DM200=5");
    program.start(QStringLiteral(KV_PYTHON),
                  {QStringLiteral("-B"), QStringLiteral(KV_SOURCE_FOLDER "/docs/examples/watch.py"),
                   plc.url(), QStringLiteral("DM200.S")});
    EXPECT_NE(line().find(" DM200.S 5"), std::string::npos);
    plc.tell("set DM200=6");
    EXPECT_NE(line().find(" DM200.S 6"), std::string::npos);
    plc.stop();
    EXPECT_NE(line().find(" DM200.S bad: no link"), std::string::npos);
}
} // namespace
