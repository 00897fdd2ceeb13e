#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Runs the driver's tests and reports which of its lines and branches they reach.
# Use: scripts/coverage.sh FOLDER
set -euo pipefail
cd "$(dirname "$0")/.."
folder=$1
scripts/build.sh "$folder" -DKV_COVERAGE=ON -DKV_WERROR=ON -DKV_BUILD_PROGRAMS=OFF -DCMAKE_BUILD_TYPE=Debug
find "$folder" -name '*.gcda' -delete
ctest --test-dir "$folder" --output-on-failure --parallel "$(nproc)" | tail -n 4
# Branches of the compiler's own exception paths are not decisions of ours.
gcovr --root . --object-directory "$folder" --filter Communication_Protocol/ \
    --exclude-throw-branches --exclude-unreachable-branches --print-summary
gcovr --root . --object-directory "$folder" --filter Communication_Protocol/ \
    --exclude-throw-branches --exclude-unreachable-branches --branches | tail -n +6
