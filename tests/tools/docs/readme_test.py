# SPDX-License-Identifier: MIT
"""The README's package table and the compile line of its example are true. Use: readme_test.py BUILDFOLDER

BUILDFOLDER holds lib/libCommunication_Protocol.so, built with Qt 5; without it only the table is checked.
"""

import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
README = (ROOT / "README.md").read_text(encoding="utf-8")
BUILD = None


def package_rows(text):
    """{set: (base set or None, packages)} from the rows "| `set` | for | set `base`, `package` ... |"."""
    rows = {}
    for name, cell in re.findall(r"^\| `([a-z]+)` \|[^|]*\| ((?:set )?`[^|]*) \|$", text, re.M):
        base = re.match(r"set `([a-z]+)`, ", cell)
        rows[name] = (base[1] if base else None, re.findall(r"`([^`]+)`", cell[base.end() if base else 0:]))
    return rows


def all_packages(rows, name):
    base, packages = rows[name]
    return (all_packages(rows, base) if base else []) + packages


class PackageTable(unittest.TestCase):
    def test_rows_build_on_each_other(self):
        rows = package_rows("| `a` | x | `p` `q` |\n| `b` | y | set `a`, `r` |\n")
        self.assertEqual(all_packages(rows, "b"), ["p", "q", "r"])

    def test_every_set_has_the_packages_that_the_script_installs(self):
        rows = package_rows(README)
        script = (ROOT / "scripts" / "packages.sh").read_text(encoding="utf-8")
        self.assertEqual(sorted(rows), sorted(re.findall(r"^    \[([a-z]+)\]=", script, re.M)))
        for name in rows:
            listed = subprocess.run([ROOT / "scripts" / "packages.sh", "--list", name], check=True, text=True,
                                    capture_output=True).stdout.split()
            self.assertEqual(sorted(all_packages(rows, name)), sorted(listed), name)


class CompileLine(unittest.TestCase):
    def test_it_compiles_the_example(self):
        if BUILD is None:
            self.skipTest("no build folder with Qt 5 was named")
        line = re.search(r"^    (g\+\+ (?:.*\\\n)*.*)$", README, re.M)[1]
        with tempfile.TemporaryDirectory() as scratch:
            program = Path(scratch) / "small_host"
            command = line.replace("-o build/own/small_host", f"-o {program}")
            command = command.replace("-L build/own/lib", f"-L {BUILD}/lib")
            command = command.replace("$PWD/build/own/lib", f"{BUILD}/lib")
            self.assertNotIn("build/own", command)
            subprocess.run(command, shell=True, cwd=ROOT, check=True)
            usage = subprocess.run([program], capture_output=True, text=True)
        self.assertEqual((usage.returncode, usage.stderr), (2, "use: small_host ADDRESS PORT\n"))


if __name__ == "__main__":
    if len(sys.argv) > 1:
        BUILD = Path(sys.argv.pop(1)).resolve()
    unittest.main()
