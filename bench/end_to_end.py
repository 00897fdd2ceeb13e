# SPDX-License-Identifier: MIT
"""Measures kvlink, kv-host, kv-sim and kv-gateway as whole programs, next to what a user would pick instead.

    python3 bench/end_to_end.py FOLDER RESULT.json [--quick]

FOLDER holds kvlink_bench, modbus_bench, store_bench, kv-host, kv-gateway and kv-sim. Writes figures only; report.py compares them with their targets.
"""

import json
import os
import socket
import subprocess
import sys
import tempfile
import time
from contextlib import ExitStack, contextmanager
from pathlib import Path

import gateway_figures
import sim_figures
import store_figures
from programs import PATIENCE, MeasureError, Plcs, cpu_seconds, host_command

WORDS = 120
ANSWER_DELAY_MS = 10  # of a PLC that is no program on the same machine
HEALTHY = 3
POINT_PLCS, FLOATS, WRITES = 10, 10_000, 100
LAMP_AND_SLIDER = Path(__file__).resolve().parents[1] / "examples" / "lamp_and_slider" / "lamp_and_slider.cpp"
MANY_PLCS, MANY_WORDS, MANY_PERIOD_MS = 256, 100, 100


def scenario(folder, *arguments):
    """One run of kvlink_bench -> its result."""
    run = subprocess.run([folder / "kvlink_bench", *map(str, arguments)], capture_output=True, text=True)
    if run.returncode != 0:
        raise MeasureError(f"kvlink_bench {arguments[0]}: {run.stderr.strip()}")
    return json.loads(run.stdout)


def modbus_flat(folder, seconds):
    run = subprocess.run([folder / "modbus_bench", str(seconds), str(WORDS)], capture_output=True, text=True)
    if run.returncode != 0:
        raise MeasureError(run.stderr.strip())
    _, exchanges, _, took, _, cpu = run.stdout.split()
    return {"words_a_second": int(exchanges) * WORDS / float(took), "cpu_us": float(cpu) * 1e6 / int(exchanges)}


@contextmanager
def one_core():
    """Programs started in here share a core: a core that must be woken up costs more than the request that wakes it."""
    all_cores = os.sched_getaffinity(0)
    os.sched_setaffinity(0, {max(all_cores)})
    try:
        yield
    finally:
        os.sched_setaffinity(0, all_cores)


def flat_out(folder, rounds, seconds):
    """kvlink and libmodbus by turns, so that whatever else the machine does strikes both."""
    found = []
    with one_core(), Plcs(folder) as plcs:
        for _ in range(rounds):
            found.append({"kv": scenario(folder, "flat", seconds, plcs.urls[0]), "modbus": modbus_flat(folder, seconds)})
    return found


def passes(folder, seconds):
    """One pass over so many PLCs that answer after 10 ms."""
    found = []
    for count in (1, 4, 16, 64):
        with Plcs(folder, count, "--delay", str(ANSWER_DELAY_MS)) as plcs:
            found.append(scenario(folder, "pass", seconds, *plcs.urls))
    return found


@contextmanager
def black_hole():
    """A port whose connections neither succeed nor fail: its queue is full."""
    with ExitStack() as held:
        server = held.enter_context(socket.socket())
        server.bind(("127.0.0.1", 0))
        server.listen(0)
        for _ in range(4):
            client = held.enter_context(socket.socket())
            client.setblocking(False)
            client.connect_ex(server.getsockname())
        yield "tcp://127.0.0.1:%d" % server.getsockname()[1]


def closed_port():
    with socket.socket() as free:
        free.bind(("127.0.0.1", 0))
        return "tcp://127.0.0.1:%d" % free.getsockname()[1]


def beside_dead(folder, seconds):
    """The share of its due updates that the worst healthy PLC reaches beside a frozen, a refusing and a vanished one."""
    with Plcs(folder, HEALTHY) as plcs, Plcs(folder, 1, "--fault", "silent") as frozen, black_hole() as hole:
        urls = [*plcs.urls, *frozen.urls, closed_port(), hole]
        beside = scenario(folder, "rate", seconds, 100, WORDS, *urls)
        alone = scenario(folder, "rate", seconds, 100, WORDS, *plcs.urls)
    return {"due": beside["due"], "beside": min(beside["answers"][:HEALTHY]), "alone": min(alone["answers"])}


def points(folder, seconds):
    """100,000 32-bit floats of 10 PLCs once a second, and 100 writes meanwhile."""
    with Plcs(folder, POINT_PLCS) as plcs:
        return scenario(folder, "floats", seconds, FLOATS, WRITES, *plcs.urls)


def many(folder, seconds):
    with Plcs(folder, MANY_PLCS) as plcs:
        found = scenario(folder, "rate", seconds, MANY_PERIOD_MS, MANY_WORDS, *plcs.urls)
    return {**found, "worst": min(found["answers"])}


def tags(folder):
    with Plcs(folder) as plcs:
        return scenario(folder, "tags", 100_000, plcs.urls[0])


