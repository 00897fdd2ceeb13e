#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs what is missing, builds, and shows it at work:
#
#   ./demo.sh            a simulated PLC, its values live through the driver, ten seconds long
#   ./demo.sh --panel    a small plant in the browser: three simulated PLCs and kv-gateway
#   ./demo.sh --mqtt     values on their way to an MQTT broker, an outage of the broker, commands
#
# Ctrl-C ends it any time. Without options: exit 0 only if every value came back right. With --mqtt:
# only if none is missing.
set -euo pipefail
cd "$(dirname "$0")"
packages=demo
case ${1:-} in
'') run=scripts/demo-run.sh ;;
--panel) run=scripts/demo-panel.sh ;;
--mqtt) run=scripts/demo-mqtt.sh packages=mqtt ;;
*)
    echo "Use: ./demo.sh [--panel | --mqtt]" >&2
    exit 2
    ;;
esac
scripts/packages.sh "$packages"
echo "Building the driver, the programs and the simulated PLC"
scripts/build.sh build/demo -DKV_BUILD_TESTS=OFF
exec "$run" build/demo
