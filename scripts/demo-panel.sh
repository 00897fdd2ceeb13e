#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Runs the small plant of examples/plant: three simulated PLCs and kv-gateway, whose address it
# prints. Use: scripts/demo-panel.sh BUILDFOLDER
# Ctrl-C ends all of it, and what it kept is removed. Exit 0 then; 3 if something did not start.
set -uo pipefail
cd "$(dirname "$0")/.."
bin=$(realpath "${1:?"Use: scripts/demo-panel.sh BUILDFOLDER"}")/bin
for program in kv-sim kv-gateway; do
    [ -x "$bin/$program" ] || { echo "demo: $bin/$program is missing; build first: scripts/build.sh ${1}" >&2; exit 3; }
done

source scripts/demo-common.sh

cp -r examples/plant/. "$folder"
# simulate NAME PORT VALUES...: a PLC of the plant, in place of the one at that port
simulate() {
    local name=$1 port=$2 values=()
    shift 2
    for value in "$@"; do values+=(--set "$value"); done
    start "$folder/$name.log" "$bin/kv-sim" --tcp 127.0.0.1:0 --program "$folder/$name.program" --scan 100 "${values[@]}"
    await "$folder/$name.log" '^ready$' || fail "the simulated PLC '$name' did not start"
    local free
    free=$(sed -n 's/^listening tcp .*://p' "$folder/$name.log")
    sed -i "s/:$port\"/:$free\"/" "$folder/gateway.toml"
}
simulate tanks 8501 DM100=450 DM101=200 DM110=800 DM120=550 R510=1
simulate conveyor 8502 R600=1 DM210=1480 DM212=87 DM220=16975,22573,12850
simulate drive 8503 R700=1 DM300=1200 DM303=400 DM304=12345

start "$folder/gateway.log" "$bin/kv-gateway" run "$folder/gateway.toml"
await "$folder/gateway.log" 'listening on' || fail "kv-gateway did not start"
port=$(sed -n 's/.*listening on .* port //p' "$folder/gateway.log")

echo
echo "A small plant runs: tanks, a conveyor and a drive, each with a simulated PLC. Open"
echo
echo "  http://127.0.0.1:$port/"
echo
echo "in a browser. Ctrl-C ends it; nothing is kept."
# One that ends by itself has failed.
wait -n "${started[@]}"
cat "$folder"/*.log >&2
fail "one of the programs ended; its messages are above"
