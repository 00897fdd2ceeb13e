#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What kv-conform says of the hosts in this repository, as the table of docs/kv-conform.md.

    scripts/conform_tables.py BUILDFOLDER            runs all checks with each host and writes the table into the page
    scripts/conform_tables.py --check BUILDFOLDER    runs them and fails if the page says something else
"""

import json
import os
import re
import subprocess
import sys
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
PAGE = ROOT / "docs" / "kv-conform.md"
KIT = ROOT / "programs" / "kv-conform"
BEGIN, END = "<!-- by scripts/conform_tables.py: begin -->\n", "<!-- by scripts/conform_tables.py: end -->\n"
AT_A_TIME = 12  # checks: they mostly wait
# Its threads overtake each other, or do not; late answers come while it listens, or do not.
BY_CHANCE = {("naive host", "WRT-12"), ("naive host", "VAL-02")}
SHOWN = {"pass": "pass", "fail": "**FAIL**", "unclear": "unclear", "skipped": "not offered"}


def hosts(build):
    """{name: command of its adapter}"""
    python = f"{sys.executable} -B"
    return {"kvlink": f"{python} {KIT}/adapters/kvlink_adapter.py",
            "kv-host": f"{python} {KIT}/adapters/kv_host_adapter.py {build}/bin/kv-host",
            "own_loop": f"{build}/bin/own_loop_adapter",
            "naive host": f"{python} {ROOT}/tests/tools/conform/naive_host.py"}


def verdicts(build, adapter):
    """{id: verdict} of one host."""
    library, = (build / "lib").glob("libkvlink-qt?.so")
    environment = {**os.environ, "PYTHONPATH": str(ROOT / "kvlink/python"), "KVLINK_LIBRARY": str(library),
                   "KV_DRIVER": str(build / "lib/libCommunication_Protocol.so")}
    with tempfile.NamedTemporaryFile(suffix=".json") as file:
        run = subprocess.run([sys.executable, "-B", KIT / "kv-conform", "--kv-sim", build / "bin/kv-sim", "--jobs", str(AT_A_TIME),
                              "--adapter", adapter, "--json", file.name], env=environment, capture_output=True, text=True)
        if run.returncode > 2:
            sys.exit(f"conform_tables: {adapter}\n{run.stdout}{run.stderr}")
        return {one["id"]: one["verdict"] for one in json.loads(Path(file.name).read_text(encoding="utf-8"))["verdicts"]}, run.stdout


def table(found):
    """found: {host: {id: verdict}}"""
    lines = ["| id | " + " | ".join(found) + " |", "|---" * (len(found) + 1) + "|"]
    for number in next(iter(found.values())):
        words = ["by chance" if (host, number) in BY_CHANCE else SHOWN[one[number]] for host, one in found.items()]
        lines.append(f"| {number} | " + " | ".join(words) + " |")
    return "\n".join(lines) + "\n"


def main(arguments):
    check = arguments[:1] == ["--check"]
    build = Path(arguments[-1]).resolve()
    found, printed = {}, {}
    for name, adapter in hosts(build).items():
        found[name], printed[name] = verdicts(build, adapter)
    page = PAGE.read_text(encoding="utf-8")
    wanted = re.sub(f"{BEGIN}.*?{END}", lambda _: BEGIN + "\n" + table(found) + "\n" + END, page, flags=re.S)
    if not check:
        PAGE.write_text(wanted, encoding="utf-8")
        return 0
    if wanted == page:
        return 0
    print(*printed.values(), sep="\n")
    print("docs/kv-conform.md says something else than these runs. Look at the verdicts above; if they are right,\n"
          "scripts/conform_tables.py BUILDFOLDER writes them into the page. It would say:\n" + table(found))
    return 1


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
