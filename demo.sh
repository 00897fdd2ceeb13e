#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs what is missing, builds, and shows it at work:
#
#   ./demo.sh            a simulated PLC, its values live through the driver, ten seconds long
#   ./demo.sh --panel    a small plant in the browser: three simulated PLCs and kv-gateway
#
# Ctrl-C ends it any time. Without options: exit 0 only if every value came back right.
set -euo pipefail
cd "$(dirname "$0")"
case ${1:-} in
'') run=scripts/demo-run.sh ;;
--panel) run=scripts/demo-panel.sh ;;
*)
    echo "Use: ./demo.sh [--panel]" >&2
    exit 2
    ;;
esac
scripts/packages.sh demo
echo "Building the driver, the programs and the simulated PLC"
scripts/build.sh build/demo -DKV_BUILD_TESTS=OFF
exec "$run" build/demo
