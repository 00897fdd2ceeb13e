#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs what is missing, builds everything with Qt 5 and with Qt 6, and runs every test.
#
#   ./test.sh              all tests, both Qt versions
#   ./test.sh --qt 5       one of them
#   ./test.sh --coverage   Qt 5 only, with the lines and branches of all that ships which they reach
#   ./test.sh --sanitize   everything under the address and undefined-behaviour sanitizers (clang,
#                          Qt 5), then driver and kvlink under the thread sanitizer (clang, Qt 6)
#   ./test.sh --lint       rooms, texts, clang-format; clang-tidy: all that ships, names and habits
#                          in the tests; cppcheck: all that ships; types of the panel (needs npm)
#   ./test.sh --packages   Debian packages, built as Debian builds them, then installed, used and
#                          removed in a minimal Debian that is made for it (needs the network)
#
# Qt 5 is built optimised, as it ships; Qt 6 with assertions, which also check the order of locks.
set -euo pipefail
cd "$(dirname "$0")"

versions=(5 6)
mode=test
while [ $# -gt 0 ]; do
    case $1 in
        --qt)
            case ${2:-} in
                5 | 6) versions=("$2") ;;
                *) echo "test.sh: --qt takes 5 or 6" >&2; exit 2 ;;
            esac
            shift ;;
        --coverage | --sanitize | --lint | --packages) mode=${1#--} ;;
        -h | --help) sed -n '3,/^set /s/^# \{0,1\}//p' "$0"; exit 0 ;;
        *) echo "test.sh: unknown option '$1' (./test.sh --help lists them)" >&2; exit 2 ;;
    esac
    shift
done

# Two a core: most tests wait for programs and clocks more than they compute.
run_tests() { # FOLDER [CTEST OPTION ...]
    ctest --test-dir "$1" --output-on-failure --parallel "$(($(nproc) * 2))" "${@:2}"
}

sanitize() {
    local clang=(-DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=Debug -DKV_WERROR=ON)
    echo "Building for the address and undefined-behaviour sanitizers"
    scripts/build.sh build/asan "${clang[@]}" -DKV_QT_MAJOR=5 -DKV_SANITIZE=address,undefined -DCMAKE_CXX_FLAGS=-O1
    echo "Testing under the address and undefined-behaviour sanitizers"
    UBSAN_OPTIONS=print_stacktrace=1 run_tests build/asan
    echo "Building for the thread sanitizer"
    scripts/build.sh build/tsan --target tests_with_threads "${clang[@]}" -DKV_QT_MAJOR=6 -DKV_SANITIZE=thread \
        -DCMAKE_CXX_FLAGS=-O1
    echo "Testing under the thread sanitizer"
    TSAN_OPTIONS=halt_on_error=1 KV_TEST_SECONDS=60 run_tests build/tsan -L threads
}

test_packages() {
    packaging/deb.sh build/deb/packages
    python3 -B tests/tools/packages/packages_test.py build/deb/packages
    echo "Trying the packages in a fresh minimal Debian"
    packaging/clean-root.sh build/deb/packages
}

scripts/packages.sh "$mode"
case $mode in
    coverage) scripts/coverage.sh build/coverage; exit ;;
    sanitize) sanitize; exit ;;
    lint) scripts/lint.sh build/lint; exit ;;
    packages) test_packages; exit ;;
esac

for qt in "${versions[@]}"; do
    type=RelWithDebInfo
    [ "$qt" = 5 ] || type=Debug
    echo "Building with Qt $qt ($type)"
    # As packages have it; nothing is installed there.
    scripts/build.sh "build/qt$qt" -DKV_QT_MAJOR="$qt" -DCMAKE_BUILD_TYPE="$type" -DKV_WERROR=ON -DCMAKE_INSTALL_PREFIX=/usr
    echo "Testing with Qt $qt"
    run_tests "build/qt$qt"
    # Its judge comes from npm, so no entry of ctest does it. 77: it did not come.
    if [ "$qt" = 5 ] && command -v npm >/dev/null; then
        echo "Judging how accessible the panel is"
        scripts/panel_access.sh "$PWD/build/qt5" "$PWD/build/qt5/bin" || [ $? -eq 77 ]
    fi
done

if [ ${#versions[@]} -eq 2 ]; then
    packaging/deb.sh build/packages build/qt5 build/qt6
    echo "Testing what is in the packages"
    python3 -B tests/tools/packages/packages_test.py build/packages
fi
