# SPDX-License-Identifier: MIT
"""The README's package table and its lines for each reader are true, and so is the compile line of docs/small-host.md.
Use: readme_test.py BUILDFOLDER

BUILDFOLDER holds libraries and programs, built with Qt 5; without it only the table is checked.
"""

import os
import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
README = (ROOT / "README.md").read_text(encoding="utf-8")
SMALL_HOST = (ROOT / "docs/small-host.md").read_text(encoding="utf-8")
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
        line = re.search(r"^    (g\+\+ (?:.*\\\n)*.*)$", SMALL_HOST, re.M)[1]
        with tempfile.TemporaryDirectory() as scratch:
            program = Path(scratch) / "small_host"
            command = line.replace("-o build/own/small_host", f"-o {program}")
            command = command.replace("-L build/own/lib", f"-L {BUILD}/lib")
            command = command.replace("$PWD/build/own/lib", f"{BUILD}/lib")
            self.assertNotIn("build/own", command)
            subprocess.run(command, shell=True, cwd=ROOT, check=True)
            usage = subprocess.run([program], capture_output=True, text=True)
        self.assertEqual((usage.returncode, usage.stderr), (2, "use: small_host ADDRESS PORT\n"))


class Lines(unittest.TestCase):
    """What the README shows each reader, against a simulated PLC in place of the real one."""

    def setUp(self):
        if BUILD is None:
            self.skipTest("no build folder with Qt 5 was named")
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.scratch = Path(scratch.name)
        sim = subprocess.Popen([BUILD / "bin/kv-sim", "--tcp", "127.0.0.1:0", "--exit-with-stdin"], text=True,
                               stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.addCleanup(sim.communicate)
        self.url = "tcp://" + sim.stdout.readline().split()[2]
        self.environment = {**os.environ, "KVLINK_LIBRARY": str(BUILD / "lib/libkvlink-qt5.so"),
                            "KV_DRIVER": str(BUILD / "lib/libCommunication_Protocol.so"),
                            "PYTHONPATH": str(ROOT / "kvlink/python"), "PYTHONDONTWRITEBYTECODE": "1"}

    def blocks(self, language):
        return [block.replace("tcp://192.168.0.10", self.url)
                for block in re.findall(rf"^```{language}\n(.*?)^```", README, re.M | re.S)]

    def output(self, *command):
        run = subprocess.run([str(word) for word in command], text=True, capture_output=True, cwd=self.scratch, timeout=120,
                             env=self.environment, stdin=subprocess.DEVNULL)
        self.assertEqual(run.returncode, 0, f"{command}: {run.stdout}{run.stderr}")
        return run.stdout

    def test_an_engineer_and_a_plant(self):
        (self.scratch / "tags.csv").write_text("name,address\nspeed,DM200\n")
        lines = [line for block in self.blocks("sh") for line in block.splitlines()]
        self.assertEqual(len(lines), 6)
        for line in lines:
            words = line.split()
            self.assertEqual(words[0], "kv-host")
            # Nobody is there to answer, and nobody waits for months.
            words += ["--yes"] if "write" in words else ["--for", "1s"] if {"watch", "log"} & set(words) else []
            self.output(BUILD / "bin/kv-host", *words[1:])
        self.assertTrue((self.scratch / "values.db").exists())
        self.assertIn("5", self.output(BUILD / "bin/kv-host", "--plc", self.url, "--quiet", "read", "DM200"))

    def test_a_python_user(self):
        program, = self.blocks("python")
        self.assertEqual(self.output(sys.executable, "-c", program), "-5\n")

    def test_a_maker(self):
        lines, = self.blocks("cpp")
        (self.scratch / "maker.cpp").write_text(
            "#include <kvlink/plc.h>\n#include <cstdio>\nusing namespace std::chrono_literals;\n"
            f"int main()\n{{\n{lines}}}\n")
        flags = self.output("pkg-config", "--cflags", "--libs", "Qt5Core").split()
        self.output("g++", "-std=c++17", "-fPIC", "-I", ROOT / "kvlink/include", "maker.cpp", "-o", "maker", "-L", BUILD / "lib",
                    "-lkvlink-qt5", f"-Wl,-rpath,{BUILD}/lib", *flags)
        self.assertEqual(self.output(self.scratch / "maker"), "0\n")


if __name__ == "__main__":
    if len(sys.argv) > 1:
        BUILD = Path(sys.argv.pop(1)).resolve()
    unittest.main()
