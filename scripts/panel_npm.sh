#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Fetches from npm what checks the panel: the compiler of its types and axe-core.
# Use: scripts/panel_npm.sh FOLDER
# FOLDER/panel-types/node_modules takes them: the versions and the contents that
# scripts/panel-types/package-lock.json names. Nothing of it is shipped or committed.
set -euo pipefail
cd "$(dirname "$0")/.."
folder=$1/panel-types
mkdir -p "$folder"

lock=scripts/panel-types/package-lock.json
if cmp -s "$lock" "$folder/installed.json"; then exit 0; fi
cp scripts/panel-types/package.json "$lock" "$folder"
if ! timeout 120 npm ci --prefix "$folder" --ignore-scripts --no-audit --no-fund >"$folder/log" 2>&1; then
    cat "$folder/log" >&2
    echo "panel_npm.sh: npm could not fetch what checks the panel; the lines above say why." >&2
    exit 1
fi
cp "$lock" "$folder/installed.json"
