# SPDX-License-Identifier: MIT
"""What a terminal shows becomes the same as a picture, and every picture in the documents is one that a browser reads."""

import sys
import unittest
import xml.etree.ElementTree as ElementTree
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
sys.path.insert(0, str(ROOT / "scripts"))
import pictures  # noqa: E402

RED, PLAIN = "#f0666b", "#d7dde4"


def drawn(text):
    """[(x, y, colour, bold, text)] of each piece of a picture."""
    tree = ElementTree.fromstring(pictures.picture(text))
    return [(float(piece.get("x")), int(piece.get("y")), piece.get("fill"), piece.get("font-weight") == "bold", piece.text)
            for piece in tree.iter("{http://www.w3.org/2000/svg}text")]


class Pictures(unittest.TestCase):
    def test_colours_and_columns(self):
        # A character is 8.4 wide, a line 18 high; the margin is 14.
        self.assertEqual(drawn("a \x1b[31mbad\x1b[39m x\n\x1b[1mnew\x1b[0m"),
                         [(14.0, 27, PLAIN, False, "a "), (30.8, 27, RED, False, "bad"), (56.0, 27, PLAIN, False, " x"),
                          (14.0, 45, PLAIN, True, "new")])

    def test_a_style_lasts_over_the_end_of_a_line(self):
        self.assertEqual([piece[2] for piece in drawn("\x1b[31mone\ntwo\x1b[m\nthree")], [RED, RED, PLAIN])

    def test_inverse(self):
        text = pictures.picture("\x1b[7mq\x1b[27m quit")
        self.assertIn('<rect x="14" y="14" width="8.4" height="18" fill="#d7dde4"/>', text)
        self.assertIn('fill="#1b1f24">q<', text)

    def test_signs_of_xml(self):
        self.assertEqual(drawn("a < b & c")[0][4], "a < b & c")

    def test_the_size_fits_what_is_shown(self):
        tree = ElementTree.fromstring(pictures.picture("12345\n1   \n"))
        self.assertEqual((tree.get("width"), tree.get("height")), ("70", "64"))  # 5 x 8.4 + 28, 2 x 18 + 28

    def test_those_of_the_documents_can_be_read(self):
        names = sorted(path.name for path in (ROOT / "docs/pictures").glob("*.svg"))
        self.assertLessEqual({"kv-conform.svg", "watch.svg"}, set(names))
        for name in names:
            ElementTree.parse(ROOT / "docs/pictures" / name)


if __name__ == "__main__":
    unittest.main()
