# SPDX-License-Identifier: MIT
"""Starts and observes the measured programs, kv-sim and kv-host, as a user would."""

import os
import re
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
        self.urls = []
        for line in self.process.stdout:
            if line.startswith("listening tcp "):
                self.urls.append("tcp://" + line.split()[2])
            if line == "ready\n":
                return
        raise MeasureError(f"kv-sim did not get ready (exit code {self.process.wait()})")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.stdin.close()
        self.process.stdout.close()
        self.process.wait(PATIENCE)

    def options(self, stations=None):
        """--plc for all of them, or for some station numbers."""
        numbers = range(len(self.urls)) if stations is None else stations
        return [word for number in numbers for word in ("--plc", f"{number}={self.urls[number]}")]


def measures(text):
    """The table that kv-host's bench and stats print: name -> number."""
    found = {}
    for line in text.splitlines():
        row = re.match(r"(\S.*?)\s{2,}(-?[0-9.]+)(\s|$)", line)
        if row:
            found[row[1]] = float(row[2])
    return found


def host_command(folder, *arguments):
    """Without anybody's configuration. env replaces itself with kv-host, so the process id is kv-host's."""
    return ["env", "XDG_CONFIG_HOME=/nonexistent", folder / "kv-host", *arguments]


def bench(folder, plcs, seconds, stations=None, words=120):
    """kv-host bench, one block of `words` words from each station."""
    numbers = list(range(len(plcs.urls)) if stations is None else stations)
    return subprocess.Popen(
        host_command(folder, *plcs.options(numbers), "--max-block", str(words), "bench", "--for", f"{seconds}s",
                     *[f"{number}/DM0:{words}" for number in numbers]),
        stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)


def finished(process, what):
    """The figures that a measuring kv-host printed at its end."""
    output, errors = process.communicate()
    if process.returncode != 0:
        raise MeasureError(f"{what} ended with {process.returncode}: {errors.strip()}")
    printed = measures(output)
    if printed.get("errors", 0) or printed["loss"] > 0:
        raise MeasureError(f"{what} lost answers: {output}")
    return printed


def cpu_seconds(pid):
    """User and system time of a process."""
    fields = Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def stop(process):
    process.terminate()
    process.communicate(timeout=PATIENCE)
