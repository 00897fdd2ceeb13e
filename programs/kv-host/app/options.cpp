// SPDX-License-Identifier: MIT
// From texts to Options: where each came from, and whether they go together.
#include "options.h"

#include "command_line.h"
#include "exit_code.h"

#include <kvlink/text.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cstdio>

namespace kvhost
{

using kvlink::Duration;
using namespace std::chrono_literals;

namespace
{

constexpr char footer[] = "Times are written with their unit: 500ms, 2s, 1m, 1h, 30d.\n"
                          "Exit codes: 0 all good, 1 some value bad, 2 usage, 3 no link (a write: not sent), "
                          "4 no answer (a write: it may\n"
                          "have been carried out), 5 refused by the PLC or by the write guard, 130 Ctrl-C.\n"
                          "Defaults are read from ~/.config/kv-host.conf (lines such as: timeout=2s).\n"
                          "First steps without a PLC: kv-host --simulate watch DM0 R0 T0 C0";

constexpr Duration shortestTimeout = 1ms;
constexpr Duration longestTimeout = 1min;
constexpr Duration longestGap = 10s;
constexpr Duration shortestEvery = 10ms;
constexpr Duration shortestPulse = 10ms;
constexpr Duration longestPulse = 60s;

QString textOf(const std::string &text)
{
    return QString::fromStdString(text);
}

Duration timeOf(const std::string &text)
{
    QString checkedAlready;
    return timeFromText(textOf(text), checkedAlready).value_or(Duration(0));
}

template <typename Choice>
struct ChoiceRow {
    const char *name;
    Choice choice;
};

template <typename Choice, std::size_t Rows>
Choice choiceOf(const std::string &name, const ChoiceRow<Choice> (&rows)[Rows])
{
    for (const auto &row : rows) {
        if (name == row.name)
            return row.choice;
    }
    return rows[0].choice;
}

// clang-format off
constexpr ChoiceRow<OutputFormat> formats[] = {
    {"text", OutputFormat::Text}, {"csv", OutputFormat::Csv}, {"json", OutputFormat::Json}};
constexpr ChoiceRow<kvlink::TextEncoding> textEncodings[] = {
    {"utf-8", kvlink::TextEncoding::Utf8}, {"shift-jis", kvlink::TextEncoding::ShiftJis},
    {"latin-1", kvlink::TextEncoding::Latin1}};
constexpr ChoiceRow<kvtags::FileEncoding> encodings[] = {
    {"utf-8", kvtags::FileEncoding::Utf8}, {"utf-16", kvtags::FileEncoding::Utf16}, {"windows-1252", kvtags::FileEncoding::Windows1252},
    {"latin-1", kvtags::FileEncoding::Latin1}, {"shift-jis", kvtags::FileEncoding::ShiftJis}};
constexpr ChoiceRow<kvlink::WordOrder> wordOrders[] = {
    {"low", kvlink::WordOrder::LowFirst}, {"high", kvlink::WordOrder::HighFirst}};
constexpr ChoiceRow<kvlink::Open> opens[] = {{"cr", kvlink::Open::Cr}, {"none", kvlink::Open::None}};
constexpr ChoiceRow<char> separators[] = {{",", ','}, {";", ';'}, {"tab", '\t'}};
// clang-format on

QStringList listOf(const std::vector<std::string> &texts)
{
    QStringList list;
    for (const std::string &text : texts)
        list << textOf(text);
    return list;
}

void takeLink(const RawOptions &raw, Options &options)
{
    options.link.open = choiceOf(raw.open, opens);
    options.link.timeout = timeOf(raw.timeout);
    options.link.maxBlock = raw.maxBlock;
    options.link.gap = timeOf(raw.gap);
    options.link.wordOrder = choiceOf(raw.order, wordOrders);
    options.link.textEncoding = choiceOf(raw.text, textEncodings);
    options.link.driver = textOf(raw.driver);
    options.retries = raw.retries;
}

void takeCommand(const RawOptions &raw, Options &options)
{
    options.words = listOf(raw.words);
    options.isConfirmed = raw.isConfirmed;
    options.isDryRun = raw.isDryRun;
    options.isForced = raw.isForced;
    options.isVerified = !raw.isUnverified;
    if (!raw.pulse.empty())
        options.pulse = timeOf(raw.pulse);
    options.every = timeOf(raw.every);
    const bool isMeasuring = options.command == "stats" || options.command == "bench";
    options.duration = timeOf(isMeasuring ? raw.measured : raw.duration);
    options.output = textOf(raw.output);
    options.sqlite = textOf(raw.sqlite);
    options.rotate = timeOf(raw.rotate);
    options.keep = timeOf(raw.keep);
    options.isWide = raw.layout == "wide";
    options.isOnChange = raw.isOnChange;
    options.hasDecimalComma = raw.hasDecimalComma;
    options.hasLocalTime = raw.hasLocalTime;
    if (!raw.separator.empty())
        options.separator = QChar(choiceOf(raw.separator, separators));
}

void takeAll(const RawOptions &raw, Options &options)
{
    takeLink(raw, options);
    takeCommand(raw, options);
    options.plcs = listOf(raw.plcs);
    options.isSimulated = raw.isSimulated;
    options.tagFile = textOf(raw.tagFile);
    options.encoding = choiceOf(raw.encoding, encodings);
    options.format = choiceOf(raw.format, formats);
    options.isQuiet = raw.isQuiet;
    options.verbosity = raw.verbosity;
    options.isReadOnly = raw.isReadOnly;
}

bool isTyped(int argc, char **argv, const QByteArray &option)
{
    for (int i = 1; i < argc; ++i) {
        const QByteArray word = argv[i];
        if (word == option || word.startsWith(option + "="))
            return true;
    }
    return false;
}

// The command line goes before the environment, the environment before the file.
bool choosePlcs(bool isPlcTyped, bool isSimulateTyped, Options &options, QString &problem)
{
    const QString fromEnvironment = QString::fromLocal8Bit(qgetenv("KV_PLC")).simplified();
    if (isPlcTyped && isSimulateTyped) {
        problem = QStringLiteral("--simulate and --plc together: take one of them");
        return false;
    }
    if (isSimulateTyped) {
        options.plcs.clear();
    } else if (isPlcTyped) {
        options.isSimulated = false;
    } else if (!fromEnvironment.isEmpty()) {
        options.plcs = fromEnvironment.split(' ');
        options.isSimulated = false;
    } else if (options.isSimulated && !options.plcs.isEmpty()) {
        problem = QStringLiteral("the configuration file has simulate and plc: take one of them");
        return false;
    }
    return true;
}

bool check(const Options &options, QString &problem)
{
    if (options.link.timeout < shortestTimeout || options.link.timeout > longestTimeout)
        problem = QStringLiteral("--timeout is 1ms to 1m");
    else if (options.link.gap > longestGap)
        problem = QStringLiteral("--gap is at most 10s");
    else if (options.every < shortestEvery)
        problem = QStringLiteral("--every is at least 10ms");
    else if (options.pulse && (*options.pulse < shortestPulse || *options.pulse > longestPulse))
        problem = QStringLiteral("--pulse is 10ms to 60s");
    return problem.isEmpty();
}

QString configFile()
{
    const QByteArray base = qgetenv("XDG_CONFIG_HOME");
    const QString folder = base.isEmpty() ? QDir::homePath() + "/.config" : QString::fromLocal8Bit(base);
    return folder + "/kv-host.conf";
}

int refuse(const QString &problem)
{
    std::fprintf(stderr, "kv-host: %s\n", problem.toUtf8().constData());
    return ExitUsage;
}

// The word that stands where a command is expected: what nobody expected, or the first that
// is no option.
QString mistypedCommand(const CLI::App &app)
{
    for (const std::string &word : app.remaining()) {
        if (!word.empty() && word[0] != '-')
            return textOf(word);
    }
    return {};
}

int explain(const CLI::App &app, const CLI::ParseError &error)
{
    QStringList commands;
    for (const CommandText &text : commandTexts())
        commands << QString::fromLatin1(text.name);
    const QString word = app.get_subcommands().empty() ? mistypedCommand(app) : QString();
    if (word.isEmpty())
        return refuse(textOf(error.what()) + "\nRun with --help for more information.");
    const QString near = kvlink::nearestName(word, commands);
    return refuse(
        QStringLiteral("'%1' is not a command%2\nThe commands are %3; run with --help for more information.")
            .arg(word, near.isEmpty() ? QString() : QStringLiteral("; did you mean '%1'?").arg(near),
                 commands.join(QStringLiteral(", "))));
}

} // namespace

const std::vector<CommandText> &commandTexts()
{
    static const std::vector<CommandText> all = {
        {"read", "read values once"},
        {"write", "write values: A=V, several values of A:n as V,V,V"},
        {"watch", "show values as they change"},
        {"log", "write values to a CSV file or an SQLite database"},
        {"info", "model, mode and error number of each PLC"},
        {"plan", "show how a list of variables is read, and why; sends nothing"},
        {"check", "check a tag file and addresses; sends nothing"},
        {"stats", "read for a while and report link statistics"},
        {"bench", "read as fast as the link goes"},
        {"areas", "list the devices: how they are written, read and named"},
    };
    return all;
}

std::optional<Duration> timeFromText(const QString &text, QString &problem)
{
    return text.trimmed() == QLatin1String("0") ? Duration(0) : kvlink::durationFromText(text, problem);
}

std::optional<int> readOptions(int argc, char **argv, Options &options)
{
    const QString config = configFile();
    if (QFileInfo::exists(config) && !QFile(config).open(QIODevice::ReadOnly))
        return refuse(QStringLiteral("the configuration file %1 cannot be read").arg(config));
    CLI::App app("kv-host: reads, writes and watches values of a KV PLC through the communication driver",
                 "kv-host");
    RawOptions raw;
    app.footer(footer);
    app.set_version_flag("-V,--version", std::string("kv-host " KV_VERSION));
    app.set_config("--config", config.toStdString(), "file with defaults", false);
    app.allow_config_extras(CLI::config_extras_mode::error);
    app.require_subcommand(1);
    describeCommandLine(app, raw);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success &asked) {
        return app.exit(asked);
    } catch (const CLI::ParseError &error) {
        return explain(app, error);
    }
    options.command = textOf(app.get_subcommands().front()->get_name());
    takeAll(raw, options);
    QString problem;
    if (!choosePlcs(isTyped(argc, argv, "--plc"), isTyped(argc, argv, "--simulate"), options, problem) ||
        !check(options, problem))
        return refuse(problem);
    return std::nullopt;
}

} // namespace kvhost
