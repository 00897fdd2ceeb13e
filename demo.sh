#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs what is missing, builds, starts the simulated PLC, and shows its values live through the
# driver. Ends by itself after about ten seconds; Ctrl-C ends it any time. Exit 0 only if every
# value came back right.
set -euo pipefail
cd "$(dirname "$0")"
scripts/packages.sh demo
echo "Building the driver, the reference host and the simulated PLC"
scripts/build.sh build/demo -DKV_BUILD_TESTS=OFF
exec scripts/demo-run.sh build/demo
