#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Holds every source against clang-format, clang-tidy and cppcheck. Use: scripts/lint.sh FOLDER [FILE ...]
# FOLDER takes the compile commands; FILEs, when given, are all that clang-tidy looks at.
set -euo pipefail
cd "$(dirname "$0")/.."
folder=$1
shift

mapfile -t sources < <(git ls-files '*.cpp' '*.h')
mapfile -t compiled < <(git ls-files 'Communication_Protocol/*.cpp' 'programs/*.cpp')
[ $# -eq 0 ] || compiled=("$@")

echo "rooms: the includes of all sources"
python3 -B scripts/check_rooms.py

echo "clang-format: ${#sources[@]} files"
clang-format --dry-run -Werror "${sources[@]}"

log=$(mktemp)
trap 'rm -f "$log"' EXIT
if ! cmake -S . -B "$folder" -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=Debug -DKV_BUILD_TESTS=OFF \
    >"$log" 2>&1; then
    cat "$log" >&2
    echo "Configuring $folder failed; the lines above say why." >&2
    exit 1
fi

echo "clang-tidy: ${#compiled[@]} files"
if ! printf '%s\0' "${compiled[@]}" |
    xargs -0 -n 1 -P "$(nproc)" clang-tidy -p "$folder" --quiet --warnings-as-errors='*' >"$log" 2>/dev/null; then
    cat "$log" >&2
    echo "clang-tidy found what the lines above tell." >&2
    exit 1
fi

echo "cppcheck: driver, host and simulator"
cppcheck --project="$folder/compile_commands.json" --enable=warning,style,performance,portability --inline-suppr \
    --library=qt --suppressions-list=.cppcheck-suppressions --error-exitcode=1 --quiet -j "$(nproc)"
echo "Nothing found."
