#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Runs all tests, and reports which lines and branches of each part that ships they reach.
# Use: scripts/coverage.sh FOLDER
# What was not reached is listed in FOLDER/coverage-PART.txt.
set -euo pipefail
cd "$(dirname "$0")/.."
folder=$1

scripts/build.sh "$folder" -DKV_COVERAGE=ON -DKV_WERROR=ON -DCMAKE_BUILD_TYPE=Debug
find "$folder" -name '*.gcda' -delete
status=0
ctest --test-dir "$folder" --output-on-failure --parallel "$(nproc)" >"$folder/ctest.log" || status=$?
if [ "$status" -ne 0 ]; then
    tail -n 40 "$folder/ctest.log" >&2
    echo "Tests failed; the whole log is $folder/ctest.log." >&2
    exit "$status"
fi
tail -n 4 "$folder/ctest.log"

# Branches of the compiler's own exception paths are not decisions of ours.
gcovr --root . --object-directory "$folder" --exclude-throw-branches --exclude-unreachable-branches \
    -j "$(nproc)" --json "$folder/coverage.json" >/dev/null
for part in Communication_Protocol kvlink programs/tags programs/kv-host programs/kv-sim programs/kv-gateway; do
    [ -d "$part" ] || continue
    report=("$folder"/coverage-"${part##*/}")
    gcovr --root . --add-tracefile "$folder/coverage.json" --filter "$part/" \
        --json-summary "$report.json" --txt "$report.txt"
    gcovr --root . --add-tracefile "$folder/coverage.json" --filter "$part/" --branches >>"$report.txt"
    python3 -B scripts/coverage_table.py "$part" "$report.json"
done
