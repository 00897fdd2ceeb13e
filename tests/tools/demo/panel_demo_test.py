# SPDX-License-Identifier: MIT
"""The small plant of ./demo.sh --panel starts, moves, can be written to, and leaves nothing behind. Use: panel_demo_test.py BUILDFOLDER"""

import json
import os
import re
import signal
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.request
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
BUILD = sys.argv[1] if len(sys.argv) > 1 else "build/demo"
PATIENCE = 30  # seconds


def processes_of(session):
    """Command lines of all processes of a session."""
    found = []
    for folder in Path("/proc").iterdir():
        try:
            stat = (folder / "stat").read_text(encoding="utf-8").rpartition(")")[2].split()
            if int(stat[3]) == session and stat[0] != "Z":
                found.append((folder / "cmdline").read_text(encoding="utf-8"))
        except (OSError, IndexError, ValueError):
            continue  # not a process, or one that has just ended
    return found


class Demo:
    """As somebody starts it in a terminal: a session of its own."""

    def __init__(self, folder):
        self.process = subprocess.Popen([ROOT / "scripts/demo-panel.sh", BUILD], stdout=subprocess.PIPE, text=True,
                                        start_new_session=True, env={**os.environ, "TMPDIR": folder})
        self.printed = ""
        for line in self.process.stdout:
            self.printed += line
            if "Ctrl-C" in line:
                break
        self.address = re.search(r"http://127\.0\.0\.1:\d+/", self.printed)[0]

    def get(self, path):
        with urllib.request.urlopen(self.address + path, timeout=PATIENCE) as answer:
            return answer.read()

    def value(self, tag):
        return json.loads(self.get(f"api/v1/values/{tag}"))

    def write(self, tag, value):
        request = urllib.request.Request(f"{self.address}api/v1/writes", json.dumps({"tag": tag, "value": value}).encode(),
                                         {"Content-Type": "application/json"})
        with urllib.request.urlopen(request, timeout=PATIENCE) as answer:
            return json.load(answer)["outcome"]

    def interrupt(self):
        """Ctrl-C in a terminal reaches the whole group."""
        os.killpg(self.process.pid, signal.SIGINT)
        return self.process.wait(PATIENCE)

    def end(self):
        if self.process.poll() is None:
            os.killpg(self.process.pid, signal.SIGKILL)
        self.process.communicate()


def soon(is_so):
    end = time.monotonic() + PATIENCE
    while not is_so():
        if time.monotonic() > end:
            return False
        time.sleep(0.05)
    return True


class PanelDemo(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.folder = scratch.name
        self.demo = Demo(self.folder)
        self.addCleanup(self.demo.end)

    def test_the_plant_moves_and_reacts_and_ctrl_c_leaves_nothing(self):
        for tag in ("tanks.level1", "conveyor.position", "drive.speed"):
            seen = set()

            def moves(tag=tag, seen=seen):
                sample = self.demo.value(tag)
                if sample["quality"] == "good":
                    seen.add(sample["value"])
                return len(seen) >= 3
            self.assertTrue(soon(moves), f"{tag}: {seen}")
        # The address that was printed is that of the panel, which has a drawing of the plant.
        self.assertIn(b"<title>kv-gateway</title>", self.demo.get(""))
        self.assertEqual(json.loads(self.demo.get("api/v1/pages"))["pages"], [{"name": "plant", "title": "Small plant"}])
        # The belt stops as its button is pressed.
        self.assertEqual(self.demo.write("conveyor.stop", True), "done")
        self.assertTrue(soon(lambda: self.demo.value("conveyor.running")["value"] is False))

        self.assertEqual(len(processes_of(self.demo.process.pid)), 5, "the script, three PLCs, the gateway")
        self.assertEqual(self.demo.interrupt(), 0)
        self.assertEqual(processes_of(self.demo.process.pid), [])
        self.assertEqual(os.listdir(self.folder), [], "what it kept is removed")

    def test_nothing_outlives_a_script_that_is_killed(self):
        os.kill(self.demo.process.pid, signal.SIGKILL)
        self.assertTrue(soon(lambda: not processes_of(self.demo.process.pid)))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
