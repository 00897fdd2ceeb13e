# SPDX-License-Identifier: MIT
"""Measures kv-host against kv-sim as whole programs.

    python3 bench/end_to_end.py FOLDER RESULT.json [--quick]

FOLDER holds kv-host and kv-sim. Writes figures only; report.py compares them with their targets.
"""

import json
import subprocess
import sys
import time
from pathlib import Path

from programs import MeasureError, Plcs, bench, cpu_seconds, finished, host_command, stop

WORDS = 120
STATIONS = (1, 2, 4, 8, 16, 32, 64)
ANSWER_DELAY_MS = 10  # of a PLC on a network
PROCESSES = (1, 2, 4, 8)


def cpu_share(folder, seconds):
    """Fifty exchanges a second: five blocks of 120 words, all shown, ten passes a second."""
    with Plcs(folder, 1, "--scan", "100") as plcs, open("/dev/null", "w", encoding="utf-8") as nowhere:
        host = subprocess.Popen(
            host_command(folder, *plcs.options(), "--max-block", str(WORDS), "watch", "--every", "100ms",
                         f"DM0:{5 * WORDS}"), stdout=nowhere, stderr=nowhere)
        stats = subprocess.Popen(
            host_command(folder, *plcs.options(), "--max-block", str(WORDS), "stats", "--every", "20ms", "--for",
                         f"{seconds + 4}s", f"DM0:{WORDS}"), stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        time.sleep(2)  # the start does not count
        begin = time.monotonic()
        before = [cpu_seconds(process.pid) for process in (host, stats)]
        time.sleep(seconds)
        took = time.monotonic() - begin
        shares = [(cpu_seconds(process.pid) - start) / took for process, start in zip((host, stats), before)]
        stop(host)
        printed = finished(stats, "kv-host stats")
    return {"watch": shares[0], "stats": shares[1], "exchanges_a_second": printed["answers"] / printed["time"],
            "seconds": took}


def cycles(folder, seconds):
    """How long one pass over all stations takes, one block of 120 words each."""
    found = []
    for delay in (0, ANSWER_DELAY_MS):
        for stations in STATIONS:
            with Plcs(folder, stations, *(["--delay", str(delay)] if delay else [])) as plcs:
                printed = finished(bench(folder, plcs, seconds), f"kv-host bench with {stations} stations")
            found.append({"delay_ms": delay, "stations": stations,
                          "cycle_ms": stations * printed["time"] * 1000 / printed["answers"]})
    return found


def processes(folder, seconds):
    """The same 64 stations, divided among several processes."""
    found = []
    for delay in (0, ANSWER_DELAY_MS):
        for count in PROCESSES:
            with Plcs(folder, 64, *(["--delay", str(delay)] if delay else [])) as plcs:
                each = 64 // count
                runs = [bench(folder, plcs, seconds, range(part * each, (part + 1) * each)) for part in range(count)]
                printed = [finished(run, f"one of {count} kv-host bench") for run in runs]
            found.append({"delay_ms": delay, "processes": count,
                          "cycle_ms": max(each * one["time"] * 1000 / one["answers"] for one in printed)})
    return found


def main(folder, result, quick=False):
    folder = Path(folder).resolve()
    found = {
        "quick": quick,
        "cpu": cpu_share(folder, 5 if quick else 30),
        "cycles": cycles(folder, 1 if quick else 2),
        "processes": processes(folder, 1 if quick else 3),
    }
    Path(result).write_text(json.dumps(found, indent=1) + "\n", encoding="utf-8")


if __name__ == "__main__":
    try:
        main(sys.argv[1], sys.argv[2], "--quick" in sys.argv[3:])
    except MeasureError as error:
        sys.exit(f"end_to_end.py: {error}")
