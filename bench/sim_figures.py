# SPDX-License-Identifier: MIT
"""Measures kv-sim: beside the Modbus server of libmodbus, and as many PLCs at once."""

import json
import socket
import subprocess
import time

from programs import PATIENCE, MeasureError, Plcs, cpu_seconds, resident_kb

WORDS = 120
MANY_PLCS, MANY_PERIOD_MS = 256, 5  # 200 requests a second of each
SIZES = (1, 16, 256)


def requests_of(port, greeting, request, answer_length, seconds):
    """One client that waits for each answer -> requests a second. The same loop serves both servers."""
    with socket.create_connection(("127.0.0.1", port), PATIENCE) as line:
        line.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        if greeting:
            line.sendall(greeting)
            line.recv(64)
        done, begin = 0, time.monotonic()
        while time.monotonic() - begin < seconds:
            line.sendall(request)
            missing = answer_length
            while missing > 0:
                part = line.recv(missing)
                if not part:
                    raise MeasureError("a measured server closed the connection")
                missing -= len(part)
            done += 1
        return done / (time.monotonic() - begin)


def served(process, port, *conversation):
    """Requests a second, and the CPU time of the server for one, in us."""
    before, begin = cpu_seconds(process.pid), time.monotonic()
    rate = requests_of(port, *conversation)
    return {"rate": rate, "cpu_us": (cpu_seconds(process.pid) - before) * 1e6 / (rate * (time.monotonic() - begin))}


def against_modbus(folder, rounds, seconds):
    """120 words of kv-sim, and 120 registers of libmodbus's own server, by turns."""
    found = []
    for _ in range(rounds):
        with Plcs(folder) as plcs:
            port = int(plcs.urls[0].rsplit(":", 1)[1])
            kv = served(plcs.process, port, b"CR\r", b"RDS DM0.U %d\r" % WORDS, 6 * WORDS + 1, seconds)
        server = subprocess.Popen([folder / "modbus_bench", "--serve"], stdout=subprocess.PIPE, text=True)
        try:
            port = int(server.stdout.readline().split()[1])
            modbus = served(server, port, b"", bytes((0, 1, 0, 0, 0, 6, 1, 3, 0, 0, 0, WORDS)), 9 + 2 * WORDS, seconds)
        finally:
            server.kill()
            server.communicate(timeout=PATIENCE)
        found.append({"kv": kv, "modbus": modbus})
    return found


def sizes(folder):
    """Memory, and time until all lines are open, of so many PLCs."""
    found = []
    for count in SIZES:
        begin = time.monotonic()
        with Plcs(folder, count) as plcs:
            took = time.monotonic() - begin
            found.append({"plcs": count, "start_s": took, "rss_kb": resident_kb(plcs.process.pid)})
    return found


def many_requests(folder, seconds):
    """256 PLCs asked 200 times a second each: what came of it, and what of a core kv-sim took."""
    with Plcs(folder, MANY_PLCS) as plcs:
        before, begin = cpu_seconds(plcs.process.pid), time.monotonic()
        run = subprocess.run([folder / "kvlink_bench", "rate", str(seconds), str(MANY_PERIOD_MS), "1", *plcs.urls],
                             capture_output=True, text=True)
        if run.returncode != 0:
            raise MeasureError(f"kvlink_bench rate: {run.stderr.strip()}")
        cpu = (cpu_seconds(plcs.process.pid) - before) / (time.monotonic() - begin)
    found = json.loads(run.stdout)
    return {"due": found["due"] * MANY_PLCS, "answered": sum(found["answers"]), "cpu": cpu}


def measure(folder, quick):
    return {"against_modbus": against_modbus(folder, 2 if quick else 5, 1 if quick else 3), "sizes": sizes(folder),
            "many": many_requests(folder, 4 if quick else 15)}
