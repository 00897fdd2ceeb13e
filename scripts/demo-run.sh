#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Shows the driver at work against the simulated PLC. Use: scripts/demo-run.sh BUILDFOLDER
# Works with and without a terminal. Ends after about ten seconds; Ctrl-C ends it any time.
# Exit 0 only if every value came back right; 130 after Ctrl-C.
set -uo pipefail
bin=${1:?"Use: scripts/demo-run.sh BUILDFOLDER"}/bin
for program in kv-sim kv-host; do
    [ -x "$bin/$program" ] || { echo "demo: $bin/$program is missing; build first: scripts/build.sh ${1}" >&2; exit 3; }
done

interrupted=no
trap 'interrupted=yes' INT TERM

# The simulated PLC ends when the pipe to its stdin closes: with this script, however it ends.
coproc SIMULATOR { exec "$bin/kv-sim" --tcp 127.0.0.1:0 --scan 100 --exit-with-stdin \
    --set DM100=1,2,65535 --set DM105=5 --set R1015=1 --set TS3=300; }
plc=
while read -r -t 10 -u "${SIMULATOR[0]}" word kind address; do
    [ "$word $kind" = "listening tcp" ] && plc=tcp://$address
    [ "$word" = ready ] && break
done
if [ -z "$plc" ]; then
    echo "demo: the simulated PLC did not get ready" >&2
    exit 3
fi

wrong=0
host() { "$bin/kv-host" --plc "$plc" "$@"; }
leave_if_interrupted() {
    [ "$interrupted" = no ] || { echo "Interrupted."; exit 130; }
}
# expect WANTED ADDRESS...: the values, one a line, are exactly these
expect() {
    local wanted=$1 got
    shift
    got=$(host -q read "$@" | tr '\n' ' ')
    leave_if_interrupted
    if [ "$got" != "$wanted " ]; then
        echo "WRONG: $* read back as '$got', not '$wanted'" >&2
        wrong=$((wrong + 1))
    else
        echo "  read back: $* = $got"
    fi
}

before=$(host -q read DM0)
leave_if_interrupted

echo
echo "A simulated PLC runs at $plc. The driver reads words, relays, channels, double words, timers and"
echo "counters from it, ten seconds long (Ctrl-C ends it):"
echo
every=500ms
[ -t 1 ] || every=1s
host watch --every "$every" --for 9s \
    DM0 DM12.S DM20.D W10 DM100:3 R500 R600.U MR100 DM0.0 Z1 T0 TC0 TS0 CC0 CTH0 ||
    { echo "WRONG: not every value was good at the end" >&2; wrong=$((wrong + 1)); }
leave_if_interrupted

echo
echo "A word, a relay and one bit of a word are written:"
host write --yes DM200=12345 R1015=off DM105.3=1 ||
    { echo "WRONG: a write failed" >&2; wrong=$((wrong + 1)); }
leave_if_interrupted
echo
# Bit 3 was set in a word that held 5: 13. The neighbours are as they were.
expect "12345" DM200
expect "0" R1015
expect "13 1" DM105 DM105.3
expect "1 2 65535 300" DM100:3 TS3

after=$(host -q read DM0)
leave_if_interrupted
if [ "${before:--}" = "${after:--}" ]; then
    echo "WRONG: DM0 counts scans, but stood still at '$after'" >&2
    wrong=$((wrong + 1))
fi

echo
if [ "$wrong" -eq 0 ]; then
    echo "All values came back right."
else
    echo "$wrong thing(s) went wrong; the lines above say what." >&2
fi
echo "The same with a real PLC (upper link over Ethernet, port 8501), its address in place of 192.168.0.10:"
echo "  $bin/kv-host --plc tcp://192.168.0.10:8501 watch DM0 R500 T0"
[ "$wrong" -eq 0 ]
