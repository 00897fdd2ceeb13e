# SPDX-License-Identifier: MIT
"""scripts/coverage_table.py: shares are cut, never rounded up to what was not reached."""

import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[3] / "scripts"))

from coverage_table import cell, table  # noqa: E402


class CoverageTable(unittest.TestCase):
    def test_shares(self):
        self.assertEqual(cell(1186, 1189), "99.7 % (1186 of 1189)")
        self.assertEqual(cell(9999, 10000), "99.9 % (9999 of 10000)")
        self.assertEqual(cell(5, 5), "100.0 % (5 of 5)")
        self.assertEqual(cell(0, 0), "-")

    def test_a_row_for_each_file_and_one_for_all(self):
        one = {"filename": "kvlink/model/tag.cpp", "line_covered": 3, "line_total": 4, "branch_covered": 0, "branch_total": 0}
        summary = {"files": [one], "line_covered": 3, "line_total": 4, "branch_covered": 0, "branch_total": 0}
        self.assertEqual(table("kvlink", summary).split("\n"), [
            "kvlink         lines            branches",
            "model/tag.cpp  75.0 % (3 of 4)  -",
            "all of kvlink  75.0 % (3 of 4)  -"])


if __name__ == "__main__":
    unittest.main()
