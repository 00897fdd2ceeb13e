#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Builds the Debian packages and has lintian check them.
#
#   packaging/deb.sh                  builds everything as Debian builds it, hardened; the packages
#                                     go to build/deb/packages
#   packaging/deb.sh FOLDER           the packages go to FOLDER
#   packaging/deb.sh FOLDER QT5 QT6   packages what these two build folders hold. They were
#                                     configured with CMAKE_INSTALL_PREFIX=/usr
#
# DEBFULLNAME and DEBEMAIL name who publishes them.
set -euo pipefail
cd "$(dirname "$0")/.."
case ${1:-} in
    -h | --help) sed -n '3,/^set /s/^# \{0,1\}//p' "$0"; exit 0 ;;
esac
packages=$(realpath -m "${1:-build/deb/packages}")
scripts/packages.sh packages

version=$(sed -n 's/^project(.* VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt)
# The same source makes the same packages.
SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git log -1 --format=%ct 2>/dev/null || stat -c %Y CHANGELOG.md)}
export SOURCE_DATE_EPOCH LC_ALL=C.UTF-8 DEB_BUILD_MAINT_OPTIONS=hardening=+all

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
quietly() { # COMMAND ...   shows what it printed if it fails
    if ! "$@" >"$work/log" 2>&1; then
        cat "$work/log" >&2
        echo "deb.sh: '$*' failed; the lines above say why" >&2
        exit 1
    fi
}

build() { # FOLDER QTMAJOR TARGET...
    local folder=$1 qt=$2
    shift 2
    # Configuring takes its flags from the environment; CMake knows no CPPFLAGS.
    CXXFLAGS="$(dpkg-buildflags --get CXXFLAGS) $(dpkg-buildflags --get CPPFLAGS) -DNDEBUG" \
        LDFLAGS=$(dpkg-buildflags --get LDFLAGS) \
        quietly cmake -S . -B "$folder" -G Ninja -DKV_QT_MAJOR="$qt" -DCMAKE_BUILD_TYPE=None -DCMAKE_INSTALL_PREFIX=/usr \
        -DKV_BUILD_TESTS=OFF
    quietly cmake --build "$folder" --target "$@"
}

if [ $# -lt 3 ]; then
    echo "Building with Debian's flags"
    build build/deb/qt5 5 all
    build build/deb/qt6 6 Communication_Protocol kvlink
    set -- "$packages" build/deb/qt5 build/deb/qt6
else
    # Nobody needs their debug symbols a second time.
    export DEB_BUILD_OPTIONS=noautodbgsym
fi
KV_QT5_BUILD=$(realpath "$2")
KV_QT6_BUILD=$(realpath "$3")
IFS=. read -r major minor _ <<<"$version"
KV_MINOR=$major.$minor
KV_NEXT_MINOR=$major.$((minor + 1))
export KV_QT5_BUILD KV_QT6_BUILD KV_MINOR KV_NEXT_MINOR

echo "Packaging version $version"
mkdir -p "$packages"
rm -f "$packages"/{libcommunication-protocol,libkvlink,kv,python3-kvlink,communication-protocol}[-0]*_*.{deb,changes,buildinfo}
mkdir "$work/source"
cp -a packaging/debian README.md docs "$work/source/"
if [ -e "$KV_QT5_BUILD/bin/kv-gateway" ]; then
    cat packaging/debian/kv-gateway.control >>"$work/source/debian/control"
    cp packaging/kv-gateway.service packaging/kv-gateway.sysusers "$work/source/debian/"
fi
cat >"$work/source/debian/changelog" <<END
communication-protocol ($version) unstable; urgency=medium

  * See CHANGELOG.md.

 -- ${DEBFULLNAME:-The Communication_Protocol authors} <${DEBEMAIL:-authors@communication-protocol.invalid}>  $(date -uR -d "@$SOURCE_DATE_EPOCH")
END
(cd "$work/source" && quietly dpkg-buildpackage --build=binary --no-sign)
mv "$work"/*.deb "$work"/*.changes "$work"/*.buildinfo "$packages/"

echo "Checking with lintian"
lintian --allow-root --fail-on error,warning --tag-display-limit 0 "$packages"/*.changes
if [ -z "${DEB_BUILD_OPTIONS:-}" ] && lintian --allow-root --display-info "$packages"/*.changes | grep ' hardening-'; then
    echo "deb.sh: Debian's flags did not reach the binaries above" >&2
    exit 1
fi
(cd "$packages" && ls -- *.deb)
