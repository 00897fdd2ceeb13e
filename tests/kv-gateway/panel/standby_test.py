# SPDX-License-Identifier: MIT
"""The panel of a gateway that stands by: it says so, and shows no value of its own.

Use: standby_test.py FOLDER_OF_PROGRAMS
"""

import socket
import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parent))
from plant import Page, Plant, shared_browser, until  # noqa: E402

PROGRAMS = ""


def setUpModule():
    global browser
    browser = shared_browser()


class Standby(unittest.TestCase):
    def test_it_says_that_it_stands_by_and_why(self):
        with socket.socket() as nobody:  # a port on which nothing answers
            nobody.bind(("127.0.0.1", 0))
            database = (f'[[postgresql]]\nurl = "postgresql://127.0.0.1:{nobody.getsockname()[1]}/plant"\nsite = "s"\n'
                        "standby = true\n")
            with Plant(PROGRAMS, {"line1": "name,address\nspeed,DM100.S\n"}, plc_keys=database) as plant:
                page = Page(browser, plant.url)
                page.open("#values")
                wanted = "Standing by. this gateway stands by and reads no PLC: the database that says which gateway is on duty"
                until(lambda: page.text(".banner").startswith(wanted), lambda: page.text(".banner"))
                self.assertIn("Connection refused", page.text(".banner"))
                self.assertEqual(page.text(".state"), "live")
                self.assertEqual(page.rows(), {})
                self.assertEqual(page.complaints(), [])


if __name__ == "__main__":
    PROGRAMS = sys.argv.pop(1)
    unittest.main()
