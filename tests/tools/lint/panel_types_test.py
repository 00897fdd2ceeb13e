# SPDX-License-Identifier: MIT
"""The type check of the panel's scripts refuses what is wrong. Use: panel_types_test.py FOLDER

FOLDER is the one that scripts/panel_types.sh was given: the compiler is there. Only the lint has it.
"""

import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
COMPILER = Path(sys.argv.pop(1)).resolve() / "panel-types" / "node_modules" / ".bin" / "tsc"


def complaints(script):
    with tempfile.TemporaryDirectory() as folder:
        (Path(folder) / "script.js").write_text(script, encoding="utf-8")
        (Path(folder) / "tsconfig.json").write_text(
            f'{{"extends": "{ROOT}/scripts/panel-types/tsconfig.json", "include": ["script.js"]}}', encoding="utf-8")
        return subprocess.run([COMPILER, "--project", folder], capture_output=True, text=True).stdout


class Types(unittest.TestCase):
    def test_what_is_right_passes(self):
        self.assertEqual(complaints("/** @param {number} count */\nexport const next = count => count + 1;\n"), "")

    def test_what_is_wrong_is_named(self):
        rows = (('/** @type {number} */\nexport const count = "three";\n', "script.js(2,14): error TS2322"),
                ("export const next = count => count;\n", "error TS7006"),
                ("/** @param {Element | null} one */\nexport const text = one => one.textContent;\n", "error TS18047"),
                ('document.body.markup = "";\nexport {};\n', "error TS2339"))
        for script, problem in rows:
            self.assertIn(problem, complaints(script), script)


if __name__ == "__main__":
    unittest.main()
