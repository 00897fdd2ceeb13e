// SPDX-License-Identifier: MIT
// fuzz_replay TARGET FOLDER: gives every file of the folder to a fuzz target, as the fuzzer would.
//
// A promise that does not hold ends the program with a message and the name of the file.
#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#define KV_TARGET(name) extern "C" int fuzz_##name(const std::uint8_t *data, std::size_t size);
#include "targets.inc"
#undef KV_TARGET

namespace
{
using Entry = int (*)(const std::uint8_t *, std::size_t);

struct Target {
    const char *name;
    Entry entry;
};

const Target targets[] = {
#define KV_TARGET(name) {#name, fuzz_##name},
#include "targets.inc"
#undef KV_TARGET
};

char nowReplayed[4096] = "";

// Runs in the signal handler: calls only what is safe there.
extern "C" void tellFile(int signal)
{
    std::fputs("fuzz_replay: stopped at ", stderr);
    std::fputs(nowReplayed, stderr);
    std::fputs("\n", stderr);
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

std::vector<std::filesystem::path> filesOf(const std::filesystem::path &folder)
{
    std::vector<std::filesystem::path> files;
    std::error_code problem;
    for (const auto &entry : std::filesystem::directory_iterator(folder, problem))
        if (entry.is_regular_file())
            files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

// In memory of exactly its size, so that a memory checker sees one byte too many.
void replay(Entry entry, const std::filesystem::path &file)
{
    std::ifstream stream(file, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
    input.shrink_to_fit();
    std::snprintf(nowReplayed, sizeof nowReplayed, "%s", file.c_str());
    entry(input.data(), input.size());
}
} // namespace

int main(int count, char **arguments)
{
    if (count != 3) {
        std::fputs("use: fuzz_replay TARGET FOLDER\n", stderr);
        return 2;
    }
    const auto target = std::find_if(std::begin(targets), std::end(targets), [&](const Target &known) {
        return std::strcmp(known.name, arguments[1]) == 0;
    });
    if (target == std::end(targets)) {
        std::fprintf(stderr, "fuzz_replay: no target is called '%s'\n", arguments[1]);
        return 2;
    }
    for (const int signal : {SIGABRT, SIGSEGV, SIGFPE})
        std::signal(signal, tellFile);
    const auto files = filesOf(arguments[2]);
    for (const auto &file : files)
        replay(target->entry, file);
    if (files.empty()) {
        std::fprintf(stderr, "fuzz_replay: there is nothing to replay in %s\n", arguments[2]);
        return 1;
    }
    std::printf("%zu inputs of %s replayed\n", files.size(), target->name);
    return 0;
}
