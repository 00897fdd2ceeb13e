#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs the packages in a folder, uses what is in them, and removes them without a trace. It
# changes the system that it runs on: packaging/clean-root.sh runs it in one made for it.
set -euo pipefail
folder=$1
export DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8

fail() {
    echo "FAILED: $*" >&2
    exit 1
}
holds() { # WHAT TEXT COMMAND ...   the output of the command has the text
    local what=$1 text=$2 output
    shift 2
    output=$(timeout 60 "$@" 2>&1) || fail "$what: '$*' ended with $?: $output"
    [[ $output == *"$text"* ]] || fail "$what: no '$text' in: $output"
    echo "ok: $what"
}

for compiler in cc c++ gcc g++ clang cmake; do
    ! command -v "$compiler" || fail "there is a compiler here ($compiler): packages that forgot what they need would pass"
done
dpkg --get-selections | sort >/root/before

files=()
for file in "$folder"/*.deb; do
    [[ $file == *-dbgsym_* ]] || files+=("$file")
done
apt-get install -qq -y --no-install-recommends "${files[@]}"
mapfile -t names < <(for file in "${files[@]}"; do dpkg-deb --field "$file" Package; done)
version=$(dpkg-deb --field "${files[0]}" Version)
echo "ok: installed ${names[*]}"

# Nobody in particular uses them.
user=(setpriv --reuid 65534 --regid 65534 --clear-groups env HOME=/tmp)
holds "kv-host says its version" "$version" "${user[@]}" kv-host --version
holds "kv-host reads" "DM0" "${user[@]}" kv-host --simulate read DM0
holds "kv-host writes" "0 -> 5" "${user[@]}" kv-host --simulate write --yes DM0=5
holds "kv-host watches into a pipe" "DM0" "${user[@]}" kv-host --simulate watch --for 1s DM0
holds "kv-host watches on a terminal" "DM0" "${user[@]}" \
    script --quiet --return --command "kv-host --simulate watch --for 1s DM0" /dev/null
holds "kv-conform finds its checks" "LNK-01" "${user[@]}" kv-conform --list
holds "kv-conform judges kvlink through Python" "pass" "${user[@]}" \
    kv-conform --adapter "python3 /usr/share/kv-conform/adapters/kvlink_adapter.py" --only VAL-01
for qt in 5 6; do
    holds "kvlink and its driver load with Qt $qt" "made" "${user[@]}" env KVLINK_LIBRARY=libkvlink-qt$qt.so.0 python3 -c '
import kvlink
kvlink.Plc("tcp://127.0.0.1:1").close()
print("made")'
done
if [[ " ${names[*]} " == *" kv-gateway "* ]]; then
    holds "kv-gateway says its version" "$version" "${user[@]}" kv-gateway --version
    holds "kv-gateway makes a first configuration" "gateway.toml" "${user[@]}" \
        kv-gateway init --plc tcp://127.0.0.1:8501 /tmp/gateway
    holds "kv-gateway checks it" "is fine: 1 PLC" "${user[@]}" kv-gateway check /tmp/gateway/gateway.toml
    holds "the user of kv-gateway may use serial lines" "dialout" id --groups --name kv-gateway
fi
for page in kv-host kv-sim kv-conform; do
    [ -s "/usr/share/man/man1/$page.1.gz" ] || fail "no manual page of $page"
done

for name in "${names[@]}"; do dpkg --listfiles "$name"; done | sort -u >/root/files
apt-get purge -y --autoremove "${names[@]}"
mapfile -t left < <(find / -xdev -not -path '/root/*' -not -path '/tmp/*' \
    \( -iname '*kvlink*' -o -iname '*communication?protocol*' -o -name 'kv-*' \))
[ ${#left[@]} -eq 0 ] || fail "left behind: ${left[*]}"
while read -r file; do
    [ -d "$file" ] || [ ! -e "$file" ] || fail "left behind: $file"
done </root/files
dpkg --get-selections | sort >/root/after
# apt keeps what Debian calls required: mount, which systemd brings along.
mapfile -t left < <(comm -13 /root/before /root/after | cut -f1 | xargs --no-run-if-empty \
    dpkg-query --show --showformat '${Priority} ${Package}\n' | sed -n '/^required /!p')
[ ${#left[@]} -eq 0 ] || fail "packages were left behind: ${left[*]}"
echo "ok: removed without a trace"
