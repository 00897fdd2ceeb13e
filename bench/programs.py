# SPDX-License-Identifier: MIT
"""Starts and observes the measured programs, kv-sim and kv-host, as a user would."""

import os
import subprocess
import time
from pathlib import Path

PATIENCE = 20  # seconds for a program to get ready


class MeasureError(Exception):
    """A program did not do what was to be measured."""


def values_of_words(count):
    """The values of every PLC: words of one to five digits, the same as those of modbus_bench's server."""
    return [(number * 500 + 7) % 65536 for number in range(count)]


class Plcs:
    """A kv-sim with a number of PLCs, each on a free port."""

    def __init__(self, folder, plcs=1, *more):
        words = ",".join(map(str, values_of_words(256)))
        self.process = subprocess.Popen(
            [folder / "kv-sim", "--tcp", "127.0.0.1:0", "--plcs", str(plcs), "--set", f"DM0={words}",
             "--exit-with-stdin", *more],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        self.urls, self.control = [], None
        for line in self.process.stdout:
            if line.startswith("listening tcp "):
                self.urls.append("tcp://" + line.split()[2])
            if line.startswith("listening control"):
                address, port = line.split()[-1].rsplit(":", 1)
                self.control = (address, int(port))
            if line == "ready\n":
                return
        raise MeasureError(f"kv-sim did not get ready (exit code {self.process.wait()})")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.stdin.close()
        self.process.stdout.close()
        self.process.wait(PATIENCE)


def host_command(folder, *arguments):
    """Without anybody's configuration. env replaces itself with kv-host, so the process id is kv-host's."""
    return ["env", "XDG_CONFIG_HOME=/nonexistent", folder / "kv-host", *arguments]


def resident_kb(pid):
    """Memory that a process holds."""
    status = Path(f"/proc/{pid}/status").read_text()
    return next(int(line.split()[1]) for line in status.splitlines() if line.startswith("VmRSS:"))


def cpu_seconds(pid):
    """User and system time of a process."""
    fields = Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")
