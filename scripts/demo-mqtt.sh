#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Shows values on their way to an MQTT broker: as they come, over an outage of the broker without a
# loss, and a command that comes back with its outcome. Starts a broker, a simulated PLC, kv-gateway
# and a subscriber, each of its own. Use: scripts/demo-mqtt.sh BUILDFOLDER [OUTAGE [PATIENCE]]
# OUTAGE: of the broker, 10 s; PATIENCE: how long to wait for what is missing, 30 s.
# Exit 0 only if nothing was missing; 1 if something was; 3 if something did not start; 0 after
# Ctrl-C, which ends it any time.
set -uo pipefail
cd "$(dirname "$0")/.."
bin=$(realpath "${1:?"Use: scripts/demo-mqtt.sh BUILDFOLDER [OUTAGE [PATIENCE]]"}")/bin
outage=${2:-10}
patience=${3:-30}
PATH=$PATH:/usr/sbin # where Debian has the broker
for program in "$bin/kv-sim" "$bin/kv-gateway"; do
    [ -x "$program" ] || { echo "demo: $program is missing; build first: scripts/build.sh ${1}" >&2; exit 3; }
done
for program in mosquitto mosquitto_sub mosquitto_pub; do
    command -v "$program" >/dev/null || { echo "demo: $program is missing: scripts/packages.sh mqtt" >&2; exit 3; }
done

source scripts/demo-common.sh

# The broker keeps on disk what it has acknowledged.
start_broker() {
    start "$folder/broker.log" mosquitto -c "$folder/broker.conf"
    broker=${started[-1]}
    await "$folder/broker.log" 'running'
}
# This broker chooses no free port by itself, so one is tried after the other.
for _ in $(seq 20); do
    port=$((20000 + RANDOM))
    printf '%s\n' "listener $port 127.0.0.1" "allow_anonymous true" "user $(id -un)" "log_dest stderr" \
        "persistence true" "persistence_location $folder/" >"$folder/broker.conf"
    start_broker 2>/dev/null && break
    broker=
done
[ -n "$broker" ] || fail "the broker did not start: $(cat "$folder/broker.log")"

# -c: the broker keeps what comes while the subscriber is away; -R: nothing that is retained
received=$folder/received
start "$received" mosquitto_sub -V 5 -i demo -c -x 600 -q 1 -R -p "$port" -t 'kv/#' -v
await "$folder/broker.log" 'Received SUBSCRIBE\|connected.* as demo' || fail "the subscriber did not come"

cp examples/plant/tanks.* "$folder"
start "$folder/sim.log" "$bin/kv-sim" --tcp 127.0.0.1:0 --program "$folder/tanks.program" --scan 100 \
    --set DM100=450 --set DM101=200 --set DM110=800 --set DM120=550 --set R510=1
await "$folder/sim.log" '^ready$' || fail "the simulated PLC did not start"
cat >"$folder/gateway.toml" <<TOML
data = "data"

[listen]
port = 0

[[plc]]
name = "tanks"
url = "tcp://$(sed -n 's/^listening tcp //p' "$folder/sim.log")"
tags = "tanks.csv"
period = "500ms"

[[mqtt]]
url = "mqtt://127.0.0.1:$port"
site = "demo"
tags = ["tanks.level1", "tanks.full"]
commands = true
TOML
start "$folder/gateway.log" "$bin/kv-gateway" run "$folder/gateway.toml"
gateway=${started[-1]}
await "$folder/gateway.log" 'listening on' || fail "kv-gateway did not start"

wrong=0
wrong() {
    echo "WRONG: $1" >&2
    wrong=$((wrong + 1))
}
# until_true SECONDS COMMAND...: repeats it until it succeeds
until_true() {
    local tenths=$(($1 * 10))
    shift
    for _ in $(seq "$tenths"); do
        "$@" && return 0
        kill -0 "$gateway" 2>/dev/null || fail "kv-gateway ended: $(cat "$folder/gateway.log")"
        sleep 0.1
    done
    return 1
}
has() { grep -q -- "$1" "$received"; }
# Changes that are missing: each has the next number, from the first to the last.
missing() {
    grep -o '"seq":[0-9]*' "$received" | cut -d: -f2 | sort -nu |
        awk 'NR == 1 { first = $1 } { last = $1 } END { print (NR > 0) ? last - first + 1 - NR : -1 }'
}
is_complete() { [ "$(missing)" = 0 ] && has '/stored '; }

echo
echo "A broker runs on port $port. This is what a subscriber gets, and so does"
echo "  mosquitto_sub -p $port -v -t 'kv/#'"
echo
setpriv --pdeathsig TERM tail -n +1 -f "$received" &
started+=($!)
until_true 20 has 'kv/demo/tanks/level1 .*"good"' || wrong "no value arrived"
sleep 3

echo
echo "The broker is stopped for $outage s. The PLC goes on, and its changes are kept on disk."
kill "$broker"
wait "$broker" 2>/dev/null
sleep "$outage"
echo "The broker is back: first the newest values, then the others under .../stored, in their order."
echo
start_broker || fail "the broker did not come back: $(cat "$folder/broker.log")"
until_true "$patience" is_complete || wrong "changes are missing: $(missing)"
sleep 1
stored=$(grep -c '/stored ' "$received")

echo
echo "Commands: one that is carried out, one beyond the limits of its tag, and one that a broker would repeat."
echo
command() {
    mosquitto_pub -p "$port" -t kv/demo/tanks/full/set "$@"
}
command -m '{"value":85,"correlation":"demo-1"}'
until_true 10 has 'answer .*"demo-1".*"done"' || wrong "the command was not carried out"
command -m '{"value":99,"correlation":"demo-2"}'
until_true 10 has 'answer .*"demo-2".*"not sent"' || wrong "99 is above the largest value and was not refused"
command -r -V 5 -m '{"value":50,"correlation":"demo-3"}'
until_true 10 has 'answer .*"demo-3".*"not sent"' || wrong "a retained command was not refused"
until_true 10 has 'full {"value":85,' || wrong "the new value did not come back"
has 'full {"value":50,' && wrong "a retained command was carried out"

echo
if [ "$wrong" -eq 0 ]; then
    echo "No change is missing; $stored of them came late, after the outage."
else
    echo "$wrong thing(s) went wrong; the lines above say what." >&2
fi
[ "$wrong" -eq 0 ]
