#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Measures the driver, kv-host, kv-sim and kv-gateway against their targets, and writes
# docs/performance.md with plots.
#
#   bench/run.sh            everything: about ten minutes on a quiet machine, plus the builds
#   bench/run.sh --quick    fewer and shorter rounds: about a minute; writes to build/bench/quick
#   bench/run.sh --qt 6     the programs with Qt 6 instead of Qt 5; the driver is always measured
#                           with both
#   bench/run.sh --help     this text
#
# Installs what is missing and builds optimised in build/bench. Keep the machine idle otherwise.
# Exit status: 0 all targets met, 1 some missed (the table says which), 2 wrong usage, 3 something
# could not be installed, built, measured or plotted.
set -euo pipefail
cd "$(dirname "$0")/.."

quick=()
qt=5
folder=docs
while [ $# -gt 0 ]; do
    case $1 in
        --quick) quick=(--quick) folder=build/bench/quick ;;
        --qt)
            case ${2:-} in
                5 | 6) qt=$2 ;;
                *) echo "run.sh: --qt takes 5 or 6" >&2; exit 2 ;;
            esac
            shift ;;
        -h | --help) sed -n '3,/^set /s/^# \{0,1\}//p' "$0"; exit 0 ;;
        *) echo "run.sh: unknown option '$1' (bench/run.sh --help lists them)" >&2; exit 2 ;;
    esac
    shift
done

fail() {
    echo "run.sh: $1" >&2
    exit 3
}

scripts/packages.sh bench || fail "packages are missing; the lines above say which"
for tool in python3 gnuplot cmake; do
    command -v "$tool" >/dev/null || fail "$tool is not in the PATH, although its package is installed"
done

build=build/bench
results=$build/results
echo "Building with Qt $qt, optimised as it ships (RelWithDebInfo)"
scripts/build.sh "$build" -DKV_QT_MAJOR="$qt" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKV_BUILD_TESTS=OFF -DKV_BUILD_BENCH=ON ||
    fail "the build failed; the lines above say why"
other_qt=$((11 - qt))
echo "Building the driver with Qt $other_qt, too"
scripts/build.sh "$build/qt$other_qt" -DKV_QT_MAJOR="$other_qt" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DKV_BUILD_TESTS=OFF \
    -DKV_BUILD_PROGRAMS=OFF -DKV_BUILD_BENCH=ON || fail "the build failed; the lines above say why"
mkdir -p "$results" "$folder"
python3 -B -c 'import json, sys; sys.path.insert(0, "bench"); import machine; json.dump(machine.describe(sys.argv[1]), sys.stdout)' \
    "$build" >"$results/machine.json" || fail "the machine could not be described"

repetitions=9 time=0.05
if [ ${#quick[@]} -gt 0 ]; then repetitions=2 time=0.02; fi
# measure_driver FOLDER QT NAME
measure_driver() {
    echo "Measuring the driver with Qt $2"
    "$1/bin/driver_bench" --benchmark_repetitions=$repetitions --benchmark_min_time=$time \
        --benchmark_enable_random_interleaving=true --benchmark_context=qt="$2" --benchmark_out="$results/$3.json" \
        --benchmark_out_format=json >"$results/$3.txt" 2>&1 || {
        tail -n 20 "$results/$3.txt" >&2
        fail "driver_bench failed"
    }
}
measure_driver "$build" "$qt" driver
measure_driver "$build/qt$other_qt" "$other_qt" other_qt
echo "Measuring kv-host, kv-sim and kv-gateway"
python3 -B bench/end_to_end.py "$build/bin" "$results/programs.json" "${quick[@]}" || fail "measuring the programs failed"

echo
status=0
python3 -B bench/report.py "$results/driver.json" "$results/other_qt.json" "$results/programs.json" \
    "$results/machine.json" "$results" "$folder" || status=$?
if [ "$status" -le 1 ]; then echo "Written: $folder/performance.md"; fi
exit "$status"
