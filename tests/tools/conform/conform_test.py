# SPDX-License-Identifier: MIT
"""The judge is judged: kvlink holds what is tried here, and a naive host fails where it should. Use: conform_test.py KV_SIM"""

import json
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
KIT = ROOT / "programs" / "kv-conform"
KV_SIM = sys.argv[1] if len(sys.argv) > 1 else "kv-sim"
QUICK = ("LNK-01", "VAL-01", "VAL-11", "WRT-01", "WRT-02", "WRT-09", "WRT-11", "WRT-12")  # those that wait for little


def judged(adapter, *arguments):
    """Exit status, verdicts by id, and what was printed."""
    with tempfile.NamedTemporaryFile(suffix=".json") as verdicts:
        run = subprocess.run([sys.executable, "-B", KIT / "kv-conform", "--kv-sim", KV_SIM, "--adapter", adapter,
                              "--json", verdicts.name, *arguments], capture_output=True, text=True)
        text = Path(verdicts.name).read_text(encoding="utf-8")
    found = {one["id"]: one["verdict"] for one in json.loads(text)["verdicts"]} if text else {}
    return run.returncode, found, run.stdout + run.stderr


def only(ids):
    return [word for one in ids for word in ("--only", one)]


class Judged(unittest.TestCase):
    def test_kvlink_holds_all_that_is_tried(self):
        status, verdicts, printed = judged(f"{sys.executable} -B {KIT}/adapters/kvlink_adapter.py", *only(QUICK))
        self.assertEqual((status, verdicts), (0, {one: "pass" for one in QUICK}), printed)

    def test_a_naive_host_fails_where_it_should(self):
        naive = f"{sys.executable} -B {ROOT}/tests/tools/conform/naive_host.py"
        status, verdicts, printed = judged(naive, *only(QUICK))
        fails = {"VAL-11", "WRT-02", "WRT-09", "WRT-11"}  # WRT-12 by chance
        del verdicts["WRT-12"]
        self.assertEqual(verdicts, {one: "fail" if one in fails else "pass" for one in QUICK if one != "WRT-12"}, printed)
        self.assertEqual(status, 1)
        self.assertIn("expected  done, DM200 = 241\n          saw       done, DM200 = 240\n", printed)

    def test_what_an_adapter_does_not_offer_is_skipped(self):
        status, verdicts, _ = judged(f"{sys.executable} -B {ROOT}/tests/tools/conform/naive_host.py", "--only", "WRT-06")
        self.assertEqual((status, verdicts), (2, {"WRT-06": "skipped"}))  # nothing was tried, so nothing has passed


class Usage(unittest.TestCase):
    def test_a_broken_adapter_is_no_verdict(self):
        for adapter, message in (("true", "the adapter ended"), ("sh -c 'echo nothing; cat'", "not JSON: nothing"),
                                 ("sh -c 'echo 5; cat'", "not a JSON object: 5")):
            status, verdicts, printed = judged(adapter, "--only", "LNK-01")
            self.assertEqual((status, verdicts), (3, {}), printed)
            self.assertIn(message, printed)

    def test_wrong_options_are_named(self):
        for arguments, message in ((["--only", "XYZ-1"], "no check is called XYZ-1"), ([], "--adapter is needed"),
                                   (["--jobs", "0"], "--jobs 0: at least one check runs at a time")):
            run = subprocess.run([sys.executable, "-B", KIT / "kv-conform", *arguments], capture_output=True, text=True)
            self.assertEqual(run.returncode, 2)
            self.assertIn(message, run.stderr)

    def test_every_check_is_in_the_document(self):
        listed = subprocess.run([sys.executable, "-B", KIT / "kv-conform", "--list"], capture_output=True, text=True,
                                check=True).stdout.splitlines()
        page = (ROOT / "docs" / "kv-conform.md").read_text(encoding="utf-8")
        for line in listed:
            number, level, sentence = line.split(None, 2)
            self.assertIn(f"| {number} | {level} | {sentence} |", page)
        self.assertEqual(page.count(" | must | ") + page.count(" | should | "), len(listed))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
