#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs the Debian packages that a step needs and that this machine lacks.
# Use: scripts/packages.sh SET ...       installs what the sets need
#      scripts/packages.sh --list SET    prints the packages of a set
# Says what it installs and asks for nothing; without root it goes through sudo.
set -euo pipefail

# What each step needs. "driver" is the smallest: one Qt, no programs; "demo" adds the programs.
driver="g++ cmake ninja-build qtbase5-dev"
demo="$driver libqt5serialport5-dev libcli11-dev libsqlite3-dev"
demo+=" pkg-config libtomlplusplus-dev libmicrohttpd-dev libsodium-dev libjs-dygraphs libmosquitto-dev libpq-dev"
demo+=" libprotobuf-dev protobuf-compiler"
test="$demo qt6-base-dev qt6-serialport-dev libgtest-dev procps python3 git tmux man-db doxygen curl openssl"
test+=" prometheus libfaketime mosquitto mosquitto-clients" # its promtool; turns clocks; a broker
test+=" postgresql" # a database
# What a program shows is read as a screen reader reads it, on a display that nobody sees.
test+=" xvfb dbus-daemon at-spi2-core gir1.2-atspi-2.0 python3-gi"
# The panel of kv-gateway is tested, and measured, in a browser that nobody sees.
browser="chromium chromium-driver python3-selenium"
test+=" $browser"
declare -A packages=(
    [driver]=$driver
    [demo]=$demo
    [mqtt]="$demo mosquitto mosquitto-clients" # demo.sh --mqtt
    [test]=$test
    [coverage]="$test gcovr"
    # clang brings libFuzzer; its run-time libraries and the symbolizer are separate packages.
    [fuzz]="$demo clang-14 libclang-rt-14-dev llvm-14"
    [sanitize]="$test clang libclang-rt-14-dev llvm"
    [lint]="$test clang clang-tidy clang-format cppcheck libbenchmark-dev libmodbus-dev"
    # The lint checks the types of the panel with a compiler from npm, where npm is not there yet.
    [types]="npm"
    # gnuplot draws SVG without further packages; kv-host is compared with libmodbus.
    [bench]="$demo qt6-base-dev qt6-serialport-dev libbenchmark-dev libmodbus-dev mbpoll gnuplot-nox python3 $browser"
    # The packages are checked, and tried in a root of their own.
    [packages]="$demo qt6-base-dev qt6-serialport-dev pkg-config dpkg-dev debhelper dh-python chrpath lintian mmdebstrap"
    [mutants]="$test clang-14 libclang-rt-14-dev"
    # A display that nobody sees, a mouse without a hand, and what saves a window as a picture.
    [pictures]="$test xdotool imagemagick"
)

list=no
if [ "${1:-}" = --list ]; then
    list=yes
    shift
fi

wanted=()
for set_name in "$@"; do
    if [ -z "${packages[$set_name]:-}" ]; then
        echo "packages.sh: no package set is called '$set_name' (${!packages[*]})" >&2
        exit 2
    fi
    read -ra names <<<"${packages[$set_name]}"
    wanted+=("${names[@]}")
done

if [ "$list" = yes ]; then
    echo "${wanted[*]}"
    exit 0
fi

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

# Some bring a service along: tests start their own, on free ports. A service that is there already
# may be somebody's.
brought=()
for service in prometheus mosquitto postgresql; do
    [ -e "/etc/init.d/$service" ] || brought+=("$service")
done

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

for service in "${brought[@]}"; do
    [ -e "/etc/init.d/$service" ] || continue
    if [ -d /run/systemd/system ]; then
        "${as_root[@]}" systemctl disable --now --quiet "$service"
    else
        "${as_root[@]}" service "$service" stop >/dev/null
    fi
done
