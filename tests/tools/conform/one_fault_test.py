# SPDX-License-Identifier: MIT
"""Each check of kv-conform fails a host that is wrong in just that, and passes the same host when it is right.

    one_fault_test.py KV_SIM           each wrong host is tried with the check that it must fail
    one_fault_test.py KV_SIM --all     with all checks: nothing else fails (takes a quarter of an hour)
"""

import json
import subprocess
import sys
import tempfile
import unittest
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
KIT = [sys.executable, "-B", ROOT / "programs" / "kv-conform" / "kv-conform"]
KV_SIM = sys.argv[1] if len(sys.argv) > 1 else "kv-sim"
ALL_CHECKS = "--all" in sys.argv
AT_A_TIME = 10  # hosts, or checks of one host: they mostly wait

# Who shows no value at all fails wherever one has to be shown; an answer that comes late did not
# come when it was due.
FAILS_TOO = {"LNK-01": {"LNK-02", "VAL-01", "VAL-14"}, "VAL-09": {"VAL-02"}}


def ids():
    listed = subprocess.run([*KIT, "--list"], capture_output=True, text=True, check=True).stdout
    return [line.split()[0] for line in listed.splitlines()]


def verdicts(wrong, *options):
    """{id: verdict} of the host with that fault."""
    adapter = f"{sys.executable} -B {ROOT}/tests/tools/conform/one_fault_host.py {wrong}"
    with tempfile.NamedTemporaryFile(suffix=".json") as file:
        subprocess.run([*KIT, "--kv-sim", KV_SIM, "--adapter", adapter, "--json", file.name, *options], capture_output=True)
        return {one["id"]: one["verdict"] for one in json.loads(Path(file.name).read_text(encoding="utf-8"))["verdicts"]}


class OneFault(unittest.TestCase):
    maxDiff = None

    def test_the_right_host_holds_all(self):
        self.assertEqual(verdicts("", "--jobs", str(AT_A_TIME)), {one: "pass" for one in ids()})

    @unittest.skipIf(ALL_CHECKS, "the other test does more")
    def test_each_check_fails_its_wrong_host(self):
        with ThreadPoolExecutor(AT_A_TIME) as pool:
            found = dict(pair for one in pool.map(lambda one: verdicts(one, "--only", one), ids()) for pair in one.items())
        self.assertEqual(found, {one: "fail" for one in ids()})

    @unittest.skipUnless(ALL_CHECKS, "takes a quarter of an hour: --all")
    def test_no_other_check_does(self):
        for wrong in ids():
            with self.subTest(wrong):
                found = verdicts(wrong, "--jobs", str(AT_A_TIME))
                fails = {one for one, verdict in found.items() if verdict == "fail"}
                self.assertEqual(fails, {wrong} | FAILS_TOO.get(wrong, set()))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
