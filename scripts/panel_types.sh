#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Checks the types of the panel's scripts, which are written as JSDoc, with the TypeScript compiler.
# Use: scripts/panel_types.sh FOLDER
# FOLDER takes the compiler: the version and the content that scripts/panel-types/package-lock.json
# names, from npm. Nothing of it is shipped or committed.
set -euo pipefail
cd "$(dirname "$0")/.."
folder=$1/panel-types
command -v npm >/dev/null || scripts/packages.sh types
mkdir -p "$folder"

lock=scripts/panel-types/package-lock.json
if ! cmp -s "$lock" "$folder/installed.json"; then
    cp scripts/panel-types/package.json "$lock" "$folder"
    if ! timeout 120 npm ci --prefix "$folder" --ignore-scripts --no-audit --no-fund >"$folder/log" 2>&1; then
        cat "$folder/log" >&2
        echo "panel_types.sh: npm could not fetch the TypeScript compiler; the lines above say why." >&2
        echo "The types of the panel were not checked." >&2
        exit 1
    fi
    cp "$lock" "$folder/installed.json"
fi
"$folder/node_modules/.bin/tsc" --project scripts/panel-types
