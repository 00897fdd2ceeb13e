# SPDX-License-Identifier: MIT
"""scripts/check_rooms.py refuses arrows that point the wrong way, in a made-up tree."""

import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]

RULES = """
| folder | rooms, from the bottom up | may also include |
|---|---|---|
| `driver` | `.` `base` `frames` | |
| `host` | `model` `engine` | |
| `host/engine` | | `driver/face.h` |
| `tests` | | `host` |
"""
GOOD = {
    "CONTRIBUTING.md": RULES,
    "driver/face.h": "#include <QString>\n",
    "driver/base/lock.h": '#include "../face.h"\n',
    "driver/frames/frame.cpp": '#include "base/lock.h"\n#include "face.h"\n',
    "host/model/tag.h": "",
    "host/engine/engine.cpp": '#include "model/tag.h"\n#include <driver/face.h>\n',
    "tests/engine_test.cpp": '#include "tag.h"\n',
}


def check(files):
    """Exit status and output of the script in a repository that holds these files."""
    with tempfile.TemporaryDirectory() as scratch:
        for name, text in files.items():
            path = Path(scratch) / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text, encoding="utf-8")
        for command in (["init", "-q"], ["add", "."]):
            subprocess.run(["git", "-C", scratch, *command], check=True)
        run = subprocess.run([sys.executable, "-B", ROOT / "scripts" / "check_rooms.py", scratch],
                             capture_output=True, text=True)
        return run.returncode, run.stdout


class Rooms(unittest.TestCase):
    def broken(self, name, text):
        status, output = check(GOOD | {name: text})
        self.assertEqual(status, 1)
        return output

    def test_arrows_that_point_down_pass(self):
        self.assertEqual(check(GOOD), (0, ""))

    def test_an_arrow_up_is_refused_and_named_with_its_line(self):
        files = GOOD | {"driver/frames/frame.h": "", "driver/base/lock.h": '#include "../face.h"\n\n# include "frames/frame.h"\n'}
        self.assertEqual(check(files), (1, "driver/base/lock.h:3: driver/base -> driver/frames is not allowed "
                                           "(it includes driver/frames/frame.h)\n"))

    def test_an_arrow_into_another_house_is_refused(self):
        self.assertEqual(self.broken("driver/frames/frame.cpp", '#include "host/model/tag.h"\n'),
                         "driver/frames/frame.cpp:1: driver/frames -> host/model is not allowed "
                         "(it includes host/model/tag.h)\n")

    def test_only_the_room_that_the_table_names_knows_the_face(self):
        self.assertEqual(self.broken("host/model/tag.h", '#include "driver/face.h"\n'),
                         "host/model/tag.h:1: host/model -> driver/. is not allowed (it includes driver/face.h)\n")

    def test_the_face_is_not_the_whole_folder(self):
        self.assertEqual(self.broken("host/engine/engine.cpp", '#include "driver/base/lock.h"\n'),
                         "host/engine/engine.cpp:1: host/engine -> driver/base is not allowed "
                         "(it includes driver/base/lock.h)\n")

    def test_every_source_has_a_room(self):
        self.assertEqual(self.broken("tools/new.cpp", ""), "tools/new.cpp: CONTRIBUTING.md has no room for it\n")

    def test_an_include_by_bare_name_is_found_too(self):
        self.assertEqual(self.broken("driver/base/lock.h", '#include "tag.h"\n'),
                         "driver/base/lock.h:1: driver/base -> host/model is not allowed (it includes host/model/tag.h)\n")


if __name__ == "__main__":
    unittest.main()
