# SPDX-License-Identifier: MIT
"""The PLC that the host under test is connected to: a kv-sim with its control connection."""

import re
import socket
import subprocess
import tempfile
import threading
import time
from pathlib import Path

PATIENCE = 10  # seconds


class SimError(Exception):
    """kv-sim did not do what the kit needs."""


class Plc:
    def __init__(self, kv_sim, log, name, *options):
        self.log, self.name = log, name
        self.process = subprocess.Popen([kv_sim, "--tcp", "127.0.0.1:0", "--control", "127.0.0.1:0", "--trace",
                                         "--exit-with-stdin", *options],
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self.tracer = threading.Thread(target=self._read_trace, daemon=True)
        ports = self._ports()
        self.tracer.start()
        self.url = f"tcp://127.0.0.1:{ports['tcp']}"
        self.control = socket.create_connection(("127.0.0.1", ports["control"]), PATIENCE)
        self.lines = self.control.makefile("rw", newline="\n", encoding="utf-8")

    def _ports(self):
        ports = {}
        for line in self.process.stdout:
            if line == "ready\n":
                return ports
            words = line.split()
            if words[:1] == ["listening"]:
                ports[words[1]] = int(words[2].rsplit(":", 1)[1])
        raise SimError(f"kv-sim did not start: {self.process.stderr.read().strip()}")

    def _read_trace(self):
        for line in self.process.stderr:
            self.log(f"{self.name} | {line.rstrip()}")

    def tell(self, command):
        """A control command that must succeed; its answer without "ok "."""
        self.log(f"{self.name} : {command}")
        self.lines.write(command + "\n")
        self.lines.flush()
        answer = self.lines.readline().strip()
        if not answer.startswith("ok"):
            raise SimError(f"{command}: {answer or 'no answer'}")
        return answer[3:]

    def run_program(self, rows):
        with tempfile.NamedTemporaryFile("w", suffix=".txt", encoding="utf-8") as file:
            file.write(rows)
            file.flush()
            self.tell(f"program {Path(file.name)}")
        time.sleep(0.1)  # its first scan sees no edge

    def get(self, device):
        """A number; of a relay 0 or 1."""
        return int(self.tell(f"get {device}").split()[0])

    def times_struck(self, fault):
        """How often a fault that was given has struck."""
        found = re.search(rf"\d+ {re.escape(fault)}\b[^;]*?, done (\d+)", self.tell("faults"))
        return int(found[1]) if found else 0

    def cut(self):
        """As if its power failed: connections end, new ones are refused."""
        self.tell("listen off")
        self.tell("disconnect")

    def back(self):
        self.tell("listen on")

    def close(self):
        self.lines.close()
        self.control.close()
        self.process.stdin.close()
        try:
            self.process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            self.process.kill()
        self.tracer.join(PATIENCE)
        self.process.stdout.close()
        self.process.stderr.close()
