#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs, tries and removes the packages in a fresh minimal Debian, which is thrown away.
# Use: packaging/clean-root.sh FOLDER-WITH-PACKAGES
# Needs the network (the packages of Qt and Python come from there) and mmdebstrap; as root, or as a
# user who may make namespaces.
set -euo pipefail
cd "$(dirname "$0")/.."
packages=$(realpath "$1")
command -v mmdebstrap >/dev/null || scripts/packages.sh packages
log=$(mktemp)
trap 'rm -f "$log"' EXIT

# As this machine gets its own packages.
suite=$(sed -n 's/^VERSION_CODENAME=//p' /etc/os-release)
sources=()
for list in /etc/apt/sources.list /etc/apt/sources.list.d/debian.sources; do
    [ ! -s "$list" ] || sources+=("$list")
done

# shellcheck disable=SC2016  # mmdebstrap fills in the root
if ! mmdebstrap --variant=apt --format=null --customize-hook="copy-in \"$packages\" \"$PWD/packaging/try-packages.sh\" /root" \
    --customize-hook='chroot "$1" bash /root/try-packages.sh "/root/'"$(basename "$packages")"'"' \
    "$suite" /dev/null "${sources[@]}" >"$log" 2>&1; then
    cat "$log" >&2
    echo "clean-root.sh: the packages do not pass; the lines above say why" >&2
    exit 1
fi
grep '^ok: ' "$log"