def timed(command):
    start = time.monotonic()
    run = subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
    if run.returncode != 0:
        raise MeasureError(f"{command[0]} ended with {run.returncode}: {run.stderr.strip()}")
    return (time.monotonic() - start) * 1000


def one_read(folder, rounds):
    """kv-host read of 100 words, start to end, beside mbpoll reading 100 registers; in turns. Milliseconds."""
    found = []
    server = subprocess.Popen([folder / "modbus_bench", "--serve"], stdout=subprocess.PIPE, text=True)
    try:
        port = server.stdout.readline().split()[1]
        mbpoll = ["mbpoll", "-m", "tcp", "-p", port, "-a", "1", "-r", "1", "-c", "100", "-1", "-q", "127.0.0.1"]
        with Plcs(folder) as plcs:
            read = host_command(folder, "--plc", plcs.urls[0], "read", "DM0:100")
            timed(read), timed(mbpoll)  # the files are in the cache from here on
            for _ in range(rounds):
                found.append({"kv": timed(read), "mbpoll": timed(mbpoll)})
    finally:
        server.kill()
        server.communicate(timeout=PATIENCE)
    return found


def serial_passes(folder, seconds):
    """Passes a second of DM0 and DM120 at 9600 baud."""
    with tempfile.TemporaryDirectory() as scratch:
        line = Path(scratch) / "plc"
        sim = subprocess.Popen([folder / "kv-sim", "--serial", line, "--baud", "9600", "--exit-with-stdin"],
                               stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        try:
            for words in sim.stdout:
                if words == "ready\n":
                    break
            found = scenario(folder, "addresses", seconds, 20, f"serial://{line}?baud=9600", "DM0", "DM120")
        finally:
            sim.stdin.close()
            sim.stdout.close()
            sim.wait(PATIENCE)
    return found["passes"] / found["took"]


def watch_cost(folder, seconds):
    """CPU of kv-host watch with fifty exchanges a second, all values shown."""
    with Plcs(folder, 1, "--scan", "100") as plcs, open("/dev/null", "w", encoding="utf-8") as nowhere:
        host = subprocess.Popen(host_command(folder, "--plc", plcs.urls[0], "--max-block", str(WORDS), "watch", "--every",
                                             "100ms", f"DM0:{5 * WORDS}"), stdout=nowhere, stderr=nowhere)
        try:
            time.sleep(2)  # past the start, which is no part of it
            begin, before = time.monotonic(), cpu_seconds(host.pid)
            time.sleep(seconds)
            return (cpu_seconds(host.pid) - before) / (time.monotonic() - begin)
        finally:
            host.terminate()
            host.communicate(timeout=PATIENCE)


def timers_requests(folder):
    """Requests that one pass over 100 timers takes."""
    with Plcs(folder) as plcs:
        run = subprocess.run(host_command(folder, "--plc", plcs.urls[0], "-vv", "read", "T0:100"), capture_output=True,
                             text=True, check=True)
    return sum("> RD" in line for line in run.stderr.splitlines())


def panel(folder, quick):
    """Debian's own Python has the bindings of the browser."""
    with tempfile.TemporaryDirectory() as scratch:
        result = Path(scratch) / "panel.json"
        run = subprocess.run(["/usr/bin/python3", "-B", Path(__file__).with_name("panel_figures.py"), folder, result,
                              *(["--quick"] if quick else [])], stderr=subprocess.PIPE, text=True)
        if run.returncode != 0:
            raise MeasureError(run.stderr.strip())
        return json.loads(result.read_text(encoding="utf-8"))


def maker_lines():
    """Lines of the example with a lamp and a slider: without includes, comments and empty ones."""
    lines = LAMP_AND_SLIDER.read_text(encoding="utf-8").splitlines()
    return sum(bool(line.strip()) and not line.strip().startswith(("//", "#include")) for line in lines)


def measure(folder, quick=False):
    folder = Path(folder).resolve()
    return {
        "quick": quick,
        "maker_lines": maker_lines(),
        "flat": flat_out(folder, 3 if quick else 9, 1 if quick else 2),
        "passes": passes(folder, 1 if quick else 3),
        "beside_dead": beside_dead(folder, 4 if quick else 10),
        "points": points(folder, 5 if quick else 30),
        "many": many(folder, 5 if quick else 30),
        "tags": tags(folder),
        "one_read": one_read(folder, 5 if quick else 21),
        "serial_passes": serial_passes(folder, 4 if quick else 10),
        "watch_cost": watch_cost(folder, 5 if quick else 30),
        "timers_requests": timers_requests(folder),
        "sim": sim_figures.measure(folder, quick),
        "store": store_figures.measure(folder, quick),
        "gateway": gateway_figures.measure(folder, quick),
        "panel": panel(folder, quick),
    }


if __name__ == "__main__":
    try:
        Path(sys.argv[2]).write_text(json.dumps(measure(sys.argv[1], "--quick" in sys.argv[3:]), indent=1) + "\n",
                                     encoding="utf-8")
    except MeasureError as error:
        sys.exit(f"end_to_end.py: {error}")
