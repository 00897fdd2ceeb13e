#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# The ledger of kv-gateway's outlets, for any length of time: every change of a simulated PLC has
# to arrive at an MQTT subscriber and in PostgreSQL, while broker and database are stopped,
# frozen and killed.
#
#   scripts/ledger.sh SECONDS [SEED]      SEED repeats the faults of an earlier run
#
# The last line is the verdict; exit code 0: no difference, 1: some, 2: wrong use, 3: no verdict,
# since something did not start or come back.
set -euo pipefail
cd "$(dirname "$0")/.."

usage() { sed -n '3,/^set /s/^# \{0,1\}//p' "$0"; }
is_number() { [[ $1 =~ ^[0-9]{1,9}$ ]]; }

case ${1:-} in
    -h | --help) usage; exit 0 ;;
esac
if [ $# -lt 1 ] || [ $# -gt 2 ] || ! is_number "$1" || [ "$((10#$1))" -lt 60 ] || ! is_number "${2:-0}"; then
    echo "scripts/ledger.sh: wanted SECONDS (60 or more) and perhaps SEED, both whole numbers" >&2
    exit 2
fi

folder=${KV_SOAK_BUILD:-build/soak}
scripts/packages.sh test
for program in kv-gateway kv-sim; do
    scripts/build.sh "$folder" --target "$program" -DCMAKE_BUILD_TYPE=RelWithDebInfo
done
exec python3 -B tests/soak/ledger.py "$folder/bin" "$@"
