#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Checks rooms, texts and pictures, and the sources:
#   clang-format   all
#   clang-tidy     what ships (driver, kvlink, programs) with all checks of .clang-tidy; the others
#                  (tests, fuzzers, benchmarks, examples) with those for names and habits
#   cppcheck       what ships
#   tsc            the panel's scripts; it comes from npm
# Use: scripts/lint.sh FOLDER [FILE ...]
# FOLDER takes the compile commands; FILEs, when given, are all that clang-tidy looks at.
set -euo pipefail
cd "$(dirname "$0")/.."
folder=$1
shift

log=$(mktemp)
trap 'rm -f "$log"' EXIT

# tidy WHAT CHECKS FILE...       CHECKS: beside those of .clang-tidy
tidy() {
    local what=$1 checks=$2
    shift 2
    [ $# -gt 0 ] || return 0
    echo "clang-tidy, $what: $# files"
    if ! scripts/tidy.py "$folder" "--checks=$checks" "$@" >"$log"; then
        cat "$log" >&2
        echo "clang-tidy reported the problems above." >&2
        exit 1
    fi
}

echo "rooms: the includes of all sources"
python3 -B scripts/check_rooms.py
python3 -B scripts/draw_rooms.py --check
echo "texts: comments, includes, words, nested conditional operators"
python3 -B scripts/check_text.py
python3 -B tests/tools/lint/tidy_test.py 2>"$log" || {
    cat "$log" >&2
    exit 1
}

echo "types: the scripts of the panel"
scripts/panel_types.sh "$folder"
python3 -B tests/tools/lint/panel_types_test.py "$folder" 2>"$log" || {
    cat "$log" >&2
    exit 1
}

mapfile -t sources < <(git ls-files '*.cpp' '*.h')
echo "clang-format: ${#sources[@]} files"
clang-format --dry-run -Werror "${sources[@]}"

# Without precompiled headers: clang-tidy reads the sources themselves.
if ! cmake -S . -B "$folder" -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=Debug \
    -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON -DKV_BUILD_FUZZ=ON -DKV_BUILD_BENCH=ON >"$log" 2>&1; then
    cat "$log" >&2
    echo "Configuring $folder failed; see above." >&2
    exit 1
fi
# A source of ours includes what the compiler of Protocol Buffers writes.
if ! cmake --build "$folder" --target kv_gateway_wire >"$log" 2>&1; then
    cat "$log" >&2
    exit 1
fi

# For what does not ship: all checks would take longer there than for what ships. These ask about
# names and habits, follow no paths, and cost little more than reading the file.
dialect='-*,readability-identifier-naming,readability-duplicate-include,readability-redundant-control-flow'
dialect+=',modernize-use-nullptr,modernize-use-override,modernize-use-using,misc-unused-using-decls'
dialect+=',performance-for-range-copy'

if [ $# -eq 0 ]; then
    mapfile -t compiled < <(git ls-files '*.cpp')
else
    mapfile -t compiled < <(realpath --relative-to=. "$@")
fi
shipped=()
others=()
for file in "${compiled[@]}"; do
    case $file in
        Communication_Protocol/* | kvlink/* | programs/*) shipped+=("$file") ;;
        tests/tools/install/consumer/*) ;; # a test builds it, with what is installed
        *) others+=("$file") ;;
    esac
done
tidy "names and habits" "$dialect" "${others[@]}"
tidy "all checks" "" "${shipped[@]}"

echo "cppcheck: what ships"
# The compile commands name what the meta-object and the resource compiler write; without it
# cppcheck refuses them. The latter is one long array: a minute for nothing, so it is left out.
resource=$(realpath --relative-to=. "$folder")/programs/kv-gateway/qrc_panel.cpp
# Nor is what the compiler of Protocol Buffers writes ours.
wire=$(realpath --relative-to=. "$folder")/programs/kv-gateway/sparkplug_b.pb.cc
if ! cmake --build "$folder" --target kvlink_api_autogen kv_gateway_panel_files >"$log" 2>&1; then
    cat "$log" >&2
    exit 1
fi
cppcheck --project="$folder/compile_commands.json" --enable=warning,style,performance,portability --inline-suppr \
    --library=qt '-DQT_STRINGIFY(x)=#x' --suppressions-list=.cppcheck-suppressions --error-exitcode=1 --quiet -j "$(nproc)" \
    -i tests -i fuzz -i bench -i docs -i examples -i "$resource" -i "$wire"
echo "Nothing found."
