#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Takes the pictures of examples/screen for the documents: the program as it runs against kv-sim,
# once with the PLC there and once with it gone.
# Use: scripts/screen_pictures.sh BUILDFOLDER [FOLDER]     FOLDER: docs/pictures unless it is given
# Needs the packages of the set "pictures".
set -euo pipefail
cd "$(dirname "$0")/.."
build=$(realpath "$1")
pictures=${2:-docs/pictures}
mkdir -p "$pictures"

export KV_DRIVER=$build/lib/libCommunication_Protocol.so DISPLAY
scratch=$(mktemp -d)
started=()
finish() {
    kill "${started[@]}" 2>/dev/null || true
    wait "${started[@]}" 2>/dev/null || true
    rm -rf "$scratch"
}
trap finish EXIT

# Numbers of free ports and of a free display, from those who take them.
Xvfb -displayfd 3 -screen 0 1000x640x24 -nolisten tcp 3>"$scratch/display" 2>"$scratch/xvfb" &
started+=($!)
"$build/bin/kv-sim" --tcp 127.0.0.1:0 --control 127.0.0.1:0 --scan 100 --set DM200=180 --set DM105=8 >"$scratch/plc" &
started+=($!)
for _ in $(seq 100); do
    [ -s "$scratch/display" ] && grep -q ready "$scratch/plc" && break
    sleep 0.1
done
DISPLAY=:$(cat "$scratch/display")
port() { sed -n "s/^listening $1 .*://p" "$scratch/plc"; }
exec 4<>"/dev/tcp/127.0.0.1/$(port control)"

"$build/bin/screen" "tcp://127.0.0.1:$(port tcp)" 2>"$scratch/screen" &
started+=($!)
window=$(timeout 20 xdotool search --sync --onlyvisible --name "Filling line" | tail -1)
xdotool windowsize --sync "$window" 940 560 || true

# Where a widget is, as its window has it: the jog button, held down for the first picture.
sleep 62 # the trend shows a minute
xdotool mousemove --window "$window" 754 160 mousedown 1
sleep 0.8
import -window "$window" "$pictures/screen.png"
xdotool mouseup 1
sleep 0.5
printf 'listen off\ndisconnect\n' >&4
sleep 8
import -window "$window" "$pictures/screen-without-plc.png"
