#include "options.h"

#include "digits.h"
#include "vices.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iostream>
#include <map>

namespace
{

using kvsim::Opening;

constexpr const char *standardTcp = "127.0.0.1:8501";

// Only guessed, nowhere documented: what an Ethernet unit takes for an answer.
constexpr kvsim::AnswerDelay guessedDelay{5, 20};
constexpr std::uint32_t longestDelayMs = 3'600'000;
constexpr int mostPlcs = 256; // a memory takes some megabytes

struct Texts {
    std::vector<std::string> tcp, udp, remote, control, mostValues;
    std::string opening = "required";
    std::string negative = "refuse";
    std::string atWrite = "refuse";
    std::string triple = "comma";
    std::string delay;
    int modelCode = -1;
};

std::string footer()
{
    return "Faults (--fault \"NAME[:ARG] [every N|next N|prob P [seed S]] [times M] [cmd WORD,..] [dev "
           "RANGE]\"):\n" +
           kvsim::viceList() +
           "\nDefaults that no published document confirms (unverified):\n"
           "  --open, --unaligned, --negative, --upper-only, --at-write, --triple, --max-count, "
           "--error-digits,\n"
           "  --model other than KV-8000 and KV-7x00, the texts of .S .D .L .H, CR and CQ over Ethernet,\n"
           "  which mistake gives which error code, WRE, WRT, STS and RSS with up to 16 relays, ?M.\n"
           "\nBy hand: nc -C 127.0.0.1 8501 (-C sends CR LF; a line ends with CR), then CR, then RDS DM0.U "
           "4.\n"
           "Exit codes: 0 ended by SIGINT, SIGTERM, SIGHUP, end of stdin or stop; 2 usage; 3 port, line or "
           "file not "
           "to be had.\n";
}

void addLines(CLI::App &app, Options &options, Texts &texts)
{
    const auto list = [&app](const char *name, std::vector<std::string> &values, const char *help) {
        app.add_option(name, values, help)->allow_extra_args(false);
    };
    list("--tcp", texts.tcp, "ADDR:PORT to listen on, repeatable; port 0 takes a free one (127.0.0.1:8501)");
    list("--udp", texts.udp, "ADDR:PORT for datagrams, repeatable");
    list("--serial", options.serial, "PATH of a serial line (a pseudo-terminal), repeatable");
    app.add_option("--baud", options.baud,
                   "Every byte takes its time on the serial lines: 11 bits at this speed")
        ->check(CLI::Range(110, 4000000));
    list("--remote", texts.remote, "ADDR:PORT that serves binary remote-area requests, repeatable");
    app.add_option("--remote-silence", options.remoteSilenceMs,
                   "MS after which a broken remote-area request has ended (300)")
        ->check(CLI::Range(1, 60000));
    list("--control", texts.control, "ADDR:PORT of the control connection ('help' lists its commands)");
    app.add_flag("--lf-ends-line", options.lfEndsLine, "LF ends a line too; for hand use without CR");
}

void addRules(CLI::App &app, Options &options, Texts &texts)
{
    std::vector<std::string> names;
    for (const kvsim::Model &model : kvsim::models())
        names.emplace_back(model.name);
    app.add_option("--model", options.model,
                   "Device ranges and ?K of this model (KV-8000); unverified for the others")
        ->check(CLI::IsMember(names));
    app.add_option("--model-code", texts.modelCode, "Answer to ?K, for models whose code is not known")
        ->check(CLI::Range(1, 99999));
    app.add_option("--open", texts.opening,
                   "Is CR needed first: required, never, or CR itself refused (required; unverified)")
        ->check(CLI::IsMember({"required", "never", "refuse"}));
    app.add_flag("--unaligned", options.rules.unaligned,
                 "Words may begin at any relay, R1005.U (refused; unverified)");
    app.add_option("--negative", texts.negative, "Minus after .U and .D: refuse or wrap (refuse; unverified)")
        ->check(CLI::IsMember({"refuse", "wrap"}));
    app.add_flag("--upper-only", options.rules.upperOnly,
                 "Refuse lower-case hexadecimal digits (accepted; unverified)");
    app.add_option("--at-write", texts.atWrite, "Writes to AT: refuse or ok (refuse; unverified)")
        ->check(CLI::IsMember({"refuse", "ok"}));
    app.add_option("--triple", texts.triple,
                   "Between a timer's three values: comma or blank (comma; unverified)")
        ->check(CLI::IsMember({"comma", "blank"}));
    app.add_option("--max-count", texts.mostValues,
                   "Largest count, N or DEVICE=N, repeatable (unverified table)")
        ->allow_extra_args(false);
    app.add_option("--error-digits", options.rules.errorDigits, "Digits of the answer to ?E (3; unverified)")
        ->check(CLI::Range(1, 5));
    app.add_option("--cpu-error", options.cpuError, "Error number that ?E tells until ER (0)")
        ->check(CLI::Range(0, 999));
}

void addLife(CLI::App &app, Options &options, Texts &texts)
{
    app.add_option("--scan", options.scanMs, "Run the small fixed program every MS (not at all)")
        ->check(CLI::Range(1, 3600000));
    app.add_option("--set", options.set, "DEVICE=VALUE[,VALUE...] at the start, repeatable: DM100=1,2,3")
        ->allow_extra_args(false);
    app.add_option("--load", options.load, "Memory from this JSON FILE at the start, before --set");
    app.add_option("--save", options.save, "Memory into this JSON FILE on exit, and on 'save'");
    app.add_option("--fault", options.faults, "A fault from the start on, repeatable; see below")
        ->allow_extra_args(false);
    app.add_option("--delay", texts.delay,
                   "Wait before every answer: MS, MS:JITTER, or 'guess' for 5 to 20 ms (0)");
    app.add_option(
           "--plcs", options.plcs,
           "N PLCs in one process (1): each has a memory and lines of its own, ports count up (0 stays 0); "
           "--set 2/DM0=5 is for PLC 2 alone, counted from 0")
        ->check(CLI::Range(1, mostPlcs));
    app.add_flag("--trace", options.trace, "Show each line in (>) and out (<) on stderr");
    app.add_flag("--exit-with-stdin", options.exitWithStdin,
                 "End when stdin ends, so that a dying parent leaves nothing behind");
}

QString readAddresses(const std::vector<std::string> &texts, std::vector<Address> &addresses)
{
    for (const std::string &text : texts) {
        QString wrong = addressFromText(QString::fromStdString(text), addresses.emplace_back());
        if (!wrong.isEmpty())
            return wrong;
    }
    return {};
}

std::string readAllAddresses(Texts &texts, Options &options)
{
    const bool anyLine =
        !(texts.tcp.empty() && texts.udp.empty() && texts.remote.empty() && options.serial.empty());
    if (!anyLine)
        texts.tcp.emplace_back(standardTcp);
    const std::vector<std::pair<std::vector<std::string> *, std::vector<Address> *>> lists{
        {&texts.tcp, &options.tcp},
        {&texts.udp, &options.udp},
        {&texts.remote, &options.remote},
        {&texts.control, &options.control}};
    for (const auto &[from, into] : lists)
        if (const QString wrong = readAddresses(*from, *into); !wrong.isEmpty())
            return wrong.toStdString();
    return {};
}

std::string readDelay(const std::string &text, kvsim::AnswerDelay &delay)
{
    if (text == "guess") {
        delay = guessedDelay;
        return {};
    }
    const std::size_t colon = std::min(text.find(':'), text.size());
    std::uint32_t jitter = 0;
    const bool good =
        kvsim::decimal(std::string_view(text).substr(0, colon), delay.leastMs) &&
        (colon == text.size() || kvsim::decimal(std::string_view(text).substr(colon + 1), jitter));
    if (!good || delay.leastMs > longestDelayMs || jitter > longestDelayMs)
        return "'" + text + "' is no delay (like 10, 10:5 or guess)";
    delay.mostMs = delay.leastMs + jitter;
    return {};
}

std::string readMostValues(const std::vector<std::string> &texts, kvsim::Rules &rules)
{
    for (const std::string &text : texts) {
        const std::size_t equals = text.find('=');
        const std::string device = equals == std::string::npos ? "" : text.substr(0, equals);
        const std::string_view number =
            std::string_view(text).substr(equals == std::string::npos ? 0 : equals + 1);
        std::uint32_t most = 0;
        const bool known = equals == std::string::npos || kvsim::deviceNamed(device);
        if (!known || !kvsim::decimal(number, most) || most < 1)
            return "--max-count: '" + text + "' is neither N nor DEVICE=N (like 64 or DM=200)";
        rules.mostByDevice[device] = most;
    }
    return {};
}

void readRules(const Texts &texts, Options &options)
{
    static const std::map<std::string, Opening> openings{
        {"required", Opening::Required}, {"never", Opening::Never}, {"refuse", Opening::Refused}};
    const kvsim::Model &model = *kvsim::modelNamed(options.model);
    kvsim::Rules &rules = options.rules;
    rules.family = model.family;
    rules.modelCode = texts.modelCode > 0 ? texts.modelCode : model.code;
    rules.opening = openings.at(texts.opening);
    rules.negativeWraps = texts.negative == "wrap";
    rules.atWritable = texts.atWrite == "ok";
    rules.triplesWithBlanks = texts.triple == "blank";
}

// Ports that count up must not run past the last one, and a path cannot be shared.
std::string checkPlcs(const Options &options)
{
    if (options.plcs == 1)
        return {};
    if (!options.serial.empty() || !options.save.empty())
        return "--plcs goes with neither --serial nor --save: all PLCs would use the same path";
    for (const auto *list : {&options.tcp, &options.udp, &options.remote, &options.control})
        for (const Address &address : *list)
            if (address.port != 0 && address.port + options.plcs - 1 > 65535)
                return "--plcs " + std::to_string(options.plcs) + ": there are not so many ports from " +
                       std::to_string(address.port) + " on; take a lower one, or 0";
    return {};
}

// "2/DM0=5": for PLC 2 alone. Without a number: for all.
std::string readSets(Options &options)
{
    for (const std::string &text : options.set) {
        const std::size_t slash = text.find('/');
        std::uint32_t plc = 0;
        if (slash == std::string::npos || slash > text.find('='))
            continue;
        if (!kvsim::decimal(std::string_view(text).substr(0, slash), plc) ||
            plc >= static_cast<std::uint32_t>(options.plcs))
            return "--set: '" + text.substr(0, slash) + "' is no PLC (0 to " +
                   std::to_string(options.plcs - 1) + ")";
    }
    return {};
}

std::string readTexts(Texts &texts, Options &options)
{
    readRules(texts, options);
    std::string wrong = readAllAddresses(texts, options);
    for (const std::string &check : {checkPlcs(options), readSets(options)})
        if (wrong.empty())
            wrong = check;
    if (wrong.empty() && !texts.delay.empty())
        wrong = readDelay(texts.delay, options.delay);
    return wrong.empty() ? readMostValues(texts.mostValues, options.rules) : wrong;
}

int usageError(const std::string &text)
{
    std::cerr << "kv-sim: " << text << "\nTry 'kv-sim --help'.\n";
    return exitUsage;
}

} // namespace

