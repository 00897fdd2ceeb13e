// SPDX-License-Identifier: MIT
// The command line of kv-sim.
#include "shell/options.h"

#include "faults/fault_kinds.h"
#include "shell/option_texts.h"

#include <CLI/CLI.hpp>

#include <iostream>

namespace kvsim
{
namespace
{

constexpr int mostPlcs = 256;

std::string footer()
{
    return "Faults (--fault \"NAME[:ARG] [every N|next N|prob P [seed S]] [times M] [cmd WORD,..] "
           "[dev RANGE]\"):\n" +
           faultKindTable() + R"(
Defaults that no published document confirms (unverified):
  --open, --unaligned, --negative, --upper-only, --at-write, --triple, --max-count, --error-digits,
  --model other than KV-8000 and KV-7x00, the texts of .S .D .L .H, CR and CQ over Ethernet,
  which error gets which code, WRE, WRT, STS and RSS with up to 16 relays, ?M.

By hand: nc -C 127.0.0.1 8501 (-C sends CR LF; a line ends with CR), then CR, then RDS DM0.U 4.
Exit codes: 0 ended by SIGINT, SIGTERM, SIGHUP, end of stdin or stop; 1 --check found something wrong;
2 wrong usage; 3 a port, line or file is not available.
)";
}

void addLines(CLI::App &app, Options &options, OptionTexts &texts)
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
    list("--control-all", texts.controlAll,
         "ADDR:PORT of one control connection for all PLCs: 2/get DM0, */get DM0");
    app.add_option(
        "--max-clients", texts.clients,
        "Largest number of TCP connections: N or N:newest closes one more at once, N:oldest the oldest one");
    app.add_option("--idle-close", options.idleCloseMs,
                   "MS after which a silent TCP connection is closed (never)")
        ->check(CLI::Range(1, 86400000));
    app.add_flag("--lf-ends-line", options.lfEndsLine, "LF ends a line too; for hand use without CR");
}

void addRules(CLI::App &app, Options &options, OptionTexts &texts)
{
    std::vector<std::string> names;
    for (const Model &model : models())
        names.emplace_back(model.name);
    app.add_option("--model", options.model,
                   "Device ranges and ?K of this model (KV-8000); unverified for the others")
        ->check(CLI::IsMember(names));
    app.add_option("--model-code", texts.modelCode, "Answer to ?K, for models whose code is not known")
        ->check(CLI::Range(1, 99999));
    app.add_option("--open", texts.opening,
                   "Whether CR must come first: required, never, or refuse, to refuse CR itself (required; "
                   "unverified)")
        ->check(CLI::IsMember({"required", "never", "refuse"}));
    app.add_flag("--unaligned", options.rules.unaligned,
                 "Words may begin at any relay, R1005.U (refused; unverified)");
    app.add_option("--negative", texts.negative, "Minus after .U and .D: refuse or wrap (refuse; unverified)")
        ->check(CLI::IsMember({"refuse", "wrap"}));
    app.add_flag("--upper-only", options.rules.values.upperOnly,
                 "Refuse lower-case hexadecimal digits (accepted; unverified)");
    app.add_option("--at-write", texts.atWrite, "Writes to AT: refuse or ok (refuse; unverified)")
        ->check(CLI::IsMember({"refuse", "ok"}));
    app.add_option("--triple", texts.triple,
                   "Between a timer's three values: comma or blank, a space (comma; unverified)")
        ->check(CLI::IsMember({"comma", "blank"}));
    app.add_option("--max-count", texts.mostValues,
                   "Largest count, N or DEVICE=N, repeatable (unverified table)")
        ->allow_extra_args(false);
    app.add_option("--error-digits", options.rules.errorDigits, "Digits of the answer to ?E (3; unverified)")
        ->check(CLI::Range(1, 5));
    app.add_flag("--write-protect", options.writeProtected, "Answer E4 to every write (unverified)");
    app.add_option("--cpu-program", texts.cpuProgram,
                   "present or missing: PROGRAM mode, and M1 is answered with E2 (present; unverified)")
        ->check(CLI::IsMember({"present", "missing"}));
    app.add_option("--cpu-error", options.cpuError,
                   "Error number that ?E reports until ER; M1 is answered with E5 until then (0; unverified)")
        ->check(CLI::Range(0, 999));
}

void addLife(CLI::App &app, Options &options, OptionTexts &texts)
{
    app.add_option("--scan", options.scanMs, "Run the small fixed program every MS (not at all)")
        ->check(CLI::Range(1, 3600000));
    app.add_option("--program", options.program,
                   "Run the program in this FILE instead, every 10 ms or every --scan MS");
    app.add_option("--check", options.check, "Check these program, load and recording FILEs, and end")
        ->expected(1, -1);
    app.add_option("--set", options.set, "DEVICE=VALUE[,VALUE...] at the start, repeatable: DM100=1,2,3")
        ->allow_extra_args(false);
    app.add_option("--load", options.load, "Memory from this JSON FILE at the start, before --set");
    app.add_option("--save", options.save, "Memory into this JSON FILE on exit, and on 'save'");
    app.add_option("--record", options.record, "Write what came and went to this new FILE, as JSON lines");
    app.add_option("--replay", options.replay, "Answer from the recording in this FILE");
    app.add_option("--fault", options.faults, "A fault from the start on, repeatable; see below")
        ->allow_extra_args(false);
    app.add_option(
        "--delay", texts.delay,
        "Wait before every answer: MS, MS:JITTER, tail:MEDIAN:P99[:SEED], or 'guess' for 5 to 20 ms (0)");
    app.add_option(
           "--plcs", options.plcs,
           "N PLCs in one process (1): each has its own memory and lines, ports count up (0 stays 0); "
           "--set 2/DM0=5 is for PLC 2 only, counted from 0")
        ->check(CLI::Range(1, mostPlcs));
    app.add_flag("--trace", options.trace, "Show each line in (>) and out (<) on stderr");
    app.add_flag("--exit-with-stdin", options.exitWithStdin,
                 "End when stdin ends, so that kv-sim never outlives its parent");
}

int usageError(const std::string &text)
{
    std::cerr << "kv-sim: " << text << "\nTry 'kv-sim --help'.\n";
    return exitUsage;
}

} // namespace

std::optional<Options> parseOptions(int argc, char **argv, int &exitCode)
{
    CLI::App app{
        "Simulated Keyence KV PLC for the upper-link protocol, stricter and nastier than a real one."};
    Options options;
    OptionTexts texts;
    app.name("kv-sim");
    app.set_version_flag("-V,--version", "kv-sim " KV_SIM_VERSION);
    app.footer(footer());
    addLines(app, options, texts);
    addRules(app, options, texts);
    addLife(app, options, texts);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        exitCode = error.get_exit_code() == 0 ? app.exit(error) : usageError(error.what());
        return std::nullopt;
    }
    const std::string wrong = readOptionTexts(texts, options);
    if (wrong.empty())
        return options;
    exitCode = usageError(wrong);
    return std::nullopt;
}

} // namespace kvsim
