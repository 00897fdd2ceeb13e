// SPDX-License-Identifier: MIT
// Names and help texts of the options.
#include "command_line.h"

#include "options.h"

namespace kvhost
{

namespace
{

constexpr char addressHelp[] =
    "addresses as in the ladder program: DM100 DM100:10 DM100-DM109 R1015 DM100.5 W1A.3 "
    "R1000.U T5 TC5 DM100.F DM100.STR:8 2/DM0, or names of the tag file, also as patterns: 'Valve*'";

constexpr int mostRetries = 9;
constexpr int mostUnits = 1000;

CLI::Validator timeText()
{
    return {[](const std::string &text) {
                QString problem;
                return timeFromText(QString::fromStdString(text), problem) ? std::string()
                                                                           : problem.toStdString();
            },
            "TIME"};
}

void addTime(CLI::App *app, const char *names, std::string &to, const char *what)
{
    app->add_option(names, to, what)->check(timeText())->capture_default_str();
}

void addChoice(CLI::App *app, const char *names, std::string &to, const char *what,
               const std::vector<std::string> &choices)
{
    app->add_option(names, to, what)->check(CLI::IsMember(choices))->capture_default_str();
}

void addLinkOptions(CLI::App *app, RawOptions &raw)
{
    app->add_option("--plc", raw.plcs,
                    "[STATION=]URL of a PLC, repeatable: 192.168.0.10, tcp://HOST[:8501], udp://HOST[:8501], "
                    "serial:///dev/ttyUSB0?baud=9600&data=8&parity=even&stop=1; "
                    "without it, the environment's KV_PLC")
        ->type_name("URL")
        ->type_size(1)
        ->allow_extra_args(false);
    app->add_flag("--simulate", raw.isSimulated, "start a simulated PLC of our own and use it");
    addTime(app, "--timeout", raw.timeout, "longest wait for an answer");
    app->add_option("--retries", raw.retries, "how often a failed request is sent again")
        ->check(CLI::Range(0, mostRetries))
        ->capture_default_str();
    app->add_option("--max-block", raw.maxBlock, "most words in one request")
        ->check(CLI::Range(1, mostUnits))
        ->capture_default_str();
    addTime(app, "--gap", raw.gap, "pause between two requests");
    addChoice(app, "--open", raw.open, "how a connection is opened: with CR, or not at all", {"cr", "none"});
    app->add_option("--driver", raw.driver, "the driver library, if it is not where it was installed")
        ->type_name("PATH");
    addChoice(app, "--word-order", raw.order, "of 32-bit values in two words: low or high word first",
              {"low", "high"});
    addChoice(app, "--text", raw.text, "encoding of texts in the PLC (.STR)",
              {"utf-8", "shift-jis", "latin-1"});
}

void addCommonOptions(CLI::App *app, RawOptions &raw)
{
    addLinkOptions(app, raw);
    app->add_option("-f,--tags", raw.tagFile, "tag file (CSV: name, address, ...)")->type_name("FILE");
    addChoice(app, "--encoding", raw.encoding, "of a tag file without a byte order mark",
              {"utf-8", "utf-16", "windows-1252", "latin-1", "shift-jis"});
    addChoice(app, "--format", raw.format, "of the output", {"text", "csv", "json"});
    app->add_flag("--read-only", raw.isReadOnly, "write nothing, whatever is asked");
    app->add_flag("-q,--quiet", raw.isQuiet, "values only, no notes");
    app->add_flag("-v,--verbose", raw.verbosity, "say more; -vv shows every frame");
}

void addWriteOptions(CLI::App *write, RawOptions &raw)
{
    write->add_flag("-y,--yes", raw.isConfirmed, "do not ask");
    write->add_flag("--dry-run", raw.isDryRun, "only show the frames that would be sent");
    write->add_flag("--force", raw.isForced,
                    "also write what the guard refuses (AT, CR, CM, read-only tags)");
    write->add_flag("--no-verify", raw.isUnverified, "do not read back");
    write->add_option("--pulse", raw.pulse, "write 1, and 0 after this time: --pulse 200ms R500")
        ->check(timeText());
}

void addLogOptions(CLI::App *log, RawOptions &raw)
{
    log->add_option("-o,--output", raw.output, "file; with --rotate the time is put into its name")
        ->type_name("FILE");
    log->add_option("--sqlite", raw.sqlite, "SQLite database")->type_name("FILE");
    addTime(log, "--rotate", raw.rotate, "begin a file at each full 1h, 1d, ... by the local clock");
    addTime(log, "--keep", raw.keep, "remove files or rows that are older: 30d");
    addChoice(log, "--layout", raw.layout, "a line for each value, or for each pass", {"long", "wide"});
    log->add_flag("--on-change", raw.isOnChange, "a row only when a value has changed");
    addChoice(log, "--separator", raw.separator, "of CSV fields", {",", ";", "tab"});
    log->add_flag("--decimal-comma", raw.hasDecimalComma, "1,5 in place of 1.5; the separator is then ';'");
    log->add_flag("--local-time", raw.hasLocalTime, "time of the local clock in place of UTC");
}

// What the words after a command are; null: it takes none.
const char *wordsOf(const std::string &command)
{
    if (command == "areas" || command == "info")
        return nullptr;
    return command == "write"
               ? "assignments: DM100=5 R1015=on DM100.5=1 DM0.F=1.5 DM10:3=1,2,3; with --pulse: R500"
               : addressHelp;
}

} // namespace

void describeCommandLine(CLI::App &app, RawOptions &raw)
{
    addCommonOptions(&app, raw);
    for (const CommandText &text : commandTexts()) {
        const std::string name = text.name;
        CLI::App *command = app.add_subcommand(name, text.what);
        command->fallthrough();
        if (const char *words = wordsOf(name))
            command->add_option("what", raw.words, words)->type_name("WORD")->required(name == "write");
        if (name == "write")
            addWriteOptions(command, raw);
        if (name == "watch" || name == "log")
            addTime(command, "--for", raw.duration, "how long; 0: until Ctrl-C");
        if (name == "stats" || name == "bench")
            addTime(command, "--for", raw.measured, "how long; 0: until Ctrl-C");
        if (name == "watch" || name == "log" || name == "stats" || name == "plan")
            addTime(command, "--every", raw.every, "time from the start of one pass to that of the next");
        if (name == "log")
            addLogOptions(command, raw);
    }
}

} // namespace kvhost
