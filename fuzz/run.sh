#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Runs one fuzz target for some time: fuzz/run.sh TARGET SECONDS
#
#   fuzz/run.sh driver_session 600
#   fuzz/run.sh                      lists the targets
#   fuzz/run.sh --minimise TARGET    moves new inputs into fuzz/corpus/TARGET, reduced to the fewest
#                                    files with the same coverage
#
# Installs what is missing (clang 14), builds the target under address and undefined-behaviour
# sanitizers, and starts from fuzz/corpus/TARGET with fuzz/dictionaries/TARGET.dict. New finds go to
# build/fuzz/corpus/TARGET, and the next run starts from them too. The last line is the verdict; the
# exit status is 0 if nothing was found, 1 if something was, 2 if the call was wrong.
set -euo pipefail
cd "$(dirname "$0")/.."

build=build/fuzz
targets() {
    sed -n 's/^kv_add_fuzzers([a-z]* \(.*\))$/\1/p' fuzz/CMakeLists.txt | tr ' ' '\n' | sort
}
usage() {
    sed -n '3,/^set /s/^# \{0,1\}//p' "$0"
}
list_targets() {
    echo "The targets are:"
    targets | sed 's/^/    /'
}
build_target() { # TARGET
    scripts/packages.sh fuzz
    cmake -S . -B "$build" -G Ninja -DKV_BUILD_FUZZ=ON -DKV_BUILD_TESTS=OFF \
        -DCMAKE_CXX_COMPILER=clang++-14 -DCMAKE_BUILD_TYPE=Debug "-DCMAKE_CXX_FLAGS_DEBUG=-O1 -g" >/dev/null
    cmake --build "$build" --target "fuzz_$1"
}
require_target() { # TARGET
    if ! targets | grep -qx -- "$1"; then
        echo "run.sh: no target is called '$1'" >&2
        list_targets >&2
        exit 2
    fi
}

minimise=no
case ${1:-} in
    -h | --help) usage; echo; list_targets; exit 0 ;;
    '') list_targets; exit 2 ;;
    --minimise) minimise=yes; shift ;;
    -*) echo "run.sh: unknown option '$1' (fuzz/run.sh --help)" >&2; exit 2 ;;
esac
target=${1:-}
require_target "$target"
seeds=fuzz/corpus/$target
found=$build/corpus/$target
program=$build/bin/fuzz_$target

if [ "$minimise" = yes ]; then
    build_target "$target"
    mkdir -p "$found" "$seeds"
    smaller=$(mktemp -d)
    trap 'rm -rf "$smaller"' EXIT
    # A set cover of the branches reached; how often each was reached does not count.
    "$program" -set_cover_merge=1 -use_counters=0 -detect_leaks=0 "$smaller" "$seeds" "$found" 2>&1 | tail -n 1
    rm -f "$seeds"/*
    cp "$smaller"/* "$seeds"/
    echo "run.sh: $seeds now has $(find "$seeds" -type f | wc -l) files, $(cat "$seeds"/* | wc -c) bytes"
    exit 0
fi

seconds=${2:-}
if ! [[ $seconds =~ ^[1-9][0-9]*$ ]]; then
    echo "run.sh: for how many seconds? fuzz/run.sh TARGET SECONDS" >&2
    exit 2
fi
build_target "$target"
mkdir -p "$found" "$build/crashes" "$seeds"
dictionary=()
[ -f "fuzz/dictionaries/$target.dict" ] && dictionary=(-dict="fuzz/dictionaries/$target.dict")
# Qt 5.15's JSON reader leaks memory on some broken texts, which libFuzzer and the leak
# checker would report.
case $target in kv_sim_memory | kv_sim_recording | kv_gateway_json) export ASAN_OPTIONS=detect_leaks=0 ;; esac
length=() # libFuzzer's own choice
# A session needs long inputs from the start, for many steps.
case $target in driver_session | driver_settings) length=(-max_len=600 -len_control=20) ;; esac
log=$build/$target.log
crashes_before=$(find "$build/crashes" -name "$target-*" | sort)

status=0
"$program" -max_total_time="$seconds" -timeout=60 -rss_limit_mb=3000 -print_final_stats=1 "${length[@]}" "${dictionary[@]}" \
    -artifact_prefix="$build/crashes/$target-" "$found" "$seeds" >"$log" 2>&1 || status=$?

executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
reached=$(grep -o 'cov: [0-9]* ft: [0-9]*' "$log" | tail -n 1 || true)
if [ "$status" -eq 0 ]; then
    echo "fuzz $target: clean, ${executions:-0} executions in $seconds s, ${reached:-cov: 0}, exit status 0"
    exit 0
fi
tail -n 40 "$log"
crash=$(comm -13 <(echo "$crashes_before") <(find "$build/crashes" -name "$target-*" | sort) | tail -n 1)
if [ -n "$crash" ]; then
    echo "The input is $crash. Once more: $program $crash"
else
    echo "No input was kept; the whole output is in $log."
fi
echo "fuzz $target: FOUND SOMETHING, ${executions:-?} executions, exit status $status"
exit 1
