#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Kills kv-gateway, and its store alone, at many random moments, and looks at what is left.
#
#   scripts/gateway-kills.sh [KILLS]      of each; otherwise 200, about ten minutes
#
# The tests do the same with a few kills. Exit code 0: all whole, 1: not, 2: wrong use.
set -euo pipefail
cd "$(dirname "$0")/.."

kills=${1:-200}
if [ $# -gt 1 ] || ! [[ $kills =~ ^[1-9][0-9]{0,5}$ ]]; then
    echo "scripts/gateway-kills.sh: wanted KILLS, a whole number above 0" >&2
    exit 2
fi

folder=${KV_KILLS_BUILD:-build/kills}
scripts/packages.sh test
for tests in kv_gateway_store_tests kv_gateway_commands_tests; do
    scripts/build.sh "$folder" --target "$tests" -DCMAKE_BUILD_TYPE=RelWithDebInfo
    KV_KILLS=$kills "$folder/bin/$tests" --gtest_brief=1 --gtest_filter='Kill*'
done
echo "killed $kills times each: all whole"
