# SPDX-License-Identifier: MIT
"""Measures kv-host and kv-sim as whole programs, beside what a user would pick instead.

    python3 bench/end_to_end.py FOLDER RESULT.json [--quick]

FOLDER holds kv-host, kv-sim, modbus_bench and idle_qt. Figures only: what they are worth is judged by report.py.
"""

import json
import subprocess
import sys
import tempfile
import time
from pathlib import Path

from programs import (BusyCores, MeasureError, Plcs, bench, cpu_seconds, finished, host_command, resident_by_file,
                      resident_kb, stop, wait_until)

WORDS = 120
STATIONS = (1, 2, 4, 8, 16, 32, 64)
ANSWER_DELAY_MS = 10  # of a PLC that is no program on the same machine
PROCESSES = (1, 2, 4, 8)


def modbus_rate(folder, seconds):
    run = subprocess.run([folder / "modbus_bench", str(seconds), str(WORDS)], capture_output=True, text=True)
    if run.returncode != 0:
        raise MeasureError(run.stderr.strip())
    _, exchanges, _, took = run.stdout.split()
    return int(exchanges) / float(took)


def words_a_second(folder, rounds, seconds):
    """Both by turns, so that whatever else the machine does strikes both."""
    found = []
    with Plcs(folder) as plcs:
        for _ in range(rounds):
            kv = finished(bench(folder, plcs, seconds), "kv-host bench")
            found.append({"kv": kv["word rate"], "modbus": modbus_rate(folder, seconds) * WORDS})
    return found


def busy_words(folder, rounds, seconds):
    with BusyCores():
        return words_a_second(folder, rounds, seconds)


def cpu_share(folder, seconds):
    """Fifty exchanges a second: five blocks of 120 words, all shown, ten passes a second."""
    with Plcs(folder, 1, "--scan", "100") as plcs, open("/dev/null", "w", encoding="utf-8") as nowhere:
        host = subprocess.Popen(
            host_command(folder, *plcs.options(), "--max-block", str(WORDS), "watch", "--every", "100ms",
                         f"DM0:{5 * WORDS}"), stdout=nowhere, stderr=nowhere)
        stats = subprocess.Popen(
            host_command(folder, *plcs.options(), "--max-block", str(WORDS), "stats", "--every", "20ms", "--for",
                         f"{seconds + 4}s", f"DM0:{WORDS}"), stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        time.sleep(2)  # beyond the start, which is no part of it
        begin = time.monotonic()
        before = [cpu_seconds(process.pid) for process in (host, stats)]
        time.sleep(seconds)
        took = time.monotonic() - begin
        shares = [(cpu_seconds(process.pid) - start) / took for process, start in zip((host, stats), before)]
        stop(host)
        told = finished(stats, "kv-host stats")
    return {"watch": shares[0], "stats": shares[1], "exchanges_a_second": told["answers"] / told["time"],
            "seconds": took}


def tag_file(folder, stations, each):
    path = Path(folder) / "tags.csv"
    rows = [f"value {station} {number},DM{number},,{station}" for station in range(stations) for number in range(each)]
    path.write_text("name,address,type,station\n" + "\n".join(rows) + "\n", encoding="utf-8")
    return path


def memory(folder):
    """A thousand variables of four PLCs, all of them read and shown, beside a program that does nothing."""
    with Plcs(folder, 4) as plcs, tempfile.TemporaryDirectory() as scratch:
        shown = Path(scratch) / "shown.txt"
        with open(shown, "w", encoding="utf-8") as output:
            host = subprocess.Popen(
                host_command(folder, *plcs.options(), "-f", tag_file(scratch, 4, 250), "watch"),
                stdout=output, stderr=subprocess.DEVNULL)
        idle = subprocess.Popen([folder / "idle_qt"])
        try:
            wait_until(lambda: shown.read_text(encoding="utf-8").count("\n") >= 1000, "showing 1000 values")
            time.sleep(2)
            found = {"kv-host": resident_kb(host.pid), "idle_qt": resident_kb(idle.pid)}
            found["by_file"] = {"kv-host": resident_by_file(host.pid), "idle_qt": resident_by_file(idle.pid)}
        finally:
            stop(host)
            stop(idle)
    # Two bytes a word, from DM0 on, for each station.
    found["images_kb"] = 4 * 250 * 2 / 1024
    return found


def cycles(folder, seconds):
    """How long one pass over all stations takes, one block of 120 words each."""
    found = []
    for delay in (0, ANSWER_DELAY_MS):
        for stations in STATIONS:
            with Plcs(folder, stations, *(["--delay", str(delay)] if delay else [])) as plcs:
                told = finished(bench(folder, plcs, seconds), f"kv-host bench with {stations} stations")
            found.append({"delay_ms": delay, "stations": stations,
                          "cycle_ms": stations * told["time"] * 1000 / told["answers"]})
    return found


def processes(folder, seconds):
    """The same 64 stations, shared out among several processes."""
    found = []
    for delay in (0, ANSWER_DELAY_MS):
        for count in PROCESSES:
            with Plcs(folder, 64, *(["--delay", str(delay)] if delay else [])) as plcs:
                each = 64 // count
                runs = [bench(folder, plcs, seconds, range(part * each, (part + 1) * each)) for part in range(count)]
                told = [finished(run, f"one of {count} kv-host bench") for run in runs]
            found.append({"delay_ms": delay, "processes": count,
                          "cycle_ms": max(each * one["time"] * 1000 / one["answers"] for one in told)})
    return found


def main(folder, result, quick=False):
    folder = Path(folder).resolve()
    found = {
        "quick": quick,
        "words": words_a_second(folder, 3 if quick else 9, 1 if quick else 2),
        "busy_words": busy_words(folder, 1 if quick else 3, 1 if quick else 2),
        "cpu": cpu_share(folder, 5 if quick else 30),
        "memory": memory(folder),
        "cycles": cycles(folder, 1 if quick else 2),
        "processes": processes(folder, 1 if quick else 3),
    }
    Path(result).write_text(json.dumps(found, indent=1) + "\n", encoding="utf-8")


if __name__ == "__main__":
    try:
        main(sys.argv[1], sys.argv[2], "--quick" in sys.argv[3:])
    except MeasureError as error:
        sys.exit(f"end_to_end.py: {error}")
