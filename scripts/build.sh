#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Configures and builds one tree. Use: scripts/build.sh FOLDER [--target TARGET] [CMAKE OPTION ...]
# Quiet when all goes well; a failed step shows its whole output.
set -euo pipefail
cd "$(dirname "$0")/.."
folder=$1
shift
target=all
if [ "${1:-}" = --target ]; then
    target=$2
    shift 2
fi

log=$(mktemp)
trap 'rm -f "$log"' EXIT
if ! cmake -S . -B "$folder" -G Ninja "$@" >"$log" 2>&1; then
    cat "$log" >&2
    echo "Configuring $folder failed; the lines above say why." >&2
    exit 1
fi
if ! cmake --build "$folder" --target "$target" --parallel "$(nproc)" >"$log" 2>&1; then
    cat "$log" >&2
    echo "Building $folder failed; the lines above say why." >&2
    exit 1
fi