Options optionsOf(const Options &all, int plc)
{
    Options own = all;
    for (auto *list : {&own.tcp, &own.udp, &own.remote, &own.control})
        for (Address &address : *list)
            address.port = address.port == 0 ? quint16(0) : static_cast<quint16>(address.port + plc);
    own.set.clear();
    for (const std::string &text : all.set) {
        const std::size_t slash = text.find('/');
        if (slash == std::string::npos || slash > text.find('='))
            own.set.push_back(text);
        else if (std::uint32_t number = 0; kvsim::decimal(std::string_view(text).substr(0, slash), number) &&
                                           number == static_cast<std::uint32_t>(plc))
            own.set.push_back(text.substr(slash + 1));
    }
    return own;
}

int parseOptions(int argc, char **argv, Options &options)
{
    CLI::App app{
        "Simulated Keyence KV PLC for the upper-link protocol, stricter and nastier than a real one."};
    Texts texts;
    app.name("kv-sim");
    app.set_version_flag("-V,--version", "kv-sim " KV_SIM_VERSION);
    app.footer(footer());
    addLines(app, options, texts);
    addRules(app, options, texts);
    addLife(app, options, texts);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return error.get_exit_code() == 0 ? app.exit(error) : usageError(error.what());
    }
    const std::string wrong = readTexts(texts, options);
    return wrong.empty() ? -1 : usageError(wrong);
}
