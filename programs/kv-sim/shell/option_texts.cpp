// SPDX-License-Identifier: MIT
// Option values that need more than a number.
#include "shell/option_texts.h"

#include "text/digits.h"
#include "text/words.h"

#include <algorithm>
#include <map>

namespace kvsim
{
namespace
{

constexpr const char *standardTcp = "127.0.0.1:8501";
constexpr int largestPort = 65535;
constexpr std::size_t mostClients = 10'000;

std::string readAddresses(const char *option, const std::vector<std::string> &texts,
                          std::vector<Address> &addresses)
{
    for (const std::string &text : texts) {
        QString problem;
        const auto address = addressFromText(QString::fromStdString(text), problem);
        if (!address)
            return std::string(option) + ": " + problem.toStdString();
        addresses.push_back(*address);
    }
    return {};
}

std::string readAllAddresses(OptionTexts &texts, Options &options)
{
    const bool anyLine =
        !(texts.tcp.empty() && texts.udp.empty() && texts.remote.empty() && options.serial.empty());
    if (!anyLine)
        texts.tcp.emplace_back(standardTcp);
    std::string wrong = readAddresses("--tcp", texts.tcp, options.tcp);
    if (wrong.empty())
        wrong = readAddresses("--udp", texts.udp, options.udp);
    if (wrong.empty())
        wrong = readAddresses("--remote", texts.remote, options.remote);
    if (wrong.empty())
        wrong = readAddresses("--control", texts.control, options.control);
    return wrong.empty() ? readAddresses("--control-all", texts.controlAll, options.controlAll) : wrong;
}

std::string readDelay(const std::string &text, DelaySettings &delay)
{
    if (text.empty())
        return {};
    std::string problem;
    const auto settings = delayFromText(text, problem);
    delay = settings.value_or(delay);
    return settings ? std::string() : "--delay: " + problem;
}

std::string readClients(const std::string &text, ClientLimit &clients)
{
    if (text.empty())
        return {};
    const auto parts = splitAt(text, ':');
    const auto most = numberWithin(parts[0], 1, mostClients);
    const bool good =
        parts.size() == 1 || (parts.size() == 2 && (parts[1] == "newest" || parts[1] == "oldest"));
    if (!most || !good)
        return "--max-clients: " + inQuotes(text) + " is not a limit (like 4, 4:newest or 4:oldest, up to " +
               std::to_string(mostClients) + ")";
    clients = {std::size_t(*most), parts.size() == 2 && parts[1] == "oldest"};
    return {};
}

std::string readMostValues(const std::vector<std::string> &texts, Rules &rules)
{
    for (const std::string &text : texts) {
        const std::size_t equals = text.find('=');
        const std::string device = equals == std::string::npos ? "" : text.substr(0, equals);
        const auto most = numberWithin(
            std::string_view(text).substr(equals == std::string::npos ? 0 : equals + 1), 1, 0xFFFFFFFFU);
        const bool known = equals == std::string::npos || deviceNamed(device);
        if (!known || !most)
            return "--max-count: " + inQuotes(text) + " is neither N nor DEVICE=N (like 64 or DM=200)";
        rules.mostByDevice[device] = std::uint32_t(*most);
    }
    return {};
}

void readRules(const OptionTexts &texts, Options &options)
{
    static const std::map<std::string, Opening> openings{
        {"required", Opening::Required}, {"never", Opening::Never}, {"refuse", Opening::Refused}};
    const Model &model = *modelNamed(options.model);
    Rules &rules = options.rules;
    rules.family = model.family;
    rules.modelCode = texts.modelCode > 0 ? texts.modelCode : model.code;
    rules.opening = openings.at(texts.opening);
    rules.values.negativeWraps = texts.negative == "wrap";
    rules.atWritable = texts.atWrite == "ok";
    rules.triplesWithBlanks = texts.triple == "blank";
    options.programMissing = texts.cpuProgram == "missing";
}

// Ports that count up must not run past the last one, and a path cannot be shared.
std::string checkPlcs(const Options &options)
{
    if (options.plcs == 1)
        return {};
    if (!options.serial.empty() || !options.save.empty())
        return "--plcs cannot be combined with --serial or --save: all PLCs would use the same path";
    for (const auto *list : {&options.tcp, &options.udp, &options.remote, &options.control})
        for (const Address &address : *list)
            if (address.port != 0 && address.port + options.plcs - 1 > largestPort)
                return "--plcs " + std::to_string(options.plcs) + ": there are not that many ports from " +
                       std::to_string(address.port) + " on; take a lower one, or 0";
    return {};
}

// "2/DM0=5" is for PLC 2 only, "DM0=5" for all.
struct FirstValue {
    std::optional<std::string> plc;
    std::string assignment;
};

FirstValue firstValue(const std::string &text)
{
    const std::size_t slash = text.find('/');
    if (slash == std::string::npos || slash > text.find('='))
        return {std::nullopt, text};
    return {text.substr(0, slash), text.substr(slash + 1)};
}

std::string checkFirstValues(const Options &options)
{
    for (const std::string &text : options.set) {
        const FirstValue value = firstValue(text);
        const auto last = std::uint64_t(options.plcs - 1);
        if (value.plc && !numberWithin(*value.plc, 0, last))
            return "--set: " + inQuotes(*value.plc) + " is not a PLC (0 to " + std::to_string(last) + ")";
    }
    return {};
}

} // namespace

std::string readOptionTexts(OptionTexts &texts, Options &options)
{
    readRules(texts, options);
    std::string wrong = readAllAddresses(texts, options);
    if (wrong.empty())
        wrong = checkPlcs(options);
    if (wrong.empty())
        wrong = checkFirstValues(options);
    if (wrong.empty())
        wrong = readDelay(texts.delay, options.delay);
    if (wrong.empty())
        wrong = readClients(texts.clients, options.clients);
    return wrong.empty() ? readMostValues(texts.mostValues, options.rules) : wrong;
}

Options optionsOf(const Options &all, int plc)
{
    Options own = all;
    for (auto *list : {&own.tcp, &own.udp, &own.remote, &own.control})
        for (Address &address : *list)
            address.port = address.port == 0 ? quint16(0) : quint16(address.port + plc);
    own.set.clear();
    const auto number = std::uint64_t(plc);
    for (const std::string &text : all.set) {
        const FirstValue value = firstValue(text);
        if (!value.plc || numberWithin(*value.plc, number, number))
            own.set.push_back(value.assignment);
    }
    return own;
}

} // namespace kvsim
