# SPDX-License-Identifier: MIT
"""scripts/draw_rooms.py draws what the includes of a made-up tree say, and notices when they change."""

import io
import subprocess
import sys
import tempfile
import unittest
from contextlib import redirect_stdout
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[3] / "scripts"))

import draw_rooms  # noqa: E402

FILES = {
    "CONTRIBUTING.md": "| `driver` | `.` `base` `frames` | |\n| `host` | `model` `engine` | `driver/face.h` |\n"
                       "| `programs/tags` | | `host/engine` |\n| `bench` | | |\n| `tests` | | |\n",
    "driver/face.h": "",
    "driver/base/lock.h": '#include "face.h"\n',
    "driver/frames/frame.cpp": '#include "base/lock.h"\n#include "face.h"\n',
    "host/model/tag.h": "",
    "host/engine/engine.cpp": "#include <driver/face.h>\n",
    "host/engine/engine.h": "",
    "programs/tags/reader.cpp": "#include <host/engine/engine.h>\n",
    "bench/bench.cpp": "",
    "tests/test.cpp": "",
}


class Picture(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.root = Path(scratch.name)
        (self.root / "docs").mkdir()
        for name, text in FILES.items():
            self.write(name, text)
        subprocess.run(["git", "-C", self.root, "init", "-q"], check=True)
        subprocess.run(["git", "-C", self.root, "add", "."], check=True)

    def write(self, name, text):
        (self.root / name).parent.mkdir(parents=True, exist_ok=True)
        (self.root / name).write_text(text, encoding="utf-8")

    def check(self):
        with redirect_stdout(io.StringIO()) as printed:
            return draw_rooms.main(self.root, check=True), printed.getvalue()

    def test_a_box_for_each_room_and_an_arrow_for_each_include_that_does_not_follow(self):
        drawn = draw_rooms.picture(self.root)
        self.assertEqual([name for name in ("face.h", "base", "frames", "model", "engine", "tags", "bench", "tests")
                          if f">{name}</text>" in drawn], ["face.h", "base", "frames", "model", "engine", "tags"])
        # frames -> base -> face.h in the driver, from which frames -> face.h follows;
        # engine -> face.h and tags -> engine across.
        self.assertEqual((drawn.count('<path d="M ') - 1, drawn.count('<path class="far"')), (2, 2))

    def test_arrows_that_follow_are_left_out(self):
        edges = [("d", "c"), ("c", "b"), ("b", "a"), ("d", "a"), ("c", "a"), ("e", "a")]
        self.assertEqual(draw_rooms.without_implied(edges), [("b", "a"), ("c", "b"), ("d", "c"), ("e", "a")])

    def test_a_picture_that_is_missing_or_out_of_date_fails_the_check(self):
        self.assertEqual(self.check()[0], 1)
        draw_rooms.main(self.root, check=False)
        self.assertEqual(self.check(), (0, ""))
        self.write("host/engine/engine.cpp", '#include "model/tag.h"\n')
        status, printed = self.check()
        self.assertEqual(status, 1)
        self.assertIn("draw it again", printed)


if __name__ == "__main__":
    unittest.main()
