#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# The soak test, for any length of time: kv-host writes to two simulated PLCs under random faults.
# Every write is found in the PLC or was reported as failed, none is reported twice, and the hosts
# do not grow.
#
#   scripts/soak.sh SECONDS [SEED]      SEED repeats the writes and faults of an earlier run
#
# Figures every minute. The last line is the verdict; exit code 0: passed, 1: failed, 2: wrong use.
set -euo pipefail
cd "$(dirname "$0")/.."

usage() { sed -n '3,/^set /s/^# \{0,1\}//p' "$0"; }
is_number() { [[ $1 =~ ^[0-9]{1,9}$ ]]; }

case ${1:-} in
    -h | --help) usage; exit 0 ;;
esac
seconds=${1:-}
seed=${2:-$((RANDOM * 32768 + RANDOM))}
if [ $# -gt 2 ] || ! is_number "$seconds" || [ "$((10#$seconds))" -lt 60 ] || ! is_number "$seed"; then
    echo "scripts/soak.sh: wanted SECONDS (60 or more) and perhaps SEED, both whole numbers" >&2
    exit 2
fi

folder=${KV_SOAK_BUILD:-build/soak}
scripts/packages.sh test
scripts/build.sh "$folder" -DCMAKE_BUILD_TYPE=RelWithDebInfo
if KV_SOAK_SECONDS=$seconds KV_TEST_SEED=$seed "$folder/bin/kv_soak_test" --gtest_brief=1; then
    echo "soak: passed, $seconds s, seed $seed"
else
    echo "soak: FAILED, repeat with: scripts/soak.sh $seconds $seed" >&2
    exit 1
fi
