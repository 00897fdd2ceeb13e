# SPDX-License-Identifier: MIT
"""Measures kv-gateway as a service: CPU, memory, the way of a change to its readers, writes, and how it ends."""

import json
import math
import os
import re
import select
import signal
import socket
import subprocess
import tempfile
import time
import urllib.request
from contextlib import contextmanager
from pathlib import Path

from programs import PATIENCE, MeasureError, Plcs, cpu_seconds, resident_kb

PLCS, TAGS, CHANGING = 10, 10_000, 1_000  # tags and changes a second of each PLC; what changes has history
READERS = 10
PERIOD_MS = 1000
PROBE = TAGS + 10  # a word of the first PLC that nothing else changes
GOLDEN = 0.618034  # its multiples are spread evenly over 0 to 1


def write_files(folder, urls):
    (folder / "data").mkdir()
    lines = ["data = 'data'", "[listen]", "port = 0", "[access]", "local = 'operator'"]
    for number, url in enumerate(urls):
        lines += ["[[plc]]", f"name = 'p{number}'", f"url = '{url}'", f"tags = 'p{number}.csv'", f"period = '{PERIOD_MS}ms'"]
        tags = [f"t{word},DM{word},{'yes' if word < CHANGING else 'no'},rw" for word in range(TAGS)]
        if number == 0:
            tags.append(f"probe,DM{PROBE},no,rw")
        (folder / f"p{number}.csv").write_text("\n".join(["name,address,history,rw", *tags]) + "\n")
    (folder / "gateway.toml").write_text("\n".join(lines) + "\n")


class Service:
    """A running kv-gateway."""

    def __init__(self, binaries, folder):
        self.process = subprocess.Popen([binaries / "kv-gateway", "run", "gateway.toml"], cwd=folder, stderr=subprocess.PIPE,
                                        text=True)
        self.port = 0
        for line in self.process.stderr:
            if "listening on" in line:
                self.port = int(line.rsplit(" ", 1)[1])
                break
        if not self.port:
            raise MeasureError(f"kv-gateway did not start (exit code {self.process.wait()})")
        # Nobody reads its messages, and it must not wait for that.
        self.drain = subprocess.Popen(["cat"], stdin=self.process.stderr, stdout=subprocess.DEVNULL)

    def get(self, target):
        with urllib.request.urlopen(f"http://127.0.0.1:{self.port}{target}", timeout=PATIENCE) as answer:
            return answer.read().decode()

    def metric(self, name):
        """The sum of a metric over all its labels."""
        found = re.findall(rf"^{name}(?:{{[^}}]*}})? (\S+)$", self.get("/metrics"), re.M)
        return sum(map(float, found))

    def write(self, tag, value):
        body = json.dumps({"tag": tag, "value": value}).encode()
        request = urllib.request.Request(f"http://127.0.0.1:{self.port}/api/v1/writes", body,
                                         {"Content-Type": "application/json"})
        with urllib.request.urlopen(request, timeout=PATIENCE) as answer:
            if json.load(answer)["outcome"] != "done":
                raise MeasureError(f"a write of {tag} was not done")

    def wait_until_read(self):
        end = time.monotonic() + 6 * PATIENCE
        while time.monotonic() < end:
            good = re.findall(r'^kvlink_tags{[^}]*quality="good"} (\S+)$', self.get("/metrics"), re.M)
            if sum(map(float, good)) == PLCS * TAGS + 1:
                return
            time.sleep(0.2)
        raise MeasureError("kv-gateway did not read all tags")

    def kill(self):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()
        self.drain.wait(PATIENCE)

    def end(self):
        """Seconds from TERM to the end."""
        begin = time.monotonic()
        self.process.terminate()
        self.process.wait(PATIENCE)
        return time.monotonic() - begin


def stream(port, tags):
    reader = socket.create_connection(("127.0.0.1", port))
    reader.sendall(f"GET /api/v1/stream?tags={tags} HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n".encode())
    return reader


@contextmanager
def readers(port, count):
    """Readers of all changes, in a process of their own."""
    child = os.fork()
    if child == 0:
        streams = [stream(port, "p*") for _ in range(count)]
        while True:
            for one in select.select(streams, [], [])[0]:
                if not one.recv(1 << 20):
                    os._exit(0)
    try:
        yield
    finally:
        os.kill(child, signal.SIGKILL)
        os.waitpid(child, 0)


def change_times(plcs_control, port, rounds):
    """Seconds from a change in the PLC to the reader of the stream."""
    found = []
    with stream(port, "p0.probe") as reader, socket.create_connection(plcs_control) as control:
        reader.settimeout(PATIENCE)
        for value in range(1, rounds + 1):
            # The reader has just seen a read: changes come at all moments until the next one.
            time.sleep(value * GOLDEN % 1 * PERIOD_MS / 1000)
            begin = time.monotonic()
            control.sendall(f"0/set DM{PROBE}={value}\n".encode())
            control.recv(100)
            seen = b""
            while f'"p0.probe","value":{value},'.encode() not in seen:
                seen += reader.recv(1 << 16)
            found.append(time.monotonic() - begin)
    return sorted(found)


def write_times(service, count):
    found = []
    for value in range(count):
        begin = time.monotonic()
        service.write("p1.t9000", value + 1)
        found.append(time.monotonic() - begin)
        time.sleep(0.03)
    return sorted(found)


def load(service, seconds):
    begin, before, rows = time.monotonic(), cpu_seconds(service.process.pid), service.metric("kvgateway_history_rows_total")
    time.sleep(seconds)
    took = time.monotonic() - begin
    return {"cpu": (cpu_seconds(service.process.pid) - before) / took,
            "rows_a_minute": (service.metric("kvgateway_history_rows_total") - rows) / took * 60,
            "rss_kb": resident_kb(service.process.pid)}


def under_load(binaries, scratch, plcs, quick):
    write_files(scratch, plcs.urls)
    service = Service(binaries, scratch)
    try:
        service.wait_until_read()
        with readers(service.port, READERS):
            time.sleep(3)  # past the snapshot, which is no part of it
            found = load(service, 5 if quick else 30)
            changes = change_times(plcs.control, service.port, 10 if quick else 100)
            writes = write_times(service, 20 if quick else 200)
            found["rss_kb"] = max(found["rss_kb"], resident_kb(service.process.pid))
            found["missed"] = service.metric("kvlink_missed_passes_total")
            found["dropped"] = service.metric("kvgateway_history_dropped_rows_total")
            found["end_s"] = service.end()
    finally:
        service.kill()
    found["change_ms"] = {"median": changes[len(changes) // 2] * 1000, "p99": changes[math.ceil(len(changes) * 0.99) - 1] * 1000}
    found["write_ms"] = {"median": writes[len(writes) // 2] * 1000, "worst": writes[-1] * 1000}
    return found


def measure(folder, quick):
    binaries = Path(folder).resolve()
    with tempfile.TemporaryDirectory() as scratch:
        program = Path(scratch) / "changes"
        program.write_text("".join(f"when always then count DM{word}\n" for word in range(CHANGING)))
        with Plcs(binaries, PLCS, "--scan", str(PERIOD_MS), "--program", program, "--control-all", "127.0.0.1:0") as plcs:
            return under_load(binaries, Path(scratch), plcs, quick)
