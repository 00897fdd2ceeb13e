#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs clang-tidy over many sources, several at a time in one unit.

    scripts/tidy.py FOLDER [--checks CHECKS] FILE ...

FOLDER has the compile commands. Most of what clang-tidy does is to walk through the headers of Qt and of the standard library, so
sources of one folder are read together: a dozen takes little longer than one. A unit in which anything at all is reported is
split in halves, which are tried again, and what counts is only what a source reports alone. So two sources that use one name for
their own things cost time, and never a false report. On purpose weaker than source by source: a using declaration that only
another source of the unit needs is not seen. Exit status 1: something was reported.
"""

import argparse
import concurrent.futures
import itertools
import json
import os
import shlex
import subprocess
import sys
import tempfile
from pathlib import Path

MOST = 16  # sources in one unit
# The path-sensitive checks look at 30,000 states of a function in the place of 225,000: all files
# together then take half the time.
ARGUMENTS = [f"--extra-arg={part}" for part in ("-Xclang", "-analyzer-config", "-Xclang", "max-nodes=30000")]


def flags_of(entry):
    """The compile command without the compiler's own input and output."""
    words = shlex.split(entry["command"])
    keep, skips = [], False
    for word in words:
        if skips or word in ("-c", entry["file"]):
            skips = False
        elif word == "-o":
            skips = True
        else:
            keep.append(word)
    return keep


def commands(folder):
    entries = json.loads((folder / "compile_commands.json").read_text(encoding="utf-8"))
    return {Path(entry["file"]): entry for entry in reversed(entries)}  # the first one, when several targets compile it


class Tidy:
    def __init__(self, folder, checks):
        self.folder = folder
        self.checks = checks
        self.commands = commands(folder)

    def units(self, sources):
        def key(source):
            entry = self.commands[source]
            return source.parent, entry["directory"], tuple(flags_of(entry))
        for _, group in itertools.groupby(sorted(sources, key=key), key):
            group = list(group)
            count = -(-len(group) // MOST)
            yield from (group[i::count] for i in range(count))

    def report(self, sources):
        """What is wrong with them; empty if nothing is."""
        if len(sources) == 1:
            return self.run(self.folder, sources[0], self.checks)
        with tempfile.TemporaryDirectory() as scratch:
            unit = Path(scratch) / "unit.cpp"
            unit.write_text("\n".join(source.read_text(encoding="utf-8") for source in sources), encoding="utf-8")
            entry = self.commands[sources[0]]
            command = flags_of(entry) + ["-iquote", str(sources[0].parent), "-c", str(unit)]
            (Path(scratch) / "compile_commands.json").write_text(
                json.dumps([{"directory": entry["directory"], "file": str(unit), "arguments": command}]), encoding="utf-8")
            # Each source includes what it needs, so a unit includes much twice.
            if not self.run(scratch, unit, f"{self.checks},-readability-duplicate-include".lstrip(",")):
                return ""
        middle = len(sources) // 2
        return self.report(sources[:middle]) + self.report(sources[middle:])

    def run(self, folder, source, checks):
        command = ["clang-tidy", "-p", str(folder), "--quiet", "--warnings-as-errors=*", f"--config-file={Path('.clang-tidy').resolve()}",
                   *ARGUMENTS, *([f"--checks={checks}"] if checks else []), str(source)]
        ran = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, check=False)
        return "" if ran.returncode == 0 else ran.stdout or f"clang-tidy failed on {source}\n"


def main():
    parser = argparse.ArgumentParser(prog="tidy.py", description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folder", type=Path)
    parser.add_argument("--checks", default="", help="beside those of .clang-tidy")
    parser.add_argument("sources", metavar="FILE", nargs="+", type=lambda name: Path(name).resolve())
    chosen = parser.parse_args()
    tidy = Tidy(chosen.folder.resolve(), chosen.checks)
    unknown = [str(source) for source in chosen.sources if source not in tidy.commands]
    if unknown:
        sys.exit(f"tidy.py: not compiled in {chosen.folder}: {' '.join(unknown)}")
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        reports = "".join(pool.map(tidy.report, list(tidy.units(chosen.sources))))
    sys.stdout.write(reports)
    sys.exit(1 if reports else 0)


if __name__ == "__main__":
    main()
