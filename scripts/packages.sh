#!/usr/bin/env bash
# Installs the Debian packages that a step needs and that this machine lacks.
# Use: scripts/packages.sh demo|test|coverage|fuzz [...]    (several sets may be named)
# Says what it installs and asks for nothing; without root it goes through sudo.
set -euo pipefail

# What each step needs. "demo" is the smallest: one Qt, no test tools.
demo=(g++ cmake ninja-build qtbase5-dev libqt5serialport5-dev libcli11-dev libsqlite3-dev)
tests=("${demo[@]}" qt6-base-dev qt6-serialport-dev libgtest-dev procps)
coverage=("${tests[@]}" gcovr)
# Fuzzers: the compiler that brings libFuzzer, its runtime, and the tool that names the lines of a crash.
fuzz=("${demo[@]}" clang-14 libclang-rt-14-dev llvm-14)

wanted=()
for set_name in "$@"; do
    case $set_name in
        demo) wanted+=("${demo[@]}") ;;
        test) wanted+=("${tests[@]}") ;;
        coverage) wanted+=("${coverage[@]}") ;;
        fuzz) wanted+=("${fuzz[@]}") ;;
        *) echo "packages.sh: no package set is called '$set_name' (demo, test, coverage, fuzz)" >&2; exit 2 ;;
    esac
done

missing=()
for package in "${wanted[@]}"; do
    state=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)
    [ "$state" = installed ] || missing+=("$package")
done
if [ ${#missing[@]} -eq 0 ]; then exit 0; fi
mapfile -t missing < <(printf '%s\n' "${missing[@]}" | sort -u)

if ! command -v apt-get >/dev/null; then
    echo "packages.sh: these Debian packages are missing and apt-get is not here to install them: ${missing[*]}" >&2
    exit 3
fi
as_root=()
if [ "$(id -u)" -ne 0 ]; then
    command -v sudo >/dev/null || {
        echo "packages.sh: run as root, or install by hand: apt-get install ${missing[*]}" >&2
        exit 3
    }
    as_root=(sudo)
fi

echo "Installing missing Debian packages: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
log=$(mktemp)
trap 'rm -f "$log"' EXIT
install() {
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y --no-install-recommends "${missing[@]}" >"$log" 2>&1 </dev/null
}
if ! { "${as_root[@]}" apt-get update >"$log" 2>&1 </dev/null && install; }; then
    cat "$log" >&2
    echo "packages.sh: installing failed; the lines above say why" >&2
    exit 3
fi
