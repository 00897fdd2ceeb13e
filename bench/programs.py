# SPDX-License-Identifier: MIT
"""The programs that are measured, started and watched as a user would: kv-sim, kv-host, modbus_bench, idle_qt."""

import os
import re
import subprocess
import sys
import time
from pathlib import Path

PATIENCE = 20  # seconds for a program to get ready


class MeasureError(Exception):
    """A program did not do what is to be measured."""


def values_of_words(count):
    """What every read finds: words of one to five digits, the same that modbus_bench's server holds."""
    return [(number * 500 + 7) % 65536 for number in range(count)]


class Plcs:
    """A kv-sim with so many PLCs, each on a free port."""

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
    """With nobody's defaults; env is replaced by kv-host, so the process id is kv-host's."""
    return ["env", "XDG_CONFIG_HOME=/nonexistent", folder / "kv-host", *arguments]


def bench(folder, plcs, seconds, stations=None, words=120):
    """kv-host bench, one block of so many words from each station."""
    numbers = list(range(len(plcs.urls)) if stations is None else stations)
    return subprocess.Popen(
        host_command(folder, *plcs.options(numbers), "--max-block", str(words), "bench", "--for", f"{seconds}s",
                     *[f"{number}/DM0:{words}" for number in numbers]),
        stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)


def finished(process, what):
    """What a kv-host that measures has told at its end."""
    output, errors = process.communicate()
    if process.returncode != 0:
        raise MeasureError(f"{what} ended with {process.returncode}: {errors.strip()}")
    told = measures(output)
    if told.get("errors", 0) or told["loss"] > 0:
        raise MeasureError(f"{what} lost answers: {output}")
    return told


class BusyCores:
    """A process of the lowest priority on each core: none of them goes to sleep meanwhile."""

    def __enter__(self):
        self.processes = [subprocess.Popen([sys.executable, "-c", "while True: pass"], preexec_fn=lambda: os.nice(19))
                          for _ in range(os.cpu_count())]
        return self

    def __exit__(self, *_):
        for process in self.processes:
            process.kill()
            process.wait(PATIENCE)


def cpu_seconds(pid):
    """User and system time of a process."""
    fields = Path(f"/proc/{pid}/stat").read_text().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def resident_kb(pid):
    """As the kernel sums it up over all mappings, and the most that it ever was."""
    text = "".join(Path(f"/proc/{pid}/{name}").read_text() for name in ("smaps_rollup", "status"))
    return {name: int(re.search(rf"^{name}:\s+(\d+) kB", text, re.M)[1])
            for name in ("Rss", "Pss", "Anonymous", "VmHWM")}


def resident_by_file(pid):
    """Rss in kB of each mapped file, of the heap and of what has no name."""
    found, name = {}, ""
    for line in Path(f"/proc/{pid}/smaps").read_text().splitlines():
        if re.match(r"[0-9a-f]+-[0-9a-f]+ ", line):
            words = line.split(maxsplit=5)
            name = Path(words[5]).name if len(words) > 5 else "no name"
        elif line.startswith("Rss:"):
            found[name] = found.get(name, 0) + int(line.split()[1])
    return found


def wait_until(done, what):
    end = time.monotonic() + PATIENCE
    while not done():
        if time.monotonic() > end:
            raise MeasureError(f"{what} did not happen within {PATIENCE} s")
        time.sleep(0.05)


def stop(process):
    process.terminate()
    process.communicate(timeout=PATIENCE)
