# SPDX-License-Identifier: MIT
"""scripts/set_comments.py: what check_text.py refuses is set again, everything else stays."""

import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[3] / "scripts"))

from check_text import problems  # noqa: E402
from set_comments import set_comments  # noqa: E402


class SetComments(unittest.TestCase):
    def test_a_torn_paragraph_is_one_again(self):
        torn = ("    // The link is opened before its first request, and again after a request was given\n"
                "    // up\n    // by then.\n    int a;\n")
        self.assertEqual(set_comments("a.h", torn),
                         "    // The link is opened before its first request, and again after a request was given up by"
                         " then.\n    int a;\n")

    def test_a_wide_line_is_wrapped_without_leaving_a_word_alone(self):
        wide = "// " + "four " * 19 + "last\n"  # 102 columns: 97 and one word would be the plain way
        text = set_comments("a.cpp", wide)
        self.assertEqual(problems("a.cpp", text), [])
        self.assertEqual([line.count(" ") for line in text.split("\n")], [17, 3, 0])

    def test_tables_lists_and_switches_stay(self):
        for text in ("// " + "a  b " * 25 + "\n", "// clang-format off " + "x " * 50 + "\n", "int a; // " + "b c " * 30 + "\n"):
            self.assertEqual(set_comments("a.h", text), text)

    def test_a_list_keeps_its_items_apart(self):
        text = "// - " + "one " * 25 + "\n// - two\n"
        self.assertTrue(set_comments("a.h", text).endswith("\n// - two\n"))

    def test_doc_comments_leave_sources(self):
        self.assertEqual(set_comments("a.cpp", "/// The frame.\nint a; ///< b\n"), "// The frame.\nint a; // b\n")
        self.assertEqual(set_comments("a.h", "/// The frame.\nint a; ///< b\n"), "/// The frame.\nint a; ///< b\n")

    def test_rulers_end_in_column_100(self):
        self.assertEqual(set_comments("a.cpp", "// --- lists " + "-" * 94 + "\n// " + "-" * 104 + "\n"),
                         "// --- lists " + "-" * 87 + "\n// " + "-" * 97 + "\n")


if __name__ == "__main__":
    unittest.main()
