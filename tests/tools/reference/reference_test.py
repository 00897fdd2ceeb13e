# SPDX-License-Identifier: MIT
"""Doxygen makes the API reference of the public headers without a warning, and all calls are in it."""

import re
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
READ = ("kvlink/include", "Communication_Protocol/Communication_Protocol.h", "docs/Doxyfile", "docs/api.md",
        "scripts/docs-api.sh", "CMakeLists.txt")


def reference(root, folder):
    return subprocess.run([root / "scripts/docs-api.sh", folder], text=True, capture_output=True)


class Reference(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.scratch = Path(scratch.name)

    def test_has_no_warning_and_every_call(self):
        made = reference(ROOT, self.scratch / "api")
        self.assertEqual((made.returncode, made.stdout + made.stderr), (0, ""))
        page = (self.scratch / "api/html/kvlink_8h.html").read_text()
        calls = re.findall(r"KVLINK_C_API [^;(]*?(kvlink_\w+)\(", (ROOT / "kvlink/include/kvlink/kvlink.h").read_text())
        self.assertGreaterEqual(len(calls), 43)
        self.assertEqual([call for call in calls if f">{call}<" not in page and f"{call} <" not in page], [])
        self.assertTrue((self.scratch / "api/html/classkvlink_1_1Plc.html").exists())
        self.assertIn("ReCreatReadVarList", (self.scratch / "api/html/Communication__Protocol_8h.html").read_text())

    def test_a_comment_about_what_is_not_there_is_refused(self):
        for name in READ:
            (self.scratch / "copy" / name).parent.mkdir(parents=True, exist_ok=True)
            if (ROOT / name).is_dir():
                shutil.copytree(ROOT / name, self.scratch / "copy" / name)
            else:
                shutil.copy(ROOT / name, self.scratch / "copy" / name)
        header = self.scratch / "copy/kvlink/include/kvlink/plc.h"
        text = header.read_text()
        header.write_text(text.replace("    bool cancel(WriteId id);", "    /// \\param speed  a parameter that the call lacks\n    bool cancel(WriteId id);"))
        self.assertNotEqual(header.read_text(), text)
        made = reference(self.scratch / "copy", self.scratch / "api")
        self.assertNotEqual(made.returncode, 0)
        self.assertIn("speed", made.stderr)


if __name__ == "__main__":
    unittest.main()
