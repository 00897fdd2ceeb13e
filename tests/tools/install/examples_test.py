# SPDX-License-Identifier: MIT
"""Each installed example builds and runs by the two lines of its README. Use: examples_test.py BUILDFOLDER QTMAJOR"""

import csv
import json
import os
import re
import shutil
import socket
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

BUILD, QT = Path(sys.argv[1]).resolve(), sys.argv[2]
CACHE = (BUILD / "CMakeCache.txt").read_text()
PATIENCE = 60  # seconds
ON_SCREEN = ["/usr/bin/python3", "-B", Path(__file__).with_name("on_screen.py")]
EXAMPLES = {"lamp_and_slider", "logger", "minimal", "own_loop", "screen"}


def cached(name):
    return re.search(rf"^{name}:\w+=(.*)$", CACHE, re.M)[1]


class Plc:
    """A kv-sim that ends with this process, and its control connection."""

    def __init__(self, program):
        self.process = subprocess.Popen([program, "--tcp", "127.0.0.1:0", "--control", "127.0.0.1:0", "--exit-with-stdin"],
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        ports = {}
        for line in self.process.stdout:
            if line == "ready\n":
                break
            ports[line.split()[1]] = int(line.rsplit(":", 1)[1])
        self.address = f"127.0.0.1:{ports['tcp']}"
        self.control = socket.create_connection(("127.0.0.1", ports["control"]), PATIENCE)
        self.lines = self.control.makefile("rw", newline="\n")

    def tell(self, command):
        self.lines.write(command + "\n")
        self.lines.flush()
        return self.lines.readline().strip()

    def close(self):
        self.lines.close()
        self.control.close()
        self.process.communicate()


def soon(is_so, patience=PATIENCE):
    end = time.monotonic() + patience
    while not is_so():
        if time.monotonic() > end:
            return False
        time.sleep(0.05)
    return True


class Desk:
    """A display that nobody sees, and a session of its own: what a program shows there is heard as a screen reader hears it."""

    def __init__(self):
        self.runtime = tempfile.mkdtemp()
        displays, display = os.pipe()
        self.processes = [
            subprocess.Popen(["Xvfb", "-displayfd", str(display), "-screen", "0", "1000x640x24", "-nolisten", "tcp"],
                             pass_fds=[display], stderr=subprocess.DEVNULL),
            subprocess.Popen(["dbus-daemon", "--session", "--nofork", "--print-address"], stdout=subprocess.PIPE,
                             stderr=subprocess.DEVNULL, text=True, env={**os.environ, "XDG_RUNTIME_DIR": self.runtime})]
        os.close(display)
        with open(displays, encoding="utf-8") as numbers:
            number = numbers.readline().strip()
        self.environment = {"DISPLAY": f":{number}", "XDG_RUNTIME_DIR": self.runtime, "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1",
                            "DBUS_SESSION_BUS_ADDRESS": self.processes[1].stdout.readline().strip(), "QT_QPA_PLATFORM": "xcb"}

    def hand(self, *words):
        return subprocess.run([*ON_SCREEN, *words], capture_output=True, text=True, env={**os.environ, **self.environment})

    def shown(self):
        """[[role, name or value, states], ...] from the top down; nothing before the program is there."""
        done = self.hand()
        assert done.returncode in (0, 3), done.stderr
        return json.loads(done.stdout) if done.returncode == 0 else []

    def names(self):
        return [what for _, what, _ in self.shown() if what != ""]

    def close(self):
        for process in self.processes:
            process.terminate()
            process.communicate()
        shutil.rmtree(self.runtime, ignore_errors=True)  # the bus for screen readers may still be ending


class Examples(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.scratch = Path(tempfile.mkdtemp())
        cls.addClassCleanup(shutil.rmtree, cls.scratch)
        cls.prefix = cls.scratch / "prefix"
        subprocess.run(["cmake", "--install", BUILD, "--prefix", cls.prefix], check=True, capture_output=True)
        cls.installed = cls.prefix / "share/doc/Communication_Protocol/examples"
        lib = cls.prefix / cached("CMAKE_INSTALL_LIBDIR")
        cls.environment = {
            "PATH": os.environ["PATH"], "CC": cached("CMAKE_C_COMPILER"), "CXX": cached("CMAKE_CXX_COMPILER"),
            "CMAKE_PREFIX_PATH": str(cls.prefix), "PKG_CONFIG_PATH": f"{lib}/pkgconfig", "LD_LIBRARY_PATH": str(lib),
            "PYTHONPATH": str(cls.prefix / cached("KV_PYTHON_DIR")), "QT_QPA_PLATFORM": "offscreen",
            "CXXFLAGS": "-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror",
            "CFLAGS": "-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror"}

    def setUp(self):
        self.plc = Plc(self.prefix / "bin/kv-sim")
        self.addCleanup(self.plc.close)

    def two_lines(self, name):
        """Of the README: the folder that they are for, the line that builds, the line that runs, for our PLC and our Qt."""
        folder = self.scratch / name
        shutil.copytree(self.installed / name, folder)
        code = re.findall(r"^    (\S.*)$", (folder / "README.md").read_text(encoding="utf-8"), re.M)
        self.assertEqual(len(code), 2, name)
        build, run = code
        build = build.replace("QT_MAJOR=5", f"QT_MAJOR={QT}")
        return folder, build, re.sub(r"192\.168\.0\.10(:8501)?", self.plc.address, run)

    def built(self, name):
        """Folder and command that runs it."""
        folder, build, run = self.two_lines(name)
        done = subprocess.run(build, shell=True, cwd=folder, env=self.environment, capture_output=True, text=True)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        return folder, run

    def started(self, name):
        folder, run = self.built(name)
        process = self.runs(folder, run, {})
        self.addCleanup(self.ended, process)
        return folder, process

    def runs(self, folder, command, more):
        return subprocess.Popen(["sh", "-c", f"exec {command}"], cwd=folder, env={**self.environment, **more},
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)

    def on_screen(self, name):
        """The desk with this example on it. Qt now and then misses the registry of screen readers, which starts in the same
        moment, and never asks again: then the program gets another desk. One that ended by itself does not."""
        folder, run = self.built(name)
        for _ in range(10):
            desk = Desk()
            process = self.runs(folder, run, desk.environment)
            if soon(desk.shown, 4):
                self.addCleanup(desk.close)
                self.addCleanup(self.ended, process)
                return desk
            has_ended = process.poll() is not None  # before the desk goes, which ends it as well
            desk.close()
            if has_ended:
                self.fail(f"{name} ended with {process.returncode}: {process.communicate()[0]}")
            self.ended(process)
        self.fail(f"{name} was never seen")

    def ended(self, process):
        process.terminate()
        process.communicate()

    def test_every_example_is_installed(self):
        found = {path.parent.name for path in self.installed.glob("*/README.md")}
        self.assertEqual(found, EXAMPLES | {"grafana"})  # no program: the tests of /metrics judge it

    def test_lamp_and_slider(self):
        self.plc.tell("set R500=1")
        desk = self.on_screen("lamp_and_slider")
        self.assertTrue(soon(lambda: "running" in desk.names()), desk.shown())
        self.plc.tell("set R500=0")
        self.assertTrue(soon(lambda: "stopped" in desk.names()), desk.shown())
        desk.hand("slider", "42")
        self.assertTrue(soon(lambda: self.plc.tell("get DM200") == "ok 00042"), desk.shown())
        self.plc.tell("listen off")
        self.plc.tell("disconnect")
        self.assertTrue(soon(lambda: "bad no link" in desk.names()), desk.shown())
        self.assertNotIn("stopped", desk.names())

    def test_minimal(self):
        self.plc.tell("set DM100=5")
        self.plc.tell("set R500=1")
        folder, run = self.built("minimal")
        done = subprocess.run(run, shell=True, cwd=folder, env=self.environment, capture_output=True, text=True, timeout=PATIENCE)
        self.assertEqual(done.stdout, "DM200: confirmed by the PLC\nDM100 = 5 (good)\nR500 = 1 (good)\n", done.stderr)
        self.assertEqual(self.plc.tell("get DM200.S"), "ok -00005")

    def test_minimal_with_cmake(self):
        folder = self.scratch / "minimal_with_cmake"
        shutil.copytree(self.installed / "minimal", folder)
        done = subprocess.run("cmake -S . -B build && cmake --build build", shell=True, cwd=folder, env=self.environment,
                              capture_output=True, text=True)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        self.assertTrue((folder / "build/minimal").exists())

    def test_logger(self):
        self.plc.tell("set DM100=7")
        folder, process = self.started("logger")  # its first line exports PYTHONPATH; ours is that of the prefix
        file = folder / "values.csv"

        def rows():
            return list(csv.reader(file.read_text(encoding="utf-8").splitlines())) if file.exists() else []

        self.assertTrue(soon(lambda: len(rows()) >= 4), process.poll())
        self.assertEqual(rows()[0], ["time", "address", "value", "quality", "problem"])
        self.assertIn(["DM100", "7", "good", ""], [row[1:] for row in rows()])
        self.plc.tell("listen off")
        self.plc.tell("disconnect")
        self.assertTrue(soon(lambda: ["DM100", "", "bad", "no link"] in [row[1:] for row in rows()]), rows())

    def test_own_loop(self):
        self.plc.tell("set DM100=7")
        self.plc.tell("set DM200.S=-5")
        _, process = self.started("own_loop")
        lines = {process.stdout.readline().strip() for _ in range(4)}
        wanted = {"DM100 = 7", "DM200.S = -5", "R500 = 0", "DM210: done, confirmed by the PLC"}
        while not wanted <= lines and process.poll() is None:
            lines.add(process.stdout.readline().strip())
        self.assertLessEqual(wanted, lines)
        self.assertEqual(self.plc.tell("get DM210"), "ok 00005")

    def test_screen(self):
        for place in ("DM0=137", "DM10=52", "DM12.S=-15", "R500=1", "R501=0", "R1000=0", "DM105=8", "DM200=77"):
            self.plc.tell(f"set {place}")
        desk = self.on_screen("screen")
        values = ["bottles", "137", "level", "52 mm", "temperature", "-1.5 °C"]
        wanted = {"conveyor, on", "waiting, off", "jogging, off", f"tcp://{self.plc.address}: ready, on", *values, "77"}
        self.assertTrue(soon(lambda: wanted <= set(desk.names())), desk.shown())
        names = desk.names()
        self.assertEqual(names[names.index("bottles"):][:6], values)
        self.assertIn(["slider", 77, ["enabled"]], desk.shown())
        self.assertIn(["check box", "night mode", ["enabled", "checked"]], desk.shown())
        desk.hand("slider", "42")
        self.assertTrue(soon(lambda: self.plc.tell("get DM200") == "ok 00042"), desk.shown())
        desk.hand("check box")
        self.assertTrue(soon(lambda: self.plc.tell("get DM105") == "ok 00000"), desk.shown())
        self.assertTrue(soon(lambda: ["check box", "night mode", ["enabled"]] in desk.shown()), desk.shown())
        self.plc.tell("listen off")
        self.plc.tell("disconnect")
        wanted = {"conveyor, unknown", "waiting, unknown", "jogging, unknown", "no link"}
        self.assertTrue(soon(lambda: wanted <= set(desk.names())), desk.shown())
        self.assertFalse({"137", "52 mm", "-1.5 °C", "42"} & set(desk.names()), desk.shown())


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
