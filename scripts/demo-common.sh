# SPDX-License-Identifier: MIT
# What the demonstrations share: a folder that is removed at the end, and programs that end with the
# script. To be sourced by one.

folder=$(mktemp -d)
started=()
finish() {
    trap '' INT TERM HUP
    [ ${#started[@]} -eq 0 ] || { kill "${started[@]}"; wait "${started[@]}"; } 2>/dev/null
    rm -rf "$folder"
}
trap finish EXIT
trap 'echo; echo "Ended."; exit 0' INT TERM HUP

fail() {
    echo "demo: $1" >&2
    exit 3
}
# start LOG PROGRAM ARGUMENT...: in the background; it ends with this script, even if that is killed
start() {
    local log=$1
    shift
    : >"$log"
    setpriv --pdeathsig TERM "$@" >>"$log" 2>&1 </dev/null &
    started+=($!)
}
# await LOG WORDS: until the log has them, 20 s at most
await() {
    for _ in $(seq 200); do
        grep -q "$2" "$1" 2>/dev/null && return 0
        kill -0 "${started[-1]}" 2>/dev/null || break
        sleep 0.1
    done
    cat "$1" >&2
    return 1
}
