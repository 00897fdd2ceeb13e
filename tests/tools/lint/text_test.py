# SPDX-License-Identifier: MIT
"""scripts/check_text.py: each rule refuses what it is there for, and leaves good text alone."""

import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
sys.path.insert(0, str(ROOT / "scripts"))

from check_text import problems  # noqa: E402


def found(text, name="driver/frame.cpp"):
    return [f"{number}: {what}" for number, what in problems(name, text)]


class Comments(unittest.TestCase):
    def test_a_comment_ends_by_column_100(self):
        good = "// aa " + "b" * 94 + "\n"  # 100 columns
        self.assertEqual(found(good), [])
        self.assertEqual(found("int a;\n" + good[:-1] + "b\n"),
                         ["2: the comment ends in column 101; set it within 100"])

    def test_indentation_counts(self):
        self.assertEqual(found("    // aa " + "b" * 91 + "\n"),
                         ["1: the comment ends in column 101; set it within 100"])

    def test_scripts_and_build_files_too(self):
        text = "#!/bin/sh -e " + "x" * 100 + "\n# aa " + "b" * 96 + "\n"
        for name in ("test.sh", "bench/rows.py", "CMakeLists.txt"):
            self.assertEqual(found(text, name), ["2: the comment ends in column 101; set it within 100"])

    def test_a_comment_beside_code_is_the_formatters_business(self):
        self.assertEqual(found("int a = 1; // " + "b c " * 30 + "\n"), [])

    def test_a_single_long_word_cannot_be_cut(self):
        self.assertEqual(found("// https://" + "b" * 100 + "\n"), [])

    def test_no_word_is_left_alone_under_a_full_line(self):
        full = "// " + "word " * 16 + "end"  # 86 columns
        self.assertEqual(found(f"{full}\n// left alone\n"),
                         ["2: one or two words alone under a full line; set the comment again"])
        self.assertEqual(found(f"{full}\n// three words stay\n"), [])

    def test_a_word_alone_is_torn_in_the_middle_too(self):
        full = "/// " + "word " * 16 + "end"
        self.assertEqual(found(f"{full}\n/// a\n{full}\n", "driver/face.h"),
                         ["2: one or two words alone under a full line; set the comment again"])

    def test_lists_tables_and_headings_are_no_prose(self):
        full = "// " + "word " * 16 + "end"
        for text in (f"{full}\n// - item\n", f"{full}:\n// R 5\n", f"{full}\n//   code()\n", f"{full}\n// NOLINT\n",
                     "// " + "-" * 90 + "\n// Lists\n", f"// short line\n// end\n", f"{full}\n\n// Apart\n"):
            self.assertEqual(found(text), [], text)


class Includes(unittest.TestCase):
    def test_none_stands_twice(self):
        self.assertEqual(found('#include "a.h"\n#include <a.h>\n#include <b>\n#include "a.h"\n'), ['4: "a.h" is included already'])

    def test_a_table_may_and_so_may_what_says_so(self):
        twice = '#include "rows.inc"\n' * 2 + "#include <a.h>\n// NOLINTNEXTLINE(readability-duplicate-include)\n#include <a.h>\n"
        self.assertEqual(found(twice), [])


class DocComments(unittest.TestCase):
    def test_they_belong_into_headers(self):
        self.assertEqual(found("/// The frame.\n", "driver/frame.h"), [])
        for text in ("int a;\n    /// The frame.\n", "\nint a; ///< of the frame\n"):
            self.assertEqual(found(text), ["2: '///' belongs into headers; say why with '//'"])
        self.assertEqual(found("open(\"file:///tmp\"); // as in file:///tmp\n"), [])


class ConditionalOperators(unittest.TestCase):
    NESTED = "a ?: within a ?:; use if, or name the inner one"

    def test_nested_ones_are_refused(self):
        for text in ("x = a ? b : c ? d : e;", "x = a ? b ? c : d : e;", "x = a ? (b ? c : d) : e;",
                     "x = (a ? b : c) ? d : e;", "return (a ? b : c) ? d : e;", "f(a ? b : (1 + (c ? d : e)));"):
            self.assertEqual(found(text), [f"1: {self.NESTED}"], text)

    def test_the_line_is_that_of_the_inner_one(self):
        self.assertEqual(found("x = a   ? b\n    : c ? d\n          : e;\n"), [f"2: {self.NESTED}"])

    def test_neighbours_are_not_nested(self):
        for text in ("x = a ? b : c; y = d ? e : f;", "f(a ? b : c, d ? e : f);", "x = a ? f(b ? c : d) : e;",
                     "x = a ? [] { return b ? c : d; } : e;", "g((a ? b : c) + (d ? e : f));",
                     "x = '?' + \"a ? b : c ? d\"; // a ? b : c ? d : e", 'x = a ? R"(b ? c)" : "d";'):
            self.assertEqual(found(text), [], text)


class Words(unittest.TestCase):
    def test_each_has_a_better_one(self):
        for text, better in (("a planted fault", "mutant, mutation"), ("It is Mended.", "fixed"), ("read anew", "again"),
                             ("runs for ever", "forever"), ("is passed over", "skipped"),
                             ("'X1' is no device", "is not a ..."), ("the line is waited silent", "waited until idle")):
            (message,) = found(text, "docs/page.md")
            self.assertIn(f"write '{better}'", message)

    def test_near_words_are_fine(self):
        self.assertEqual(found("recommended; there is no device like it; forever\n", "docs/page.md"), [])


class Script(unittest.TestCase):
    def test_its_exit_status_tells(self):
        with tempfile.TemporaryDirectory() as scratch:
            for text, status in (("// good\n", 0), ("/// bad\n", 1)):
                path = Path(scratch) / "file.cpp"
                path.write_text(text, encoding="utf-8")
                run = subprocess.run([sys.executable, "-B", ROOT / "scripts" / "check_text.py", path],
                                     capture_output=True, text=True)
                self.assertEqual(run.returncode, status)
                self.assertEqual(run.stdout.startswith(f"{path}:1: "), status == 1)


if __name__ == "__main__":
    unittest.main()
