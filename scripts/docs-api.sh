#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Makes the API reference with Doxygen, from the public headers alone; any warning fails.
# Use: scripts/docs-api.sh FOLDER        the pages begin at FOLDER/html/index.html
set -euo pipefail
cd "$(dirname "$0")/.."
KV_OUTPUT=$1
KV_VERSION=$(sed -n 's/^project(.* VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt)
export KV_OUTPUT KV_VERSION
mkdir -p "$KV_OUTPUT"
doxygen docs/Doxyfile
