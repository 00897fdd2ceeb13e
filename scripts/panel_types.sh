#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Checks the types of the panel's scripts, which are written as JSDoc, with the TypeScript compiler.
# Use: scripts/panel_types.sh FOLDER        FOLDER takes the compiler
set -euo pipefail
cd "$(dirname "$0")/.."
command -v npm >/dev/null || scripts/packages.sh types
scripts/panel_npm.sh "$1" || {
    echo "The types of the panel were not checked." >&2
    exit 1
}
"$1/panel-types/node_modules/.bin/tsc" --project scripts/panel-types
