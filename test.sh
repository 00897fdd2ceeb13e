#!/usr/bin/env bash
# Installs what is missing, builds everything with Qt 5 and with Qt 6, and runs every test.
#
#   ./test.sh              all tests, both Qt versions
#   ./test.sh --qt 5       one of them
#   ./test.sh --coverage   Qt 5 only, with the lines and branches of the driver that the tests reach
#
# Qt 5 is built optimised, as it ships; Qt 6 with assertions, so that the order of locks is checked too.
set -euo pipefail
cd "$(dirname "$0")"

versions=(5 6)
coverage=no
while [ $# -gt 0 ]; do
    case $1 in
        --qt)
            case ${2:-} in
                5 | 6) versions=("$2") ;;
                *) echo "test.sh: --qt takes 5 or 6" >&2; exit 2 ;;
            esac
            shift ;;
        --coverage) coverage=yes ;;
        -h | --help) sed -n '2,9s/^# \{0,1\}//p' "$0"; exit 0 ;;
        *) echo "test.sh: unknown option '$1' (./test.sh --help lists them)" >&2; exit 2 ;;
    esac
    shift
done

run_tests() { # FOLDER
    ctest --test-dir "$1" --output-on-failure --parallel "$(nproc)"
}

if [ "$coverage" = yes ]; then
    scripts/packages.sh coverage
    scripts/coverage.sh build/coverage
    exit
fi

scripts/packages.sh test
for qt in "${versions[@]}"; do
    type=RelWithDebInfo
    [ "$qt" = 5 ] || type=Debug
    echo "Building with Qt $qt ($type)"
    scripts/build.sh "build/qt$qt" -DKV_QT_MAJOR="$qt" -DCMAKE_BUILD_TYPE="$type"
    echo "Testing with Qt $qt"
    run_tests "build/qt$qt"
done
