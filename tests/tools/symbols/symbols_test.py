# SPDX-License-Identifier: MIT
"""The libraries show every name that a host may have been built against. Use: symbols_test.py QTMAJOR DRIVER [KVLINK]

packaging/symbols/ lists them, as c++filt writes them. A call that is new is added there with the release that brings it."""

import platform
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

LISTS = Path(__file__).resolve().parents[3] / "packaging/symbols"
QT, DRIVER = sys.argv[1], Path(sys.argv[2])
KVLINK = Path(sys.argv[3]) if len(sys.argv) > 3 and sys.argv[3] else None


def frozen(name):
    lines = (LISTS / f"{name}.txt").read_text().splitlines()
    return [line for line in lines if line and not line.startswith("#")]


def shown(library):
    """What a library shows, without addresses and kinds."""
    names = subprocess.run(["nm", "--dynamic", "--demangle", "--defined-only", library], text=True, capture_output=True,
                           check=True).stdout.splitlines()
    return {name.split(maxsplit=2)[2] for name in names}


def vanished(name, library):
    there = shown(library)
    return [symbol for symbol in frozen(name) if symbol not in there]


class Symbols(unittest.TestCase):
    def test_lists_are_whole_and_in_order(self):
        for name, least in (("driver", 24), ("kvlink-c", 43), ("kvlink-qt5", 60), ("kvlink-qt6", 60)):
            with self.subTest(list=name):
                self.assertGreaterEqual(len(frozen(name)), least)
                self.assertEqual(frozen(name), sorted(set(frozen(name))))

    def test_driver_shows_what_is_frozen(self):
        self.assertEqual(vanished("driver", DRIVER), [])

    @unittest.skipUnless(KVLINK, "kvlink is not built here")
    def test_kvlink_shows_what_is_frozen(self):
        self.assertEqual(vanished("kvlink-c", KVLINK), [])
        # Of 64 bits: the compiler writes the width of an int into the names of C++.
        if platform.architecture()[0] == "64bit":
            self.assertEqual(vanished(f"kvlink-qt{QT}", KVLINK), [])

    def test_a_name_that_vanished_is_seen(self):
        with tempfile.TemporaryDirectory() as folder:
            without = Path(folder) / "without.so"
            # The same library, with one name fewer to be found.
            content = DRIVER.read_bytes()
            self.assertIn(b"\0DataCom\0", content)
            without.write_bytes(content.replace(b"\0DataCom\0", b"\0DataCox\0"))
            self.assertEqual(vanished("driver", without), ["DataCom"])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
