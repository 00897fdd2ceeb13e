#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Judges with axe-core how accessible the panel is, in a browser that nobody sees.
# Use: scripts/panel_access.sh FOLDER PROGRAMS
# FOLDER takes axe-core, PROGRAMS has kv-gateway and kv-sim. Ends with 77 without axe-core.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/panel_npm.sh "$1" || exit 77
exec /usr/bin/python3 -B tests/kv-gateway/panel/access_test.py "$2" "$1/panel-types/node_modules/axe-core/axe.min.js"
