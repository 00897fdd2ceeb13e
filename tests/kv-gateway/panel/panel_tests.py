# SPDX-License-Identifier: MIT
"""All tests of the panel, or those of some files, in one browser. Each file runs alone as well.

Use: panel_tests.py FOLDER_OF_PROGRAMS [FILE ...]       FILE: table_test
"""

import importlib
import sys
import unittest
from pathlib import Path

FOLDER = Path(__file__).parent
sys.path.insert(0, str(FOLDER))


def main():
    programs, *names = sys.argv[1:]
    suite = unittest.TestSuite()
    for name in names or sorted(file.stem for file in FOLDER.glob("*_test.py")):
        module = importlib.import_module(name)
        module.PROGRAMS = programs
        suite.addTests(unittest.defaultTestLoader.loadTestsFromModule(module))
    return unittest.TextTestRunner(verbosity=2).run(suite).wasSuccessful()


if __name__ == "__main__":
    sys.exit(not main())
