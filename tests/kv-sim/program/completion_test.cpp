// SPDX-License-Identifier: MIT
// What a shell and a service manager know of kv-sim is what kv-sim itself says.
#include "sim_process.h"

#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>

#include <gtest/gtest.h>

namespace
{

QByteArray content(const QString &path)
{
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << path.toStdString();
    return file.readAll();
}

QSet<QString> matchesOf(const QString &pattern, const QString &text)
{
    QSet<QString> found;
    auto matches = QRegularExpression(pattern, QRegularExpression::MultilineOption).globalMatch(text);
    while (matches.hasNext())
        found.insert(matches.next().captured(1));
    return found;
}

QString help()
{
    SimProcess sim({"--help"});
    EXPECT_EQ(sim.exitCode(), 0);
    return QString::fromStdString(sim.output());
}

QSet<QString> options()
{
    return matchesOf("^ +(?:-\\w,)?(--[a-z-]+)[ \\n]", help());
}

QSet<QString> faults()
{
    const QString table = help().section("Faults (", 1).section("Defaults", 0, 0);
    return matchesOf("^  ([a-z]+)[ \\[]", table);
}

// What bash proposes after these words.
QSet<QString> proposed(const QStringList &words)
{
    QProcess bash;
    const QString script = "source \"$0\"; COMP_WORDS=(\"$@\"); COMP_CWORD=$(($# - 1)); _kv_sim; "
                           "printf '%s\\n' \"${COMPREPLY[@]}\"";
    bash.start("bash", QStringList{"-c", script, KV_SIM_COMPLETION "/kv-sim.bash"} + words);
    EXPECT_TRUE(bash.waitForFinished(patienceMs));
    const QStringList lines = QString::fromUtf8(bash.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts);
    return {lines.begin(), lines.end()};
}

TEST(Bash, proposesEveryOptionAndNoOther)
{
    const QSet<QString> all = options();
    EXPECT_GE(all.size(), 39);
    EXPECT_EQ(proposed({"kv-sim", "--"}), all);
}

TEST(Bash, proposesValues)
{
    EXPECT_EQ(proposed({"kv-sim", "--fault", ""}), faults());
    EXPECT_EQ(proposed({"kv-sim", "--open", ""}), (QSet<QString>{"required", "never", "refuse"}));
    EXPECT_EQ(proposed({"kv-sim", "--model", "KV-N"}),
              (QSet<QString>{"KV-NC32T", "KV-N60", "KV-N40", "KV-N24"}));
    EXPECT_EQ(proposed({"kv-sim", "--set", ""}), QSet<QString>{});
}

TEST(Bash, proposesFiles)
{
    const QString man = KV_SIM_DOCS "/man/kv-sim.";
    const QString page = KV_SIM_DOCS "/man/kv-sim.1";
    EXPECT_EQ(proposed({"kv-sim", "--load", man}), QSet<QString>{page});
    EXPECT_EQ(proposed({"kv-sim", "--check", man}), QSet<QString>{page});
    EXPECT_EQ(proposed({"kv-sim", "--check", page, man}), QSet<QString>{page}); // it takes several
    EXPECT_EQ(proposed({"kv-sim", "--check", page, "--trac"}), QSet<QString>{"--trace"});
}

TEST(Zsh, knowsEveryOptionAndFault)
{
    const QString text = content(KV_SIM_COMPLETION "/_kv-sim");
    EXPECT_EQ(matchesOf("(--[a-z-]+)(?=[\\[}])", text), options());
    for (const QString &fault : faults())
        EXPECT_TRUE(text.contains(QRegularExpression("\\b" + fault + "\\b"))) << fault.toStdString();
}

TEST(ManPage, knowsEveryOptionAndFault)
{
    const QString page = QString(content(KV_SIM_DOCS "/man/kv-sim.1")).remove('\\');
    for (const QString &option : options())
        EXPECT_TRUE(page.contains(option)) << option.toStdString();
    for (const QString &fault : faults())
        EXPECT_TRUE(page.contains(
            QRegularExpression("^(.*, )?" + fault + "[\\[@,]", QRegularExpression::MultilineOption)))
            << fault.toStdString();
}

TEST(Guide, knowsEveryFaultAndControlCommand)
{
    const QString guide = content(KV_SIM_DOCS "/kv-sim.md");
    for (const QString &fault : faults())
        EXPECT_TRUE(guide.contains(
            QRegularExpression("^\\|.*`" + fault + "[\\[`]", QRegularExpression::MultilineOption)))
            << fault.toStdString();
    SimProcess sim({"--control", "127.0.0.1:0", "--tcp", "127.0.0.1:0"});
    Client control(sim.port("control"));
    const QString commands = QString::fromStdString(control.ask("help")).mid(3);
    for (const QString &usage : commands.split("; ")) {
        const QString word = usage.section(' ', 0, 0);
        EXPECT_TRUE(guide.contains(
            QRegularExpression("^\\|.*`" + word + "[ `]", QRegularExpression::MultilineOption)))
            << word.toStdString();
    }
}

TEST(Service, startsAKvSim)
{
    const QString unit = content(KV_SIM_DOCS "/examples/kv-sim.service");
    const QString command = matchesOf("^ExecStart=(.*)$", unit).values().value(0);
    QStringList words = command.split(' ');
    EXPECT_EQ(words.takeFirst(), "kv-sim");
    for (QString &word : words)
        word.replace(QRegularExpression(":85\\d\\d$"), ":0"); // the test takes free ports
    SimProcess sim(words);
    EXPECT_TRUE(sim.isReady()) << sim.errors();
}

} // namespace
