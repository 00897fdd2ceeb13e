# SPDX-License-Identifier: MIT
"""scripts/tidy.py: what is wrong in one of several sources is reported, of that source, and nothing else. Use: tidy_test.py"""

import json
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
CHECKS = "-*,modernize-use-nullptr,readability-duplicate-include,clang-analyzer-core.DivideZero"


@unittest.skipIf(shutil.which("clang-tidy") is None, "without clang-tidy: it is installed for ./test.sh --lint only")
class Tidy(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.folder = Path(scratch.name)

    def tidied(self, **sources):
        """Exit status and report of sources by name; each begins with an include of its own."""
        entries = []
        for name, text in sources.items():
            file = self.folder / f"{name}.cpp"
            file.write_text(f"#include <cstddef>\n{text}\n", encoding="utf-8")
            entries.append({"directory": str(self.folder), "file": str(file), "command": f"clang++ -std=c++20 -o {name}.o -c {file}"})
        (self.folder / "compile_commands.json").write_text(json.dumps(entries), encoding="utf-8")
        ran = subprocess.run([sys.executable, "-B", ROOT / "scripts" / "tidy.py", self.folder, f"--checks={CHECKS}",
                              *[entry["file"] for entry in entries]], cwd=ROOT, capture_output=True, text=True)
        return ran.returncode, ran.stdout + ran.stderr

    def test_nothing_to_report(self):
        self.assertEqual(self.tidied(one="int *one = nullptr;", two="int *two = nullptr;", three="int three = 3;"), (0, ""))

    def test_a_finding_is_reported_with_its_file_and_line(self):
        status, report = self.tidied(one="int one = 1;", two="int *two = 0;", three="int three = 3;")
        self.assertEqual(status, 1)
        self.assertEqual(report.count("error:"), 1, report)
        self.assertIn(f"{self.folder}/two.cpp:2:12: error: use nullptr", report)

    def test_paths_are_followed_in_every_source(self):
        divides = "int NAME(int by) { if (by == 0) return 7 / by; return by; }"
        status, report = self.tidied(one="int one = 1;", two=divides.replace("NAME", "two"), three=divides.replace("NAME", "three"))
        self.assertEqual((status, report.count("error: Division by zero")), (1, 2), report)

    def test_one_name_for_two_things_is_no_finding(self):
        same = "namespace { int mine() { return 1; } }\nint NAME() { return mine(); }"
        self.assertEqual(self.tidied(one=same.replace("NAME", "one"), two=same.replace("NAME", "two")), (0, ""))

    def test_a_source_that_does_not_compile_is_reported(self):
        status, report = self.tidied(one="int one = 1;", two="int two = ;")
        self.assertEqual(status, 1)
        self.assertIn("two.cpp:2:11: error: expected expression", report)


if __name__ == "__main__":
    unittest.main()
