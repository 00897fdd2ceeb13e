# SPDX-License-Identifier: MIT
"""What ./demo.sh --mqtt shows is true, and it leaves nothing behind. Use: mqtt_demo_test.py BUILDFOLDER"""

import os
import signal
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).parent))
from panel_demo_test import PATIENCE, ROOT, processes_of  # noqa: E402

BUILD = sys.argv[1] if len(sys.argv) > 1 else "build/demo"


class Demo:
    """As somebody starts it in a terminal: a session of its own, with an outage of a second."""

    def __init__(self, case, patience=30):
        scratch = tempfile.TemporaryDirectory()
        case.addCleanup(scratch.cleanup)
        self.folder = scratch.name
        self.process = subprocess.Popen([ROOT / "scripts/demo-mqtt.sh", BUILD, "1", str(patience)], stdout=subprocess.PIPE,
                                        stderr=subprocess.STDOUT, text=True, start_new_session=True,
                                        env={**os.environ, "TMPDIR": self.folder})
        case.addCleanup(self.kill)

    def kill(self):
        if self.process.poll() is None:
            os.killpg(self.process.pid, signal.SIGKILL)
        self.process.communicate()

    def read_until(self, words):
        printed = ""
        for line in self.process.stdout:
            printed += line
            if words in line:
                break
        return printed

    def end(self):
        printed = self.process.communicate(timeout=PATIENCE)[0]
        return self.process.returncode, printed


class MqttDemo(unittest.TestCase):
    def test_no_value_is_missing_and_commands_come_back(self):
        demo = Demo(self)
        status, printed = demo.end()
        self.assertEqual(status, 0, printed)
        before, _, after = printed.partition("The broker is stopped for 1 s.")
        self.assertIn('kv/demo/tanks/level1 {"value":', before)
        self.assertNotIn("/stored", before)
        self.assertIn('kv/demo/tanks/level1/stored {"value":', after)
        self.assertIn('"correlation":"demo-1","outcome":"done"', after)
        self.assertIn("99 is above the largest value of tanks.full, 95", after)
        self.assertIn("a retained command would be carried out again", after)
        self.assertIn("No change is missing", after)
        self.assertEqual(processes_of(demo.process.pid), [])
        self.assertEqual(os.listdir(demo.folder), [], "what it kept is removed")

    def test_what_is_missing_is_said(self):
        demo = Demo(self, patience=5)
        demo.read_until("/level1 ")
        # A row of the subscriber's log with a number far ahead, so that those before it never came.
        received = next(Path(demo.folder).glob("*/received"))
        with open(received, "a", encoding="utf-8") as log:
            log.write('kv/demo/x {"seq":2000000000000000}\n')
        status, printed = demo.end()
        self.assertEqual(status, 1, printed)
        self.assertIn("WRONG: changes are missing: ", printed)

    def test_a_gateway_that_ends_is_no_success(self):
        demo = Demo(self)
        demo.read_until("The broker is stopped")
        for process in Path("/proc").iterdir():
            try:
                if (process / "stat").read_text().rpartition(")")[2].split()[3] == str(demo.process.pid) and \
                        (process / "exe").resolve().name == "kv-gateway":
                    os.kill(int(process.name), signal.SIGKILL)
            except (OSError, IndexError, ValueError):
                continue
        status, printed = demo.end()
        self.assertEqual(status, 3, printed)
        self.assertIn("kv-gateway ended", printed)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
