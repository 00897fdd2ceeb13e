# SPDX-License-Identifier: MIT
"""Doxygen makes the API reference of the public headers without a warning, all calls are in it, and each has a text."""

import os
import re
import shutil
import subprocess
import tempfile
import unittest
import xml.etree.ElementTree as ElementTree
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
READ = ("kvlink/include", "Communication_Protocol/Communication_Protocol.h", "docs/Doxyfile", "docs/api.md",
        "scripts/docs-api.sh", "CMakeLists.txt")


def reference(root, folder):
    return subprocess.run([root / "scripts/docs-api.sh", folder], text=True, capture_output=True)


def copy_of(root, target):
    for name in READ:
        (target / name).parent.mkdir(parents=True, exist_ok=True)
        if (root / name).is_dir():
            shutil.copytree(root / name, target / name)
        else:
            shutil.copy(root / name, target / name)


def without_text(root):
    """Public functions and signals in the headers that have no text of their own, and all that were looked at."""
    with tempfile.TemporaryDirectory() as folder:
        subprocess.run(["doxygen", "-"], text=True, capture_output=True, cwd=root, check=True,
                       env={**os.environ, "KV_OUTPUT": folder, "KV_VERSION": "0"},
                       input="@INCLUDE = docs/Doxyfile\nGENERATE_HTML = NO\nGENERATE_XML = YES\n")
        members = [member for page in Path(folder).glob("xml/*.xml") for member in ElementTree.parse(page).iter("memberdef")]
    missing, seen = set(), set()
    for member in members:
        if member.get("kind") not in ("function", "signal", "friend") or member.get("prot") != "public":
            continue
        arguments = member.findtext("argsstring", "")
        if not arguments or arguments.endswith(("=default", "=delete")):
            continue  # a friend class; or nothing to say
        seen.add(member.findtext("name"))
        if not any("".join(member.find(part).itertext()).strip() for part in ("briefdescription", "detaileddescription")):
            missing.add(member.findtext("name"))
    return sorted(missing), seen


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
        copy_of(ROOT, self.scratch / "copy")
        header = self.scratch / "copy/kvlink/include/kvlink/plc.h"
        text = header.read_text()
        header.write_text(text.replace("    bool cancel(WriteId id);", "    /// \\param speed  a parameter that the call lacks\n    bool cancel(WriteId id);"))
        self.assertNotEqual(header.read_text(), text)
        made = reference(self.scratch / "copy", self.scratch / "api")
        self.assertNotEqual(made.returncode, 0)
        self.assertIn("speed", made.stderr)

    def test_every_function_and_signal_has_a_text(self):
        missing, seen = without_text(ROOT)
        self.assertEqual(missing, [])
        for name in ("kvlink_plc_new", "KvDriverResultText", "writeAndWait", "writeFinished", "operator<", "SetRegisterData"):
            self.assertIn(name, seen)

    def test_functions_without_a_text_are_seen(self):
        copy = self.scratch / "copy"
        copy_of(ROOT, copy)
        removed = {"kvlink/include/kvlink/kvlink.h": "/** How many were cancelled. */\n",
                   "kvlink/include/kvlink/plc.h": "    /// False if it has been sent or has ended already.\n",
                   "Communication_Protocol/Communication_Protocol.h":
                       "/// Keeps the host's three local areas in LB, LW and RWI.\n"}
        for name, line in removed.items():
            text = (copy / name).read_text()
            self.assertIn(line, text)
            (copy / name).write_text(text.replace(line, ""))
        missing, _ = without_text(copy)
        self.assertEqual(missing, ["FlashLocalRegister", "cancel", "kvlink_cancel_all"])


if __name__ == "__main__":
    unittest.main()
