# SPDX-License-Identifier: MIT
"""Every source names its licence in its first line, so that a copied file still carries it."""

import subprocess
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
LICENCE = "SPDX-License-Identifier: MIT"


def names_licence(text):
    lines = text.split("\n")
    first = lines[1] if lines[0].startswith("#!") and len(lines) > 1 else lines[0]
    return first in (f"// {LICENCE}", f"# {LICENCE}")


def sources():
    listed = subprocess.run(["git", "-C", ROOT, "ls-files", "*.cpp", "*.h", "*.py", "*.sh", "*.c", "*.js",
                             "*CMakeLists.txt"],
                            check=True, capture_output=True, text=True)
    return [name for name in listed.stdout.splitlines() if not name.startswith("fuzz/corpus/")]


class Licence(unittest.TestCase):
    def test_every_source_names_it(self):
        found = sources()
        self.assertGreater(len(found), 100)
        self.assertEqual([name for name in found if not names_licence((ROOT / name).read_text(encoding="utf-8"))], [])

    def test_the_first_line_counts(self):
        self.assertTrue(names_licence(f"// {LICENCE}\n#pragma once\n"))
        self.assertTrue(names_licence(f"#!/bin/sh\n# {LICENCE}\n"))
        for text in ("", "#pragma once\n", f"\n// {LICENCE}\n", f"// {LICENCE}-0\n", "#!/bin/sh", f"#!/bin/sh\n\n# {LICENCE}\n"):
            self.assertFalse(names_licence(text), text)

    def test_the_licence_itself_is_there(self):
        text = (ROOT / "LICENSE").read_text(encoding="utf-8")
        self.assertTrue(text.startswith("MIT License\n\nCopyright (c) 2026 The Communication_Protocol authors\n"))


if __name__ == "__main__":
    unittest.main()
