#include "options.h"

#include "exit_code.h"

#include <CLI/CLI.hpp>

#include <QDir>
#include <QStandardPaths>

#include <cmath>

namespace kvhost
{

namespace
{

const char ADDRESS_HELP[] =
    "addresses as in the ladder program: DM100 DM100:10 DM100-DM109 R1015 DM100.5 W1A.3 "
    "R1000.U T5 TC5 DM100.F DM100.STR:8 2/DM0, or names of the tag file";

const char FOOTER[] =
    "Exit codes: 0 all good, 1 some value bad, 2 usage, 3 no link (or no driver library), 4 no answer,\n"
    "5 refused by the PLC or by the write guard, 130 Ctrl-C.\n"
    "Defaults are read from ~/.config/kv-host.conf (lines such as: timeout=2s).\n"
    "First steps without a PLC: kv-host --simulate watch DM0 R0 T0 C0";

/// What CLI11 fills; turned into Options afterwards.
struct Raw {
    std::vector<std::string> plcs, words;
    std::string driver, tagFile, output, sqlite;
    std::string timeout = "1s", gap = "0ms", cycle = "500ms", duration = "0", rotate = "0";
    std::string order = "low", format = "text";
};

CLI::Validator durationText()
{
    return {[](std::string &text) {
                return parseDuration(QString::fromStdString(text))
                           ? std::string()
                           : "'" + text + "' is no time: write 500ms, 2s, 1m";
            },
            "TIME"};
}

void addCommonOptions(CLI::App *app, Options *options, Raw *raw)
{
    app->add_option("--plc", raw->plcs,
                    "[STATION=]URL of a PLC, repeatable: tcp://host[:8501], udp://host[:8501], "
                    "serial:///dev/ttyUSB0?baud=9600&data=8&parity=even&stop=1")
        ->type_name("URL");
    app->add_flag("--simulate", options->simulate, "start a simulated PLC of our own and use it");
    app->add_option("--timeout", raw->timeout, "longest wait for an answer")
        ->check(durationText())
        ->capture_default_str();
    app->add_option("--retries", options->retries, "how often a failed request is sent again")
        ->check(CLI::Range(0, 100))
        ->capture_default_str();
    app->add_option("--max-block", options->maxBlock, "most words in one request")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
    app->add_option("--gap", raw->gap, "pause between two requests")
        ->check(durationText())
        ->capture_default_str();
    app->add_option("--driver", raw->driver, "the driver library, if it is not beside the program")
        ->type_name("PATH");
    app->add_option("-f,--tags", raw->tagFile, "tag file (CSV: name, address, ...)")->type_name("FILE");
    app->add_option("--word-order", raw->order, "of 32-bit values in two words: low or high word first")
        ->check(CLI::IsMember({"low", "high"}))
        ->capture_default_str();
    app->add_option("--format", raw->format, "of the output")
        ->check(CLI::IsMember({"text", "csv", "json"}))
        ->capture_default_str();
    app->add_flag("-q,--quiet", options->quiet, "values only, no notes");
    app->add_flag("-v,--verbose", options->verbose, "say more; -vv shows every frame");
}

CLI::App *addCommand(CLI::App *app, const char *name, const char *what, Raw *raw, const char *words,
                     bool required)
{
    CLI::App *command = app->add_subcommand(name, what);
    command->fallthrough();
    if (words != nullptr) {
        CLI::Option *option = command->add_option("what", raw->words, words)->type_name("WORD");
        if (required)
            option->required();
    }
    return command;
}

void addCycleOptions(CLI::App *command, Raw *raw)
{
    command->add_option("--every", raw->cycle, "time from the start of one pass to that of the next")
        ->check(durationText())
        ->capture_default_str();
    command->add_option("--for", raw->duration, "how long; 0: until Ctrl-C")
        ->check(durationText())
        ->capture_default_str();
}

void addCommands(CLI::App *app, Options *options, Raw *raw)
{
    addCommand(app, "read", "read values once", raw, ADDRESS_HELP, false);
    CLI::App *write = addCommand(app, "write", "write values: A=V, several values of A:n as V,V,V", raw,
                                 "assignments: DM100=5 R1015=on DM100.5=1 DM0.F=1.5 DM10:3=1,2,3", true);
    write->add_flag("-y,--yes", options->yes, "do not ask");
    write->add_flag("--dry-run", options->dryRun, "only show the frames that would be sent");
    write->add_flag("--force", options->force, "also write what the guard refuses (AT, CR, CM)");
    CLI::App *watch = addCommand(app, "watch", "show values as they change", raw, ADDRESS_HELP, false);
    addCycleOptions(watch, raw);
    CLI::App *log =
        addCommand(app, "log", "write values to a CSV file or an SQLite database", raw, ADDRESS_HELP, false);
    addCycleOptions(log, raw);
    log->add_option("-o,--output", raw->output, "CSV file; with --rotate the time is put into its name")
        ->type_name("FILE");
    log->add_option("--sqlite", raw->sqlite, "SQLite database")->type_name("FILE");
    log->add_option("--rotate", raw->rotate, "begin a new CSV file after this time")->check(durationText());
    addCommand(app, "plan", "show the read blocks and frames of a list of variables; sends nothing", raw,
               ADDRESS_HELP, false);
    addCommand(app, "check", "check a tag file and addresses", raw, ADDRESS_HELP, false);
    CLI::App *stats =
        addCommand(app, "stats", "read for a while and tell how the link does", raw, ADDRESS_HELP, false);
    addCycleOptions(stats, raw);
    CLI::App *bench = addCommand(app, "bench", "read as fast as the link goes", raw, ADDRESS_HELP, false);
    bench->add_option("--for", raw->duration, "how long")->check(durationText());
    addCommand(app, "areas", "list the devices: how they are written, read and named", raw, nullptr, false);
}

Ms spanOf(const std::string &text)
{
    return parseDuration(QString::fromStdString(text)).value_or(Ms(0));
}

void takeRaw(const Raw &raw, Options *options)
{
    for (const std::string &plc : raw.plcs)
        options->plcs << QString::fromStdString(plc);
    for (const std::string &word : raw.words)
        options->words << QString::fromStdString(word);
    options->timeout = spanOf(raw.timeout);
    options->gap = spanOf(raw.gap);
    options->cycle = spanOf(raw.cycle);
    options->duration = spanOf(raw.duration);
    options->rotate = spanOf(raw.rotate);
    options->driver = QString::fromStdString(raw.driver);
    options->tagFile = QString::fromStdString(raw.tagFile);
    options->output = QString::fromStdString(raw.output);
    options->sqlite = QString::fromStdString(raw.sqlite);
    options->order = raw.order == "high" ? WordOrder::HighFirst : WordOrder::LowFirst;
    options->format = raw.format == "csv"    ? OutputFormat::Csv
                      : raw.format == "json" ? OutputFormat::Json
                                             : OutputFormat::Text;
}

std::string configFile()
{
    const QByteArray base = qgetenv("XDG_CONFIG_HOME");
    const QString folder = base.isEmpty() ? QDir::homePath() + "/.config" : QString::fromLocal8Bit(base);
    return (folder + "/kv-host.conf").toStdString();
}

std::optional<int> checkOptions(const Options &options)
{
    const char *wrong = nullptr;
    if (options.timeout < Ms(1))
        wrong = "--timeout must be at least 1ms";
    if (options.simulate && !options.plcs.isEmpty())
        wrong = "--simulate and --plc together: take one of them";
    if (wrong == nullptr)
        return std::nullopt;
    std::fprintf(stderr, "kv-host: %s\n", wrong);
    return EXIT_USAGE;
}

} // namespace

std::optional<Ms> parseDuration(const QString &text)
{
    static const struct {
        const char *unit;
        double ms;
    } rows[] = {{"ms", 1.0},    {"s", 1000.0},    {"min", 60000.0},
                {"m", 60000.0}, {"h", 3600000.0}, {"d", 86400000.0}};
    QString number = text.trimmed();
    double factor = 1.0;
    for (const auto &row : rows) {
        if (number.endsWith(QString::fromLatin1(row.unit))) {
            number.chop(int(qstrlen(row.unit)));
            factor = row.ms;
            break;
        }
    }
    bool ok = false;
    const double value = number.toDouble(&ok) * factor;
    if (!ok || !(value >= 0.0) || value > 1e11)
        return std::nullopt;
    return Ms(std::llround(value));
}

std::optional<int> readOptions(int argc, char **argv, Options *options)
{
    CLI::App app("kv-host: reads, writes and watches values of a KV PLC through the communication driver",
                 "kv-host");
    Raw raw;
    app.footer(FOOTER);
    app.set_version_flag("-V,--version", std::string("kv-host " KV_VERSION));
    app.set_config("--config", configFile(), "file with defaults", false);
    app.require_subcommand(1);
    addCommonOptions(&app, options, &raw);
    addCommands(&app, options, &raw);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? EXIT_GOOD : EXIT_USAGE;
    }
    options->command = QString::fromStdString(app.get_subcommands().front()->get_name());
    takeRaw(raw, options);
    return checkOptions(*options);
}

} // namespace kvhost
